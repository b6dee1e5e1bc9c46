"""The overview of many drives, as a browser shows it."""

import os
import unittest

import fleet_records
import pages
from pages import HOSTILE, LANGUAGES

DEVICE = "sim:ata,sectors=4000000,speed=200,serial=A1"
COLUMN = """(column => [...document.querySelectorAll("#drives tbody tr")].map(row => row.cells[column].textContent))(%d)"""
CLICK = "document.querySelectorAll('#drives thead button')[%d].click()"
BAD, DRIVE = 4, 0


class OverviewTest(pages.PageTest):
    def make_overview(self, language="en"):
        for name, more in (("good", ""), ("bad", ",bad=7"), ("worse", ",bad=7+100-111")):
            if not os.path.exists(self.path(name)):
                self.start("run", "LinearReadTest", DEVICE + more, "--events", self.path(name), "-q")
        folder = self.path("records")
        if not os.path.exists(folder):
            good, bad, worse = (fleet_records.Template(self.path(name)) for name in ("good", "bad", "worse"))
            for i in range(5):
                good.write(f"{folder}/{HOSTILE[:60].replace('/', '_')}/{i}.jsonl", f"G{i}", model=HOSTILE, firmware=HOSTILE, days=i,
                           rates={region: 0.5 for region in range(100, 120)} if i == 3 else None)
            for i, template in enumerate((good, bad, worse)):
                template.write(f"{folder}/{i}.jsonl", "W1", days=i)
            bad.write(f"{folder}/x.jsonl", "X1")
            with open(f"{folder}/{HOSTILE[:60].replace('/', '_')}.jsonl", "w", encoding="utf-8") as file:
                file.write("[]\n")
        path = self.path("overview.html")
        done = self.start("overview", folder, "-o", path, "--force", "--lang", language)
        self.assertEqual(done.returncode, 3, done.stderr)
        return path

    def test_fits_every_width_in_every_language(self):
        for language in LANGUAGES:
            page = self.page(self.make_overview(language))
            self.check_widths(page, language)
            self.assertEqual(page.complaints(), [], language)
            self.assertEqual(page.value("document.documentElement.lang"), language)
            self.assertEqual(page.value("document.querySelectorAll('img').length"), 0)
            page.look("dark", "print")
            self.assertEqual(page.value("getComputedStyle(document.body).backgroundColor"), "rgb(255, 255, 255)")

    def test_rows_are_sorted_by_any_column(self):
        page = self.page(self.make_overview())
        self.assertEqual(page.value(COLUMN % BAD)[:3], ["13", "1", "0"])
        for clicks, expected in ((1, ["13", "1", "0", "0", "0", "0", "0"]), (2, ["0", "0", "0", "0", "0", "1", "13"])):
            page.value(CLICK % BAD)
            self.assertEqual(page.value(COLUMN % BAD), expected, clicks)
        self.assertEqual(page.value("document.querySelectorAll('#drives thead th')[4].getAttribute('aria-sort')"), "ascending")
        page.value(CLICK % DRIVE)
        names = page.value(COLUMN % DRIVE)
        self.assertEqual(names[-2:], ["DriveTst Simulated ATA W1", "DriveTst Simulated ATA X1"])
        self.assertEqual(page.value("document.querySelectorAll('#drives [aria-sort]').length"), 1)

    def test_needs_no_script(self):
        page = self.page(self.make_overview(), scripts=False)
        text = page.value("document.body.innerText")
        for essential in ("FAIL", "W1", "Drives that got worse", "Slow regions", "380928-507903"):
            self.assertIn(essential, text)

    @pages.needs_axe
    def test_accessibility(self):
        self.check_accessibility(self.page(self.make_overview()), "overview")


if __name__ == "__main__":
    unittest.main()
