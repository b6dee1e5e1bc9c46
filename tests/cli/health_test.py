"""What drives say of their health: around a run, by itself, and in their own tests."""

import os
import subprocess
import unittest

import program

BAD = "sim:ata,sectors=20000,bad=77+78+9000,serial=H1"


class Health(program.ProgramTest):
    def readings(self, outcome):
        return outcome.extensions("health")

    def test_is_told_before_and_after_a_run_beside_its_verdict(self):
        outcome = self.run_test(BAD)
        before, after = self.readings(outcome)
        self.assertEqual([(each["when"], each["source"], each["predictsFailure"]) for each in (before, after)],
                         [("before", "drive", False), ("after", "drive", False)])
        self.assertEqual((before["counters"]["pendingSectors"], after["counters"]["pendingSectors"]), (0, 3))
        self.assertEqual(len(after["attributes"]), 8)
        self.assertIn("warning: it became worse during the run: Sectors that wait to be reallocated: 0 -> 3", outcome.out)
        self.assertEqual(outcome.result(), "FAIL")

    def test_warns_and_leaves_the_verdict_as_it_is(self):
        for drive, warnings in (
                ("sim:ata,sectors=2000", []),
                ("sim:ata,sectors=2000,smart=failing",
                 ["the drive predicts that it will fail", "attribute 5 Reallocated_Sector_Ct is at 1, and its limit is 10"]),
                ("sim:ata,sectors=2000,hpa=48,dco=9",
                 ["48 sectors are hidden in a host protected area", "9 sectors are hidden by a device configuration"]),
                ("sim:scsi,sectors=2000,smart=failing", ["the drive predicts that it will fail"]),
                ("sim:nvme,sectors=2000,spare=3", ["the drive predicts that it will fail", "less spare left than it needs"])):
            outcome = self.run_test(drive)
            self.assertEqual((outcome.status, outcome.result()), (0, "PASS"), drive)
            self.assertEqual(outcome.out.count("warning: "), len(warnings), outcome.out)
            for warning in warnings:
                self.assertIn(warning, outcome.out)
            self.assertRegex(outcome.out, r"(?m)^  health .*38 °C$")

    def test_of_drives_that_tell_nothing_is_not_told(self):
        outcome = self.run_test("sim:disk,sectors=2000")
        self.assertEqual(self.readings(outcome), [])
        self.assertNotIn("health", outcome.out)
        shown = self.start("health", "sim:disk")
        self.assertEqual((shown.returncode, shown.stdout), (6, ""))
        self.assertIn("sim:disk tells nothing of its health", shown.stderr)

    def test_is_shown_by_itself(self):
        for drive, status, lines in (
                ("sim:ata,hours=12345,serial=S7", 0, ["Time under power", "12 345 h", "Reallocated_Sector_Ct", ", S7"]),
                ("sim:scsi,reallocated=4", 0, ["Reallocated sectors                     4"]),
                ("sim:nvme,wear=101", 2, []),
                ("sim:nvme,wear=90", 0, ["Endurance that is used                  90 %"]),
                ("sim:nvme,smart=failing", 3, ["the drive predicts that it will fail"]),
                ("/nonexistent", 2, [])):
            shown = self.start("health", drive)
            self.assertEqual(shown.returncode, status, shown.stderr)
            for line in lines:
                self.assertIn(line, shown.stdout.replace("\u202f", " "))

    def test_is_in_the_report(self):
        page = self.path("health.html")
        self.run_test(BAD, options=("--report", page))
        with open(page, encoding="utf-8") as file:
            text = file.read()
        self.assertIn('id="health"', text)
        self.assertIn("Reallocated_Sector_Ct", text)
        self.assertIn("Sectors that wait to be reallocated: 0 -&gt; 3", text)

    def test_is_compared_between_runs(self):
        self.run_test("sim:ata,sectors=2000,serial=C1")
        before = self.path("before.jsonl")
        os.rename(self.record, before)
        self.run_test("sim:ata,sectors=2000,serial=C1,reallocated=7")
        compared = self.start("compare", before, self.record)
        self.assertEqual(compared.returncode, 0, compared.stderr)
        self.assertIn("By the drive's own account it is worse: Reallocated sectors: 0 -> 7", compared.stdout)

    def test_drives_test_themselves(self):
        for drive, arguments, status, text in (
                ("sim:ata,sectors=2000", ["short"], 0, "self-test (short): passed"),
                ("sim:ata,sectors=2000", ["extended"], 0, "It expects to take 60 minutes"),
                ("sim:scsi,sectors=2000,bad=5", ["short"], 1, "self-test (short): failed, first bad sector 5"),
                ("sim:nvme,sectors=2000,bad=5", ["extended"], 1, "self-test (extended): failed, first bad sector 5"),
                ("sim:nvme", ["--abort"], 0, "was aborted"),
                ("sim:disk", ["short"], 6, "takes no commands by which it would test itself"),
                ("sim:ata", [], 2, "Give short or extended"),
                ("sim:ata", ["long"], 2, "short"),
                ("sim:ata", ["short", "--abort"], 2, "Give short or extended, or --abort")):
            outcome = self.start("selftest", drive, *arguments)
            self.assertEqual(outcome.returncode, status, (drive, arguments, outcome.stdout, outcome.stderr))
            self.assertIn(text, outcome.stdout + outcome.stderr)

    def test_a_stop_aborts_the_drives_own_test(self):
        process = subprocess.Popen(self.command("selftest", "sim:ata,real-time", "extended"), stdin=subprocess.DEVNULL,
                                   stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        self.addCleanup(process.stdout.close)
        self.assertIn("The drive tests itself (extended).", process.stdout.readline())
        self.assertIn("0 % done", process.stdout.readline())
        process.send_signal(program.STOP)
        out = process.stdout.read()
        self.assertEqual(process.wait(60), 130, out)
        self.assertIn("The drive's own test was aborted.", out)


if __name__ == "__main__":
    unittest.main()
