"""A drive that becomes hot rests and is told of, and its rates stay what they are."""

import json
import unittest

import program

# At 10 MB/s a run takes 146 seconds, and the drive goes towards 70 °C, two thirds of the way in a minute.
HEATING = "sim:ata,sectors=3000000,speed=10,temperature=30,heats=40:60"
SLOWER = HEATING.replace("3000000,speed=10", "600000,speed=1")
# It stays as it is.
HOT = "sim:nvme,sectors=3000000,speed=10,temperature=60"


class Heat(program.ProgramTest):
    def test_is_recorded_without_a_limit(self):
        outcome = self.run_test(HEATING)
        heat = outcome.extensions("temperature")[0]
        self.assertEqual((heat["lowest"], heat["rests"], heat["restedSeconds"]), (30, 0, 0))
        self.assertGreater(heat["highest"], 63)
        self.assertNotIn("limit", heat)
        self.assertEqual(self.run_test("sim:disk,sectors=1000").extensions("temperature"), [])

    def test_rests_are_no_part_of_a_rate(self):
        for test, rates in (("LinearReadTest", {"readRate": 10}), ("ReadSpeedTest", {"readRate": 10})):
            outcome = self.run_test(HEATING, test=test, options=("--max-temp", "55", "--report", self.path("report.html")))
            self.assertEqual((outcome.status, outcome.result()), (0, "PASS"), outcome.out)
            heat = outcome.extensions("temperature")[0]
            self.assertGreaterEqual(heat["rests"], 2)
            self.assertGreaterEqual(heat["restedSeconds"], heat["rests"] * 10)
            self.assertEqual(heat["limit"], 55)
            self.assertLessEqual(heat["highest"], 62)
            measured = {each["name"]: each["value"] for each in outcome.steps("measurement")}
            for name, rate in rates.items():
                self.assertAlmostEqual(measured[name], rate, delta=rate * 0.05, msg=test)
            self.assertEqual(outcome.out.count("°C are allowed: it rests"), heat["rests"])
            self.assertEqual(outcome.out.count("the test goes on after"), heat["rests"])
            self.assertRegex(outcome.out, r"(?m)^  rested +%d times, 0:.*, above 55 °C$" % heat["rests"])
            with open(self.path("report.html"), encoding="utf-8") as page:
                self.assertIn("%d to %d °C" % (heat["lowest"], heat["highest"]), page.read())
            program.os.remove(self.path("report.html"))

    def test_a_drive_that_does_not_cool_ends_the_run(self):
        outcome = self.run_test(HOT, options=("--max-temp", "40"))
        self.assertEqual((outcome.status, outcome.result(), outcome.end()), (6, "CANNOTRUN", "ERROR/NOT_APPLICABLE"))
        self.assertEqual([each["symptom"] for each in outcome.steps("error")], ["driveTooHot"])
        self.assertIn("the drive has 60 °C after an hour of rest, and 40 °C are allowed", outcome.out)
        self.assertEqual(outcome.extensions("temperature")[0]["restedSeconds"], 3600)

    def test_a_run_that_goes_on_tells_of_all_its_parts(self):
        whole = self.run_test(SLOWER, options=("--max-temp", "55", "--save-progress", "0")).extensions("temperature")[0]
        cut, record = self.cut_in_the_middle(), self.path("resumed.jsonl")
        ended = self.start("run", "--resume", cut, "--events", record, "--report", self.path("report.html"))
        self.assertEqual(ended.returncode, 0, ended.stdout + ended.stderr)
        self.check_record(record)
        with open(cut, encoding="utf-8") as first, open(record, encoding="utf-8") as both:
            before = json.loads(first.read().splitlines()[-1])["testStepArtifact"]["extension"]["content"]["temperature"]
            heat = [json.loads(line)["testStepArtifact"]["extension"]["content"] for line in both if '"name":"temperature"' in line][0]
        self.assertEqual((heat["lowest"], heat["limit"]), (whole["lowest"], 55))
        self.assertGreaterEqual(heat["highest"], before["highest"])
        self.assertEqual(heat["rests"], before["rests"] + ended.stdout.count("it rests"))
        self.assertGreater(heat["rests"], before["rests"])
        self.assertGreater(heat["restedSeconds"], before["restedSeconds"])
        self.assertRegex(ended.stdout, r"(?m)^  rested +%d times, 0:.*, above 55 °C$" % heat["rests"])
        with open(self.path("report.html"), encoding="utf-8") as page:
            self.assertIn("%d to %d °C" % (heat["lowest"], heat["highest"]), page.read())

    def cut_in_the_middle(self):
        """The record behind the first rest, as a run leaves it that was killed."""
        with open(self.record, "rb") as file:
            lines = file.read().splitlines(keepends=True)
        wanted = next(number for number, line in enumerate(lines) if b'"name":"progress"' in line and b'"rests":1' in line)
        with open(self.path("cut.jsonl"), "wb") as file:
            file.writelines(lines[:wanted + 1])
        return self.path("cut.jsonl")

    def test_a_run_that_was_too_hot_goes_on_with_another_limit(self):
        """It has 40 °C where it does nothing, so that it never cools to 38."""
        outcome = self.run_test(SLOWER.replace("=30", "=40"), options=("--max-temp", "43", "--save-progress", "0"))
        self.assertEqual((outcome.status, outcome.result()), (6, "CANNOTRUN"), outcome.out)
        for options, status in (((), 6), (("--max-temp", "90"), 0)):
            record = self.path("goes-on%d.jsonl" % status)
            ended = self.start("run", "--resume", self.record, "--events", record, *options)
            self.assertEqual(ended.returncode, status, ended.stdout + ended.stderr)
            self.check_record(record)
        with open(record, encoding="utf-8") as file:
            self.assertIn('"skipped":0', file.read())

    def test_what_cannot_be_watched_is_told(self):
        outcome = self.run_test("sim:disk,sectors=10000", options=("--max-temp", "40"))
        self.assertEqual(outcome.status, 0)
        self.assertIn("warning: the drive does not tell how warm it is: --max-temp has no effect", outcome.out)

    def test_a_dying_drive_is_read_on(self):
        outcome = self.run_test(HOT.replace("60", "90"), test="read", options=("--gentle",))
        self.assertEqual((outcome.status, outcome.result()), (0, "PASS"), outcome.out)
        self.assertIn("the drive has 90 °C after an hour of rest: the test goes on as it is", outcome.out)


if __name__ == "__main__":
    unittest.main()
