"""Runs the program as a user does, and reads its records. A program for Windows runs under Wine."""

import contextlib
import fcntl
import json
import os
import pty
import re
import select
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import termios
import time
import unittest

import loops

# Another build of it may be tested instead of the one beside the tests, such as the one that users get.
PROGRAM = os.environ.get("DRIVETEST_INSTEAD") or os.environ["DRIVETEST"]
CHECKER = os.environ["RECORD_CHECKER"]
WINDOWS = PROGRAM.endswith(".exe")
ROOT = "Z:/" if WINDOWS else "/"
STOP = signal.SIGINT if WINDOWS else signal.SIGTERM  # of those that ask for an end, one that Wine hands on
LAUNCHED = ["/usr/lib/wine/wine64", PROGRAM] if WINDOWS else [PROGRAM]
_physical_drives = {}  # name -> the loop device behind it


def names_linux(what):
    """Leaves a test, or all of a class, to the program for Linux: it is about something that only that has."""
    return unittest.skipIf(WINDOWS, "names a facility of Linux: " + what)


def native(path):
    """An absolute path as the program's system writes it."""
    return "Z:" + path.replace("/", "\\") if WINDOWS else path


class Outcome:
    """What one run of the program left behind."""

    def __init__(self, process, record_path):
        self.status = process.returncode
        self.out = process.stdout
        self.err = process.stderr
        self.record_path = record_path

    def artifacts(self):
        with open(self.record_path, encoding="utf-8") as lines:
            return [json.loads(line) for line in lines]

    def steps(self, kind):
        found = (a.get("testStepArtifact", {}) for a in self.artifacts())
        return [step[kind] for step in found if kind in step]

    def extensions(self, name):
        return [e["content"] for e in self.steps("extension") if e["name"] == name]

    def events(self):
        """key and variables of every event, such as "readSectorErr ReadSector=7"."""
        texts = []
        for event in self.extensions("event"):
            values = ["%s=%s" % item for item in event["variables"].items()]
            texts.append(" ".join([event["key"]] + values))
        return texts

    def coverage(self):
        c = self.extensions("coverage")[0]
        return "%(requested)d = %(tested)d + %(failed)d + %(skipped)d" % c

    def result(self):
        return self.extensions("result")[0]["result"]

    def end(self):
        last = self.artifacts()[-1]["testRunArtifact"]["testRunEnd"]
        return last["status"] + "/" + last["result"]


