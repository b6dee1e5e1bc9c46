"""The undo journal of a run, and `drivetest recover`: what a killed run cannot put back is put back later."""

import glob
import os
import re
import shutil
import signal
import subprocess
import time
import unittest

import loops
import program

MIB = 1 << 20


def read(path, offset=0, size=-1):
    with open(path, "rb") as file:
        file.seek(offset)
        return file.read(size)


def put(path, offset, data):
    with open(path, "r+b") as file:
        file.seek(offset)
        file.write(data)


class RecoveryTest(program.ImageTest):
    parent = "/dev/shm" if os.path.isdir("/dev/shm") else None  # other work of the disk would upset the moments

    def spawn(self, *arguments):
        process = subprocess.Popen(self.command(*arguments), **dict.fromkeys(("stdin", "stdout", "stderr"), subprocess.DEVNULL))
        self.addCleanup(lambda: (process.kill(), process.wait()))
        return process

    def stop_when_it_has_written(self, device, *parameters):
        """A run that stands still (SIGSTOP) while the drive holds its patterns."""
        for _ in range(50):
            given = [word for parameter in parameters for word in ("-p", parameter)]
            process = self.spawn("run", "LinearPatternTest", device, "--confirm", device, *given)
            while process.poll() is None:
                os.kill(process.pid, signal.SIGSTOP)  # send_signal() would reap one that has ended
                os.waitid(os.P_PID, process.pid, os.WSTOPPED | os.WEXITED | os.WNOWAIT)
                if self.changed():
                    return process
                process.send_signal(signal.SIGCONT)
                time.sleep(0.0005)
        return self.fail("the drive never held patterns")

    def interrupt(self, device=None):
        """Leaves on a drive what a killed run does; gives the sectors and the journal."""
        process = self.stop_when_it_has_written(device or self.make_image(4 * MIB))
        process.kill()
        process.wait()
        return self.changed(), self.journal()

    def journal(self):
        return os.path.join(self.journals, *(name for name in os.listdir(self.journals) if name.endswith(".journal")))

    def recover(self, status, *arguments, says=()):
        process = self.start("recover", *arguments)
        output = process.stdout + process.stderr
        self.assertEqual(process.returncode, status, output)
        for text in [says] if isinstance(says, str) else says:
            self.assertIn(text, output)

    def left_alone(self, status, *arguments, says, also=()):
        """A recovery that must write to no drive and to no journal."""
        paths = [self.image, self.journal(), *also]
        before = [read(path) for path in paths], os.listdir(self.journals)
        self.recover(status, *arguments, says=says)
        self.assertTrue(([read(path) for path in paths], os.listdir(self.journals)) == before)


class PutBack(RecoveryTest):
    @program.names_linux("what it knows of loop devices")
    def test_the_drive_is_found_under_another_path(self):
        device = self.make_loop(4 * MIB)
        self.interrupt(device)
        other = shutil.copy(self.image, self.path("other.img"))
        loops.move(device, other)
        program.loop_device(self, self.image)
        held = read(other)
        self.recover(0)
        self.assertEqual((self.changed(), read(other) == held), ([], True))

    def test_until_then_the_drive_is_only_read(self):
        self.interrupt()
        before = self.contents()
        for test, *options in (("LinearPatternTest",), ("CacheTest", "--no-journal"), ("CacheTest", "-p", "PreserveData=no"),
                               ("ReadWriteSpeedTest", "--no-journal", "-p", "PreserveData=no")):
            with self.subTest(test=test, options=options):
                process = self.start("run", test, self.image, "--confirm", self.image, *options)
                self.assertEqual((process.returncode, self.contents() == before), (9, True))
                self.assertIn('put it back first, with "drivetest recover %s' % self.image, process.stderr)
        self.assertEqual(self.run_test(self.image).status, 0)
        self.left_alone(9, "--dry-run", says="would be restored")
        self.recover(0, says="all its data is on the drive again")
        self.assertEqual(self.changed(), [])
        for self.journals in (self.journals, self.path("none")):
            self.recover(0, "--dry-run", says="There is nothing to recover: %s holds no journals" % self.journals)
            self.recover(0, self.image, says="There is nothing to recover")
        self.assertEqual(self.write("LinearPatternTest", self.image, options=["--no-verify-restore"]).status, 0)


