"""Several drives side by side, each tested by a process of its own: what becomes of one is no matter of the others."""

import contextlib
import glob
import os
import random
import shutil
import signal
import subprocess
import time
import unittest

import mounts
import program
from shelves import MIB, REAL_TIME, ShelfTest, read, until


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
        self.assertEqual(len(os.listdir(self.out)), 2 * (2 * 3 + 2))
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

    def test_a_system_that_has_room_for_a_few(self):
        """The others have their turn when one has ended."""
        devices = ["sim:disk,sectors=8000,serial=R%02d,%s" % (i, REAL_TIME) for i in range(20)]
        process = subprocess.run(["prlimit", "--nofile=20", *self.command("run", "read", *devices, "--out", self.out, "-q")],
                                 stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False)
        self.assertEqual((process.returncode, self.results(process.stdout)), (0, {"R%02d" % i: "PASS" for i in range(20)}), process.stderr)
        self.assertEqual(len(os.listdir(self.out)), 20 * 3 + 2)

    def test_another_drive_by_its_turn(self):
        """What was looked at, and confirmed, is not what its path leads to when the first one is through."""
        image, other = self.image_of("a.img"), self.image_of("b.img")
        before, device = read(other), "sim:disk,image=" + image
        first = "sim:disk,sectors=20000,serial=FIRST," + REAL_TIME
        process, _ = self.spawn("pattern", [first, device], "--jobs", "1", "--confirm", "FIRST", "--confirm", device)
        self.wait_for_test("FIRST")
        os.replace(other, image)
        output = process.communicate(timeout=120)[0]
        self.assertEqual((process.returncode, self.results(output)), (6, {"FIRST": "PASS", device: "not tested"}), output)
        self.assertIn(device + " is another drive now than when the run on several drives began", output)
        self.assertTrue(read(image) == before)
        self.assertEqual([name for name in os.listdir(self.journals) if name.endswith(".journal")], [])

    def test_the_folder_that_is_set(self):
        os.mkdir(self.path("config"))
        with open(self.path("config/drivetest.toml"), "w", encoding="utf-8") as file:
            file.write('records = "%s"\n' % self.path("kept"))
        process = self.start("run", "RandomSeekTest", "sim:disk,sectors=1000,serial=K0", "--jobs", "1", "-q")
        self.assertEqual((process.returncode, self.results(process.stdout)), (0, {"K0": "PASS"}), process.stderr)
        self.assertEqual(len(glob.glob(self.path("kept/*-drives-run/*"))), 5)


class Checked(ShelfTest):
    def test_several_drives(self):
        devices = ["sim:disk,sectors=100000,serial=GOOD", "sim:ata,sectors=100000,bad=0-60000,serial=BAD",
                   "sim:nvme,sectors=4000000000,speed=2000,serial=LARGE"]
        process = self.start("check", *devices, "--out", self.out, "--max-time", "20s", "--jobs", "2")
        self.assertEqual(process.returncode, 1, process.stdout + process.stderr)
        self.assertEqual(self.results(process.stdout), {"GOOD": "PASS", "BAD": "FAIL", "LARGE": "PASS"})
        self.assertEqual(len(os.listdir(self.out)), 3 * 3 + 2)
        page = read(os.path.join(self.out, "overview.html")).decode()
        self.assertEqual([page.count(cell) for cell in ('faulty">FAIL<', 'sound">PASS<', ">Drives<")], [1, 2, 1])
        self.check_records()
        refused = self.start("check", *devices, "--events", "x")
        self.assertEqual((refused.returncode, refused.stdout), (2, ""))
        self.assertIn("--events is for one drive alone", refused.stderr)


class Shared(ShelfTest):
    """Loop devices that the system shows behind one adapter, which carries less than one of them."""

    def attach(self, count):
        devices = []
        adapter, shown = self.path("0000:03:00.0"), self.path("shown")
        os.makedirs(shown)
        os.makedirs(adapter)
        for name, text in (("class", "0x010700"), ("current_link_speed", "0.1 GT/s PCIe"), ("current_link_width", "1")):
            with open(os.path.join(adapter, name), "w", encoding="ascii") as file:
                file.write(text + "\n")
        for name in os.listdir("/sys/class/block"):
            os.symlink(os.path.realpath("/sys/class/block/" + name), os.path.join(shown, name))
        for number in range(count):
            with open(self.path("L%d" % number), "wb") as image:
                image.truncate(64 << 30)
            devices.append(program.loop_device(self, self.path("L%d" % number)))
            name = os.path.basename(devices[-1])
            with contextlib.suppress(FileNotFoundError):
                os.remove(os.path.join(shown, name))
            os.makedirs(os.path.join(adapter, "host1", str(number)))
            os.makedirs(self.path("block/" + name))
            os.symlink(os.path.join(adapter, "host1", str(number)), self.path("block/%s/device" % name))
            os.symlink(self.path("block/" + name), os.path.join(shown, name))
        mounts.mount(self, shown, "/sys/class/block")
        return devices

    def test_what_was_decided_stands_in_each_record(self):
        devices = self.attach(3)
        process = self.start("check", *devices, "--max-time", "3s", "--out", self.out)
        self.assertEqual((process.returncode, self.results(process.stdout)), (0, dict.fromkeys(devices, "PASS")), process.stderr)
        sentence = "3 drives share SAS adapter 0000:03:00.0, which carries 8 MB/s: at most 1 of them at once"
        self.assertIn("note:    " + sentence, process.stdout)
        self.assertIn(sentence, read(os.path.join(self.out, "overview.html")).decode())
        self.check_records()
        for path in glob.glob(os.path.join(self.out, "*.jsonl")):
            told = program.Outcome(process, path).extensions("sharedLinks")
            self.assertEqual(len(told), 1)
            self.assertEqual([{key: value for key, value in link.items() if key != "measured"} for link in told[0]["links"]],
                             [{"name": "SAS adapter 0000:03:00.0", "drives": 3, "atOnce": 1, "waited": True, "megabytesPerSecond": 8}])
            self.assertGreater(told[0]["links"][0]["measured"], 8)
            self.assertIn(sentence, read(path.replace(".jsonl", ".html")).decode())


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

    def test_a_run_that_hears_no_stop(self):
        """Nobody waits for it as long as for one that merely makes no progress; the others are stopped as always."""
        process, children = self.spawn("read", ["sim:disk,sectors=600000,serial=%s,speed=20,real-time" % name for name in ("DEAF", "OTHER")])
        for name in ("DEAF", "OTHER"):
            self.wait_for_test(name)
        os.kill(children.of("DEAF"), signal.SIGSTOP)
        process.send_signal(signal.SIGINT)
        output = process.communicate(timeout=60)[0]
        self.assertEqual((process.returncode, self.results(output)), (130, {"DEAF": "hung", "OTHER": "USERABORTED"}), output)
        self.check_records(cut_off=("DEAF",))

    def test_one_after_the_other(self):
        devices = ["sim:disk,sectors=60000,serial=J%d,speed=100,real-time" % i for i in range(4)]
        process, children = self.spawn("read", devices, "--jobs", "1")
        seen = 0
        while process.poll() is None:
            seen = max(seen, len(children.all()))
        self.assertEqual((process.returncode, seen), (0, 1))


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