class ProgramTest(unittest.TestCase):
    maxDiff = None
    parent = None  # of the folder of each test; None is the usual place

    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="drivetest-", dir=self.parent)
        self.addCleanup(shutil.rmtree, self.folder)
        self.record = os.path.join(self.folder, "record.jsonl")
        self.journals = os.path.join(self.folder, "journals")
        os.environ["DRIVETEST_STATE"] = native(os.path.join(self.folder, "state"))  # the machine's own register is no test's
        os.environ["XDG_CONFIG_HOME"] = os.path.join(self.folder, "config")  # nor are the settings of whoever runs it

    def path(self, name):
        return os.path.join(self.folder, name)

    def command(self, *arguments):
        """The program with a folder of the test for undo journals, whoever runs it."""
        return [*LAUNCHED, *arguments, *(["--journal", self.journals] if arguments[:1] in (("run",), ("recover",)) else [])]

    def start(self, *arguments, environment=None, **options):
        env = {**os.environ, "LC_ALL": "C.UTF-8", **(environment or {})}
        return subprocess.run(self.command(*arguments), stdin=subprocess.DEVNULL, env=env, cwd=self.folder,
                              capture_output=True, text=True, timeout=120, check=False, **options)

    def run_test(self, device, *parameters, options=(), test="LinearReadTest"):
        """A run with a record, which must be valid."""
        if os.path.exists(self.record):
            os.remove(self.record)
        given = [word for parameter in parameters for word in ("-p", parameter)]
        process = self.start("run", test, device, *given, "--events", self.record, *options)
        self.check_record(self.record)
        return Outcome(process, self.record)

    def converse(self, arguments, exchanges, columns=300):
        """Runs the program on a wide terminal; for each (text, answer) waits for the text and types the answer,
        or what it gives."""
        if WINDOWS:
            self.skipTest("names a facility of Linux: pseudo-terminals")
        child, terminal = pty.fork()
        if child == 0:
            os.environ["LC_ALL"] = "C.UTF-8"
            os.execv(PROGRAM, self.command(*arguments))
        fcntl.ioctl(terminal, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
        seen, end = "", time.monotonic() + 60
        pending = list(exchanges)
        while time.monotonic() < end:
            if pending and pending[0][0] in seen:
                answer = pending.pop(0)[1]
                os.write(terminal, (answer() if callable(answer) else answer).encode())
            if not select.select([terminal], [], [], 0.1)[0]:
                continue
            try:
                chunk = os.read(terminal, 65536)
            except OSError:
                break
            if not chunk:
                break
            seen += chunk.decode("utf-8", "replace")
        else:
            os.kill(child, signal.SIGKILL)
        _, status = os.waitpid(child, 0)
        os.close(terminal)
        return os.waitstatus_to_exitcode(status), seen

    def check_record(self, *arguments):
        checked = subprocess.run([sys.executable, CHECKER, *arguments], capture_output=True, text=True, check=False)
        self.assertEqual(checked.returncode, 0, checked.stdout + checked.stderr)


class ImageTest(ProgramTest):
    """A drive's contents in a file, and what has become of them."""
    seen = None  # where they are looked at, when that is not the file

    def make_image(self, size, *pieces, filler=None):
        """A file of random bytes, or of one byte, with (offset, bytes) put into it."""
        self.image, self.seen = self.path("drive.img"), None
        with open(self.image, "wb") as image:
            image.write(os.urandom(size) if filler is None else filler * size)
            for offset, piece in pieces:
                image.seek(offset)
                image.write(piece)
        self.original = self.contents()
        return self.image

    def make_loop(self, size, *pieces):
        device = loop_device(self, self.make_image(size, *pieces))
        # Wine writes through the device's own cache.
        self.seen = _physical_drives.get(device)
        return device

    def contents(self):
        with open(self.seen or self.image, "rb") as image:
            return image.read()

    def forget_journals(self):
        """As somebody does who has no more use for what they hold."""
        for folder in (self.journals, self.path("state")):
            shutil.rmtree(folder, ignore_errors=True)

    def changed(self):
        """The sectors that are not as they were."""
        now = self.contents()
        self.assertEqual(len(now), len(self.original))
        if now == self.original:
            return []
        return [at // 512 for at in range(0, len(now), 512) if now[at:at + 512] != self.original[at:at + 512]]

    def write(self, test, device, *parameters, options=()):
        """A confirmed run on a drive without a serial number."""
        return self.run_test(device, *parameters, options=["--confirm", device, *options], test=test)


def signal_often(pid, times, is_over=lambda: False):
    """Each interrupt when the one before was taken: two that wait are one."""
    for _ in range(times):
        os.kill(pid, signal.SIGINT)
        end = time.monotonic() + 60
        while not is_over() and has_pending_signal(pid):
            if time.monotonic() > end:
                raise AssertionError("the signal was not taken")
            time.sleep(0.001)


def has_pending_signal(pid):
    try:
        with open("/proc/%d/status" % pid, encoding="ascii") as status:
            return any(int(line.split()[1], 16) != 0 for line in status if line.startswith("ShdPnd:"))
    except ProcessLookupError:
        return False


def loop_device(test, path):
    """Attaches a file to a loop device for the length of a test; skips the test where that cannot be done."""
    if os.geteuid() != 0:
        test.skipTest("loop devices need root")
    try:
        device = loops.attach(path)
    except OSError as error:
        test.skipTest("loop devices do not work here: %s" % error)
    test.addCleanup(loops.detach, device)
    return physical_drive(test, device) if WINDOWS else device


def physical_drive(test, device):
    """The name by which a program for Windows reaches a block device."""
    name = "PhysicalDrive%d" % (100 + int(re.sub(r"\D", "", device)))
    link = os.path.join(os.environ["WINEPREFIX"], "dosdevices", name.lower())
    with contextlib.suppress(FileNotFoundError):  # of an image that had the same device before
        os.remove(link)
    os.symlink(device, link)
    _physical_drives["\\\\.\\" + name] = device
    return "\\\\.\\" + name


def detach(device):
    """Ends what loop_device() gave before its test ends."""
    loops.detach(_physical_drives.get(device, device))
