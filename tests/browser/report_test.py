"""The report, as a browser shows it."""

import json
import os
import re
import unittest

import pages
import records
from pages import HOSTILE, LANGUAGES, OVERFLOWING

BAD = (1234, 70000)
FAULTY = "sim:disk,sectors=100000,bad=1234+70000-70003,slow=50000-50010:300,serial=F1"

# Which square of the map holds a sector, and where its middle is, a pixel below its upper edge.
SQUARE = """(lba => {
  const map = document.getElementById("map"), data = JSON.parse(document.getElementById("map-data").textContent);
  const {size, columns, cellsPerSquare} = map.dataset;
  const square = Math.floor(lba / data.sectorsPerCell / cellsPerSquare);
  return {x: square % columns * size + Math.floor(size / 2), y: Math.floor(square / columns) * size + 1};
})"""
PIXEL = """(lba => {
  const {x, y} = %s(lba);
  return [...document.getElementById("map").getContext("2d").getImageData(x, y, 1, 1).data].slice(0, 3);
})""" % SQUARE
COLOUR = """(name => {
  const text = getComputedStyle(document.documentElement).getPropertyValue(name).trim();
  return [1, 3, 5].map(at => parseInt(text.slice(at, at + 2), 16));
})"""


class ReportTest(pages.PageTest):
    def report(self, *names, language="en"):
        return self.make("report", *names, language=language)

    def run_and_open(self, device, *parameters, **options):
        """What a run reports itself."""
        self.outcome = self.run_test(device, *parameters, options=("--report", self.path("run.html"), "--force"), **options)
        return self.page(self.path("run.html"))

    def test_run_and_record_make_the_same_page(self):
        self.run_and_open(FAULTY)
        parts = []
        for path in (self.path("run.html"), self.report(self.record)):
            with open(path, encoding="utf-8") as file:
                parts.append(re.search('<section id="drive".*(?=<section id="course")', file.read(), re.DOTALL)[0])
        self.assertEqual(*parts)

    def test_map_shows_what_is_bad(self):
        page = self.run_and_open(FAULTY)
        for scheme in ("light", "dark"):
            page.look(scheme)
            with self.subTest(scheme):
                failed, good = page.value(f"{COLOUR}('--failed')"), page.value(f"{COLOUR}('--good')")
                self.assertNotEqual(failed, good)
                for lba in BAD:
                    self.assertEqual(page.value(f"{PIXEL}({lba})"), failed)
                self.assertEqual(page.value(f"{PIXEL}(20000)"), good)
        self.assertEqual(page.complaints(), [])

    def test_bad_wins_where_cells_become_one_square(self):
        path = self.path("large.jsonl")
        records.write(path, records.large(100000, 0, [77777]))
        page = self.page(self.report(path), width=360)
        self.assertGreater(int(page.value("document.getElementById('map').dataset.cellsPerSquare")), 1)
        self.assertEqual(page.value(f"{PIXEL}({77777 * 2048})"), page.value(f"{COLOUR}('--failed')"))

    def test_pointer_and_keys_tell_of_a_cell(self):
        page = self.run_and_open(FAULTY)
        page.value("document.getElementById('map').scrollIntoView()")
        at = page.value(f"""(() => {{ const box = document.getElementById("map").getBoundingClientRect();
            const {{x, y}} = {SQUARE}(1234); return [box.left + x, box.top + y]; }})()""")
        page.point(*at)
        told = page.value("document.getElementById('map-told').textContent")
        first, last = map(int, told.split(":")[0].split()[1].split("-"))
        self.assertTrue(first <= 1234 <= last and last - first < 64, told)
        self.assertIn("failed", told)
        page.value("document.getElementById('map').focus()")
        for kind in ("keyDown", "keyUp"):
            page.call("Input.dispatchKeyEvent", type=kind, key="ArrowRight", code="ArrowRight", windowsVirtualKeyCode=39)
        beside = page.value("document.getElementById('map-told').textContent")
        self.assertTrue(beside.startswith(f"Sectors {last + 1}-"), beside)
        self.assertIn("good", beside)

    def test_slowest_transfers_can_be_shown_instead(self):
        page = self.run_and_open(FAULTY)
        page.value("document.querySelector('[data-view=slowest]').click()")
        self.assertEqual(page.value(f"{PIXEL}(1234)"), page.value(f"{COLOUR}('--failed')"))
        slow, usual = page.value(f"{PIXEL}(50005)"), page.value(f"{PIXEL}(20000)")
        self.assertLess(sum(slow), sum(usual))  # the slower the darker
        slowest = re.search(r"(\d+)\sms$", page.value("document.getElementById('map-scale').textContent"))
        self.assertTrue(285 <= int(slowest[1]) <= 400, slowest[0])  # records and pages keep it to a quarter and a twentieth

    def test_figures_are_those_of_the_record(self):
        page = self.run_and_open(FAULTY)
        reads = self.outcome.extensions("latency")[0]["operations"][0]
        counts = page.value("[...document.querySelectorAll('.histogram td.number')].map(each => each.textContent.replace(/\\D/g, ''))")
        self.assertEqual(sum(map(int, counts)), reads["count"])
        marks = page.value("[...document.querySelectorAll('.marks')].map(each => each.textContent).join(' ')").split()
        self.assertEqual(marks, ["p50", "p99", "p99.9", "max"])
        points = json.loads(page.value("document.getElementById('curve-data').textContent"))["points"]
        shown = page.value("(curve => [...Array(curve.numRows()).keys()].map(row => curve.getValue(row, 1)))(document.getElementById('curve').curve)")
        self.assertEqual(shown, [point[1] for point in points])
        self.assertGreater(sum(rate is not None for rate in shown), 100)
        listed = page.value("document.getElementById('bad-list').textContent").split("\n")
        self.assertEqual([line for line in listed if line], ["1234 1 unreadable", "70000-70003 4 unreadable"])

    def kinds(self):
        """A report of each kind: (name, path)."""
        image = self.path(HOSTILE)
        with open(image, "wb") as file:
            file.truncate(1 << 20)
        for name, device, test in (("faulty", FAULTY, "LinearReadTest"), ("image", image, "LinearReadTest"),
                                   ("pulled", "sim:disk,sectors=100000,gone-at=300", "LinearReadTest"),
                                   ("optical", "sim:optical,sectors=20000,media=cdrom", "ReadPerformanceTest"),
                                   ("written", "sim:disk,sectors=100000,serial=F1", "LinearPatternTest"),
                                   ("seeks", "sim:disk,sectors=100000", "RandomSeekTest")):
            if os.path.exists(self.record):
                os.remove(self.record)
            self.start("run", test, device, "-p", "NumberOfSeeks=200" if name == "seeks" else "MaxErrors=0",
                       "--events", self.record, "--no-prompt", *(["--confirm", "F1"] if name == "written" else []))
            yield name, self.report(self.record)
        with open(self.record, encoding="utf-8") as whole:
            lines = whole.readlines()
        with open(self.path("cut.jsonl"), "w", encoding="utf-8") as cut:
            cut.writelines(lines[:4] + [lines[4][:20]])
        yield "cut off", self.report(self.path("cut.jsonl"))
        for language in LANGUAGES:
            yield language, self.report(self.record, language=language)

    def test_every_kind_fits_every_width(self):
        for name, path in self.kinds():
            page = self.page(path)
            self.check_widths(page, name)
            page.look("dark", "print")
            with self.subTest(name, medium="print"):
                self.assertEqual(page.value("getComputedStyle(document.body).backgroundColor"), "rgb(255, 255, 255)")
                self.assertEqual(page.value(OVERFLOWING), [])
                self.assertGreater(len(page.pdf()), 10000)
            self.assertEqual(page.complaints(), [], name)
            if name in LANGUAGES:
                self.assertEqual(page.value("document.documentElement.lang"), name)
            if name == "cut off":
                self.assertIn("breaks off", page.value("document.querySelector('.verdict').textContent"))

    def test_essentials_need_no_script(self):
        self.run_test(FAULTY)
        page = self.page(self.report(self.record), scripts=False)
        text = page.value("document.body.innerText")
        for essential in ("5 sectors of the drive are bad", "F1", "1234 1 unreadable", "p99.9", "readSectorErr",
                          "unrecovered read error", "needs a browser that runs scripts"):
            self.assertIn(essential, text)
        self.assertNotIn("Point at the map", text)

    def test_a_million_cells(self):
        path = self.path("large.jsonl")
        records.write(path, records.large(1000000, 100, [0, 500000, 999999]))
        report = self.report(path)
        self.assertLess(os.path.getsize(report), 3 << 20)
        page = self.page(report)
        for cell in (0, 500000, 999999):
            self.assertEqual(page.value(f"{PIXEL}({cell * 2048})"), page.value(f"{COLOUR}('--failed')"))

    @pages.needs_axe
    def test_accessibility(self):
        for name, path in self.kinds():
            self.check_accessibility(self.page(path), name)


if __name__ == "__main__":
    unittest.main()
