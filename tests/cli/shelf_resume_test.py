"""Shelves that break off, by a power cut or a stop, and are gone on with until all of their work is done."""

import collections
import contextlib
import fcntl
import glob
import json
import os
import random
import re
import signal
import subprocess
import time
import unittest
from unittest import mock

import program
from shelves import MIB, ShelfTest, read, until

SEED = int(os.environ.get("DRIVETEST_SEED", random.randrange(1 << 32)))
CUTS = int(os.environ.get("DRIVETEST_SHELF_CUTS", 6))
# What they start dies with it, at once: as in a power cut.
ALONE = ["unshare", "--pid", "--fork", "--kill-child", "--mount-proc"]
READ = '[[test]]\ntest = "read"\n'
# Where no drive here has a bad sector, which chance would have it find in one run of many.
SEEK = '[[test]]\ntest = "RandomSeekTest"\nparameters = { NumberOfSeeks = 20, StartRange = 1000, EndRange = 3000 }\n'
SLOW = "real-time,speed=20"


class Broken(ShelfTest):
    def plan(self, text):
        with open(self.path("plan.toml"), "w", encoding="utf-8") as file:
            file.write(text)
        return ["run", "--plan", "plan.toml", "--out", self.out]

    def go_on(self, *options):
        return self.start("resume", self.out, *options)

    def spawned(self, *words):
        return subprocess.Popen([*ALONE, *self.command(*words)], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                stderr=subprocess.STDOUT, text=True, cwd=self.folder, env={**os.environ, "LC_ALL": "C.UTF-8"})

    def cut(self, is_time, *words):
        """Kills all of it when it is time; whether that came before its end. What it said."""
        if os.geteuid() != 0:
            self.skipTest("killing all at once needs root")
        process = self.spawned(*words)
        while process.poll() is None and not is_time():
            time.sleep(0.002)
        process.kill()
        output = process.communicate(timeout=120)[0]
        until(lambda: not self.processes() and not self.held())
        return output, process.returncode in (-signal.SIGKILL, 128 + signal.SIGKILL)

    def processes(self):
        """Those that have to do with the folder, which the system may still be ending."""
        found = []
        for path in glob.glob("/proc/[0-9]*/cmdline"):
            with contextlib.suppress(OSError):
                if self.out.encode() in read(path):
                    found.append(path)
        return found

    def held(self):
        """Files that somebody writes to: a process that is being ended gives up its command line first."""
        for path in glob.glob(os.path.join(self.out, "*")):
            with open(path, "rb") as file:
                try:
                    fcntl.flock(file, fcntl.LOCK_SH | fcntl.LOCK_NB)
                except BlockingIOError:
                    return True
        return False

    def events(self, name="shelf.work"):
        """Of the file of the work, what each whole line tells."""
        try:
            lines = read(os.path.join(self.out, name)).split(b"\n")[:-1]
        except FileNotFoundError:
            return []
        return [next(iter(json.loads(line).items())) for line in lines]

    def has(self, count, kind):
        return lambda: sum(name == kind for name, _ in self.events()) >= count

    def rows(self, output):
        """Of the summary: drive, test, result, bad sectors."""
        self.assertIn("record\n", output)
        return re.findall(r"^  (\S.*?)  +(\S+)  +(\S.*?)  +(\S+)  ", output.split("record\n", 1)[1], re.M)

    def verdicts(self):
        """How often there is a record with a verdict, for each drive and test."""
        found = collections.Counter()
        for path in glob.glob(os.path.join(self.out, "*.jsonl")):
            text = read(path).decode()
            if '"status":"COMPLETE"' in text:
                self.check_record(path)
                found[re.search(r'"dutInfo":.*?"name":"([^"]*)"', text)[1], re.search(r'testStepStart":{"name":"(\w+)"', text)[1]] += 1
        return found


