"""Reports made from records: what is refused, what is left behind, and several runs of one drive."""

import json
import os
import unittest

import program

DRIVE = "sim:disk,sectors=100000,serial=R1"


class Report(program.ProgramTest):
    def setUp(self):
        super().setUp()
        self.first = self.record_of(DRIVE, "first.jsonl")

    def record_of(self, device, name):
        self.record = self.path(name)
        self.run_test(device)
        return self.record

    def report(self, *arguments, status=0):
        before = sorted(os.listdir(self.folder))
        process = self.start("report", *arguments)
        self.assertEqual((process.returncode, process.stdout), (status, ""), process.stderr)
        if status != 0:
            self.assertEqual(len(process.stderr.splitlines()), 1, process.stderr)
            self.assertEqual(sorted(os.listdir(self.folder)), before)  # nothing half-written
        return process.stderr

    def page(self, name="report.html"):
        with open(self.path(name), encoding="utf-8") as file:
            return file.read()

    def edit(self, name, change):
        """A copy of the first record whose lines were changed."""
        with open(self.first, encoding="utf-8") as file:
            lines = change(file.readlines())
        with open(self.path(name), "w", encoding="utf-8") as file:
            file.writelines(lines)
        return self.path(name)

    def test_what_is_refused(self):
        image = self.path("image")
        with open(image, "wb") as file:
            file.write(bytes(4096))
        newer = self.edit("newer", lambda lines: [lines[0].replace('"major":2', '"major":3')] + lines[1:])
        damaged = self.edit("damaged", lambda lines: lines[:5] + ["{broken}\n"] + lines[5:])
        other = self.record_of("sim:disk,sectors=1000,serial=R2", "other.jsonl")
        taken = self.path("taken.html")
        with open(taken, "w", encoding="utf-8") as file:
            file.write("mine")
        output = self.path("out.html")
        for records, place, sentence in (
                ([image], output, "image:1: this is no record of a run"), ([newer], output, "newer:1: the record is of version 3.0"),
                ([damaged], output, "damaged:6: this line of the record is damaged"),
                ([self.path("none")], output, "none does not exist"), ([self.folder], output, "cannot be read"),
                ([self.first, other], output, "are of different drives"),
                ([self.first], taken, "holds something already"), ([self.first], self.first, "is the record itself"),
                ([self.first], self.folder, "it is no file"), ([self.first], self.path("no/such/place"), "its folder does not exist")):
            with self.subTest(sentence):
                self.assertIn(sentence, self.report(*records, "-o", place, status=2))
        with open(taken, encoding="utf-8") as file:
            self.assertEqual(file.read(), "mine")

    def test_replaces_only_when_told(self):
        self.report(self.first, "-o", self.path("report.html"))
        with open(self.path("report.html"), "a", encoding="utf-8") as file:
            file.write("of before")
        self.report(self.first, "-o", self.path("report.html"), "--force")
        self.assertNotIn("of before", self.page())
        self.assertTrue(self.page().endswith("</html>\n"))
        self.assertFalse(os.path.exists(self.path("report.html.part")))

    def test_compares_with_the_run_before(self):
        second = self.record_of(DRIVE.replace("serial", "bad=500-509+70000,serial"), "second.jsonl")
        self.report(second, self.first, "-o", self.path("report.html"))  # the order does not matter
        page = self.page()
        self.assertIn("11 sectors are bad that were not bad in the run before", page)
        self.assertIn("500-509, 70000", page)
        self.assertNotIn("was not found bad this time", page)

    def test_a_record_without_an_end(self):
        cut = self.edit("cut", lambda lines: lines[:4] + [lines[4][:50]])
        self.report(cut, "-o", self.path("report.html"))
        self.assertIn("breaks off before the end", self.page())

    def test_language(self):
        self.report(self.first, "-o", self.path("report.html"), "--lang", "de")
        self.assertIn('<html lang="de">', self.page())
        self.start("report", self.first, "-o", self.path("other.html"), environment={"LC_ALL": "pt_BR.UTF-8"})
        self.assertIn('<html lang="en">', self.page("other.html"))  # which its texts are in
        self.assertIn("Jeder der 100\u202f000 Sektoren wurde getestet", self.page())
        data = self.page().split('id="page-data">')[1].split("</script>")[0]
        self.assertEqual(json.loads(data)["decimalPoint"], ",")


if __name__ == "__main__":
    unittest.main()
