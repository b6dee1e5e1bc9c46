"""Compares what a run wrote (record, list of bad sectors, exit status) with its layout."""

import json
import re
import sys

LINE = re.compile(r"(\d+)(?:-(\d+))? (\d+) (\w+)")
UNTESTED, GOOD, FAILED, RECOVERED = range(4)
HEADING = ("| layout | test | verdict | bad sectors expected/found | precision | recall | coverage right | surface right |\n"
           "|---|---|---|---|---|---|---|---|")


class Judgement:
    """What is wrong with a run is in "problems", in words."""

    def __init__(self, layout, status, record, bad_list):
        self.layout, self.problems = layout, []
        self._read_record(record)
        self.verdict = self._only("result").get("result")
        self._check("verdict", self.verdict, layout.verdict)
        self._check("exit status", status, layout.status)
        self.found = self._recorded_sectors()
        self._compare_sectors("record", self.found)
        self._compare_sectors("list", self._listed_sectors(bad_list))
        self._surface = self._read_surface()
        self.coverage_right = self._check_coverage()
        self.surface_right = self._check_surface()

    def row(self):
        wanted = self.layout.bad_sectors()
        hits = len(wanted & self.found)
        verdict = self.verdict if self.verdict == self.layout.verdict else f"{self.verdict} (wrong)"
        cells = (self.layout.name, self.layout.test, verdict, f"{len(wanted)}/{len(self.found)}",
                 share(hits, len(self.found)), share(hits, len(wanted)), yes_no(self.coverage_right),
                 yes_no(self.surface_right))
        return f"| {' | '.join(cells)} |"

    def _check(self, what, found, expected):
        if found != expected:
            self.problems.append(f"{what}: {found}, expected {expected}")
        return found == expected

    def _read_record(self, record):
        steps = (json.loads(line).get("testStepArtifact", {}) for line in record.splitlines())
        self._extensions = [step["extension"] for step in steps if "extension" in step]

    def _contents(self, name):
        return [extension["content"] for extension in self._extensions if extension["name"] == name]

    def _only(self, name):
        contents = self._contents(name)
        self._check(f"extensions named {name}", len(contents), 1)
        return contents[0] if len(contents) == 1 else {}

    def _recorded_sectors(self):
        told = [(sector, content["fault"]) for content in self._contents("badSectors")
                for first, last in content["ranges"] for sector in range(first, last + 1)]
        self._check("bad sectors told twice in the record", len(told) - len(set(told)), 0)
        return set(told)

    def _listed_sectors(self, text):
        told = []
        for line in text.splitlines():
            if line.startswith("#"):
                continue
            match = LINE.fullmatch(line)
            if not self._check(f"\"{line}\" in the list is understood", match is not None, True):
                continue
            first, count = int(match[1]), int(match[3])
            self._check(f"count of \"{line}\"", count, int(match[2] or first) - first + 1)
            told += [(sector, match[4]) for sector in range(first, first + count)]
        self._check("bad sectors told twice in the list", len(told) - len(set(told)), 0)
        return set(told)

    def _compare_sectors(self, place, found):
        wanted = self.layout.bad_sectors()
        for what, sectors in (("missing from", wanted - found), ("wrongly in", found - wanted)):
            if sectors:
                self.problems.append(f"{len(sectors)} bad sectors {what} the {place}, such as {sorted(sectors)[:3]}")

    def _check_coverage(self):
        content, expected = self._only("coverage"), self.layout.coverage()
        found = {key: content.get(key) for key in expected}
        if self.layout.ends_anywhere:
            tested = found["tested"] or 0
            expected["tested"], expected["skipped"] = tested, expected["requested"] - expected["failed"] - tested
            self._check("part of the drive was skipped", expected["skipped"] > 0, True)
            self._check("good cells of the surface", self._surface.count(GOOD), -(-tested // self._sectors_per_cell()))
        return self._check("coverage", found, expected)

    def _read_surface(self):
        cells = bytearray()
        for outcome, count in self._only("surface").get("outcomes", []):
            cells += bytes([GOOD if outcome == RECOVERED else outcome]) * count
        return cells

    def _sectors_per_cell(self):
        return self._only("surface").get("sectorsPerCell", 1)

    def _check_surface(self):
        content, per_cell = self._only("surface"), self._sectors_per_cell()
        expected = bytearray(-(-self.layout.sectors // per_cell))
        self._check("cells of the surface", (content.get("cells"), len(self._surface)), (len(expected),) * 2)
        if self.layout.ends_anywhere:
            return self._check("failed cells", self._surface.count(FAILED), len(self.layout.bad_sectors()))
        for sector in self.layout.good_sectors():
            expected[sector // per_cell] = GOOD
        for sector, _ in self.layout.bad_sectors():
            expected[sector // per_cell] = FAILED
        wrong = [cell for cell, (a, b) in enumerate(zip(self._surface, expected)) if a != b]
        return self._check("wrong cells of the surface", wrong[:5], []) and len(self._surface) == len(expected)


def print_table(layouts, judged):
    """What came out of each layout, and on standard error what is wrong; the exit status tells whether anything is."""
    print(HEADING, flush=True)
    is_right = True
    for layout in layouts:
        judgement = judged(layout)
        print(judgement.row(), flush=True)
        for problem in judgement.problems:
            print(f"{layout.name}: {problem}", file=sys.stderr, flush=True)
        is_right = is_right and not judgement.problems
    return 0 if is_right else 1


def share(part, whole):
    return f"{part / whole if whole else 1:.3f}"


def yes_no(right):
    return "yes" if right else "no"
