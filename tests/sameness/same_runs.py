#!/usr/bin/python3
"""Compares two builds of the program: runs every test on drives of every kind with both, and says where their exit
statuses, records or logs differ. What depends on the time that a run took, and where the source says something, is left out;
so are the system's own words. A program for Windows runs under Wine.

Exit status: 0 no difference, 1 differences, 2 wrong usage.
"""

import argparse
import difflib
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

sys.path.append(str(pathlib.Path(__file__).resolve().parent.parent / "layouts"))

import layouts  # noqa: E402

MIB = 1 << 20
RATED = re.compile(r"\d+(\.\d+)?")
TIMED_LINE = re.compile(r"rate|speed|MB/s|KB/s|kbps|seconds|time", re.IGNORECASE)
# What the systems, and Wine, call the same.
SYSTEM_WORDS = re.compile(r"No such file or directory|File not found \(2\)")
# By what each system knows a file, and the drive that it lies on.
FILE_IDS = re.compile(r"id file:.*", re.DOTALL)
LIMIT_OF_LINES = 20

# Without tests that choose sectors at random, or end when their time is over.
OPTICAL = [(test, "sim:optical,sectors=%d,%s" % (sectors, keys), parameters)
           for test, sectors, keys, parameters in (
               ("LinearReadTest", 4096, "media=cdrom,bad=77", ()),
               ("LinearReadTest", 4096, "media=bdrom", ()),
               ("LinearReadCompareTest", 4096, "media=dvdrom", ()),
               ("LinearSeekTest", 400, "media=cdrom", ()),
               ("ReadPerformanceTest", 40960, "media=dvdrom", ()),
               ("DefaultReadPerformanceTest", 40960, "media=none", ()),
               ("PatternTestMMC", 4096, "media=cdrw", ("NumberOfSeeks=64",)),
               ("PatternTestMMC", 4096, "media=dvd+rw,bad-write=100", ("NumberOfSeeks=256",)),
               ("PatternTestMMC", 4096, "media=dvdr,state=closed", ("NumberOfSeeks=64",)),
               ("RandomWriteTestMMC", 4096, "media=cdr", ("NumberOfSeeks=16",)),
               ("RandomWriteTestMMC", 4096, "media=bdre", ("NumberOfSeeks=16",)),
               ("LinearReadTest", 4096, "media=none", ()))]
IMAGE = [(test, device, parameters) for device in ("drive.img", "sim:disk,image=drive.img,bad=1000")
         for test, parameters in (("LinearReadTest", ()), ("LinearReadCompareTest", ()), ("RandomSeekTest", ("StartRange=7", "EndRange=8")),
                                  ("LinearPatternTest", ("NumberOfPatterns=2",)), ("CacheTest", ()), ("ReadWriteSpeedTest", ()))]
MISTAKES = [("LinearReadTest", "missing.img", ()), ("LinearReadTest", "sim:disk,sectors=0", ()), ("NoSuchTest", "drive.img", ()),
            ("LinearReadTest", "drive.img", ("StartRange=1XB",)), ("LinearPatternTest", "sim:disk,encrypted", ())]


def all_runs():
    """As (test, device, parameters, options)."""
    for each in layouts.SIMULATED:
        yield each.test, each.drive, each.parameters, each.options
    for test, device, parameters in OPTICAL + IMAGE + MISTAKES:
        yield test, device, parameters, ()


def without_times(value):
    """A record's line without what no second run repeats, on another file and another system."""
    if isinstance(value, list):
        return [without_times(each) for each in value]
    if isinstance(value, str):
        return FILE_IDS.sub("id file", value)
    if not isinstance(value, dict):
        return value
    if value.get("name") in ("latency", "slowTransfers", "regions"):
        return {"name": value["name"]}
    if "unit" in value and "value" in value:
        return {**value, "value": 0}
    own = {"timestamp", "slowestUs", "cellsPerValue", "sourceLocation", "commandLine", "transferSectors"}
    return {key: without_times(each) for key, each in value.items() if key not in own}


def plain(line):
    return RATED.sub("#", line) if TIMED_LINE.search(line) else line


def record_lines(path):
    lines = path.read_text().splitlines() if path.exists() else []
    return [plain(json.dumps(without_times(json.loads(line)), sort_keys=True)) for line in lines]


def log_lines(path):
    return [plain(line) for line in path.read_text().splitlines()] if path.exists() else []


def is_for_windows(program):
    return program.suffix == ".exe"


def launched(program):
    return ["/usr/lib/wine/wine64", str(program)] if is_for_windows(program) else [str(program)]


def native(program, path):
    """An absolute path as the program's system writes it."""
    return "Z:" + str(path).replace("/", "\\") if is_for_windows(program) else str(path)


def make_image(path):
    path.write_bytes(bytes(range(256)) * (20 * MIB // 256))


def outcome(program, test, device, parameters, options):
    """Of one run in a folder of its own, as lines."""
    with tempfile.TemporaryDirectory(prefix="same-") as folder:
        folder = pathlib.Path(folder)
        make_image(folder / "drive.img")
        words = [*launched(program), "run", test, device, "--events", "record", "--log", "log", "--log-priority", "0", "--no-prompt",
                 "--journal", "journals", "--confirm", device, *options]
        words += [word for parameter in parameters for word in ("-p", parameter)]
        ended = subprocess.run(words, cwd=folder, stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=300,
                               env={**os.environ, "DRIVETEST_STATE": native(program, folder / "state"), "LC_ALL": "C.UTF-8"}, check=False)
        changed = (folder / "drive.img").read_bytes() != bytes(range(256)) * (20 * MIB // 256)
        lines = [f"status {ended.returncode}", f"image changed: {changed}"]
        lines += ["record: " + line for line in record_lines(folder / "record")]
        lines += ["log: " + line for line in log_lines(folder / "log")]
        return [SYSTEM_WORDS.sub("there is no such file", line.replace(str(folder), "FOLDER")) for line in lines]


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("old", type=pathlib.Path)
    parser.add_argument("new", type=pathlib.Path)
    arguments = parser.parse_args()
    programs = [path.resolve() for path in (arguments.old, arguments.new)]
    runs, different = list(all_runs()), 0
    for run in runs:
        before, after = (outcome(program, *run) for program in programs)
        if before != after:
            different += 1
            print(f"== {run[0]} on {run[1]}")
            difference = difflib.unified_diff(before, after, "old", "new", lineterm="", n=0)
            print("\n".join(line[:300] for line in list(difference)[2:LIMIT_OF_LINES]), flush=True)
    print(f"{len(runs)} runs, {different} differ")
    return 1 if different else 0


if __name__ == "__main__":
    sys.exit(main())
