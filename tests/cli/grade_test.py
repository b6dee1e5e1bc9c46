"""Grades: of thirty records, each with its reasons; of runs; and files of limits that are wrong."""

import json
import os
import pathlib
import unittest

import program

GOLDEN = pathlib.Path(__file__).with_name("grades.txt")  # written anew with APPROVE_GRADES=1
SECTORS = 1 << 30
REGIONS = 128
HEALTHY = {"reallocatedSectors": 0, "pendingSectors": 0, "uncorrectableSectors": 0, "crcErrors": 0, "mediaErrors": 0,
           "spareLeft": 100, "spareThreshold": 10, "wear": 3, "temperature": 31, "powerOnHours": 1200}


def regions(*slow, outer=200, inner=100):
    """Rates that fall from the outer tracks to the inner ones, but for pairs (region, MB/s)."""
    rates = [outer - (outer - inner) * i / (REGIONS - 1) for i in range(REGIONS)]
    for region, rate in slow:
        rates[region] = rate
    size = SECTORS // REGIONS * 512
    return {"regions": REGIONS, "sectorsPerRegion": SECTORS // REGIONS,
            "read": {"bytes": [size] * REGIONS, "us": [round(size / 1.048576 / rate) for rate in rates]}}


def record(result="PASS", tested=SECTORS, bad=(), fault="unreadable", slow=(0, 0), recovered=0, rates=None, before=HEALTHY,
           after=HEALTHY, predicts=False, ended=True, errors=(), more=()):
    """The lines of a record: a whole drive that was read without fault, but for what is said."""
    failed = sum(last - first + 1 for first, last in bad)
    extensions = [("drive", {"method": "block", "sectors": SECTORS, "sectorBytes": 512})]
    extensions += [("health", {"when": when, "source": "smartctl", "predictsFailure": predicts, "counters": counters})
                   for when, counters in (("before", before), ("after", after)) if counters is not None]
    extensions += [("regions", rates or regions())] if rates != "none" else []
    extensions += [("badSectors", {"fault": fault, "words": "", "ranges": bad})] if bad else []
    extensions += [("slowTransfers", {"over150ms": slow[0], "over500ms": slow[1], "slowest": []}),
                   ("transfers", {"operations": [{"operation": "read", "firstTry": 9, "recovered": recovered, "failed": failed}]}),
                   ("coverage", {"unit": "sectors", "requested": SECTORS, "tested": tested - failed, "failed": failed,
                                 "skipped": SECTORS - tested}),
                   ("result", {"result": result, "errors": failed, "warnings": 0}), *more]
    status, verdict = {"PASS": ("COMPLETE", "PASS"), "WARN": ("COMPLETE", "PASS"), "FAIL": ("COMPLETE", "FAIL"),
                       "USERABORTED": ("SKIP", "NOT_APPLICABLE")}.get(result, ("ERROR", "NOT_APPLICABLE"))
    drive = {"dutInfoId": "0", "name": "/dev/sdb", "softwareInfos": [],
             "hardwareInfos": [{"hardwareInfoId": "drive", "name": "Model", "serialNumber": "S1"}]}
    step = lambda **artifact: {"testStepArtifact": {"testStepId": "0", **artifact}}
    lines = [{"schemaVersion": {"major": 2, "minor": 0}},
             {"testRunArtifact": {"testRunStart": {"name": "drivetest", "version": "0.1.0", "commandLine": "drivetest run",
                                                   "parameters": {}, "dutInfo": drive}}},
             step(testStepStart={"name": "LinearReadTest"}),
             *(step(error={"symptom": symptom, "message": "it is gone"}) for symptom in errors),
             *(step(extension={"name": name, "content": content}) for name, content in extensions)]
    if ended:
        lines += [step(testStepEnd={"status": status}), {"testRunArtifact": {"testRunEnd": {"status": status, "result": verdict}}}]
    return [{**line, "sequenceNumber": i, "timestamp": "2026-11-23T04:00:00.000Z"} for i, line in enumerate(lines)]


def with_counters(**counters):
    return {**HEALTHY, **counters}


