#!/usr/bin/python3
"""Kills runs by SIGKILL and resumes them, many times, and looks for a sector that is skipped, counted twice or not put back:
one run on simulated drives, images and loop devices, and six at once with all their processes.

DRIVETEST=build/dev/bin/drivetest RECORD_CHECKER=tests/record/check_record.py tests/campaign/resume_kills.py [TEST...];
DRIVETEST_RESUME_KILLS is how often each run is killed, and how many rounds there are of six at once; DRIVETEST_SEED repeats
it. Moments depend on the machine all the same. Loop devices and killing all at once need root.
"""

import collections
import os
import pathlib
import random
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

sys.dont_write_bytecode = True
sys.path.append(str(pathlib.Path(__file__).resolve().parent.parent / "cli"))
os.environ.setdefault("DRIVETEST_RESUME_KILLS", "60")

import loops  # noqa: E402
import program  # noqa: E402
import resume_runs  # noqa: E402
from resume_case import KILLS, MIB, SEED, Resume  # noqa: E402
from resume_test import Kills  # noqa: E402,F401

# What they start dies with it, at once: as in a power cut.
ALONE = ["unshare", "--pid", "--fork", "--kill-child", "--mount-proc", "sh", "-c", '"$@"; exit $?', "sh"]
DRIVES = 6
SIZE = 6 * MIB
QUIET = dict(stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)


@unittest.skipIf(os.geteuid() != 0, "loop devices need root")
class Loops(Resume):
    parent = "/dev/shm"

    def test_a_run_in_parts_on_a_loop_device(self):
        loop = self.make_loop(20 * MIB)
        recover = self.command("recover")
        for test, parameters in (("read", ()), ("compare", ()), ("read", ("SectorPercentToTest=37",)), ("pattern", ())):
            with self.subTest(test=test, parameters=parameters, seed=SEED):
                self.interrupt(test, loop, *parameters, between=lambda: subprocess.run(recover, check=True, capture_output=True))
                self.assertEqual(self.changed(), [])


class Shelf:
    """Six loop devices, and what is done to all of them at once."""

    def __init__(self, test, generator):
        self.test, self.random, self.tally = test, generator, collections.Counter()
        self.originals, self.images, self.drives = [], [], []
        for number in range(DRIVES):
            self.originals.append(os.urandom(SIZE))
            self.images.append(test.path("drive%d.img" % number))
            with open(self.images[-1], "wb") as image:
                image.write(self.originals[-1])
            self.drives.append(loops.attach(self.images[-1]))
            test.addCleanup(loops.detach, self.drives[-1])
        self.confirmed = [word for drive in self.drives for word in ("--confirm", drive)]
        self.duration = {}

    def command(self, *words):
        return [program.PROGRAM, *words, "--journal", self.test.journals]

    def begin(self, name, folder):
        confirmed = self.confirmed if name == "pattern" else []
        return self.command("run", name, *self.drives, *confirmed, "--save-progress", "0", "--out", folder)

    def resume(self, name, folder):
        return self.command("resume", folder, *(self.confirmed if name == "pattern" else []), "--save-progress", "0")

    def killed(self, command, duration, whole=True):
        """Whether a command was killed at some moment: all its processes, or only the first."""
        began = time.monotonic()
        with subprocess.Popen([*(ALONE if whole else []), *command], **QUIET) as process:
            try:
                # Half of it may be over before there is any progress.
                process.communicate(timeout=self.random.uniform(self.random.choice((0, 0.4, 0.6)) * duration, duration))
            except subprocess.TimeoutExpired:
                process.kill()
                process.communicate()
        was = process.returncode in (-signal.SIGKILL, 128 + signal.SIGKILL)
        self.tally["killed " + command[1] + (" with all" if whole else " alone")] += was
        self.wait_for_others(command)
        return was, time.monotonic() - began

    def wait_for_others(self, command):
        """Runs whose shelf is gone end by themselves."""
        end = time.monotonic() + 30
        while subprocess.run(["pgrep", "-f", "--", self.test.journals], capture_output=True, check=False).returncode == 0:
            self.test.assertLess(time.monotonic(), end, "a run goes on after %s" % command)
            time.sleep(0.02)

    def recover(self):
        self.killed(self.command("recover"), 0.05)
        end = time.monotonic() + 30
        while True:
            ended = subprocess.run(self.command("recover"), check=False, **QUIET)
            # A process that was killed gives its journal back a moment after it is gone.
            if "that is still running" not in ended.stdout or time.monotonic() > end:
                break
        self.test.assertEqual(ended.returncode, 0, ended.stdout)

    def check_bytes(self):
        for image, original in zip(self.images, self.originals):
            with open(image, "rb") as file:
                self.test.assertTrue(file.read() == original, "%s is not as it was" % image)

    def ended(self, folder):
        """Of each drive the account of its run that came to its end; there may be one only."""
        accounts = {}
        for record in sorted(pathlib.Path(folder).glob("*.jsonl")):
            account = resume_runs.account(record)
            if account["end"] and account["end"][0]["status"] == "COMPLETE":
                drive = resume_runs.lines_of(record)[1]["testRunArtifact"]["testRunStart"]["dutInfo"]["name"]
                self.test.assertNotIn(drive, accounts, "%s was tested twice" % drive)
                self.test.check_record(record)
                accounts[drive] = account
        return accounts


