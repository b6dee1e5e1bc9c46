"""Runs on several drives, each by a process of its own."""

import contextlib
import glob
import html
import os
import re
import subprocess
import time

import program

MIB = 1 << 20
REAL_TIME = "speed=8,real-time"


def until(is_so, seconds=60):
    """Waits for what other processes do."""
    end = time.monotonic() + seconds
    while not (found := is_so()):
        if time.monotonic() > end:
            raise AssertionError("it did not come to be")
        time.sleep(0.01)
    return found


def read(path):
    with open(path, "rb") as file:
        return file.read()


class Children:
    """The processes that a run on several drives has started, by a part of their command lines."""

    def __init__(self, parent):
        self.parent = parent

    def all(self):
        found = {}
        for folder in glob.glob("/proc/[0-9]*"):
            with contextlib.suppress(OSError):
                fields = read(folder + "/stat").rsplit(b")", 1)[1].split()
                if int(fields[1]) == self.parent and fields[0] not in b"ZX":
                    found[int(folder[6:])] = read(folder + "/cmdline").decode()
        return found

    def of(self, part):
        return until(lambda: [pid for pid, words in self.all().items() if part in words])[0]


@program.names_linux("/proc and signals")
class ShelfTest(program.ImageTest):
    def setUp(self):
        super().setUp()
        self.out = self.path("out")

    def shelf(self, test, devices, *options):
        return self.start("run", test, *devices, "--out", self.out, *options)

    def spawn(self, test, devices, *options):
        return self.begin("run", test, *devices, "--out", self.out, *options)

    def begin(self, *arguments):
        command = self.command(*arguments)
        process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                   text=True, env={**os.environ, "LC_ALL": "C.UTF-8"}, cwd=self.folder)
        self.addCleanup(lambda: (process.kill(), process.communicate()))
        return process, Children(process.pid)

    def image_of(self, name, size=MIB):
        path = self.path(name)
        with open(path, "wb") as image:
            image.write(os.urandom(size))
        return path

    def wait_for_test(self, name):
        """Until the run of that drive has begun to overwrite it, or to read."""
        return until(lambda: any(b"testStepStart" in read(path) for path in glob.glob(os.path.join(self.out, "*%s*.jsonl" % name))))

    def results(self, output):
        """Of the summary: by the last word of the drive's name, the result."""
        table = output.split("record\n", 1)[1]
        found = re.findall(r"^  (\S.*?)  +(\S+)  +(\S.*?)  +", table, re.M)
        return {name.split()[-1]: result for name, _, result in found if result}

    def overview(self):
        """Of each run, as the report of all has it: drive, test, result and remarks; every file it links is there."""
        page = read(os.path.join(self.out, "overview.html")).decode()
        for link in re.findall(r'href="\./([^"]+)"', page):
            self.assertTrue(os.path.exists(os.path.join(self.out, link)), link)
        row = r'<tr><th [^>]*>([^<]*)</th><td [^>]*>([^<]*)</td><td [^>]*>([^<]*)</td>.*?<td class="text">([^<]*)</td></tr>'
        return [tuple(map(html.unescape, cells)) for cells in re.findall(row, page.replace("\n", ""))]

    def check_records(self, cut_off=(), reports=True):
        for path in glob.glob(os.path.join(self.out, "*.jsonl")):
            is_cut_off = any(part in path for part in cut_off)
            self.check_record(*(["--partial"] if is_cut_off else []), path)
            self.assertEqual([os.path.exists(path[:-6] + end) for end in (".log", ".html")], [True, reports], path)
