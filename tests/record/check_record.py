#!/usr/bin/python3
"""Checks a record of a run (JSON Lines): every line against the schemas beside this file, and what they cannot
say: numbering, order, times, references, and that status, result and coverage agree with each other.

Prints each fault as FILE:LINE: WHAT. Exit status: 0 no fault, 1 faults, 2 wrong usage.
"""

import argparse
import datetime
import hashlib
import json
import pathlib
import re
import sys

try:
    import jsonschema
except ImportError:
    sys.exit("check_record.py: needs the Python package jsonschema for " + sys.executable +
             "; run scripts/setup.sh --dev and start this with /usr/bin/python3")

try:
    import referencing  # which jsonschema from 4.18 on resolves references with
except ImportError:
    referencing = None

SCHEMAS = pathlib.Path(__file__).resolve().parent / "schemas"
RFC3339 = re.compile(r"\d{4}-\d\d-\d\d[Tt]\d\d:\d\d:\d\d(\.\d+)?([Zz]|[+-]\d\d:\d\d)", re.ASCII)

COMPLETE_PASS = ("COMPLETE", "PASS")
ABORTED = ("SKIP", "NOT_APPLICABLE")
BROKEN = ("ERROR", "NOT_APPLICABLE")
# Result of a test -> status and result of the run.
VERDICTS = {
    "PASS": COMPLETE_PASS, "WARN": COMPLETE_PASS, "FAIL": ("COMPLETE", "FAIL"), "USERABORTED": ABORTED,
    "NOTSUPPORTED": BROKEN, "NOMEDIA": BROKEN, "INCORRECTMEDIA": BROKEN, "DEVICEBUSY": BROKEN, "CANNOTRUN": BROKEN,
    "MISCONFIGURED": BROKEN, "BADPARAMS": BROKEN, "TIMEDOUT": BROKEN, "INTERNALERROR": BROKEN,
}
EVENT_TYPES = ("ERR", "WARNING", "INFORMATIVE")
COVERAGE = ("requested", "tested", "failed", "skipped")
EVENT_PARTS = {"key", "type", "message", "variables"}
FAULTS = ("unreadable", "unwritable", "unreachable", "wrongData")
OPERATIONS = ("read", "write", "seek", "flush", "other")
METHODS = ("block", "blockAndScsi", "scsi", "ata", "nvme", "optical", "floppy", "usbFloppy")
OUTCOMES = range(4)
HEALTH_PARTS = {"when", "source", "problem", "predictsFailure", "counters", "attributes", "selfTests", "hidden"}
HEALTH_COUNTERS = {"reallocatedSectors", "pendingSectors", "uncorrectableSectors", "crcErrors", "mediaErrors", "spareLeft",
                   "spareThreshold", "wear", "temperature", "powerOnHours", "powerCycles", "bytesWritten"}
ATTRIBUTE_PARTS = {"id", "name", "value", "worst", "threshold", "raw"}
SELF_TEST_KINDS = ("short", "extended", "other")
SELF_TEST_OUTCOMES = ("running", "passed", "aborted", "interrupted", "failed")
MOST_CELLS, MOST_RUNS, MOST_REGIONS, MOST_SLOW = 1 << 20, 1 << 16, 1 << 10, 1000
PROGRESS_PARTS = {"sectorsDone", "errorsDone", "errors", "warnings", "spentNs", "visited", "read", "written", "operations",
                  "slowTransfers", "good", "newCauses", "bad", "surface", "regions", "sha256"}
NO_DIGEST = b"0" * 64  # what a line of progress has in its digest's place when the digest is taken
CLOSING = ("coverage", "result")  # extensions that every ended step has once, behind everything but extensions


def is_count(value):
    return isinstance(value, int) and not isinstance(value, bool) and value >= 0


def is_range(value):
    return (isinstance(value, dict) and set(value) == {"sector", "lastSector"} and
            all(map(is_count, value.values())) and value["sector"] <= value["lastSector"])


