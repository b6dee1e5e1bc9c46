"""Tests that write: what they leave behind, whom they ask first, and what they refuse to touch."""

import json
import os
import random
import signal
import struct
import subprocess
import time
import unittest

import loops
import program

MIB = 1 << 20
UNWATCHED = (0, 0x3A) if program.WINDOWS else ()  # how Wine ends what does not watch for Ctrl-C
WRITERS = ("LinearPatternTest", "CacheTest", "ReadWriteSpeedTest")
LUKS = (0, b"LUKS\xba\xbe\0\1")
BITLOCKER = ((0, b"\xeb\x58\x90-FVE-FS-"), (176, struct.pack("<Q", 4096)), (4096, b"-FVE-FS-"))


def partition_table(*partitions):
    """An MBR with (first sector, sectors) each."""
    entries = b"".join(struct.pack("<4xB3xII", 0x83, first, sectors) for first, sectors in partitions)
    return (446, entries.ljust(64, b"\0") + b"\x55\xaa")


class Contents(program.ImageTest):
    def test_every_byte_is_put_back(self):
        image = self.make_image(20 * MIB, partition_table((2048, 16384)))
        for device in (image, None):
            device = device or program.loop_device(self, image)  # only now: the file counts as in use then
            for test in WRITERS:
                with self.subTest(test=test, device=device):
                    run = self.write(test, device)
                    self.assertEqual((run.status, run.result(), self.changed()), (0, "PASS", []), run.out)
                    self.assertRegex(run.out, r"written +\d+\.\d MiB")

    def test_what_stays_when_nothing_is_preserved(self):
        image = self.make_image(20 * MIB + 512)
        cache_area = self.original[:4 * MIB + 512] + b"\x34\x12" * (128 * 256 * 256)
        for test, parameter, left in (("LinearPatternTest", "NumberOfPatterns=4", b"\x0f" * len(self.original)),
                                      ("LinearPatternTest", "OverridePattern=0xA5", b"\xa5" * len(self.original)),
                                      ("CacheTest", "IsolateFailedLBA=no", cache_area)):
            with self.subTest(test=test, parameter=parameter):
                self.make_image(0, (0, self.original))
                run = self.write(test, image, "PreserveData=no", parameter)
                self.assertEqual((run.status, self.contents() == left), (0, True))
                self.assertIn("WHAT IT HOLDS WILL BE LOST", run.out)
        self.make_image(20 * MIB)
        self.write("ReadWriteSpeedTest", image, "PreserveData=no", "WriteStartRange=9", "WriteEndRange=209")
        self.assertEqual(self.changed(), list(range(9, 209)))

    @program.names_linux("what its library knows of file systems")
    def test_shows_what_the_drive_holds(self):
        device = self.make_loop(20 * MIB, (0, bytes(20 * MIB)), partition_table((2048, 16384), (20480, 8192)))
        subprocess.run(["/sbin/mkfs.ext4", "-Fq", "-E", "offset=%d" % MIB, "-L", "old photos", self.image, "8M"], check=True)
        self.original = self.contents()
        run = self.write("LinearPatternTest", device)
        self.assertEqual((run.status, self.changed()), (0, []))
        self.assertEqual(run.out.splitlines()[:4], [
            "LinearPatternTest writes to %s: %s, 20.0 MiB" % (device, self.image), "  it holds partition table dos",
            '  it holds partition 1: ext4 "old photos", 8.0 MiB',
            "  it holds partition 2: nothing that is recognised, 4.0 MiB"])