RECORDS = {
    "perfect": record(),
    "no health": record(before=None, after=None),
    "health before alone": record(after=None),
    "a disk tells no wear": record(before={"reallocatedSectors": 0}, after={"reallocatedSectors": 0}),
    "warned": record("WARN"),
    "one bad sector": record("FAIL", bad=[(7, 7)]),
    "bad to the limit of D": record("FAIL", bad=[(100, 115)]),
    "bad beyond D": record("FAIL", bad=[(100, 116)]),
    "bad beyond E": record("FAIL", bad=[(0, 1023), (5000, 5000)]),
    "wrong data": record("FAIL", bad=[(9, 9)], fault="wrongData"),
    "failed otherwise": record("FAIL"),
    "slow to the limit of A": record(slow=(10, 1)),
    "slow beyond A": record(slow=(11, 1)),
    "very slow beyond C": record(slow=(400, 101)),
    "recovered beyond C": record(recovered=51),
    "falls steeply": record(rates=regions(outer=250, inner=60)),
    "slow where it is slow anyway": record(rates=regions((120, 60))),
    "slow where it is fast otherwise": record(rates=regions((3, 60), (60, 120))),
    "a wide slow zone": record(rates=regions(*((i, 30) for i in range(40, 66)))),
    "not measured": record(rates="none"),
    "a sample": record(tested=SECTORS // 5000),
    "hardly anything": record(tested=4096, rates="none"),
    "predicts its failure": record(predicts=True),
    "reallocated and worn": record(before=with_counters(reallocatedSectors=40, wear=85), after=with_counters(reallocatedSectors=40, wear=85)),
    "got worse": record(after=with_counters(reallocatedSectors=3, pendingSectors=2, crcErrors=4)),
    "hot and old": record(before=with_counters(temperature=66, powerOnHours=40000), after=with_counters(temperature=52, powerOnHours=40002)),
    "spare blocks go": record(after=with_counters(spareLeft=49, mediaErrors=9)),
    "several": record("FAIL", bad=[(5, 6)], slow=(2000, 3), recovered=6, after=with_counters(pendingSectors=2)),
    "stopped": record("USERABORTED"),
    "could not run": record("CANNOTRUN", tested=0, rates="none"),
    "lost": record("CANNOTRUN", errors=["driveLost"]),
    "cut off": record(ended=False)[:-1],
    "nothing tested": record(tested=0, rates="none"),
}


class Grades(program.ProgramTest):
    def write(self, name, text):
        path = self.path(name)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        return path

    def write_record(self, name, lines):
        return self.write(name, "".join(json.dumps(line) + "\n" for line in lines))

    def test_of_thirty_records(self):
        seen = []
        for name, lines in RECORDS.items():
            path = self.write_record("record.jsonl", lines)
            self.check_record(*(["--partial"] if name == "cut off" else []), path)
            process = self.start("grade", path)
            self.assertEqual((process.returncode, process.stderr), (6 if "grade none" in process.stdout else 0, ""), name)
            seen += ["== " + name, *process.stdout.splitlines()]
        if "APPROVE_GRADES" in os.environ:
            GOLDEN.write_text("\n".join(seen) + "\n", encoding="utf-8")
        self.assertEqual(seen, GOLDEN.read_text(encoding="utf-8").splitlines())

    def test_several_make_a_table(self):
        names = ("perfect", "one bad sector", "stopped")
        paths = [self.write_record(name.replace(" ", "-") + ".jsonl", RECORDS[name]) for name in names]
        process = self.start("grade", *paths)
        self.assertEqual(process.returncode, 6)
        self.assertEqual([line.split()[:4] for line in process.stdout.splitlines()[1:]],
                         [["A", "perfect.jsonl", "Model", "S1"], ["D", "one-bad-sector.jsonl", "Model", "S1"],
                          ["-", "stopped.jsonl", "Model", "S1"]])

    def test_of_a_run_are_in_all_that_tells_of_it(self):
        report = self.path("report.html")
        outcome = self.run_test("sim:disk,sectors=9000,bad=7+8", options=("--grade", "default", "--report", report))
        self.assertEqual((outcome.status, outcome.result()), (1, "FAIL"))  # as without a grade
        grade, = outcome.extensions("grade")
        self.assertEqual((grade["file"], grade["grade"]), ("default", "D"))
        self.assertEqual({reason["limit"]: (reason["grade"], reason["found"], reason["allowed"]) for reason in grade["reasons"]},
                         {"result": ("D", 2, 1), "failed-sectors": ("D", 2, 0)})
        process = self.start("certificate", self.record, "-o", self.path("certificate.html"))
        self.assertEqual(process.returncode, 0, process.stderr)
        for page in (report, self.path("certificate.html")):
            with open(page, encoding="utf-8") as file:
                self.assertIn("D, by the limits of default", file.read())
        process = self.start("run", "read", "sim:disk,sectors=9000,bad=7+8", "--grade", "default", "--no-record")
        self.assertIn("D: Failed sectors: 2; grade C takes 0 at most.", process.stdout)
        self.assertEqual(self.start("grade", self.record).stdout.splitlines()[1:],
                         ["  " + reason["message"] for reason in grade["reasons"]] + ["  " + process.stdout.splitlines()[-2].strip()])

    def test_by_limits_of_ones_own(self):
        limits = self.write("own.toml", "[A]\nfailed-sectors = 1\n[B]\nfailed-sectors = 7\n")
        for bad, letter in (("7", "A"), ("7-9", "B"), ("7-20", "C")):
            outcome = self.run_test("sim:disk,sectors=9000,bad=" + bad, options=("--grade", limits))
            self.assertEqual(outcome.extensions("grade")[0]["grade"], letter)

    def test_the_programs_limits_are_a_file_to_begin_with(self):
        path = self.write("own.toml", self.start("grade", "--print-default").stdout)
        graded = self.write_record("record.jsonl", RECORDS["several"])
        default, own = (self.start("grade", graded, "--grade", limits).stdout for limits in ("default", path))
        self.assertEqual(own, default.replace("default", path))

    def test_bad_files_start_nothing(self):
        cases = (
            ("[A]\nfailed-sectors = \n", ":2:18: "),
            ("[A]\nfailed-sector = 1\n", ':2:1: there is no "failed-sector"; is it "failed-sectors"?'),
            ("[A]\n\n  wear-percent = 101\n", ":3:18: wear-percent wants a number from 0 to 100"),
            ("[A]\nfailed-sectors = -1\n", ":2:18: failed-sectors wants a whole number, 0 or more"),
            ("[A]\nfailed-sectors = 1.5\n", ":2:18: failed-sectors wants a whole number"),
            ("[A]\nfailed-sectors = nan\n", ":2:18: failed-sectors wants a whole number"),
            ("[A]\nfailed-sectors = \"few\"\n", ":2:18: failed-sectors wants a whole number"),
            ("[A]\nfailed-sectors = [1]\n", ":2:18: failed-sectors wants a whole number"),
            ("[A]\nresult = \"FINE\"\n", ':2:10: result wants "PASS", "WARN" or "FAIL"'),
            ("[A]\npredicts-failure = 0\n", ":2:20: predicts-failure wants true or false"),
            ("[A]\nwear-percent = 9\n[F]\nwear-percent = 9\n", ':3:2: there is no grade "F" that has limits'),
            ("wear-percent = 9\n", ":1:1: a limit stands below the grade"),
            ("[A]\nwear-percent = 9\n[B]\nwear-percent = 8\n", ":4:16: grade B is stricter here than grade A, which takes 9"),
            ("[A]\nwear-percent = 9\n[C]\nwear-percent = 10\n", ":4:16: grade C is stricter here than grade B, which has no"),
            ("[A]\nspare-percent = 9\n[B]\nspare-percent = 10\n", ":4:17: grade B is stricter here than grade A"),
            ("[A]\nwear-percent = 9\nwear-percent = 9\n", ":3:"),
            ("[A.B]\nwear-percent = 9\n", ':1:4: there is no "B"'),
            ("# nothing\n", " limits nothing"),
            ("[A]\nx = \"\xff\n", ":2:"),
            ("[A]\n" + "# long\n" * 50000, " is larger than"),
        )
        for text, sentence in cases:
            with self.subTest(text[:60]):
                limits = self.write("own.toml", text)
                for arguments in (("grade", "missing.jsonl"), ("run", "read", "sim:disk,sectors=99", "--events", self.record),
                                  ("check", "sim:disk,sectors=99", "--events", self.record)):
                    process = self.start(*arguments, "--grade", limits)
                    self.assertEqual((process.returncode, process.stdout), (2, ""))
                    self.assertTrue(process.stderr.startswith(f"drivetest: {limits}{sentence}"), process.stderr)
                    self.assertEqual(len(process.stderr.splitlines()), 1)
                self.assertFalse(os.path.exists(self.record))
        for arguments, sentence in ((("run", "read", "sim:disk", "--grade", "none.toml"), "none.toml does not exist"),
                                    (("grade",), "name a record"), (("grade", "/none"), "/none does not exist")):
            process = self.start(*arguments)
            self.assertEqual((process.returncode, process.stdout), (2, ""))
            self.assertIn(sentence, process.stderr)


if __name__ == "__main__":
    unittest.main()