def are_runs(runs, cells, is_value):
    """Whether [value, number of cells] pairs go over all cells."""
    return (isinstance(runs, list) and len(runs) <= MOST_RUNS and
            all(isinstance(run, list) and len(run) == 2 and is_value(run[0]) and is_count(run[1]) for run in runs) and
            sum(run[1] for run in runs) == cells)


def is_surface(content):
    cells = content.get("cells")
    blocks = content.get("cellsPerValue", {})
    return (is_count(cells) and cells <= MOST_CELLS and is_count(content.get("sectorsPerCell")) and
            are_runs(content.get("outcomes"), cells, lambda value: value in OUTCOMES) and
            are_runs(content.get("slowestUs"), cells, lambda value: value is None or is_count(value)) and
            set(blocks) == {"outcomes", "slowestUs"} and all(map(is_count, blocks.values())))


def is_health(content):
    """What a drive says of itself: only what is known."""
    counters = content.get("counters", {})
    counts = dict(counters)
    counts.pop("temperature", None)
    tests = content.get("selfTests", [])
    return (content.get("when") in ("before", "after") and content.get("source") in ("smartctl", "drive") and
            set(content) <= HEALTH_PARTS and isinstance(content.get("predictsFailure", False), bool) and
            isinstance(content.get("problem", ""), str) and set(counters) <= HEALTH_COUNTERS and
            all(map(is_count, counts.values())) and isinstance(counters.get("temperature", 0), int) and
            all(set(each) == ATTRIBUTE_PARTS and all(is_count(each[part]) for part in ATTRIBUTE_PARTS - {"name"})
                for each in content.get("attributes", [])) and
            all(each.get("kind") in SELF_TEST_KINDS and each.get("outcome") in SELF_TEST_OUTCOMES and
                set(each) <= {"kind", "outcome", "hours", "firstBad"} for each in tests) and
            set(content.get("hidden", {})) <= {"hpaSectors", "dcoSectors", "inaccessibleSectors"} and
            all(map(is_count, content.get("hidden", {}).values())))


def is_temperature(content):
    return (set(content) - {"limit"} == {"lowest", "highest", "last", "rests", "restedSeconds"} and
            all(isinstance(value, int) for value in content.values()) and
            content["lowest"] <= content["last"] <= content["highest"] and
            is_count(content["rests"]) and is_count(content["restedSeconds"]))


def was_too_hot(content):
    """Wherever it rested; of a run that goes on, each part may have its own limit."""
    return content["rests"] == 0 or content["highest"] > content.get("limit", -300)


def is_links(content):
    links = content.get("links")
    return (set(content) == {"links"} and isinstance(links, list) and len(links) > 0 and
            all(set(each) - {"megabytesPerSecond"} == {"name"} and isinstance(each["name"], str) and
                is_count(each.get("megabytesPerSecond", 0)) for each in links))


def is_shared_links(content):
    links = content.get("links")
    return (set(content) == {"links"} and isinstance(links, list) and len(links) > 0 and
            all(set(each) - {"megabytesPerSecond", "measured"} == {"name", "drives", "atOnce", "waited"} and
                isinstance(each["name"], str) and isinstance(each["waited"], bool) and
                all(is_count(value) for name, value in each.items() if name not in ("name", "waited")) and
                1 < each["drives"] >= each["atOnce"] > 0 and (each["waited"] is False or "megabytesPerSecond" in each)
                for each in links))


def is_regions(content):
    regions = content.get("regions")
    directions = [content[name] for name in ("read", "written") if name in content]
    return (is_count(regions) and regions <= MOST_REGIONS and is_count(content.get("sectorsPerRegion")) and
            all(set(each) == {"bytes", "us"} for each in directions) and
            all(len(each) == regions and all(map(is_count, each)) for both in directions for each in both.values()))


def is_slow_transfers(content):
    slowest = content.get("slowest", [])
    return (set(content) == {"over150ms", "over500ms", "slowest"} and len(slowest) <= MOST_SLOW and
            all(set(each) == {"operation", "sector", "lastSector", "durationUs"} and each["operation"] in OPERATIONS and
                each["sector"] <= each["lastSector"] for each in slowest) and
            all(a["durationUs"] >= b["durationUs"] for a, b in zip(slowest, slowest[1:])))


