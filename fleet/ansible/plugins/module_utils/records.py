"""What the records of a run say, and how they fit to what its plan was to do."""

from __future__ import annotations

import glob
import hashlib
import json
import os

MOST_BYTES = 1 << 30  # of a record; those of the program have a few MB
MOST_LINE = 1 << 26
# What the program ends with, and what counts as worse, from the best to the worst.
STATUS = {"PASS": 0, "FAIL": 1, "MISCONFIGURED": 2, "BADPARAMS": 2, "WARN": 3, "NOMEDIA": 4, "INCORRECTMEDIA": 4, "DEVICEBUSY": 5,
          "CANNOTRUN": 6, "NOTSUPPORTED": 6, "TIMEDOUT": 7, "INTERNALERROR": 8, "USERABORTED": 130}
BY_WEIGHT = (0, 3, 4, 5, 6, 2, 7, 130, 1, 8, 9)
BROKE_OFF, REFUSED = 8, 6


class BadRecord(ValueError):
    """What makes a file no record, or a damaged one."""


def shown(text, most=500):
    """A device's or a program's text, for a terminal or a table."""
    return "".join(c if c.isprintable() else "?" for c in str(text)[:most])


def worse(one, other):
    return max(one, other, key=lambda status: BY_WEIGHT.index(status) if status in BY_WEIGHT else len(BY_WEIGHT))


class Record:
    """One file. Lines that are whole and numbered without a gap count; whatever follows them makes it broken off."""

    def __init__(self, path):
        self.file = os.path.basename(path)
        self.device = self.serial = self.model = self.test = self.started = ""
        self.result = None
        self.has_ended = False
        self.data_not_restored = False
        self.counts = {}
        self.read_rate = None
        beginning = hashlib.sha256()
        for number, (raw, line) in enumerate(self._lines(path)):
            if number < 2:
                beginning.update(raw)  # equal in all records of a run that was resumed
            self._take(line)
        if not self.test:
            raise BadRecord("%s holds no run" % self.file)
        self.run = beginning.hexdigest()

    @staticmethod
    def _lines(path):
        if os.path.getsize(path) > MOST_BYTES:
            raise BadRecord("%s is too large" % os.path.basename(path))
        with open(path, "rb") as file:
            number = 0
            while raw := file.readline(MOST_LINE):
                try:
                    line = json.loads(raw)
                except ValueError:
                    return
                if not raw.endswith(b"\n") or not isinstance(line, dict) or line.get("sequenceNumber") != number:
                    return
                yield raw, line
                number += 1

    def _take(self, line):
        run, step = line.get("testRunArtifact", {}), line.get("testStepArtifact", {})
        if "testRunStart" in run:
            dut = run["testRunStart"].get("dutInfo", {})
            drive = (dut.get("hardwareInfos") or [{}])[0]
            self.device, self.serial = str(dut.get("name", "")), str(drive.get("serialNumber", ""))
            self.model, self.started = str(drive.get("name", "")), str(line.get("timestamp", ""))
        self.has_ended = "testRunEnd" in run
        if "testStepStart" in step:
            self.test = str(step["testStepStart"].get("name", ""))
        if step.get("measurement", {}).get("name") == "readRate":
            self.read_rate = step["measurement"].get("value")
        extension = step.get("extension", {})
        content = extension.get("content", {})
        if extension.get("name") == "result":
            self.result = str(content.get("result", ""))
            self.counts.update(errors=content.get("errors"), warnings=content.get("warnings"))
        elif extension.get("name") == "coverage":
            self.counts.update({part: content.get(part) for part in ("requested", "tested", "failed", "skipped")})
        elif extension.get("name") == "unrestored":
            self.data_not_restored = True

    @property
    def status(self):
        return 9 if self.data_not_restored else STATUS.get(self.result, BROKE_OFF)


