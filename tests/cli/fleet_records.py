"""Records of many drives: those of real runs on simulated drives, of which others are made with another drive's names, other
times, ages and rates."""

import copy
import datetime
import json
import os

FORM = "%Y-%m-%dT%H:%M:%S.%f"


def moved(stamp, days):
    then = datetime.datetime.strptime(stamp.rstrip("Z"), FORM) + datetime.timedelta(days=days)
    return then.strftime(FORM)[:-3] + "Z"


def slowed(direction, factors):
    """factors: of all regions a number, or {number of a region: factor}."""
    us = direction["us"]
    direction["us"] = [round(each / (factors.get(i, 1) if isinstance(factors, dict) else factors)) for i, each in enumerate(us)]


class Template:
    """The record of a real run."""

    def __init__(self, path):
        with open(path, encoding="utf-8") as file:
            self.lines = [json.loads(line) for line in file]

    def copies(self, serial, model=None, firmware=None, days=0, hours=None, rates=None):
        for line in copy.deepcopy(self.lines):
            line["timestamp"] = moved(line["timestamp"], days)
            start = line.get("testRunArtifact", {}).get("testRunStart")
            if start:
                drive = start["dutInfo"]["hardwareInfos"][0]
                drive["serialNumber"] = serial
                drive.update({key: value for key, value in (("name", model), ("revision", firmware)) if value})
            step = line.get("testStepArtifact", {})
            content = step.get("extension", {}).get("content", {})
            if hours is not None and "counters" in content:
                content["counters"]["powerOnHours"] = hours
            if rates is not None and "sectorsPerRegion" in content:
                slowed(content["read"], rates)
            if isinstance(rates, float) and step.get("measurement", {}).get("name") == "readRate":
                step["measurement"]["value"] *= rates
            yield line

    def write(self, path, serial, **changes):
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "w", encoding="utf-8") as file:
            for line in self.copies(serial, **changes):
                file.write(json.dumps(line, separators=(",", ":"), ensure_ascii=False) + "\n")


class Run:
    """What a record says, read without the program."""

    def __init__(self, path, folder):
        self.record = os.path.relpath(path, folder)
        with open(path, encoding="utf-8") as file:
            lines = [json.loads(line) for line in file if line.endswith("\n")]
        start = lines[1]["testRunArtifact"]["testRunStart"]["dutInfo"]
        drive = start["hardwareInfos"][0]
        self.model, self.serial = drive.get("name", ""), drive.get("serialNumber", "")
        self.firmware, self.device = drive.get("revision", ""), start["name"]
        self.started, self.ended = lines[1]["timestamp"], lines[-1]["timestamp"]
        self.has_end = "testRunEnd" in lines[-1].get("testRunArtifact", {})
        steps = [line["testStepArtifact"] for line in lines if "testStepArtifact" in line]
        self.test = steps[0]["testStepStart"]["name"]
        found = [(step["extension"]["name"], step["extension"]["content"]) for step in steps if "extension" in step]
        self.bad = {sector for name, content in found if name == "badSectors"
                    for first, last in content["ranges"] for sector in range(first, last + 1)}
        self.result = next((content["result"] for name, content in found if name == "result"), None)
        self.rate = next((step["measurement"]["value"] for step in steps if step.get("measurement", {}).get("name") == "readRate"), None)
        self.hours = [content["counters"].get("powerOnHours") for name, content in found if name == "health"]
        self.hours = self.hours[-1] if self.hours else None
        self.parts = parts_of(next((content for name, content in found if name == "regions"), {}))

    @property
    def drive(self):
        return (self.model, self.serial) if self.serial else ("", self.device)

    @property
    def name(self):
        return f"{self.model} {self.serial}" if self.serial else self.device


def parts_of(regions):
    """{number: (first sector, rate)} of 32 parts at most, without what took less than 50 ms."""
    parts = {}
    if "read" not in regions:
        return parts
    size = -(-regions["regions"] // 32)
    for first in range(0, regions["regions"], size):
        took, bytes_read = (sum(regions["read"][what][first:first + size]) for what in ("us", "bytes"))
        if took >= 50000:
            parts[first // size] = (first * regions["sectorsPerRegion"], bytes_read / 1048576 / took * 1e6)
    return parts


def runs_of(folder):
    """All runs of the records there, the oldest first."""
    found = [os.path.join(place, name) for place, _, names in os.walk(folder) for name in names if name.endswith(".jsonl")]
    return sorted((Run(path, folder) for path in found), key=lambda run: run.started)


def newest_of(runs):
    """{(drive, test): its newest run}"""
    return {(run.drive, run.test): run for run in runs}