def is_transfers(content):
    return all(set(each) == {"operation", "firstTry", "recovered", "failed"} and each["operation"] in OPERATIONS and
               all(is_count(value) for name, value in each.items() if name != "operation")
               for each in content.get("operations", [{}]))


def is_drive(content):
    return (set(content) - {"protectionType", "identity", "transferSectors", "properties"} ==
            {"method", "sectors", "sectorBytes"} and content["method"] in METHODS and
            content.get("protectionType", 1) in range(1, 9) and isinstance(content.get("identity", ""), str) and
            is_count(content.get("transferSectors", 0)) and
            all(isinstance(each, str) for each in content.get("properties", [])) and
            is_count(content["sectors"]) and is_count(content["sectorBytes"]) and
            (content["sectorBytes"] > 0 or content["sectors"] == 0))


def is_grade(content):
    reasons = content.get("reasons", [None])
    return (set(content) - {"problem"} == {"file", "grade", "reasons", "unknown"} and
            (content["grade"] in ("A", "B", "C", "D", "E", "F") and "problem" not in content or
             content["grade"] == "" and content["problem"] and not reasons) and
            all(set(each) - {"sectors"} == {"grade", "limit", "found", "allowed", "message"} for each in reasons) and
            max([each["grade"] for each in reasons], default="A" if content["grade"] else "") == content["grade"] and
            all(a["grade"] >= b["grade"] > "A" for a, b in zip(reasons, reasons[1:])))


def are_counts(lists, *sizes):
    return all(len(each) in sizes and all(map(is_count, each)) for each in lists)


def is_fingerprint(content):
    samples = content.get("samples", [[]])
    return (set(content) == {"samples"} and len(samples) <= 256 and
            all(len(each) == 3 and are_counts([each[:2]], 2) and re.fullmatch("[0-9a-f]{16}", each[2]) for each in samples) and
            all(a[0] + a[1] <= b[0] for a, b in zip(samples, samples[1:])))


def are_cells(cells):
    """[value, number of cells, ...]: how many cells, or None."""
    fits = isinstance(cells, list) and len(cells) % 2 == 0 and all(map(is_count, cells))
    return sum(cells[1::2]) if fits else None


def is_progress(content):
    slow = content.get("slowTransfers", {})
    return (set(content) - {"slowMs", "slowCount", "maxTemp", "temperature"} == PROGRESS_PARTS and
            content["sectorsDone"] == content["visited"] and is_count(content.get("maxTemp", 0)) and ("temperature" not in content or is_temperature(content["temperature"])) and re.fullmatch("[0-9a-f]{64}", content["sha256"]) and
            list(content)[-1] == "sha256" and
            all(is_count(content[part]) for part in ("sectorsDone", "errorsDone", "errors", "warnings", "spentNs", "visited")) and
            all(set(content[part]) == {"bytes", "ns"} for part in ("read", "written")) and
            all(set(each) == {"operation", "firstTry", "recovered", "failed", "longestNs", "steps"} and
                each["operation"] in OPERATIONS and
                sum(each["steps"][1::2]) <= each["firstTry"] + each["recovered"] + each["failed"]
                for each in content["operations"]) and
            set(slow) == {"over150ms", "over500ms", "overLimit", "kept"} and len(slow["kept"]) <= MOST_SLOW and
            all(len(each) == 4 and each[0] in OPERATIONS for each in slow["kept"]) and
            are_counts(content["good"], 2, 4) and are_counts(content["bad"], 3) and are_counts(content["regions"], 5) and
            all(set(each) == {"fault", "words"} and each["fault"] in FAULTS for each in content["newCauses"]) and
            all(set(each) == {"first", "outcomes", "slowest"} and are_cells(each["outcomes"]) is not None and
                are_cells(each["outcomes"]) == are_cells(each["slowest"]) for each in content["surface"]))


def is_resumed(content):
    return (set(content) == {"file", "sha256", "at", "commandLine"} and is_count(content["at"]) and
            re.fullmatch("[0-9a-f]{64}", content["sha256"]) and
            all(isinstance(content[part], str) for part in ("file", "commandLine")))


