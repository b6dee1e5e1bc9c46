"""Several drives side by side, each tested by a process of its own: what becomes of one is no matter of the others."""

import contextlib
import glob
import os
import random
import re
import shutil
import signal
import subprocess
import time
import unittest

import program

if not program.WINDOWS:
    import terminal

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
        command = self.command("run", test, *devices, "--out", self.out, *options)
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

    def check_records(self, cut_off=(), reports=True):
        for path in glob.glob(os.path.join(self.out, "*.jsonl")):
            is_cut_off = any(part in path for part in cut_off)
            self.check_record(*(["--partial"] if is_cut_off else []), path)
            self.assertEqual([os.path.exists(path[:-6] + end) for end in (".log", ".html")], [True, reports], path)


class Refused(ShelfTest):
    def test_before_anything_starts(self):
        image = self.image_of("a.img")
        os.symlink(image, self.path("b.img"))
        two = ["sim:disk,serial=S1", "sim:disk,serial=S2"]
        for arguments, says in (
                ([image, self.path("b.img")], "%s and %s are one drive" % (image, self.path("b.img"))),
                ([two[0], two[0]], "is given twice"),
                ([*two, "--events", "x"], "--events is for one drive alone: give --out DIR instead"),
                ([*two, "--report", "x"], "--report is for one drive alone"),
                ([*two, "--bad-list", "x"], "--bad-list is for one drive alone"),
                ([*two, "--export", "ddrescue", "x"], "--export ddrescue is for one drive alone"),
                ([*two, "--no-record"], "--no-record is for one drive alone"),
                ([*two, "--confirm", "S3"], '--confirm "S3" names none of these drives'),
                ([*two, "--jobs", "0"], "--jobs"),
                ([*two, "--timeout", "soon"], "--timeout"),
                ([*two, "-p", "MaxErrors=no"], "is no value for MaxErrors"),
                ([*two, self.path("none")], "none does not exist"),
                (["sim:disk", "--progress-to", "99"], "there is no pipe")):
            with self.subTest(arguments=arguments):
                process = self.start("run", "read", *arguments)
                self.assertEqual((process.returncode, process.stdout), (2, ""), process.stderr)
                self.assertIn(says, process.stderr)
                self.assertEqual(sorted(os.listdir(self.folder)), ["a.img", "b.img"])

    def test_a_folder_that_cannot_be_had(self):
        self.out = self.image_of("a.img")
        process = self.shelf("read", ["sim:disk,serial=S1"])
        self.assertEqual((process.returncode, process.stderr.count("could not be made")), (2, 1))

    def test_what_is_there_stays(self):
        device = "sim:disk,sectors=1000,serial="
        for _ in range(2):
            self.assertEqual(self.shelf("read", [device + "S1", device + "S2"]).returncode, 0)
        self.assertEqual(len(os.listdir(self.out)), 2 * (2 * 3 + 1))
        self.check_records()


class Places(ShelfTest):
    def test_a_disk_that_is_full(self):
        if os.geteuid() != 0:
            self.skipTest("mounting needs root")
        os.mkdir(self.out)
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=300k,mode=755", "drivetest", self.out], check=True)
        self.addCleanup(subprocess.run, ["umount", self.out], check=True)
        devices = ["sim:disk,sectors=100000,serial=F%d" % i for i in range(2)]
        process = self.shelf("read", devices)
        self.assertEqual((process.returncode, self.results(process.stdout)), (0, {"F0": "PASS", "F1": "PASS"}))
        self.assertRegex(process.stdout, r"F\d-read\.html cannot be written: the disk is full")  # of one of them
        for name in os.listdir(self.out):
            os.remove(os.path.join(self.out, name))
        with contextlib.suppress(OSError), open(os.path.join(self.out, "filler"), "wb", 0) as filler:
            while True:
                filler.write(bytes(4096))
        process = self.shelf("read", devices)
        self.assertEqual(process.returncode, 8, process.stdout)
        self.assertEqual(self.results(process.stdout), {"F0": "not tested", "F1": "not tested"})
        self.assertEqual(process.stdout.count("ended with status 8 and said nothing"), 4)

    def test_the_folder_that_is_set(self):
        os.mkdir(self.path("config"))
        with open(self.path("config/drivetest.toml"), "w", encoding="utf-8") as file:
            file.write('records = "%s"\n' % self.path("kept"))
        process = self.start("run", "RandomSeekTest", "sim:disk,sectors=1000,serial=K0", "--jobs", "1", "-q")
        self.assertEqual((process.returncode, self.results(process.stdout)), (0, {"K0": "PASS"}), process.stderr)
        self.assertEqual(len(glob.glob(self.path("kept/*-drives-run/*"))), 4)


