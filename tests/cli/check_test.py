"""What answers whether a drive is good: check, gentle reading, limited time, what it hands to other programs."""

import os
import re
import shutil
import subprocess
import unittest

import program

LARGE = "sim:disk,sectors=39000000000,speed=250"
REGION = "sim:disk,sectors=8000000,speed=250,bad=2000000-2999999,slow=2000000-2999999:3000"


class Check(program.ProgramTest):
    def check(self, device, *options):
        process = self.start("check", device, "--events", self.record, "--force", *options)
        self.check_record(self.record)
        return program.Outcome(process, self.record)

    def coverage(self, outcome):
        return outcome.extensions("coverage")[0]

    def test_says_what_its_sample_proves(self):
        good = self.check(LARGE, "--max-time", "20s")
        self.assertEqual((good.status, good.result(), good.err), (0, "PASS", ""))
        said = re.search(r"(\d+) of the 4760743 areas of 4 MiB .* with 99 % certainty fewer than (\d+) of all", good.out)
        self.assertTrue(said, good.out)
        self.assertTrue(300 < int(said[1]) < 1300 and 16000 < int(said[2]) < 80000, said[0])
        covered = self.coverage(good)
        self.assertEqual(covered["requested"], 39000000000)
        self.assertGreaterEqual(covered["tested"], 8192 * int(said[1]) * 99 // 100)
        bad = self.check(LARGE + ",bad=13000000000-26000000000", "--max-time", "20s")
        self.assertEqual((bad.status, bad.result()), (1, "FAIL"))
        self.assertRegex(bad.out, r"\d+ of the areas of 4 MiB that were looked at hold sectors that cannot be read")

    def test_reads_all_where_the_time_suffices(self):
        outcome = self.check("sim:disk,sectors=2000000,speed=250,bad=1999999")
        self.assertEqual((outcome.status, outcome.events()), (1, ["readSectorErr ReadSector=1999999"]))
        self.assertEqual([self.coverage(outcome)[each] for each in ("tested", "failed", "skipped")], [1999999, 1, 0])

    def test_times_and_tests_that_there_are_not(self):
        for arguments, sentence in ((("check", LARGE, "--max-time", "soon"), "--max-time"),
                                    (("run", "seek", LARGE, "--max-time", "1h"), "RandomSeekTest has no limit of time"),
                                    (("run", "cache", LARGE, "--gentle"), "CacheTest cannot be done gently"),
                                    (("run", "linearread", LARGE), 'is it "LinearReadTest"?'),
                                    (("run", "patern", LARGE), 'is it "pattern"?')):
            with self.subTest(arguments):
                process = self.start(*arguments)
                self.assertEqual((process.returncode, process.stdout), (2, ""))
                self.assertIn(sentence, process.stderr)

    def test_linear_tests_end_in_time_with_what_is_spread(self):
        for test, share in (("read", 0.25), ("LINEARREADCOMPARETEST", 0.125)):
            outcome = self.run_test("sim:disk,sectors=8000000,speed=100", test=test, options=("--max-time", "10"))
            self.assertEqual(outcome.status, 0, outcome.err)
            covered = self.coverage(outcome)
            self.assertAlmostEqual(covered["tested"] / covered["requested"], share, delta=share / 5)
            os.remove(self.record)


class Gentle(program.ProgramTest):
    def read(self, *options, status=1):
        path = self.path("map")
        outcome = self.run_test(REGION, test="read", options=("--gentle", "--max-time", "1h", "--export", "ddrescue", path, *options))
        self.assertEqual(outcome.status, status, outcome.err)
        with open(path, encoding="utf-8") as file:
            lines = [line.split() for line in file if not line.startswith("#")][1:]
        return outcome, [(int(position, 16), int(size, 16), kind) for position, size, kind in lines]

    def test_reads_what_is_good_around_a_region_of_bad_sectors(self):
        outcome, blocks = self.read()
        self.assertEqual(sum(size for _, size, _ in blocks), 8000000 * 512)
        rescued = sum(size for _, size, kind in blocks if kind == "+") // 512
        self.assertGreater(rescued, 6900000)  # of 7,000,000
        self.assertEqual(rescued, outcome.extensions("coverage")[0]["tested"])
        for position, size, kind in blocks:
            if kind == "+":
                self.assertFalse(position < 3000000 * 512 and position + size > 2000000 * 512)
        if shutil.which("ddrescuelog"):
            subprocess.run(["ddrescuelog", "--show-status", self.path("map")], check=True, stdout=subprocess.DEVNULL)

    def test_goes_on_where_a_map_ends(self):
        self.read()
        outcome = self.run_test(REGION, test="read", options=("--import", self.path("map"), "--max-time", "30s"))
        self.assertEqual(outcome.status, 1, outcome.err)
        covered = outcome.extensions("coverage")[0]
        self.assertTrue(1000000 <= covered["requested"] < 1100000, covered)
        self.assertLess(covered["tested"], 100000)
        with open(self.path("map"), "a", encoding="utf-8") as file:
            file.write("7 8 9\n")
        for path, sentence in ((self.path("map"), ": line "), (self.path("none"), "does not exist")):
            process = self.start("run", "read", REGION, "--import", path)
            self.assertEqual((process.returncode, process.stdout), (2, ""))
            self.assertIn(sentence, process.stderr)

    def test_bad_blocks_are_those_of_1024_bytes(self):
        path = self.path("blocks")
        outcome = self.run_test("sim:disk,sectors=5000,bad=9-12+4999", test="read", options=("--export", "badblocks", path))
        self.assertEqual(outcome.status, 1)
        with open(path, encoding="utf-8") as file:
            self.assertEqual(file.read(), "4\n5\n6\n2499\n")
        process = self.start("run", "read", "sim:disk", "--export", "zip", path)
        self.assertEqual(process.returncode, 2)
        self.assertIn("there are: ddrescue, badblocks", process.stderr)


if __name__ == "__main__":
    unittest.main()