FORMS = {"drive": is_drive, "surface": is_surface, "regions": is_regions, "slowTransfers": is_slow_transfers, "transfers": is_transfers,
         "health": is_health, "temperature": is_temperature, "links": is_links, "sharedLinks": is_shared_links, "grade": is_grade, "fingerprint": is_fingerprint,
         "progress": is_progress, "resumed": is_resumed}


def load_validator():
    documents = [json.loads(path.read_text(encoding="utf-8")) for path in sorted(SCHEMAS.glob("*.json"))]
    store = {document["$id"]: document for document in documents}
    root = next(document for name, document in store.items() if name.endswith("/output"))
    if referencing is None:
        return jsonschema.Draft202012Validator(root, resolver=jsonschema.RefResolver(root["$id"], root, store=store))
    registry = referencing.Registry().with_contents(store.items())
    return jsonschema.Draft202012Validator(root, registry=registry)


def explain(errors):
    """The fault that lies deepest in the document: of the schema's alternatives, the one that was meant."""
    leaves = []
    while errors:
        leaves += [error for error in errors if not error.context]
        errors = [inner for error in errors for inner in error.context]
    deepest = max(leaves, key=lambda leaf: (len(leaf.absolute_path), leaf.validator != "required"))
    message = deepest.message if len(deepest.message) < 300 else deepest.message[:297] + "..."
    return f"against the schema at /{'/'.join(str(part) for part in deepest.absolute_path)}: {message}"


def parse_time(text):
    """The instant that an RFC 3339 timestamp with a zone names, or None."""
    if not RFC3339.fullmatch(text):
        return None
    try:
        return datetime.datetime.fromisoformat(text.upper())
    except ValueError:
        return None


def refuse_constant(name):
    raise ValueError(name + " is not JSON")


class Step:
    def __init__(self):
        self.status = None  # once it has ended
        self.bad = []       # ranges of bad sectors: (first, last)
        self.closing = {}   # the extensions of CLOSING: name -> content


