#!/usr/bin/python3
"""Tests check_record.py: a good record passes, and each way of spoiling it is found and named."""

import copy
import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True  # keeps the source folder clean
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
import check_record  # noqa: E402


def step(**artifact):
    return {"testStepArtifact": {"testStepId": "0", **artifact}}


def extension(name, **content):
    return step(extension={"name": name, "content": content})


GOOD = [
    {"schemaVersion": {"major": 2, "minor": 0}},
    {"testRunArtifact": {"testRunStart": {
        "name": "drivetest", "version": "1", "commandLine": "drivetest run", "parameters": {"Retries": 3},
        "dutInfo": {"dutInfoId": "0", "softwareInfos": [{"softwareInfoId": "s", "name": "drivetest"}],
                    "hardwareInfos": [{"hardwareInfoId": "drive", "name": "disk", "location": "/dev/sdx"}]}}}},
    step(testStepStart={"name": "LinearReadTest"}),
    extension("event", key="ReadError", type="ERR", message="LBA 7", variables={"LBA": 7}),
    step(diagnosis={"verdict": "ReadError", "type": "FAIL", "hardwareInfoId": "drive",
                    "sourceLocation": {"file": "a.cpp", "line": 3}}),
    step(log={"severity": "INFO", "message": "done"}),
    step(measurement={"name": "readRate", "value": 12.5, "unit": "MB/s", "hardwareInfoId": "drive",
                      "validators": [{"type": "GREATER_THAN", "value": 1}]}),
    step(error={"symptom": "odd", "softwareInfoIds": ["s"]}),
    extension("badSectors", fault="unreadable", words="sense 3/11/00", ranges=[[7, 7]]),
    extension("surface", sectorsPerCell=4, cells=3, outcomes=[[1, 1], [2, 1], [3, 1]], slowestUs=[[12, 2], [None, 1]],
              cellsPerValue={"outcomes": 1, "slowestUs": 2}),
    extension("regions", sectorsPerRegion=8, regions=2, read={"bytes": [4096, 0], "us": [12, 0]}),
    extension("slowTransfers", over150ms=1, over500ms=0, slowest=[
        {"operation": "read", "sector": 0, "lastSector": 3, "durationUs": 200000.0},
        {"operation": "seek", "sector": 9, "lastSector": 9, "durationUs": 7.5}]),
    extension("transfers", operations=[{"operation": "read", "firstTry": 1, "recovered": 1, "failed": 1}]),
    extension("coverage", requested=10, tested=6, failed=1, skipped=3, unit="sectors"),
    extension("result", result="FAIL", errors=1, warnings=0),
    step(testStepEnd={"status": "COMPLETE"}),
    {"testRunArtifact": {"testRunEnd": {"status": "COMPLETE", "result": "FAIL"}}},
]
START, EVENT, DIAGNOSIS, LOG, ERROR, BAD, SURFACE, REGIONS, SLOW, TRANSFERS = 1, 3, 4, 5, 7, 8, 9, 10, 11, 12
COVERAGE, RESULT, STEP_END, RUN_END = 13, 14, 15, 16


def numbered(documents):
    return [{**document, "sequenceNumber": i, "timestamp": f"2024-02-29T23:59:{i:02}.5Z"}
            for i, document in enumerate(documents)]


def as_bytes(documents):
    return "".join(json.dumps(document) + "\n" for document in documents).encode()


def put(value, index, *path):
    """A mutation that sets one value, found by the path, in one document."""
    def mutate(documents):
        *parents, last = path
        place = documents[index]
        for part in parents:
            place = place[part]
        place[last] = value
    return mutate


def content(index, name, value):
    return put(value, index, "testStepArtifact", "extension", "content", name)


def end(status, result):
    def mutate(documents):
        put(status, STEP_END, "testStepArtifact", "testStepEnd", "status")(documents)
        put({"status": status, "result": result}, RUN_END, "testRunArtifact", "testRunEnd")(documents)
    return mutate


def unrestored(*ranges, **more):
    document = extension("unrestored", ranges=[{"sector": a, "lastSector": b} for a, b in ranges], **more)
    return lambda documents: documents.insert(EVENT, document)


def drive(**content):
    return lambda documents: documents.insert(EVENT, extension("drive", **content))


def health(**changed):
    document = {"when": "before", "source": "drive", "predictsFailure": False,
                "counters": {"wear": 3, "temperature": -2},
                "attributes": [{"id": 5, "name": "", "value": 9, "worst": 9, "threshold": 0, "raw": 7}],
                "selfTests": [{"kind": "short", "outcome": "failed", "hours": 8, "firstBad": 7}],
                "hidden": {"hpaSectors": 0}, **changed}
    return lambda documents: documents.insert(EVENT, extension("health", **document))


