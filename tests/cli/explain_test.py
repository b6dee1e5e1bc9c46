"""What records say to somebody who reads none: one run, explained, and two runs of a drive, compared."""

import unittest

import program

DRIVE = "sim:ata,sectors=400000,serial=S1"


class RecordWords(program.ProgramTest):
    def recorded(self, name, device, *options, test="read", parameters=()):
        given = [word for each in parameters for word in ("-p", each)]
        confirmed = ["--confirm", "S1"] if test == "capacity" else []
        self.start("run", test, device, "--events", self.path(name), *given, *confirmed, *options)
        return self.path(name)

    def said(self, *arguments, status=0):
        process = self.start(*arguments)
        self.assertEqual((process.returncode, process.stderr), (status, ""), process.stdout)
        return process.stdout

    def test_a_run_is_explained_in_ten_lines_with_what_comes_next(self):
        for device, options, test, expected in (
                (DRIVE, (), "read", ("each of the 400\u202f000 sectors was tested and is good", "of itself: predicts no failure, 0 reallocated",
                                     "Next: nothing has to be done")),
                (DRIVE + ",bad=7+20-29", (), "read", ("11 sectors of the drive are bad", "first bad sector is LBA 7, the last LBA 29",
                                                      "Next: copy its data elsewhere while it still answers")),
                (DRIVE + ",smart=failing", (), "read", ("warning: the drive predicts that it will fail", "Next: copy its data elsewhere, and replace it")),
                (DRIVE + ",hpa=1000", (), "read", ("1000 sectors are hidden", "Next: see what it says of itself: drivetest health sim:ata")),
                (DRIVE + ",transient=100:1", (), "read", ("there is 1 warning.\nThe transfer of sectors 0 to 127 failed", "became worse during the run: Sectors that wait",
                                                         "Next: try another cable")),
                (DRIVE + ",gone-at=60", (), "read", ("there is no verdict", "Next: look at its cable, power and dock")),
                (DRIVE + ",real-sectors=100000", (), "capacity", ("holds less than it claims", "From sector 100000 on the drive repeats itself",
                                                                  "Next: copy away what it still holds")),
                (DRIVE, (), "capacity", ("the drive has the capacity that it claims",)),
                (DRIVE + ",speed=1", ("--max-time", "10"), "read", ("the rest is unknown", "Next: read all of it: drivetest run read sim:ata"))):
            with self.subTest(device=device, test=test):
                text = self.said("explain", self.recorded("record.jsonl", device, *options, "--force", test=test))
                for sentence in expected:
                    self.assertIn(sentence, text)
                self.assertLessEqual(len(text.splitlines()), 10, text)

    def test_a_check_is_explained_by_what_it_promises(self):
        self.start("check", "sim:disk,sectors=39000000000,speed=250", "--max-time", "20s", "--events", self.record)
        self.assertRegex(self.said("explain", self.record), "with 99 % certainty fewer than [0-9]+ of all areas are bad")

    def test_two_runs_are_compared(self):
        before = self.recorded("before", DRIVE + ",bad=7+20-29,speed=200,reallocated=3", parameters=["MaxErrors=0"])
        now = self.recorded("now", DRIVE + ",bad=7+25-31,slow=200000-200000:400,speed=200,reallocated=5")
        for first, second in ((before, now), (now, before)):  # the older one is found by its date
            text = self.said("compare", first, second, status=1)
            for sentence in ("2 sectors are bad that were not bad in the run before:\n  30-31",
                             "5 sectors were bad in the run before and were not found bad this time:\n  20-24",
                             "Sectors that became slow\n  199", "-> 40", "worse: Reallocated sectors: 3 -> 5"):
                self.assertIn(sentence, text)
        self.assertIn("No sector is bad that was not bad", self.said("compare", now, now))

    def test_records_that_cannot_be_compared_or_read(self):
        one, other = self.recorded("one", DRIVE), self.recorded("other", DRIVE.replace("S1", "S2"))
        with open(self.path("junk"), "w", encoding="utf-8") as file:
            file.write("no record\n")
        for arguments, sentence in ((("compare", one, other), "different drives"), (("explain", self.path("junk")), "junk"),
                                    (("explain", self.path("none")), "none"), (("compare", one), "")):
            process = self.start(*arguments)
            self.assertEqual((process.returncode, process.stdout), (2, ""), arguments)
            self.assertIn(sentence, process.stderr)


if __name__ == "__main__":
    unittest.main()