class RecordCheck:
    """Takes a record line by line; collects (line number, fault)."""

    def __init__(self, validator, partial=False):
        self.faults = []
        self._validator = validator
        self._partial = partial
        self._line = 0
        self._time = None
        self._run_started = False
        self._run_end = None  # (status, result)
        self._steps = {}
        self._hardware = set()
        self._software = set()
        self._digest = hashlib.sha256()  # of the lines before
        self._is_resumed = False

    def check(self, data):
        """Checks a whole record, given as bytes."""
        lines = data.split(b"\n")
        if lines.pop():
            self._fault("the last line is cut off: no line break at its end", len(lines) + 1)
        if not lines:
            self._fault("the record holds no complete line", 1)
        for self._line, text in enumerate(lines, 1):
            self._check_line(text)
            self._check_proof(text)
            self._is_resumed |= b'"name":"resumed","content":' in text
            self._digest.update(text + b"\n")
        if lines and not self._partial:
            self._check_ended()
        return self.faults

    def _fault(self, what, line=None):
        self.faults.append((line or self._line, what))

    def _check_line(self, text):
        try:
            document = json.loads(text.decode("utf-8"), parse_constant=refuse_constant)
        except ValueError as error:
            self._fault(f"not a JSON document: {error}")
            return
        if not isinstance(document, dict):
            self._fault("not a JSON object")
            return
        errors = list(self._validator.iter_errors(document))
        if errors:
            self._fault(explain(errors))
            return
        self._check_frame(document)
        if "testRunArtifact" in document:
            self._check_run_artifact(document["testRunArtifact"])
        elif "testStepArtifact" in document:
            self._check_step_artifact(document["testStepArtifact"])

    def _check_proof(self, text):
        found = re.search(rb'"name":"progress","content":.*"sha256":"([0-9a-f]{64})"', text)
        if found:
            digest = self._digest.copy()
            digest.update(text[:found.start(1)] + NO_DIGEST + text[found.end(1):] + b"\n")
            if digest.hexdigest().encode() != found[1]:
                self._fault("extension progress: sha256 is not that of the record so far")
        resumed = re.search(rb'"name":"resumed","content":.*"sha256":"([0-9a-f]{64})"', text)
        if resumed and self._digest.hexdigest().encode() != resumed[1]:
            self._fault("extension resumed: sha256 is not that of the lines before")

    def _check_frame(self, document):
        if document["sequenceNumber"] != self._line - 1:
            self._fault(f"sequenceNumber is {document['sequenceNumber']}, expected {self._line - 1}")
        if ("schemaVersion" in document) != (self._line == 1):
            self._fault("the first line, and no other, must be the schemaVersion")
        if ("testRunStart" in document.get("testRunArtifact", {})) != (self._line == 2):
            self._fault("the second line, and no other, must be the testRunStart")
        if self._run_end is not None:
            self._fault("nothing may follow the testRunEnd")
        time = parse_time(document["timestamp"])
        if time is None:
            self._fault(f"timestamp '{document['timestamp']}' is not an RFC 3339 time with a zone")
        elif self._time is not None and time < self._time:
            self._fault("timestamp goes backwards")
        self._time = time or self._time

    def _check_run_artifact(self, artifact):
        if "testRunStart" in artifact:
            dut = artifact["testRunStart"]["dutInfo"]
            self._hardware = {info["hardwareInfoId"] for info in dut.get("hardwareInfos", [])}
            self._software = {info["softwareInfoId"] for info in dut.get("softwareInfos", [])}
        elif "testRunEnd" in artifact:
            self._check_run_end(artifact["testRunEnd"])
        self._check_references(artifact)

    def _check_run_end(self, end):
        self._run_end = (end["status"], end["result"])
        if self._run_end not in VERDICTS.values():
            self._fault(f"testRunEnd: status {end['status']} does not go with result {end['result']}")
        if not self._steps:
            self._fault("testRunEnd: the run has no step")
        for name, step in self._steps.items():
            if step.status is None:
                self._fault(f"testRunEnd: step '{name}' has no testStepEnd")
            elif step.status != end["status"]:
                self._fault(f"testRunEnd: status {end['status']}, but step '{name}' ended with {step.status}")
            self._check_verdict(step.closing.get("result", {}).get("result"))

    def _check_verdict(self, result):
        if result in VERDICTS and VERDICTS[result] != self._run_end:
            self._fault(f"testRunEnd: {'/'.join(self._run_end)} does not go with the test's result {result}")

    def _check_step_artifact(self, artifact):
        name = artifact["testStepId"]
        step = self._steps.get(name)
        if "testStepStart" in artifact:
            if step is not None:
                self._fault(f"step '{name}' starts twice")
            self._steps.setdefault(name, Step())
            return
        if step is None:
            self._fault(f"step '{name}' has not started")
            return
        if step.status is not None:
            self._fault(f"step '{name}' has ended before")
        if "testStepEnd" in artifact:
            self._check_step_end(name, step, artifact["testStepEnd"])
        elif "extension" in artifact:
            self._check_extension(step, **artifact["extension"])
        elif step.closing:
            self._fault(f"only extensions may follow the {' and '.join(step.closing)} of a step")
        self._check_references(artifact)

    def _check_step_end(self, name, step, end):
        step.status = end["status"]
        for extension in CLOSING:
            if extension not in step.closing:
                self._fault(f"step '{name}' ends without the extension {extension}")

    def _check_extension(self, step, name, content, **_):
        if name == "event":
            self._check_event(content, EVENT_PARTS)
        elif name == "events":
            self._check_event(content, EVENT_PARTS | {"count", "lastMessage", "lastVariables"})
        if name in ("event", "events"):
            if step.closing:
                self._fault(f"no event may follow the {' and '.join(step.closing)} of a step")
        elif name in CLOSING:
            if name in step.closing:
                self._fault(f"extension {name} comes a second time in its step")
            step.closing[name] = content
            if name == "coverage":
                self._check_coverage(step, content)
            else:
                self._check_result(content)
        elif name == "unrestored":
            self._check_unrestored(content)
        elif name == "badSectors":
            self._check_bad_sectors(step, content)
        elif name == "temperature" and is_temperature(content) and not self._is_resumed and not was_too_hot(content):
            self._fault("extension temperature: the drive rested, and was never hotter than its limit")
        elif name in FORMS and not FORMS[name](content):
            self._fault(f"extension {name}: not of the form that docs/record.md describes")

    def _check_bad_sectors(self, step, content):
        ranges = content.get("ranges")
        if set(content) != {"fault", "words", "ranges"} or content["fault"] not in FAULTS or not ranges:
            self._fault(f"extension badSectors: fault, words and ranges expected, not {content}")
            return
        for first, last in ranges:
            if first > last:
                self._fault(f"extension badSectors: {first}-{last} is no range")
            step.bad.append((first, last))

    def _check_event(self, content, parts):
        if set(content) - {"cause"} != parts:
            self._fault(f"extension event: has {sorted(content)}, expected {sorted(parts)} and perhaps a cause")
            return
        if not isinstance(content["key"], str) or not content["key"]:
            self._fault("extension event: key is not a text")
        if content["type"] not in EVENT_TYPES:
            self._fault(f"extension event: type is {content['type']!r}, expected one of {', '.join(EVENT_TYPES)}")
        if not isinstance(content["message"], str):
            self._fault("extension event: message is not a text")
        if not isinstance(content["variables"], dict):
            self._fault("extension event: variables is not an object")

    def _check_coverage(self, step, content):
        counts = [content.get(name) for name in COVERAGE]
        if not all(is_count(count) for count in counts):
            self._fault(f"extension coverage: {', '.join(COVERAGE)} must be counts, but are {counts}")
        elif counts[0] != sum(counts[1:]):
            self._fault("extension coverage: requested {} is not tested {} + failed {} + skipped {}".format(*counts))
        bad = sum(last - first + 1 for first, last in step.bad)
        if content.get("unit") not in ("sectors", "positions"):
            self._fault(f"extension coverage: unknown unit {content.get('unit')!r}")
        elif content["unit"] == "sectors" and bad != content.get("failed"):
            self._fault(f"extension coverage: {content.get('failed')} sectors failed, but {bad} are listed as bad")

    def _check_result(self, content):
        if content.get("result") not in VERDICTS:
            self._fault(f"extension result: unknown result {content.get('result')!r}")
        for name in ("errors", "warnings"):
            if not is_count(content.get(name)):
                self._fault(f"extension result: {name} must be a count, but is {content.get(name)!r}")

    def _check_unrestored(self, content):
        ranges = content.get("ranges")
        if not isinstance(ranges, list) or not ranges or not all(is_range(each) for each in ranges):
            self._fault(f"extension unrestored: ranges of sector and lastSector expected, not {ranges}")
        if set(content) != {"ranges", "journal"} or not isinstance(content["journal"], str):
            self._fault("extension unrestored: expected ranges and journal, the path of a file or an empty text")

    def _check_references(self, artifact):
        for body in artifact.values():
            if not isinstance(body, dict):
                continue
            if body.get("hardwareInfoId", None) not in self._hardware | {None}:
                self._fault(f"hardwareInfoId '{body['hardwareInfoId']}' is not in the dutInfo")
            for name in set(body.get("softwareInfoIds", [])) - self._software:
                self._fault(f"softwareInfoId '{name}' is not in the dutInfo")

    def _check_ended(self):
        if self._run_end is None:
            self._fault("the record does not end with a testRunEnd (a cut-off record is checked with --partial)")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--partial", action="store_true", help="accept a record that was cut off at a line's end")
    parser.add_argument("records", nargs="+", metavar="FILE")
    arguments = parser.parse_args()
    validator = load_validator()
    faulty = False
    for record in arguments.records:
        try:
            data = pathlib.Path(record).read_bytes()
        except OSError as error:
            print(f"{record}: cannot be read: {error.strerror}")
            faulty = True
            continue
        for line, what in RecordCheck(validator, arguments.partial).check(data):
            print(f"{record}:{line}: {what}")
            faulty = True
    return 1 if faulty else 0


if __name__ == "__main__":
    sys.exit(main())