class Night(Broken):
    def drives(self):
        self.images = [self.image_of("I%d.img" % i, 3 * MIB) for i in range(2)]
        return ["sim:disk,serial=A1,sectors=30000,bad=77+29000-29003,%s" % SLOW, "sim:ata,serial=A2,sectors=20000,%s" % SLOW,
                "sim:scsi,serial=A3,sectors=9000", "sim:nvme,serial=A4,sectors=16000,bad=5,%s" % SLOW, *self.images]

    def test_all_of_it_once_whatever_cuts_it(self):
        generator = random.Random(SEED)
        plan = 'jobs = 3\nrepeats = 2\n' + "".join('[[drive]]\npath = "%s"\n' % path for path in self.drives()) + READ + SEEK
        whole = self.start(*self.plan(plan))
        self.assertEqual(whole.returncode, 1, whole.stdout + whole.stderr)
        expected, verdicts = self.rows(whole.stdout), self.verdicts()
        self.assertEqual((len(expected), len(verdicts), set(verdicts.values())), (24, 12, {2}))
        self.out = self.path("cut")
        words, cuts = self.plan(plan), 0
        while cuts < CUTS:
            wanted = len(self.events()) + generator.randrange(12)
            after = time.monotonic() + generator.choice((0, 0, 0.01, 0.1, 0.5))
            self.cut(lambda: len(self.events()) >= wanted and time.monotonic() > after, *words)
            if not self.events():  # before there was anything to go on with
                continue
            cuts += 1
            if generator.random() < 0.5:  # what was being written to the file
                with open(os.path.join(self.out, "shelf.work"), "ab") as file:
                    file.write(b'{"ended":{"drive":0,"run":1,"sta\0\0\0'[:generator.randrange(35)])
            words = ["resume", self.out, "--save-progress", "0"]
        ended = self.go_on()
        if "can be resumed" not in ended.stdout:  # else one of the others was not cut
            self.assertEqual((ended.returncode, self.rows(ended.stdout)), (1, expected), "seed %d\n%s" % (SEED, ended.stdout))
            told = [(drive, test, result) for drive, test, result, _ in self.overview()]
            self.assertEqual(told, [row[:3] for row in expected])
        self.assertEqual(self.verdicts(), verdicts, "seed %d" % SEED)
        again = self.go_on()
        self.assertEqual((again.returncode, again.stdout), (0, "no run of %s can be resumed\n" % self.out))
        self.assertEqual([name for name in os.listdir(self.out) if re.search(r"-\d-\d\.jsonl", name)], [])

    def test_what_is_left_is_listed_and_a_drive_that_is_gone_is_told(self):
        gone = self.image_of("gone.img")
        devices = ["sim:disk,serial=L1,sectors=4000,bad=7", gone, "sim:disk,serial=L2,sectors=40000,%s" % SLOW,
                   "sim:disk,serial=L3,sectors=4000"]
        self.cut(lambda: any(b'"progress"' in read(path) for path in glob.glob(self.out + "/*L2-read.jsonl")),
                 "run", "read", *devices, "--jobs", "1", "--save-progress", "0", "--out", self.out)
        before = {path: read(path) for path in glob.glob(self.out + "/*")}
        listed = self.go_on("--list")
        self.assertEqual(listed.returncode, 0, listed.stderr)
        ends = {told["drive"]: "done: " + ("FAIL" if told["status"] else "PASS") for kind, told in self.events() if kind == "ended"}
        states = [line.split("  ")[-1].strip() for line in listed.stdout.splitlines()]
        self.assertEqual(states[1:3] + states[4:], [ends.get(drive, "not started") for drive in (0, 1, 3)], listed.stdout)
        self.assertRegex(states[3], r"goes on behind [1-9]\d* of the drive's 40000 sectors")
        self.assertEqual({path: read(path) for path in glob.glob(self.out + "/*")}, before)
        ended = self.go_on()
        self.assertEqual((ended.returncode, [row[2] for row in self.rows(ended.stdout)]), (1, ["FAIL", "PASS", "PASS", "PASS"]))
        self.assertEqual(set(self.verdicts().values()), {1})

    def test_a_drive_that_is_not_there_or_another_one(self):
        """The others go on; when it is back, it does, too."""
        images = [self.image_of(name) for name in ("kept.img", "away.img", "grown.img")]
        self.cut(self.has(1, "started"), "run", "read", "sim:disk,serial=S1,sectors=90000,%s" % SLOW, *images, "--jobs", "1",
                 "--out", self.out)
        os.rename(images[1], self.path("elsewhere"))
        with open(images[2], "ab") as image:
            image.write(bytes(MIB))
        for changed, expected in ((self.path("elsewhere"), ["PASS", "PASS", "refused", "refused"]),
                                  (None, ["PASS", "PASS", "PASS", "PASS"])):
            self.assertEqual(self.go_on("--list").returncode, 3 if changed else 0)
            ended = self.go_on()
            self.assertEqual([row[2] for row in self.rows(ended.stdout)], expected, ended.stdout)
            self.assertEqual(ended.returncode, 6 if changed else 0)
            if changed:
                self.assertIn("its drive is not there", ended.stdout)
                self.assertIn("grown.img has another size now: 4096 sectors", ended.stdout)
                os.rename(changed, images[1])
                os.truncate(images[2], MIB)

    @program.names_linux("loop devices")
    def test_a_drive_that_is_found_elsewhere(self):
        image = self.image_of("moved.img", 2 * MIB)
        first = program.loop_device(self, image)
        self.cut(self.has(1, "started"), "run", "read", "sim:disk,serial=S1,sectors=90000,%s" % SLOW, first, "--jobs", "1",
                 "--out", self.out)
        program.detach(first)
        other = program.loop_device(self, self.image_of("other.img", 2 * MIB))  # which has its name now
        second = program.loop_device(self, image)
        self.assertEqual(other, first)
        ended = self.go_on()
        self.assertEqual(ended.returncode, 0, ended.stdout)
        self.assertEqual({device for device, _ in self.verdicts()}, {"sim:disk,serial=S1,sectors=90000,%s" % SLOW, second})


