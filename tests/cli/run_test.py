"""Runs that end in every verdict, on simulated drives, image files and loop devices."""

import os
import time
import unittest

import program


class Verdicts(program.ProgramTest):
    def test_finds_exactly_the_bad_sectors(self):
        run = self.run_test("sim:disk,sectors=1000000,bad=1234+5000-5003")
        self.assertEqual(run.status, 1)
        self.assertEqual(run.events(), ["readSectorErr ReadSector=%d" % lba for lba in (1234, 5000, 5001, 5002, 5003)])
        self.assertEqual(run.coverage(), "1000000 = 999995 + 5 + 0")
        self.assertEqual((run.result(), run.end()), ("FAIL", "COMPLETE/FAIL"))
        self.assertEqual([d["verdict"] for d in run.steps("diagnosis")], ["readSectorErr"] * 5)
        self.assertEqual(sum(cells for code, cells in run.extensions("surface")[0]["outcomes"] if code == 2), 5)
        self.assertIn("FAIL", run.out)
        self.assertIn("Sector 5003 cannot be read.", run.out)

    def test_every_outcome_has_its_status(self):
        drive = "sim:disk,sectors=100000"
        cases = [  # device, parameters, status, result, end, events, coverage
            (drive, [], 0, "PASS", "COMPLETE/PASS", [], "100000 = 100000 + 0 + 0"),
            (drive + ",gone-at=5", [], 6, "CANNOTRUN", "ERROR/NOT_APPLICABLE", ["CannotAccessDevice"],
             "100000 = 512 + 0 + 99488"),
            (drive + ",busy-at=1", [], 5, "DEVICEBUSY", "ERROR/NOT_APPLICABLE", ["deviceBusy"], "100000 = 0 + 0 + 100000"),
            (drive + ",bad=9,gone-at=20", [], 1, "FAIL", "COMPLETE/FAIL",
             ["readSectorErr ReadSector=9", "CannotAccessDevice"], "100000 = 15 + 1 + 99984"),
            (drive + ",bad=100-119", ["MaxErrors=3"], 1, "FAIL", "COMPLETE/FAIL",
             ["readSectorErr ReadSector=%d" % lba for lba in (100, 101, 102)] + ["hitMaxErr MaxError=3"],
             "100000 = 100 + 3 + 99897"),
            (drive + ",bad=130", ["IsolateFailedLBA=no"], 1, "FAIL", "COMPLETE/FAIL",
             ["readSectorRangeErr sector=128 lastSector=255"], "100000 = 99872 + 128 + 0"),
            (drive + ",bad=7", ["StartRange=MIN+8", "EndRange=50%"], 0, "PASS", "COMPLETE/PASS", [],
             "49992 = 49992 + 0 + 0"),
            (drive + ",removable,media=none", [], 4, "NOMEDIA", "ERROR/NOT_APPLICABLE", [], "0 = 0 + 0 + 0"),
        ]
        for device, parameters, status, result, end, events, coverage in cases:
            with self.subTest(device=device, parameters=parameters):
                run = self.run_test(device, *parameters)
                self.assertEqual((run.status, run.result(), run.end()), (status, result, end))
                self.assertEqual(run.events(), events)
                self.assertEqual(run.coverage(), coverage)

    def test_recovered_errors_warn(self):
        run = self.run_test("sim:disk,sectors=100000,transient=700:1", options=["--lang", "de-AT"])
        self.assertEqual((run.status, run.result(), run.end()), (3, "WARN", "COMPLETE/PASS"))
        (event,) = run.extensions("event")
        self.assertEqual((event["key"], event["type"]), ("isolationRecovered", "WARNING"))
        self.assertEqual((event["variables"]["sector"], event["variables"]["lastSector"]), (640, 767))
        self.assertIn("Sektor", event["message"])
        self.assertEqual(self.surface_and_reads(run), ([[1, 640], [3, 128], [1, 99232]], (909, 0, 1)))
        single = self.run_test("sim:disk,sectors=100,transient=70:2", "XferSizeHinting=false")
        self.assertEqual([e["key"] for e in single.extensions("event")], ["nonCritical"])
        self.assertEqual(self.surface_and_reads(single), ([[1, 70], [3, 1], [1, 29]], (99, 1, 0)))
        by_the_drive = self.run_test("sim:scsi,sectors=100,recovered=70", "XferSizeHinting=false",
                                     options=["--property", "__libDriveTest_AccessOrder=DriveTestSearchOrder:2"])
        self.assertEqual(self.surface_and_reads(by_the_drive), ([[1, 70], [3, 1], [1, 29]], (99, 1, 0)))

    def surface_and_reads(self, run):
        (reads,) = run.extensions("transfers")[0]["operations"]
        return run.extensions("surface")[0]["outcomes"], (reads["firstTry"], reads["recovered"], reads["failed"])

    def test_simulated_time_is_exact_and_costs_nothing(self):
        run = self.run_test("sim:disk,sectors=409600,speed=2")
        (rate,) = [m for m in run.steps("measurement") if m["name"] == "readRate"]
        self.assertAlmostEqual(rate["value"], 2.0, delta=0.02)
        slow = self.run_test("sim:disk,sectors=10000,slow=5000-5000:30000")
        self.assertGreaterEqual(slow.extensions("latency")[0]["operations"][0]["longestUs"], 30e6)

    def test_a_simulated_drive_takes_its_time_where_it_is_told_to(self):
        begun = time.monotonic()
        self.assertEqual(self.run_test("sim:disk,sectors=8,slow=0-7:300,real-time").status, 0)
        self.assertGreaterEqual(time.monotonic() - begun, 0.3)

    def test_a_drive_larger_than_any_file(self):
        run = self.run_test("sim:disk,sectors=1099511627776,bad=109951162770", "NumberOfSeeks=100")
        self.assertEqual((run.status, run.coverage()), (1, "100 = 99 + 1 + 0"))