def read_records(folder):
    """Of each run the record that tells most, in the order in which they began; and what is no record."""
    runs, problems = {}, []
    for path in sorted(glob.glob(os.path.join(glob.escape(folder), "*.jsonl"))):
        try:
            record = Record(path)
        except (OSError, BadRecord, AttributeError, TypeError, IndexError) as error:
            if os.path.exists(path) and os.path.getsize(path) > 0:
                problems.append(shown(error))
            continue
        known = runs.get(record.run)
        if known is None or record.has_ended or not known.has_ended:
            runs[record.run] = record
    return sorted(runs.values(), key=lambda record: (record.started, record.file)), problems


def is_of(record, drive, drives):
    """Drives keep their serial numbers over a reboot, not always their paths."""
    serial = drive.get("serial")
    if serial and sum(other.get("serial") == serial for other in drives) == 1:
        return record.serial == serial
    return record.device == drive["locator"]


def wanted_runs(plan, drive):
    """The tests of a drive, one run after the other."""
    once = [test for test in drive["tests"] for _ in range(test["runs"])]
    return once * plan["repeats"]


def is_done(record, stopped):
    """A run that somebody stopped is done; one that a host going down ended is not."""
    return record.has_ended and (stopped or record.result != "USERABORTED")


class Account:
    """What became of everything that a plan was to do. `stopped`: somebody wanted it to end."""

    def __init__(self, plan, records, stopped=False, why_missing="there is no record of it"):
        self.plan, self.records, self.stopped, self.why_missing = plan, records, stopped, why_missing
        self.rows = [row for drive in plan["drives"] for row in self._rows(drive)]

    def _rows(self, drive):
        mine = [record for record in self.records if is_of(record, drive, self.plan["drives"])]
        done = [record for record in mine if is_done(record, self.stopped)]
        broken = [record for record in mine if not is_done(record, self.stopped)]
        failed = None
        for number, test in enumerate(wanted_runs(self.plan, drive), 1):
            row = {"drive": drive["locator"], "serial": drive.get("serial", ""), "model": drive.get("model", ""),
                   "test": test["test"], "number": number}
            found = next((record for record in done if record.test == test["test"]), None)
            if found is not None:
                done.remove(found)
                row.update(result=found.result, status=found.status, record=found.file, **found.counts)
                if found.read_rate is not None:
                    row["readRate"] = found.read_rate
                failed = failed or (found if found.status not in (0, 3) else None)
            else:
                left = next((record for record in broken if record.test == test["test"]), None)
                row.update(self._reason(drive, failed, left))
            yield row

    def _reason(self, drive, failed, left):
        if drive.get("refused"):
            return {"reason": "refused: " + shown(drive["refused"]), "status": REFUSED}
        if left is not None:
            return {"reason": "the run broke off", "record": left.file, "status": BROKE_OFF}
        if failed is not None and self.plan["onFailure"] != "go-on":
            return {"reason": "left out, as %s gave %s" % (failed.test, failed.result), "status": failed.status}
        worst = next((record for record in self.records if record.has_ended and record.status not in (0, 3)), None)
        if self.plan["onFailure"] == "stop-all" and worst is not None:
            return {"reason": "left out, as %s gave %s on %s" % (worst.test, worst.result, shown(worst.device)),
                    "status": worst.status}
        if self.stopped:
            return {"reason": "stopped before it began", "status": 130}
        return {"reason": shown(self.why_missing), "status": BROKE_OFF}

    @property
    def status(self):
        worst = 0
        for row in self.rows:
            worst = worse(worst, row["status"])
        return worst

    def confirmed_again(self):
        """What names the drives that are to be written to when all that broke off goes on."""
        for drive in self.plan["drives"]:
            writing = {test["test"] for test in drive["tests"] if test["writes"]}
            if any(not record.has_ended and record.test in writing and is_of(record, drive, self.plan["drives"])
                   for record in self.records):
                yield drive["confirm"]

    def remaining(self):
        """What is neither done nor to be left out: pairs of a drive and those of its tests, a run each."""
        for drive in self.plan["drives"]:
            rows = [row for row in self.rows if row["drive"] == drive["locator"]]
            tests = wanted_runs(self.plan, drive)
            missing = [tests[row["number"] - 1] for row in rows
                       if "result" not in row and not row["reason"].startswith(("refused", "left out"))]
            if missing:
                yield drive, missing