@unittest.skipIf(os.geteuid() != 0, "loop devices need root")
class Shelves(Resume):
    parent = "/dev/shm"

    def test_six_drives_at_once(self):
        shelf = Shelf(self, random.Random(SEED))
        whole = {name: self.whole_of(shelf, name) for name in ("pattern", "compare", "read")}
        for number in range(KILLS):
            name = shelf.random.choice(("pattern", "pattern", "compare", "read"))
            with self.subTest(round=number, test=name, seed=SEED):
                self.round(shelf, name, whole[name])
        print(dict(shelf.tally), flush=True)

    def whole_of(self, shelf, name):
        folder = self.path("whole-" + name)
        began = time.monotonic()
        ended = subprocess.run(shelf.begin(name, folder), check=False, **QUIET)
        self.assertEqual(ended.returncode, 0, ended.stdout)
        shelf.duration[name] = time.monotonic() - began
        shelf.check_bytes()
        accounts = shelf.ended(folder)
        self.assertEqual(sorted(accounts), sorted(shelf.drives))
        self.assertEqual(len({str(account) for account in accounts.values()}), DRIVES, "each account is of its drive")
        return accounts

    def round(self, shelf, name, whole):
        folder = tempfile.mkdtemp(dir=self.folder)
        shelf.killed(shelf.begin(name, folder), shelf.duration[name], shelf.random.random() < 0.7)
        self.settle(shelf)
        for _ in range(shelf.random.choice((0, 1, 1, 2))):
            shelf.killed(shelf.resume(name, folder), shelf.duration[name], shelf.random.random() < 0.7)
            self.settle(shelf)
        ended = subprocess.run(shelf.resume(name, folder), check=False, **QUIET)
        # A shelf that was killed before its work was on the disk has begun nothing.
        try:
            begun = (pathlib.Path(folder) / "shelf.work").read_bytes().count(b"\n") > DRIVES
        except FileNotFoundError:
            begun = False
        self.assertEqual(ended.returncode, 0 if begun or "can be resumed" in ended.stdout else 6, ended.stdout)
        shelf.check_bytes()
        accounts = shelf.ended(folder)
        self.assertEqual(sorted(accounts), sorted(shelf.drives) if begun else [], ended.stdout)
        for drive, account in accounts.items():
            self.assertEqual(resume_runs.differences(account, whole[drive]), [], drive)
        shelf.tally["shelves to their end" if begun else "shelves that began nothing"] += 1
        shutil.rmtree(folder)

    def settle(self, shelf):
        shelf.recover()
        shelf.check_bytes()


if __name__ == "__main__":
    print("seed %d" % SEED, flush=True)
    unittest.main()