class Stopping(program.ImageTest):
    MOMENTS = 17  # of each test
    parent = "/dev/shm" if os.path.isdir("/dev/shm") else None  # other work of the disk would upset the moments

    def test_a_signal_at_any_moment_costs_no_byte(self):
        seed = random.randrange(1 << 32)
        device = self.make_loop(34 * MIB)
        with self.subTest(seed=seed):
            self.stop_often(device, random.Random(seed))

    def stop_often(self, device, moments):
        statuses, records = [], []
        for test in WRITERS:
            began = time.monotonic()
            self.assertEqual(self.write(test, device).status, 0)
            duration = time.monotonic() - began
            for i in range(self.MOMENTS):
                after = moments.uniform(i, i + 1) / self.MOMENTS * duration
                number = moments.choice((signal.SIGINT, program.STOP))
                with self.subTest(test=test, signal=number, after=after):
                    statuses.append(self.stop([test, device, "--confirm", device], number, after, records))
                    # It was over before: something else had slowed the first run down.
                    duration = min(duration, after) if statuses[-1] == 0 else duration
        self.check_record(*records)
        self.assertGreater(statuses.count(130), len(statuses) // 3, statuses)

    def stop(self, arguments, number, after, records):
        """Runs a test, sends it the signal twice, as the impatient do, and gives its exit status."""
        record = self.path("record-%d" % len(records))
        process = subprocess.Popen(self.command("run", *arguments, "--events", record),
                                   stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
        time.sleep(after)
        process.send_signal(number)
        process.send_signal(number)
        status = process.wait(60)
        self.assertEqual(self.changed(), [])
        if status in (-number, 130, *UNWATCHED) and not os.path.exists(record):
            return -number  # before it watches for signals, or touches anything
        records.append(record)
        run = program.Outcome(process, record)
        expected = {130: ("USERABORTED", "SKIP/NOT_APPLICABLE"), 0: ("PASS", "COMPLETE/PASS")}.get(status, status)
        self.assertEqual((run.result(), run.end()), expected)
        return status


class Faults(program.ImageTest):
    def test_faults_while_writing(self):
        mismatch = "patternMismatchRange sector=%d end_sector=%d"
        lost = "cannotRestoreData TestName=PatternTest TestSector=%d EndSector=%d"
        read_failure = "errmsg=reading sectors 0 through 127 of %s failed: unrecovered read error at sector 100"
        cases = [  # test, faults, parameters, status, events, sectors changed
            ("LinearPatternTest", "corrupt=100", [], 9, [mismatch % (0, 128)] * 4, [100]),  # it was saved wrong, too
            ("CacheTest", "corrupt=8192", [], 9, [mismatch % (8192, 8448)] * 5, [8192]),
            ("LinearPatternTest", "bad-write=100", [], 1, ["writeSectorErr WriteSector=100"] * 4 + [lost % (100, 127)], []),
            ("CacheTest", "bad-write=9000", [], 1, ["writeSectorErr WriteSector=9000"] * 5 + [lost % (9000, 9215)], []),
            ("ReadWriteSpeedTest", "bad-write=100", [], 1,
             ["writeSectorRangeErr sector=0 lastSector=127", lost % (100, 40959)], []),
            ("LinearPatternTest", "bad=100", [], 1, ["cannotRdOrigRange sector=0 endsector=127"], []),
            ("ReadWriteSpeedTest", "transient=100:1", [], 3, ["nonCritical " + read_failure], []),
            ("LinearPatternTest", "transient=100:1", ["PreserveData=no", "EndRange=2560"], 3,
             ["isolationRecovered sector=0 lastSector=127 " + read_failure], list(range(2560))),
            ("ReadWriteSpeedTest", "wp", [], 6, ["writeProtectedMedia MediaName=Drive"], []),
            ("LinearPatternTest", "gone-at=2", [], 9, ["CannotAccessDevice"], []),  # whether it wrote is not known
            ("LinearPatternTest", "gone-at=5", [], 9, ["CannotAccessDevice"], list(range(128))),
        ]
        self.make_image(20 * MIB)
        for test, faults, parameters, status, events, changed in cases:
            with self.subTest(test=test, faults=faults):
                self.make_image(0, (0, self.original))
                self.forget_journals()
                device = "sim:disk,image=%s,%s" % (self.image, faults)
                run = self.write(test, device, *parameters)
                found = [event for event in run.events() if "SpeedInfo" not in event]
                self.assertEqual(found, [event.replace("%s", device) for event in events])
                self.assertEqual((run.status, self.changed()), (status, changed))

    def test_verifies_without_writing_or_asking(self):
        for byte, faults, status, events in (("a5", "", 0, set()), ("5a", "", 1, {"patternMismatchRange"}),
                                             ("a5", ",transient=100:1", 3, {"isolationRecovered"})):
            with self.subTest(byte=byte, faults=faults):
                device = "sim:disk,image=%s%s" % (self.make_image(MIB, filler=b"\xa5"), faults)
                run = self.run_test(device, "VerifyOnly=yes", "OverridePattern=" + byte, test="LinearPatternTest")
                self.assertEqual((run.status, self.changed(), "writes to" in run.out), (status, [], False))
                self.assertEqual({event.split()[0] for event in run.events()}, events)


class Confirmation(program.ImageTest):
    def test_only_the_right_word_lets_it_write(self):
        bare = "sim:disk,image=" + self.make_image(20 * MIB)
        named = bare + ",serial=S123"
        for device, confirm, sentence in (
                (bare, [], 'confirm that with --confirm "%s"; nothing was written' % bare),
                (named, [], 'confirm that with --confirm "S123"; nothing was written'),
                (bare, ["--confirm", "x"], '--confirm "x" does not name %s: type its path, "%s"' % (bare, bare)),
                (named, ["--confirm", named], 'type its serial number, "S123"'),
                (named, ["--confirm", "s123"], 'type its serial number, "S123"')):
            with self.subTest(device=device, confirm=confirm):
                process = self.start("run", "CacheTest", device, *confirm, "-p", "PreserveData=no", "--events", self.record)
                self.assertEqual((process.returncode, self.changed(), os.path.exists(self.record)), (2, [], False))
                self.assertIn(sentence, process.stderr)
        for device, confirm in ((named, "S123"), (bare, bare)):
            run = self.run_test(device, "PreserveData=no", options=["--confirm", confirm], test="CacheTest")
            self.assertEqual((run.status, len(self.changed())), (0, 32768))
            self.make_image(0, (0, self.original))

    def test_asks_at_a_terminal(self):
        device = "sim:disk,serial=S123,image=" + self.make_image(20 * MIB)
        prompt = 'Type its serial number, "S123", to go on; anything else leaves the drive as it is:'
        arguments = ["run", "CacheTest", device, "-p", "PreserveData=no"]
        for answer in ("\n", "S12\n", "y\n", device + "\n", "\x04", "\x03"):
            with self.subTest(answer=answer):
                status, seen = self.converse(arguments, [(prompt, answer)], columns=200)
                self.assertEqual((status, self.changed()), (130, []))
                self.assertIn("not confirmed; nothing was written to " + device, seen)
        self.assertEqual(self.converse([*arguments, "--no-prompt"], [])[0], 2)
        self.assertEqual(self.converse(arguments, [(prompt, "S123\n")], columns=200)[0], 0)
        self.assertEqual(len(self.changed()), 32768)

    @program.names_linux("its list of loop devices")
    def test_what_devices_lists_is_what_confirms(self):
        device = self.make_loop(20 * MIB)
        listed = {each["locator"]: each["confirm"] for each in json.loads(self.start("devices", "--json").stdout)}
        run = self.run_test(device, options=["--confirm", listed[device]], test="CacheTest")
        self.assertEqual((run.status, self.changed()), (0, []))


class Refusal(program.ImageTest):
    def refused(self, test, device, status, reason, advice):
        """No byte is changed, whether it was confirmed or not."""
        bare = self.start("run", test, device)
        run = self.write(test, device)
        self.assertEqual((bare.returncode, run.status, self.changed()), (status, status, []))
        for output in (bare.stderr, run.out):
            self.assertIn(reason, output)
            self.assertIn(advice, output)

    def test_encrypted_drives(self):
        inside = (partition_table((2048, 16384)), (MIB, LUKS[1]))
        advice = "tests that write leave alone what is encrypted: decrypt or wipe it first"
        for test, pieces, where, kind in (("LinearPatternTest", [LUKS], "", "crypto_LUKS"),
                                          ("CacheTest", BITLOCKER, "", "BitLocker"),
                                          ("ReadWriteSpeedTest", inside, "partition 1 of ", "crypto_LUKS")):
            self.make_image(20 * MIB, *pieces)
            for attach in (lambda image: image, lambda image: program.loop_device(self, image)):
                device = attach(self.image)
                with self.subTest(kind=kind, device=device):
                    self.refused(test, device, 6, "%s%s holds an encrypted volume (%s)" % (where, device, kind), advice)
            program.detach(device)
        self.refused("CacheTest", "sim:disk,encrypted", 6, "the simulated drive is encrypted", advice)

    def test_sectors_that_cannot_be_read(self):
        """One where a signature could be is refused, unless the user says so; others do not matter."""
        image = self.make_image(20 * MIB, partition_table((2048, 16384)))
        for bad, where in ((0, ""), (2048, "partition 1 of ")):
            device = "sim:disk,image=%s,bad=%d" % (image, bad)
            reason = "%s%s cannot be examined for encrypted volumes: sector %d cannot be read" % (where, device, bad)
            process = self.start("run", "LinearPatternTest", device, "--confirm", device)
            self.assertEqual((process.returncode, self.changed()), (6, []))
            self.assertIn(reason, process.stderr)
            self.assertIn("give --allow-unexamined beside --confirm", process.stderr)
            self.assertEqual(self.start("run", "LinearPatternTest", device, "--allow-unexamined").returncode, 2)
            run = self.write("LinearPatternTest", device, options=["--allow-unexamined"])
            self.assertEqual((run.status, run.result(), self.changed()), (1, "FAIL", []), run.out)
        last = len(self.original) // 512 - 1
        run = self.write("LinearPatternTest", "sim:disk,image=%s,bad=1+63+%d" % (image, last))
        self.assertEqual((run.status, run.result(), self.changed()), (1, "FAIL", []))

    @program.names_linux("loop devices over each other, and mounts")
    def test_drives_in_use(self):
        device, folder = self.make_loop(20 * MIB), self.path("mounted")
        name = os.path.basename(device)
        advice = "unmount it, switch swap off, stop what uses it, then try again"
        self.refused("LinearPatternTest", self.image, 5, "%s is attached to %s" % (self.image, device), advice)
        upper = program.loop_device(self, device)
        self.refused("CacheTest", device, 5, "%s is in use: %s is attached to %s" % (device, name, upper), advice)
        self.assertEqual(self.converse(["run", "CacheTest", device], [])[0], 5)  # without asking
        loops.detach(upper)
        subprocess.run(["/sbin/mkfs.ext4", "-Fq", device], check=True)
        self.original = self.contents()
        os.mkdir(folder)
        subprocess.run(["mount", "-o", "ro", device, folder], check=True)
        self.addCleanup(subprocess.run, ["umount", folder], check=True)
        self.refused("ReadWriteSpeedTest", device, 5, "%s is mounted on %s" % (name, folder), advice)


if __name__ == "__main__":
    unittest.main()