class Night(ShelfTest):
    """Twelve drives, each with a fate of its own."""

    def twelve(self):
        good = {kind: "sim:%s,sectors=40000,serial=OK%s" % (kind, kind) for kind in ("disk", "ata", "scsi", "nvme")}
        self.images = {name: self.image_of(name, 3 * MIB) for name in ("CRASH", "HANG", "PULLED", "USED", "PLAIN", "OTHER")}
        self.before = {name: read(path) for name, path in self.images.items()}
        devices = {
            **{"OK" + kind: device for kind, device in good.items()},
            **{name: "sim:disk,serial=%s,image=%s,%s" % (name, self.images[name], REAL_TIME) for name in ("CRASH", "HANG")},
            "PULLED": "sim:disk,serial=PULLED,gone-at=60,image=" + self.images["PULLED"],
            "BAD": "sim:disk,sectors=40000,serial=BAD,bad=" + "+".join("%d-%d" % (at, at + 99) for at in range(0, 30000, 3000)),
            "UNCONFIRMED": "sim:disk,sectors=40000,serial=UNCONFIRMED",
            self.images["PLAIN"]: self.images["PLAIN"]}
        if os.geteuid() == 0:
            for name in ("USED", "OTHER"):
                device = program.loop_device(self, self.images[name])
                devices[device] = device
            program.loop_device(self, list(devices)[-2])
        return devices

    def test_twelve_results(self):
        devices = self.twelve()
        confirmed = [word for name in devices if name != "UNCONFIRMED" for word in ("--confirm", name)]
        process, children = self.spawn("LinearPatternTest", devices.values(), *confirmed, "--timeout", "1s",
                                       "-p", "NumberOfPatterns=1")
        for name, fate in (("HANG", signal.SIGSTOP), ("CRASH", signal.SIGSEGV)):
            self.wait_for_test(name)
            until(lambda name=name: read(self.images[name]) != self.before[name])
            os.kill(children.of("serial=%s," % name), fate)
        output = process.communicate(timeout=120)[0]
        expected = {name: "PASS" for name in devices}
        expected.update(CRASH="crashed", HANG="hung", PULLED="FAIL", BAD="FAIL", UNCONFIRMED="not tested")
        if os.geteuid() == 0:
            expected[list(devices)[-2]] = "DEVICEBUSY"
            self.assertIn("is attached to", output)
        self.assertEqual(self.results(output), expected, output)
        self.assertEqual(process.returncode, 9, output)
        self.assertIn("crashed (SIGSEGV); this is no verdict on the drive", output)
        self.assertIn("it made no progress for 1 s and was ended", output)
        self.assertIn('confirm that with --confirm "UNCONFIRMED"', output)
        self.assertEqual(output.count("drivetest recover sim:disk,serial=PULLED"), 2, output)
        # Of a crash there is something to put back, unless it came between two chunks.
        self.assertIn(output.count("drivetest recover sim:disk,serial=CRASH"), (0, 2), output)
        self.check_records(("CRASH", "HANG"))
        page = read(os.path.join(self.out, "overview.html")).decode()
        for link in re.findall(r'href="\./([^"]+)"', page):
            self.assertTrue(os.path.exists(os.path.join(self.out, link)), link)
        self.assertEqual(page.count("<tr>"), len(devices) + 1)
        self.put_back()

    def put_back(self):
        for name in ("CRASH", "HANG", "PULLED"):
            self.start("recover", "sim:disk,serial=%s,image=%s" % (name, self.images[name]))
        for name, data in self.before.items():
            self.assertTrue(read(self.images[name]) == data, name)
        self.assertEqual([name for name in os.listdir(self.journals) if name.endswith(".journal")], [])


class Stopped(ShelfTest):
    def write_slowly(self, count=3):
        images = [self.image_of("W%d" % i, 4 * MIB) for i in range(count)]
        self.before = {path: read(path) for path in images}
        devices = ["sim:disk,serial=W%d,image=%s,%s" % (i, path, REAL_TIME) for i, path in enumerate(images)]
        confirmed = [word for i in range(count) for word in ("--confirm", "W%d" % i)]
        process, children = self.spawn("LinearPatternTest", devices, *confirmed)
        until(lambda: all(read(path) != data for path, data in self.before.items()))
        return process, children

    def assert_restored(self):
        for path, data in self.before.items():
            self.assertTrue(read(path) == data, path)
        left = [name for name in os.listdir(self.journals) if name.endswith(".journal")]
        self.assertEqual(left, [])

    def test_all_restore_within_seconds(self):
        for stop in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGKILL):
            with self.subTest(signal=stop):
                process, children = self.write_slowly()
                started = list(children.all())
                began = time.monotonic()
                process.send_signal(stop)
                output = process.communicate(timeout=60)[0]
                until(lambda started=started: not any(os.path.exists("/proc/%d" % pid) for pid in started))
                self.assertLess(time.monotonic() - began, 10)
                self.assertEqual(process.returncode, -9 if stop == signal.SIGKILL else 130, output)
                self.assert_restored()
                self.check_records(reports=stop != signal.SIGKILL)
                shutil.rmtree(self.out)

    def test_the_third_interrupt_ends_all_at_once(self):
        process, children = self.write_slowly()
        started = list(children.all())
        program.signal_often(process.pid, 3, lambda: process.poll() is not None)
        output = process.communicate(timeout=60)[0]
        until(lambda: not any(os.path.exists("/proc/%d" % pid) for pid in started))
        if process.returncode == 9:  # else the second one was in time
            self.assertIn('ended at once: sectors may hold what the test wrote; the journal keeps their data', output)
        self.start("recover")
        for i, path in enumerate(self.before):
            self.start("recover", "sim:disk,serial=W%d,image=%s" % (i, path))
        self.assert_restored()

    def test_one_after_the_other(self):
        devices = ["sim:disk,sectors=60000,serial=J%d,speed=100,real-time" % i for i in range(4)]
        process, children = self.spawn("read", devices, "--jobs", "1")
        seen = 0
        while process.poll() is None:
            seen = max(seen, len(children.all()))
        self.assertEqual((process.returncode, seen), (0, 1))


