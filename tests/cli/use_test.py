"""Tests that read beside others that use the drive, and beside each other."""

import os
import signal
import subprocess
import time
import unittest

import program

HUGE = 1 << 40  # of a file without contents: reading it takes long


class Readers(program.ProgramTest):
    def setUp(self):
        super().setUp()
        self.image = self.path("drive.img")
        with open(self.image, "wb") as image:
            image.truncate(HUGE)

    def begin(self, test, device, *options):
        """Starts a run that goes on until it is stopped; returns when its test has begun."""
        record = self.path("begun.jsonl")
        process = subprocess.Popen(self.command("run", test, device, "--events", record, *options),
                                   stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
        end = time.monotonic() + 60
        while not os.path.exists(record) or os.path.getsize(record) < 300:
            self.assertLess(time.monotonic(), end)
            time.sleep(0.01)

        def stop():
            process.send_signal(signal.SIGINT)
            process.wait(60)
            os.remove(record)
            return process.returncode
        return stop

    def test_keep_writers_away_and_nobody_else(self):
        loop = self.path("loop.img")
        with open(loop, "wb") as image:
            image.truncate(HUGE)
        for device in (self.image, "sim:disk,image=" + self.image, program.loop_device(self, loop)):
            with self.subTest(device=device):
                stop = self.begin("LinearReadTest", device)
                second = self.run_test(device, "NumberOfSeeks=5")
                writer = self.start("run", "CacheTest", device, "--confirm", device)
                self.assertEqual((stop(), second.status, writer.returncode), (130, 0, 5), second.out)
                self.assertIn("such as a test that reads, keeps others from writing to it", writer.stderr + writer.stdout)

    def test_are_refused_while_a_test_writes(self):
        for device in (self.image, "sim:disk,image=" + self.image):
            with self.subTest(device=device):
                stop = self.begin("LinearPatternTest", device, "--confirm", device, "-p", "PreserveData=no")
                reader = self.start("run", "LinearReadTest", device, "-p", "NumberOfSeeks=5")
                self.assertEqual((stop(), reader.returncode, reader.stdout), (130, 5, ""))
                self.assertIn("such as a test that writes, has locked it: wait until it has ended", reader.stderr)

    @program.names_linux("counts of a drive's work")
    def test_leave_busy_drives_alone_where_that_is_asked_for(self):
        device = program.loop_device(self, self.image)
        options = ("-p", "NumberOfSeeks=5", "--max-load", "20")
        self.assertEqual(self.start("run", "RandomSeekTest", device, *options).returncode, 0)
        load = subprocess.Popen(["dd", "if=" + device, "of=/dev/null", "bs=1M", "iflag=direct"], stderr=subprocess.DEVNULL)
        self.addCleanup(lambda: (load.kill(), load.wait()))
        busy = self.start("run", "RandomSeekTest", device, *options)
        self.assertEqual((busy.returncode, busy.stdout), (5, ""))
        self.assertRegex(busy.stderr, "^drivetest: " + device + r" is busy for \d+ % of its time, and --max-load allows 20 %: ")
        self.assertEqual(self.start("run", "RandomSeekTest", device, "-p", "NumberOfSeeks=5").returncode, 0)
        unknown = self.start("run", "RandomSeekTest", self.image, *options)
        self.assertEqual(unknown.returncode, 0)
        self.assertIn("the system does not tell how busy %s is" % self.image, unknown.stdout)

    @program.names_linux("modes of files")
    def test_need_no_right_to_write(self):
        os.chmod(self.folder, 0o755)
        os.chmod(self.image, 0o444)
        nobody = {"user": 65534} if os.geteuid() == 0 else {}
        process = self.start("run", "LinearReadTest", self.image, "-p", "NumberOfSeeks=5", **nobody)
        self.assertEqual(process.returncode, 0, process.stderr)
        process = self.start("run", "LinearPatternTest", self.image, "--confirm", self.image, **nobody)
        self.assertEqual(process.returncode, 6, process.stderr)
        self.assertRegex(process.stderr, "cannot be taken for this test alone: Permission denied.*; nothing was written")

    @program.names_linux("mounts")
    def test_say_who_uses_the_drive(self):
        os.truncate(self.image, 20 << 20)
        device, folder = program.loop_device(self, self.image), self.path("mounted")
        subprocess.run(["/sbin/mkfs.ext4", "-Fq", device], check=True)
        os.mkdir(folder)
        subprocess.run(["mount", device, folder], check=True)
        self.addCleanup(subprocess.run, ["umount", folder], check=True)
        for given, user in ((device, "%s is mounted on %s" % (os.path.basename(device), folder)),
                            (self.image, "%s is attached to %s (which is mounted on %s)" % (self.image, device, folder))):
            run = self.run_test(given)
            self.assertEqual(run.status, 0)
            self.assertIn("note:    %s; reading does no harm, but rates may be lower\n" % user, run.out)


if __name__ == "__main__":
    unittest.main()