class Files(program.ProgramTest):
    def make_image(self, sectors, tail=b""):
        path = self.path("drive.img")
        with open(path, "wb") as image:
            image.write(os.urandom(sectors * 512) + tail)
        return path

    def test_image_file_and_what_is_none(self):
        image = self.make_image(20001, tail=b"not a sector")
        run = self.run_test(image)
        self.assertEqual((run.status, run.coverage()), (0, "20001 = 20001 + 0 + 0"))
        self.make_image(0)
        empty = self.run_test(image)
        self.assertEqual((empty.status, empty.events()), (3, ["cannotGetTotalSectors"]))
        kinds = [(self.folder, "is a folder"), (self.path("none"), "cannot be opened: ")] if program.WINDOWS else [
            (self.folder, "is a directory"), (self.path("none"), "No such file or directory"),
            ("/dev/null", "neither a block device nor an image file")]
        for path, reason in kinds:
            with self.subTest(path=path):
                run = self.run_test(path)
                self.assertEqual((run.status, run.result()), (6, "CANNOTRUN"))
                self.assertEqual(run.events(), ["cannotOpenDeviceRemoved"])
                (error,) = run.steps("error")
                self.assertEqual(error["symptom"], "driveNotOpened")
                for text in (run.out, error["message"]):
                    self.assertIn(reason, text)
                    self.assertIn(path, text)

    def test_what_stops_a_test_is_told_apart(self):
        gone = self.run_test("sim:disk,sectors=100000,gone-at=5")
        self.assertEqual([e["symptom"] for e in gone.steps("error")], ["driveLost"])
        for text in (gone.out, gone.steps("error")[0]["message"]):
            self.assertIn("sim:disk,sectors=100000,gone-at=5 could be opened, and stopped taking commands", text)
        self.assertNotIn("cable", gone.out)

    def test_the_rest_of_a_file(self):
        image = self.make_image(20001, tail=bytes(100))
        written = self.start("run", "CacheTest", image, "--confirm", image)
        for text in (self.run_test(image).out, written.stdout):
            self.assertIn("the last 100 bytes are no whole sector and are not tested", text)
        os.truncate(image, 512 * 20000)
        self.assertNotIn("whole sector", self.run_test(image).out)

    def test_faults_over_an_image_file(self):
        run = self.run_test("sim:disk,image=%s,bad=0+19999" % self.make_image(20000))
        self.assertEqual(run.events(), ["readSectorErr ReadSector=0", "readSectorErr ReadSector=19999"])

    def test_loop_device(self):
        device = program.loop_device(self, self.make_image(3000))
        run = self.run_test(device)
        self.assertEqual((run.status, run.coverage()), (0, "3000 = 3000 + 0 + 0"))
        # The file shrinks behind the device: sectors that are not there any more are no pass.
        os.truncate(self.path("drive.img"), 512 * 2992)
        self.assertNotEqual(self.run_test(device).status, 0)

    def test_loop_device_that_vanishes_is_no_list_of_bad_sectors(self):
        device = program.loop_device(self, self.make_image(1000))
        program.detach(device)
        run = self.run_test(device)
        self.assertNotIn("readSectorErr", " ".join(run.events()))
        self.assertIn(run.result(), ("WARN", "CANNOTRUN"))


class Outputs(program.ProgramTest):
    def test_record_on_standard_output_is_nothing_else(self):
        process = self.start("run", "LinearReadTest", "sim:disk,sectors=1000,bad=1", "--events", "-")
        with open(self.record, "w", encoding="utf-8") as record:
            record.write(process.stdout)
        self.check_record(self.record)
        self.assertIn("Sector 1 cannot be read.", process.stderr)

    def test_log_goes_to_its_file_by_priority(self):
        log = self.path("log")
        for priority, expected in (("1", True), ("3", False)):
            self.start("run", "LinearReadTest", "sim:disk,sectors=1000", "--log", log, "--log-priority", priority, "--force")
            with open(log, encoding="utf-8") as lines:
                text = lines.read()
            self.assertEqual("1 libDriveTest.LinearReadTest: === LinearReadTest parameters ===" in text, expected)

    def test_runs_without_texts(self):
        name = "libDriveTest" + (".dll" if program.WINDOWS else ".so")
        module = self.path(name)
        os.symlink(os.path.join(os.path.dirname(program.PROGRAM), name), module)
        run = self.run_test("sim:disk,sectors=1000,bad=3", options=["--module", module])
        self.assertEqual(run.status, 1)
        self.assertIn("readSectorErr: ReadSector=3", run.out)
        self.assertIn("libDriveTest.qpk was not found", run.err)


if __name__ == "__main__":
    unittest.main()
