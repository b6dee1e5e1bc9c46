"""What the program says of a drive: its bad and its slow sectors, in the summary, the list and the record."""

import json
import os
import unittest

import program

MIB = 1 << 20


class BadSectors(program.ProgramTest):
    def kept_records(self):
        folder = os.path.join(self.path("state"), "records")
        return [os.path.join(folder, name) for name in sorted(os.listdir(folder))] if os.path.isdir(folder) else []

    def test_are_listed_everywhere_alike(self):
        listed = self.path("bad.txt")
        run = self.run_test("sim:scsi,sectors=9000,bad=77+1000-3000,corrupt=500", "MaxErrors=0", options=["--bad-list", listed],
                            test="LinearReadCompareTest")
        self.assertEqual((run.status, run.coverage()), (1, "9000 = 6997 + 2003 + 0"))
        self.assertIn("  bad       77\n            500\n            1000-3000, 2001 sectors\n", run.out)
        with open(listed, encoding="utf-8") as lines:
            self.assertEqual([line.strip() for line in lines if line[0] != "#"],
                             ["77 1 unreadable", "500 1 wrongData", "1000-3000 2001 unreadable"])
        found = {(each["fault"], "read error" in each["words"]): each["ranges"] for each in run.extensions("badSectors")}
        self.assertEqual(found, {("wrongData", False): [[500, 500]], ("unreadable", True): [[77, 77], [1000, 3000]]})
        causes = {each.get("cause", "") for each in run.extensions("event") if each["key"] == "readSectorErr"}
        self.assertEqual(len(causes), 1, causes)
        parameters = run.artifacts()[1]["testRunArtifact"]["testRunStart"]["parameters"]
        self.assertEqual((parameters["StartRange"], parameters["IsolateFailedLBA"]), ("MIN", True))

    def test_two_hundred_thousand_fit_into_a_record(self):
        for name, bad in (("in a row", "100000-299999"), ("apart", "1-399999")):
            with self.subTest(name):
                given = ["NumberOfSeeks=200001", "XferSizeHinting=no"] if name == "apart" else []
                run = self.run_test("sim:disk,sectors=400002,bad=" + bad, *given)
                self.assertLess(os.path.getsize(self.record), 10 * MIB)
                joined = sum(event["count"] for event in run.extensions("events"))
                failed = run.extensions("coverage")[0]["failed"]
                self.assertEqual((joined + len(run.extensions("event")), failed >= 199999), (failed, True))
                self.assertEqual(run.extensions("result")[0]["errors"], failed)
        self.assertIn("these are the largest of 199999 ranges\n            all are in the record", run.out)

    def test_a_record_is_kept_unless_nobody_wants_it(self):
        self.assertEqual(self.start("run", "LinearReadTest", "sim:disk,sectors=99,serial=S 1/2").returncode, 0)
        kept, = self.kept_records()
        self.assertRegex(os.path.basename(kept), r"^\d{8}T\d{6}Z-S_1_2-LinearReadTest\.jsonl$")
        self.check_record(kept)
        self.start("run", "LinearReadTest", "sim:disk,sectors=99,serial=S 1/2")
        self.assertEqual(len(self.kept_records()), 2)
        self.start("run", "LinearReadTest", "sim:disk,sectors=99", "--no-record")
        self.run_test("sim:disk,sectors=99")  # it goes to the file that is named
        self.assertEqual(self.start("run", "LinearReadTest", "/dev/does-not-exist").returncode == 0, False)
        self.assertEqual(self.start("run", "CacheTest", "sim:disk").returncode, 2)  # not confirmed
        self.assertLessEqual(len(self.kept_records()), 3)
        os.chmod(os.path.dirname(kept), 0o777)
        run = self.start("run", "LinearReadTest", "sim:disk,sectors=99")
        self.assertEqual((run.returncode, "no record of this run is kept" in run.stdout), (0, True), run.stdout)

    def test_seeks_count_positions(self):
        run = self.run_test("sim:disk,sectors=10,bad-seek=3", test="FunnelSeekTest")
        self.assertEqual(run.extensions("coverage")[0]["unit"], "positions")
        self.assertIn("  positions 20 requested = 18 tested + 2 failed + 0 skipped\n  bad       3\n", run.out)


class Slowness(program.ProgramTest):
    def test_is_no_health(self):
        drive = "sim:disk,sectors=40960,slow=300-301:3000+9000-9001:2000"  # far above what a busy machine adds
        run = self.run_test(drive)
        self.assertEqual((run.status, run.result()), (0, "PASS"))
        self.assertIn("PASS - no error was found, but some transfers were far slower than the others\n", run.out)
        self.assertRegex(run.out, "  slow      \\d+ transfers took over 150 ms, 2 of them over 500 ms; the slowest:\n"
                                  " +3.\\d\\d s  read sectors 256 through 383\n +2.\\d\\d s  read sectors 8960 through 9087\n")
        for options, status in ((["--slow-ms", "1500"], 3), (["--slow-ms", "1500", "--slow-count", "1"], 3),
                                (["--slow-ms", "1500", "--slow-count", "2"], 0), (["--slow-ms", "9000"], 0)):
            with self.subTest(options):
                run = self.run_test(drive, options=options)
                self.assertEqual((run.status, run.result()), (status, "WARN" if status else "PASS"), run.out)

    def test_what_took_no_time_has_no_rate(self):
        run = self.run_test("sim:disk,sectors=40", test="ReadSpeedTest")
        self.assertIn("too short to measure", run.out)
        self.assertNotIn("inf", run.out.replace("info", ""))
        self.assertIn("inf MB/s", json.dumps(run.extensions("event")))


class Unrestored(program.ImageTest):
    def test_is_never_a_pass(self):
        drive = "sim:disk,gone-at=24,image=" + self.make_image(2 * MIB)
        run = self.write("LinearPatternTest", drive, "NumberOfPatterns=1")
        self.assertEqual((run.status, run.result()), (9, "FAIL"), run.out)
        self.assertIn("FAIL - not all data was put back\n", run.out)


if __name__ == "__main__":
    unittest.main()