@program.names_linux("pseudo-terminals")
class View(ShelfTest):
    """The table, as a terminal shows it."""
    HEADS = {40: "drive +done +errors", 60: "drive +done +rate +left +errors",
             80: "drive +test +done +rate +left +°C +errors", 200: "drive +test +done +rate +left +°C +errors"}

    def open(self, columns, rows=24, count=9, reflows=False):
        drives = ["sim:disk,sectors=4000000,serial=V%d,bad=9,%s" % (i, REAL_TIME) for i in range(count)]
        command = self.command("run", "read", *drives, "--out", self.out, "--jobs", "5")
        opened = terminal.Terminal(command, columns, rows, reflows=reflows)
        self.addCleanup(opened.close)
        opened.see("V4 .* 1$")
        return opened

    def assert_table(self, opened, columns, drives):
        rows = opened.screen.rows()
        head = next(i for i, row in enumerate(rows) if re.fullmatch(self.HEADS[columns], row))
        self.assertRegex(rows[head - 1], r"^\d.* %  5 under test  4 waiting  0 done")
        shown = rows[head + 1:]
        self.assertEqual([re.search(r"V\d", row)[0] for row in shown[:drives]], ["V%d" % i for i in range(drives)], rows)
        self.assertEqual(shown[drives:], [] if drives == 9 else ["and %d drives more" % (9 - drives)], rows)
        self.assertEqual((opened.screen.cut, opened.screen.gone, head), (0, [], 1), rows)

    def test_widths(self):
        for columns in (40, 80, 200):
            with self.subTest(columns=columns):
                self.assert_table(self.open(columns), columns, 9)

    def test_more_drives_than_rows(self):
        for rows, drives in ((12, 9), (11, 7), (7, 3)):
            with self.subTest(rows=rows):
                opened = self.open(80, 24)
                opened.resize(80, rows)
                opened.screen.gone = []
                opened.see_anew("under test")
                opened.see_anew("under test")
                self.assert_table(opened, 80, drives)

    def test_a_terminal_of_few_rows(self):
        opened = self.open(80, 24)
        opened.resize(80, 4)
        opened.see_anew("under test")
        opened.see_anew("under test")
        self.assertEqual(len([row for row in opened.screen.rows() if row]), 1)

    def test_resized_on_the_way(self):
        for reflows in (False, True):
            opened = self.open(200, reflows=reflows)
            for columns in (40, 200, 60, 80):
                opened.resize(columns)
                opened.see_anew("under test")
                opened.screen.cut = 0  # of rows that were on their way for the width before
                opened.see_anew("under test")
                self.assert_table(opened, columns, 9)

    def test_interrupted(self):
        opened = self.open(80)
        opened.type("\x03")
        self.assertEqual(opened.end(), 130)
        text = "\n".join(opened.screen.rows())
        self.assertIn("9 drives: 5 USERABORTED, 4 left out", text)
        self.assertNotIn("under test", text)


class Random(ShelfTest):
    """Six drives that are written to, and kills at any moment: no byte is lost."""
    parent = "/dev/shm" if os.path.isdir("/dev/shm") else None

    def test_kills_and_recoveries(self):
        drives = {program.loop_device(self, self.image_of("L%d" % i, 6 * MIB)): self.path("L%d" % i) for i in range(6)}
        before = {device: read(path) for device, path in drives.items()}
        confirmed = [word for device in drives for word in ("--confirm", device)]
        draw = random.Random(19)
        for number in range(int(os.environ.get("DRIVETEST_SHELF_KILLS", 4))):
            process, children = self.spawn("LinearPatternTest", drives, *confirmed)
            until(lambda children=children, process=process: len(children.all()) == 6 or process.poll() is not None)
            time.sleep(draw.uniform(0, 0.6))
            victims = list(children.all())
            if number % 3 != 1:
                process.kill()
            if number % 3 != 0:
                for victim in draw.sample(victims, draw.randint(1, len(victims)) if victims else 0):
                    with contextlib.suppress(ProcessLookupError):
                        os.kill(victim, signal.SIGKILL)
            process.communicate(timeout=120)
            until(lambda victims=victims: not any(os.path.exists("/proc/%d" % pid) for pid in victims))
            recovered = self.start("recover")
            self.assertEqual(recovered.returncode, 0, recovered.stdout + recovered.stderr)
            for device, data in before.items():
                self.assertTrue(read(drives[device]) == data, "%s after kill %d" % (device, number))


if __name__ == "__main__":
    unittest.main()