class NotPutBack(RecoveryTest):
    def test_what_others_wrote_since_is_left_alone(self):
        for folder, *options in ((self.journals,), (self.folder, "--export", self.folder)):
            with self.subTest(options=options):
                self.forget_journals()
                sectors, journal = self.interrupt()
                torn, first, theirs = sectors[0], sectors[len(sectors) // 2], os.urandom(3 * 512)
                put(self.image, torn * 512, self.original[torn * 512:torn * 512 + 99])  # the rest is of the pattern
                self.left_alone(9, "--dry-run", *options, says="were cut off while written")
                put(self.image, first * 512, theirs)
                held = self.contents()
                self.left_alone(9, "--dry-run", *options, says="would be left alone for the sake of these")
                self.recover(9, "--export", self.path("none"), says=("cannot be written", "is kept"))
                self.recover(9, *options, says=("sectors %d through %d hold something else" % (first, first + 2), "use --force"))
                self.assertTrue(self.contents() == held)
                stem = os.path.join(folder, os.path.basename(journal)[:-8])
                whole = read("%s-original-%d.bin" % (stem, sectors[0]))
                self.assertTrue(whole == self.original[sectors[0] * 512:][:len(whole)] and len(whole) >= 512 * len(sectors))
                self.recover(0, *options, "--force", says="held something else: overwritten, what they held is exported")
                self.assertEqual(self.changed(), [])
                found = {int(path[len(stem) + 7:-4]): read(path) for path in glob.glob(stem + "-found-*.bin")}
                self.assertIn(theirs, [data[(first - lba) * 512:][:len(theirs)] for lba, data in found.items() if lba <= first])

    def test_what_a_new_file_system_or_a_wiped_drive_holds_is_left_alone(self):
        """Both hold zeros where the test may have written some: what lies beside them tells."""
        for reuse in (lambda: subprocess.run(["/sbin/mkfs.ext4", "-Fq", self.image], check=True),
                      lambda: put(self.image, 0, bytes(len(self.original)))):
            self.forget_journals()
            process = self.stop_when_it_has_written(self.make_image(16 * MIB), "NumberOfPatterns=2")
            process.kill()
            process.wait()
            reuse()
            self.left_alone(9, says=("somebody has written to it since, or it is another drive", "use --force"))
            self.recover(0, "--force")
            self.assertEqual(self.changed()[:1] != [], True)  # only what the journal holds is back

    @program.names_linux("loop devices over each other")
    def test_other_drives_and_drives_in_use(self):
        self.interrupt()
        other = shutil.copy(self.image, self.path("other.img"))
        self.left_alone(9, other, says=("the journal is of another drive", "name the drive that it is of"), also=[other])
        lower = program.loop_device(self, self.image)
        self.left_alone(5, self.image, says="%s is attached to %s" % (self.image, lower))
        upper = program.loop_device(self, lower)
        self.left_alone(5, lower, says="is attached to " + upper)
        loops.detach(upper)
        self.recover(0, lower)
        self.assertEqual(self.changed(), [])

    def test_spoiled_journals(self):
        journal = self.interrupt()[1]
        good = read(journal)

        def damage(place, data):
            for copy in (0, 16384):  # of the header
                put(journal, copy + place, data)

        for spoil, reason in (
                (lambda: damage(20, b"\xff\xff"), "it does not fit its checksum"),
                (lambda: damage(8, b"\x7f"), "another version of the program"),
                (lambda: damage(0, b"holiday photos, 2019" * 256), "the file is no journal"),
                (lambda: put(journal, 0, bytes(len(good))), "all that it held is gone"),
                (lambda: os.truncate(journal, 0), "all that it held is gone"),
                (lambda: os.truncate(journal, len(good) // 2), "shorter than its header says"),
                (lambda: os.truncate(journal, 100), "shorter than a journal's header")):
            with self.subTest(reason=reason):
                os.truncate(journal, len(good))
                put(journal, 0, good)
                spoil()
                self.left_alone(9, says=(reason, "it is left as it is"))
        process = self.start("run", "LinearPatternTest", "sim:disk,serial=S1", "--confirm", "S1", "-p", "EndRange=9")
        self.assertEqual(process.returncode, 0)
        process = self.start("run", "CacheTest", self.image, "--confirm", self.image, "--no-journal")
        self.assertEqual(process.returncode, 9)
        self.assertIn("what the journal %s holds is not known" % program.native(journal), process.stderr)


class Runs(RecoveryTest):
    def test_two_at_once(self):
        device = self.make_loop(4 * MIB)
        first = self.stop_when_it_has_written(device)
        before = read(self.journal()), self.contents()
        for arguments in (["run", "CacheTest", device, "--confirm", device], ["recover"], ["recover", device]):
            process = self.start(*arguments)
            after = read(self.journal()), self.contents()
            self.assertEqual((process.returncode, after == before), (5, True), process.stdout + process.stderr)
        first.send_signal(signal.SIGCONT)
        self.assertEqual((first.wait(60), self.changed(), os.listdir(self.journals)), (0, [], []))

    def test_no_place_for_the_journal(self):
        image, tiny = self.make_image(4 * MIB), self.path("tiny")
        in_file = "is stored on" if program.WINDOWS else "cannot be searched for journals"
        cases = [(image + "/x", in_file), ("/proc/x", "%s(?: for journals)? could not be made" %
                                                                     re.escape(program.native("/proc/x")))]
        os.mkdir(tiny)
        if subprocess.run(["mount", "-t", "tmpfs", "-o", "size=1M,mode=700", "drivetest", tiny], check=False).returncode == 0:
            self.addCleanup(subprocess.run, ["umount", tiny], check=True)
            left = r"\d+" if program.WINDOWS else "1"  # Wine tells of the file system that its drive begins on
            cases.append((tiny, "MiB in %s, which has %s MiB left: make room there" % (re.escape(program.native(tiny)), left)))
        for self.journals, reason in cases:
            with self.subTest(folder=self.journals):
                process = self.start("run", "LinearPatternTest", image, "--confirm", image)
                expected = 2 if reason == "is stored on" else 6
                self.assertEqual((process.returncode, self.changed(), os.listdir(tiny)), (expected, [], []))
                self.assertRegex(process.stderr, reason + ".*nothing was written")

    def test_drives_that_do_not_take_their_data_back(self):
        plain = "sim:disk,serial=S1,image=" + self.make_image(4 * MIB)
        for fault, options, status, changed in (
                ("gone-at=5", [], 9, 128), ("gone-at=5", ["--no-journal"], 9, 128),
                ("bad-write=100", [], 1, 0), ("bad-write=100", ["--no-journal", "--no-verify-restore"], 1, 0),
                # What reads back wrong was saved wrong, too.
                ("corrupt=9", [], 9, 1), ("corrupt=9", ["--no-verify-restore"], 1, 1), ("corrupt=9", ["--no-journal"], 1, 1)):
            with self.subTest(fault=fault, options=options):
                self.make_image(0, (0, self.original))
                self.forget_journals()
                device = plain + "," + fault
                run = self.run_test(device, test="LinearPatternTest", options=["--confirm", "S1", *options])
                left = os.path.exists(self.journals) and os.listdir(self.journals) != []
                named = {"gone-at=5": [0, 127], "corrupt=9": [9, 9]}.get(fault) if status == 9 else None
                self.assertEqual((run.status, len(self.changed()), left), (status, changed, bool(named and not options)))
                self.assertEqual("does not read back as it was" in run.out, (fault, status) == ("corrupt=9", 9))
                self.assertEqual("may hold test patterns" in run.out, named is not None)
                self.assertEqual(run.extensions("unrestored"), [
                    {"ranges": [{"sector": named[0], "lastSector": named[1]}], "journal": program.native(self.journal()) if left else ""}]
                    if named else [])
                if left:
                    self.assertIn('%s: "drivetest recover %s' % (program.native(self.journal()), device), run.out)
                    for size in (5 * MIB, 4 * MIB - 512):
                        os.truncate(self.image, size)
                        self.left_alone(9, plain, says="the drive has another size than when the journal was written")
                    os.truncate(self.image, 4 * MIB)
                    put(self.image, size, self.original[size:])
                    self.recover(0, plain)
                    self.assertEqual(len(self.changed()), changed == 1)


if __name__ == "__main__":
    unittest.main()