class Rules(Broken):
    def test_what_a_failure_holds_back_stays_so(self):
        drives = "".join('[[drive]]\npath = "sim:disk,serial=%s"\n' % keys for keys in (
            "BAD,sectors=4000,bad=7", "SLOW,sectors=60000,%s" % SLOW, "LAST,sectors=4000"))
        for action, expected in (("stop-drive", ["FAIL", "left out", "PASS", "PASS", "PASS", "PASS"]),
                                 ("go-on", ["FAIL", "PASS", "PASS", "PASS", "PASS", "PASS"])):
            with self.subTest(action):
                self.out = self.path(action)
                self.cut(lambda: any(kind == "ended" and told["drive"] == 0 and told["status"] == 1 for kind, told in self.events()),
                         *self.plan('on-failure = "%s"\njobs = 2\n' % action + drives + READ + SEEK))
                ended = self.go_on()
                self.assertEqual((ended.returncode, [row[2] for row in self.rows(ended.stdout)]), (1, expected), ended.stdout)
        self.out = self.path("stop-all")
        stopped = self.start(*self.plan('on-failure = "stop-all"\njobs = 2\n' + drives + READ + SEEK))
        self.assertEqual(stopped.returncode, 1)
        ended = self.go_on()
        self.assertEqual((ended.returncode, ended.stdout), (0, "no run of %s can be resumed\n" % self.out))

    def test_what_was_stopped_goes_on(self):
        process, _ = self.begin(*self.plan("".join('[[drive]]\npath = "sim:disk,serial=S%d,sectors=40000,%s"\n' % (i, SLOW)
                                                   for i in range(3)) + READ + SEEK), "--jobs", "2")
        until(self.has(2, "started"))
        busy = self.go_on()
        self.assertEqual(busy.returncode, 6)
        self.assertIn("shelf.work cannot be resumed: its shelf has not ended; wait for it, or stop it", busy.stdout)
        process.send_signal(signal.SIGINT)
        process.communicate(timeout=120)
        self.assertEqual(process.returncode, 130)
        ended = self.go_on("--jobs", "3")
        self.assertEqual((ended.returncode, [row[2] for row in self.rows(ended.stdout)]), (0, 6 * ["PASS"]), ended.stdout)

    def test_a_stop_before_the_processes_listen(self):
        """Which take long to be loaded."""
        with mock.patch.dict(os.environ, LD_BIND_NOW="1", LD_DEBUG="all", LD_DEBUG_OUTPUT=self.path("loaded")):
            process, _ = self.begin(*self.plan("".join('[[drive]]\npath = "sim:disk,serial=S%d,sectors=40000,%s"\n' % (i, SLOW)
                                                       for i in range(3)) + READ),
                                    "--jobs", "3")
        until(self.has(3, "started"))
        process.send_signal(signal.SIGINT)
        output = process.communicate(timeout=120)[0]
        self.assertEqual((process.returncode, [row[2] for row in self.rows(output)]), (130, 3 * ["USERABORTED"]), output)
        ended = self.go_on()
        self.assertEqual((ended.returncode, [row[2] for row in self.rows(ended.stdout)]), (0, 3 * ["PASS"]), ended.stdout)

    def test_what_writes_is_confirmed_anew(self):
        images = [self.image_of("W%d" % i, 2 * MIB) for i in range(2)]
        held = {image: read(image) for image in images}
        devices = ["sim:disk,serial=W%d,image=%s,%s" % (i, image, SLOW) for i, image in enumerate(images)]
        self.cut(self.has(1, "started"), "run", "pattern", *devices, "--confirm", "W0", "--confirm", "W1", "--jobs", "1",
                 "--out", self.out)
        self.assertNotIn(b"--confirm=", read(os.path.join(self.out, "shelf.work")))
        self.assertEqual(self.start("recover").returncode, 0)
        journals = ["--journal", self.journals]
        for confirmed, status, results in (([], 6, ["refused", "refused"]), (["W1"], 6, ["refused", "PASS"]),
                                           (["W0"], 0, ["PASS", "PASS"])):
            ended = self.go_on(*journals, *[word for serial in confirmed for word in ("--confirm", serial)])
            self.assertEqual((ended.returncode, [row[2] for row in self.rows(ended.stdout)]), (status, results), ended.stdout)
        self.assertTrue(all(read(image) == data for image, data in held.items()))

    def test_a_file_that_nobody_can_trust(self):
        self.assertEqual(self.shelf("read", ["sim:disk,serial=S1,sectors=1000", "sim:disk,serial=S2,sectors=1000"]).returncode, 0)
        path = os.path.join(self.out, "shelf.work")
        good = read(path)
        for bad, says in ((good.replace(b'"read"', b'"pattern"', 1), ":2: the line is damaged"), (b"", "broke off before anything was begun"),
                          (good[:200], "broke off before anything was begun"), (b"\xff\n\xff\n", ":1: the line is damaged")):
            with open(path, "wb") as file:
                file.write(bad)
            ended = self.go_on()
            self.assertEqual(ended.returncode, 6, ended.stdout)
            self.assertIn("shelf.work" + says if says[0] == ":" else says, ended.stdout)
        os.truncate(path, 0)
        self.assertEqual(self.shelf("read", ["sim:disk,serial=S1,sectors=1000"]).returncode, 0)  # once more, as it says
        self.assertEqual((self.go_on().returncode, self.go_on().stdout), (0, "no run of %s can be resumed\n" % self.out))


