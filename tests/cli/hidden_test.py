"""SCSI drives of 520, 528 and other bytes a sector, which no system shows as block devices, and such with protection
information: all tests of disks on the model, their faults exact, what they write put back to the byte."""

import re
import signal
import unittest

import program
from recover_test import RecoveryTest, read

SECTORS = 33000  # CacheTest wants 32768
SIZES = (520, 528)
READING = ["LinearReadTest", "LinearReadCompareTest", "ReadSpeedTest"]
SEEKING = ["LinearSeekTest", "RandomSeekTest", "FunnelSeekTest"]
WRITING = ["LinearPatternTest", "CacheTest", "ReadWriteSpeedTest"]


def locator(size, *keys):
    return ",".join(["sim:scsi", "sector-size=%d" % size, *keys])


def faults(run):
    """What was found bad: fault -> ranges."""
    return {bad["fault"]: bad["ranges"] for bad in run.extensions("badSectors") if bad["ranges"]}


class OddSectors(program.ImageTest):
    def test_good_drives_pass_all_tests_and_keep_every_byte(self):
        for size in SIZES:
            image = self.make_image(SECTORS * size)
            drive = locator(size, "image=" + image)
            for test in READING + SEEKING + WRITING:
                with self.subTest(size=size, test=test):
                    run = self.write(test, drive)
                    self.assertEqual((run.status, run.result(), faults(run)), (0, "PASS", {}), run.out + run.err)
                    (told,) = run.extensions("drive")
                    self.assertEqual([told[key] for key in ("method", "sectors", "sectorBytes")], ["scsi", SECTORS, size])
                    self.assertEqual(self.changed(), [])

    def test_faults_are_named_exactly(self):
        first, last = [0, 0], [SECTORS - 1, SECTORS - 1]
        at = "0+1234+5000-5003+%d" % (SECTORS - 1)
        bad = {"unreadable": [first, [1234, 1234], [5000, 5003], last]}
        cases = [  # test, faults of the drive, what is found
            ("LinearReadTest", "bad=" + at, bad), ("LinearReadCompareTest", "bad=" + at, bad),
            ("LinearReadCompareTest", "corrupt=777", {"wrongData": [[777, 777]]}),
            ("LinearPatternTest", "bad=" + at, bad), ("LinearPatternTest", "corrupt=777", {"wrongData": [[777, 777]]}),
            ("LinearPatternTest", "bad-write=4321", {"unwritable": [[4321, 4321]]}),
            ("CacheTest", "bad=20000", {"unreadable": [[20000, 20000]]}),
            ("LinearSeekTest", "bad-seek=" + at, {"unreachable": bad["unreadable"]})]
        for size in SIZES:
            for test, keys, expected in cases:
                with self.subTest(size=size, test=test, keys=keys):
                    run = self.write(test, locator(size, "sectors=%d" % SECTORS, keys))
                    self.assertEqual((run.status, run.result(), faults(run)), (1, "FAIL", expected), run.out + run.err)

    def test_rates_and_random_seeks_meet_their_faults(self):
        for size in SIZES:
            for test, fault, *parameters in [("ReadSpeedTest", "unreadable"), ("ReadWriteSpeedTest", "unreadable"),
                                             ("FunnelSeekTest", "unreachable"),
                                             ("RandomSeekTest", "unreachable", "StartRange=5000", "EndRange=5001")]:
                with self.subTest(size=size, test=test):
                    keys = "bad=5000" if fault == "unreadable" else "bad-seek=5000"
                    run = self.write(test, locator(size, "sectors=%d" % SECTORS, keys), *parameters)
                    self.assertEqual(run.status, 1, run.out + run.err)
                    self.assertEqual(list(faults(run)), [fault])
                    self.assertTrue(any(a <= 5000 <= b for a, b in faults(run)[fault]), faults(run))

    def test_any_size_from_512_to_4224_bytes(self):
        for size in (513, 514, 524, 1056, 2080, 4104, 4160, 4224):
            with self.subTest(size=size):
                image = self.make_image(3000 * size)
                drive = locator(size, "bad=2999", "image=" + image)
                run = self.write("LinearPatternTest", drive)
                self.assertEqual((run.result(), faults(run), self.changed()), ("FAIL", {"unreadable": [[2999, 2999]]}, []), run.err)

    def test_what_is_told_of_them(self):
        run = self.run_test(locator(520, "protection=1", "sectors=1000"))
        self.assertEqual(run.status, 0, run.err)
        self.assertIn("only SCSI commands reach it: its sectors have 520 bytes", run.out + run.err)
        self.assertIn("protection information of type 1", run.out + run.err)
        self.assertEqual(run.extensions("drive")[0]["protectionType"], 1)


class ProtectionInformation(program.ImageTest):
    def test_data_that_does_not_fit_it_is_unreadable(self):
        for protection in (1, 3):
            run = self.run_test(locator(520, "protection=%d" % protection, "sectors=1000", "corrupt=77"))
            self.assertEqual((run.result(), faults(run)), ("FAIL", {"unreadable": [[77, 77]]}), run.err)
            self.assertIn("logical block guard check failed", run.extensions("badSectors")[0]["words"])

    def test_what_cannot_be_handled_is_refused_before_anything_is_written(self):
        for keys, says in ((["protection=2"], "refuses the commands that leave it out"),
                           (["protection=1", "tags"], "they could not be put back")):
            with self.subTest(keys=keys):
                image = self.make_image(3000 * 520)
                drive = locator(520, *keys, "image=" + image)
                run = self.start("run", "LinearPatternTest", drive, "--confirm", drive, "--no-record")
                self.assertEqual(run.returncode, 6, run.stdout + run.stderr)
                self.assertIn(says, run.stdout + run.stderr)
                self.assertEqual(self.changed(), [])
        run = self.run_test(locator(520, "protection=2"))
        self.assertEqual((run.status, run.steps("error")[0]["symptom"]), (6, "driveNotOpened"), run.out)


class Kills(RecoveryTest):
    def test_a_killed_run_is_undone(self):
        for size in SIZES:
            with self.subTest(size=size):
                drive = locator(size, "image=" + self.make_image(8192 * size))
                process = self.stop_when_it_has_written(drive)
                process.send_signal(signal.SIGKILL)
                process.wait()
                self.assertNotEqual(self.changed(), [])
                self.recover(9, "--dry-run", drive, says="would be restored")
                again = self.start("run", "LinearPatternTest", drive, "--confirm", drive)
                self.assertEqual(again.returncode, 9, again.stderr)
                self.recover(0, drive, says="all its data is on the drive again")
                self.assertEqual(self.changed(), [])

    def test_a_sector_that_was_cut_off_is_told_from_a_foreign_one(self):
        size = 520
        drive = locator(size, "image=" + self.make_image(8192 * size))
        process = self.stop_when_it_has_written(drive)
        process.kill()
        process.wait()
        now, lba = self.contents(), None
        for lba in range(8192):
            if now[lba * size:(lba + 1) * size] != self.original[lba * size:(lba + 1) * size]:
                break
        torn = lba * size + 200  # written up to here, as it was from here on
        with open(self.image, "r+b") as image:
            image.seek(torn)
            image.write(self.original[torn:(lba + 1) * size])
        process = self.start("recover", drive)
        self.assertEqual(process.returncode, 0, process.stdout + process.stderr)
        self.assertRegex(process.stdout, re.compile("cut off while written"))
        self.assertTrue(read(self.image) == self.original)


if __name__ == "__main__":
    unittest.main()