def move(index, to):
    return lambda documents: documents.insert(to, documents.pop(index))


def repeat(index):
    return lambda documents: documents.insert(index, documents[index])


def drop(index):
    return lambda documents: documents.pop(index)


# What is spoiled before the lines are numbered -> the fault's line and a part of its text.
SPOILED = [
    (put("?", LOG, "testStepArtifact", "log", "severity"), 6, "against the schema at /testStepArtifact/log/severity"),
    (put(1, LOG, "testStepArtifact", "extra"), 6, "against the schema at /testStepArtifact: Unevaluated properties"),
    (put(1, START, "testRunArtifact", "testRunStart", "dutInfo", "extra"), 2, "testRunStart/dutInfo: Additional"),
    (put(1, 0, "schemaVersion", "major"), 1, "against the schema at /schemaVersion/major"),
    (drop(0), 1, "the first line, and no other, must be the schemaVersion"),
    (repeat(START), 3, "the second line, and no other, must be the testRunStart"),
    (drop(RUN_END), 16, "does not end with a testRunEnd"),
    (repeat(RUN_END), 18, "nothing may follow the testRunEnd"),
    (drop(STEP_END), 16, "step '0' has no testStepEnd"),
    (move(LOG, 2), 3, "step '0' has not started"),
    (move(LOG, STEP_END), 16, "step '0' has ended before"),
    (put("1", LOG, "testStepArtifact", "testStepId"), 6, "step '1' has not started"),
    (move(LOG, RESULT), 15, "only extensions may follow the coverage and result"),
    (move(EVENT, RESULT), 15, "no event may follow"),
    (repeat(2), 4, "step '0' starts twice"),
    (end("COMPLETE", "NOT_APPLICABLE"), 17, "status COMPLETE does not go with result NOT_APPLICABLE"),
    (end("ERROR", "NOT_APPLICABLE"), 17, "ERROR/NOT_APPLICABLE does not go with the test's result FAIL"),
    (content(RESULT, "result", "USERABORTED"), 17, "COMPLETE/FAIL does not go with the test's result USERABORTED"),
    (content(RESULT, "result", "WARN"), 17, "COMPLETE/FAIL does not go with the test's result WARN"),
    (put("SKIP", STEP_END, "testStepArtifact", "testStepEnd", "status"), 17, "but step '0' ended with SKIP"),
    (put("x", DIAGNOSIS, "testStepArtifact", "diagnosis", "hardwareInfoId"), 5, "hardwareInfoId 'x' is not in"),
    (put(["x"], ERROR, "testStepArtifact", "error", "softwareInfoIds"), 8, "softwareInfoId 'x' is not in"),
    (drop(COVERAGE), 15, "ends without the extension coverage"),
    (repeat(RESULT), 16, "extension result comes a second time"),
    (content(COVERAGE, "tested", 7), 14, "requested 10 is not tested 7 + failed 1 + skipped 3"),
    (content(COVERAGE, "failed", -1), 14, "must be counts"),
    (content(COVERAGE, "unit", "LBAs"), 14, "unknown unit 'LBAs'"),
    (content(BAD, "ranges", [[7, 7], [9, 9]]), 14, "1 sectors failed, but 2 are listed as bad"),
    (content(BAD, "ranges", [[8, 7]]), 9, "8-7 is no range"),
    (content(BAD, "fault", "worn"), 9, "fault, words and ranges expected"),
    (content(SURFACE, "outcomes", [[1, 2]]), 10, "surface: not of the form"),
    (content(SURFACE, "outcomes", [[4, 3]]), 10, "surface: not of the form"),
    (content(SURFACE, "cells", 1 << 21), 10, "surface: not of the form"),
    (content(REGIONS, "written", {"bytes": [1], "us": [1, 2]}), 11, "regions: not of the form"),
    (content(SLOW, "slowest", [{"operation": "read", "sector": 4, "lastSector": 3, "durationUs": 1}]), 12, "slowTransfers"),
    (content(TRANSFERS, "operations", [{"operation": "read", "firstTry": 1}]), 13, "transfers: not of the form"),
    (content(RESULT, "errors", -1), 15, "errors must be a count"),
    (content(RESULT, "result", "MAYBE"), 15, "unknown result 'MAYBE'"),
    (content(EVENT, "type", "ERROR"), 4, "type is 'ERROR'"),
    (content(EVENT, "key", ""), 4, "key is not a text"),
    (content(EVENT, "message", None), 4, "message is not a text"),
    (content(EVENT, "variables", []), 4, "variables is not an object"),
    (lambda documents: documents.__delitem__(slice(2, RUN_END)), 3, "the run has no step"),
    (content(EVENT, "extra", 1), 4, "expected ['key', 'message', 'type', 'variables'] and perhaps a cause"),
    (drive(method="usb", sectors=8, sectorBytes=512), 4, "drive: not of the form"),
    (drive(method="scsi", sectors=8, sectorBytes=0), 4, "drive: not of the form"),
    (drive(method="scsi", sectors=8), 4, "drive: not of the form"),
    (unrestored(journal=""), 4, "ranges of sector and lastSector expected"),
    (unrestored((0, 7), (9, 8), journal=""), 4, "'lastSector': 8}]"),
    (unrestored((0, 7), (8, None), journal=""), 4, "'lastSector': None}]"),
    (unrestored((0, 7)), 4, "expected ranges and journal"),
    *((health(**changed), 4, "health: not of the form") for changed in (
        {"when": "later"}, {"source": "rumour"}, {"passed": True}, {"counters": {"wear": -1}}, {"counters": {"age": 1}},
        {"attributes": [{"id": 5}]}, {"selfTests": [{"kind": "long", "outcome": "passed"}]}, {"hidden": {"hpaSectors": None}})),
    (unrestored((0, 7), journal=None), 4, "expected ranges and journal"),
]
# What is spoiled after that.
MISNUMBERED = [
    (put(9, LOG, "sequenceNumber"), 6, "sequenceNumber is 9, expected 5"),
    (put("2024-02-29T23:59:03Z", LOG, "timestamp"), 6, "timestamp goes backwards"),
    (put("2024-03-01T00:59:04.4+01:00", LOG, "timestamp"), 6, "timestamp goes backwards"),
    (put("2024-02-29T23:59:05", LOG, "timestamp"), 6, "is not an RFC 3339 time with a zone"),
    (put("2024-02-30T23:59:05Z", LOG, "timestamp"), 6, "is not an RFC 3339 time with a zone"),
]


class CheckRecordTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.validator = check_record.load_validator()

    def check(self, data, partial=False):
        return check_record.RecordCheck(self.validator, partial).check(data)

    def expect(self, faults, line, text):
        self.assertTrue(any(at == line and text in what for at, what in faults), f"no '{line}: {text}' in {faults}")

    def test_accepts_good_records(self):
        self.assertEqual(self.check(as_bytes(numbered(GOOD))), [])
        for result, verdict in check_record.VERDICTS.items():
            documents = copy.deepcopy(GOOD)
            content(RESULT, "result", result)(documents)
            end(*verdict)(documents)
            unrestored((0, 7), (9, 9), journal="/j/1.journal")(documents)
            drive(method="optical", sectors=0, sectorBytes=0)(documents)
            health()(documents)
            self.assertEqual(self.check(as_bytes(numbered(documents))), [], result)

    def test_finds_every_spoiled_line(self):
        for mutate, line, text in SPOILED:
            with self.subTest(text):
                documents = copy.deepcopy(GOOD)
                mutate(documents)
                self.expect(self.check(as_bytes(numbered(documents))), line, text)

    def test_finds_wrong_numbers_and_times(self):
        for mutate, line, text in MISNUMBERED:
            with self.subTest(text):
                documents = numbered(copy.deepcopy(GOOD))
                mutate(documents)
                self.expect(self.check(as_bytes(documents)), line, text)

    def test_finds_what_is_not_json(self):
        lines = as_bytes(numbered(GOOD)).splitlines(keepends=True)
        for bad in (b"{\n", b"\n", b"\xff\n", b"[]\n", lines[6].replace(b"12.5", b"NaN")):
            self.assertEqual([line for line, _ in self.check(b"".join(lines[:6] + [bad] + lines[7:]))][:1], [7], bad)

    def test_accepts_every_cut_at_a_lines_end_as_partial_only(self):
        lines = as_bytes(numbered(GOOD)).splitlines(keepends=True)
        for kept in range(1, len(lines)):
            data = b"".join(lines[:kept])
            self.assertEqual(self.check(data, partial=True), [], kept)
            self.expect(self.check(data), kept, "does not end with a testRunEnd")
        self.expect(self.check(b"".join(lines)[:-1], partial=True), 17, "cut off")
        self.expect(self.check(b"", partial=True), 1, "no complete line")

    def test_command_names_file_and_line(self):
        program = str(pathlib.Path(check_record.__file__))
        with tempfile.TemporaryDirectory() as folder:
            record = pathlib.Path(folder) / "record.jsonl"
            doubled = (GOOD + GOOD[-1:], 1, f"{record}:18: nothing may follow the testRunEnd\n")
            for documents, status, output in ((GOOD, 0, ""), doubled):
                record.write_bytes(as_bytes(numbered(documents)))
                run = subprocess.run([sys.executable, program, record], capture_output=True, text=True, check=False)
                self.assertEqual((run.returncode, run.stdout), (status, output))


if __name__ == "__main__":
    unittest.main()
