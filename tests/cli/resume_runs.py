"""Runs that are killed by SIGKILL and resumed until they are done, and what of their records must be the same as of a run
that nobody disturbed."""

import collections
import json
import os
import re
import signal
import subprocess
import time

SAME = ("drive", "surface", "regions", "badSectors", "slowTransfers", "transfers", "latency", "coverage", "result",
        "fingerprint")
# Where simulated drives are slow. That is in simulated time, in which others, and drives that are real, are slow only when
# the machine is.
SLOW = ((20000, 20300), (40000, 40010))


def lines_of(path):
    with open(path, "rb") as file:
        return [json.loads(line) for line in file if line.endswith(b"\n")]


def extensions(path, name):
    steps = (line.get("testStepArtifact", {}) for line in lines_of(path))
    return [step["extension"]["content"] for step in steps if step.get("extension", {}).get("name") == name]


def proven(path):
    """How many sectors the record of a killed run proves; None without a line of progress."""
    try:
        progress = extensions(path, "progress")
    except (FileNotFoundError, ValueError):
        return None
    return progress[-1]["sectorsDone"] if progress else None


def without_times(name, content):
    """What an extension says besides durations, which in simulated time, too, have some of the machine's in them."""
    if name == "surface":
        return {part: content[part] for part in ("sectorsPerCell", "cells", "outcomes")}
    if name == "regions":
        return {part: value["bytes"] if part in ("read", "written") else value for part, value in content.items()}
    if name == "latency":
        return [[each["operation"], each["count"]] for each in content["operations"]]
    if name == "slowTransfers":
        slow = [[each["sector"], each["lastSector"]] for each in content["slowest"] if each["durationUs"] > 150000]
        return sorted([first, last] for first, last in slow for begin, end in SLOW if first <= end and last >= begin)
    return content


def account(path):
    """All that two records of the same run must agree in: everything but times."""
    found = {name: [without_times(name, content) for content in extensions(path, name)] for name in SAME}
    # That a limit was reached stands behind whatever came last, which may have been in the part before.
    found["events"] = collections.Counter(json.dumps([e["key"], e["variables"], e["key"] != "hitMaxErr" and e.get("cause")],
                                                     sort_keys=True) for e in extensions(path, "event"))
    joined = collections.Counter()
    for events in extensions(path, "events"):
        joined[events["key"]] += events["count"]
    found["joined"] = joined
    steps = [line.get("testStepArtifact", {}) for line in lines_of(path)]
    found["measured"] = [step["measurement"]["name"] for step in steps if "measurement" in step]
    found["diagnoses"] = sum("diagnosis" in step for step in steps)
    found["end"] = [line["testRunArtifact"]["testRunEnd"] for line in lines_of(path)
                    if "testRunEnd" in line.get("testRunArtifact", {})]
    return found


def report_lines(page):
    """The text of a report that two of the same run must agree in. A simulated drive forgets its health with the process."""
    text = re.sub(r'(?s)<style.*?</style>|<script nonce.*?</script>|<section id="(?:rates|latency|health)".*?</section>', "", page)
    text = re.sub(r'(?s)The slowest transfers.*?</section>|"(?:slowest|rates)":\{.*?\}', "", text)
    lines = [line.strip() for line in re.sub(r"<[^>]*>", "\n", text).split("\n")]
    lines = [re.sub(r"\d{4}-\d\d-\d\d [\d:]+ UTC|[\d.,]+\s(?:s|ms|MB/s)$|\d+:\d\d(?::\d\d)?$", "(time)", line) for line in lines
             if line]
    # See account().
    lines = [line for line, after in zip(lines, lines[1:] + [""]) if line.isdigit() or not after.startswith("The limit of")]
    own = ("Resumed", "Record", "To repeat the run")  # and what stands behind them
    return [line for before, line in zip([""] + lines, lines) if before not in own and line != "Resumed"]


def differences(one, other):
    """In what two accounts differ, in a line each."""
    return ["%s: %.300s, not %.300s" % (name, one[name], other[name]) for name in one if one[name] != other[name]]


class Interrupted:
    """One run in many parts. `command` begins a run, `resume` one that goes on, both without --events."""

    def __init__(self, folder, random, command, resume, between=lambda: None):
        self.folder, self.random, self.command, self.resume, self.between = folder, random, command, resume, between
        self.kills, self.number, self.status, self.text = 0, 0, None, ""
        self.moments = []  # what was proven at each kill

    def run(self, kills, largest):
        """The last part's record, which is whole; so many kills count, each after up to `largest` bytes more."""
        record = None
        while True:
            self.number += 1
            part = os.path.join(self.folder, "part%d.jsonl" % self.number)
            words = self.command if record is None else [*self.resume, "--resume", record]
            with subprocess.Popen([*words, "--save-progress", "0", "--events", part], stdin=subprocess.DEVNULL,
                                  stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True) as process:
                if self.kills < kills:
                    self.kill_somewhere(process, part, os.path.getsize(record) if record else 0, largest)
                self.text = process.communicate(timeout=120)[0]
            self.status = process.returncode
            if self.status != -signal.SIGKILL:
                return part
            self.kills += 1
            done, before = proven(part), proven(record) if record else None
            self.moments.append(done)
            # Of one that had come to its end, nobody goes on.
            if done is not None and (before is None or done >= before) and not account(part)["end"]:
                record = part
            self.between()

    def kill_somewhere(self, process, part, begins, largest):
        """When the record has grown by so much, or a little later."""
        wanted = begins + self.random.uniform(-200, largest)
        while process.poll() is None:
            try:
                if os.path.getsize(part) >= wanted:
                    break
            except FileNotFoundError:
                pass
        time.sleep(self.random.choice((0, 0, 0.001, 0.005)))
        process.kill()