class Full(Broken):
    def test_nothing_starts_that_is_not_kept_and_what_runs_says_so(self):
        if os.geteuid() != 0:
            self.skipTest("mounting needs root")
        os.mkdir(self.out)
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=400k,mode=755", "drivetest", self.out], check=True)
        self.addCleanup(subprocess.run, ["umount", self.out], check=True)
        devices = ["sim:disk,serial=F0,sectors=60000,%s" % SLOW, *("sim:disk,serial=F%d" % i for i in range(1, 20))]
        process, _ = self.spawn("read", devices, "--jobs", "1")
        until(self.has(1, "started"))
        filler = os.path.join(self.out, "filler")
        with contextlib.suppress(OSError), open(filler, "wb", 0) as file:
            while True:
                file.write(bytes(4096))
        output = process.communicate(timeout=120)[0]
        self.assertEqual(process.returncode, 8, output)
        self.assertEqual(output.count("shelf.work cannot be written to: No space left on device; the tests go on"), 1, output)
        self.assertIn('No space left on device; "drivetest resume" may do some of it once more', output)
        started = self.shelf("read", devices)
        self.assertEqual((started.returncode, started.stdout), (2, ""))
        self.assertRegex(started.stderr, "shelf-2.work (cannot|could not) be .*No space left on device")
        self.assertEqual([name for name in os.listdir(self.out) if name.startswith("shelf-2")], [])


if __name__ == "__main__":
    unittest.main()
