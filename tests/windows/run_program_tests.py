#!/usr/bin/python3
"""Runs the tests that use the program, for the one that DRIVETEST names, and counts each of them. Arguments: a folder for
FILE.counts (passed, failed and skipped tests) and for the names of skipped tests, how many files run side by side, and
files, else all that need nothing but the program."""

import concurrent.futures
import os
import pathlib
import re
import subprocess
import sys

TESTS = pathlib.Path(__file__).resolve().parent.parent
ENDED = re.compile(r"^Ran (\d+) tests? in", re.MULTILINE)
# A test can have many cases that fail or are skipped.
FAILED = re.compile(r"^(?:FAIL|ERROR): (\w+) \(([\w.]+)\)", re.MULTILINE)
SKIPPED = re.compile(r"^ *(test_\w+) \([\w.]+\)(?:.*\n)?.*? \.\.\. skipped ['\"](.*)['\"]$", re.MULTILINE)


def scripts():
    for path in sorted((TESTS / "cli").glob("*_test.py")):
        if path.stem != "runpath_test":  # the search path of an ELF file
            yield path
    yield TESTS / "layouts/simulated_layouts_test.py"
    yield from sorted((TESTS / "windows").glob("*_test.py"))


def run(script):
    """What the script said, and its counts; of one that did not come to its end, no counts."""
    paths = os.pathsep.join(str(TESTS / folder) for folder in ("cli", "record", "layouts"))
    ended = subprocess.run([sys.executable, "-B", script, "-v"], env={**os.environ, "PYTHONPATH": paths}, cwd=script.parent,
                           stdin=subprocess.DEVNULL, capture_output=True, text=True, errors="replace", timeout=1500, check=False)
    said = ended.stderr + ended.stdout
    if not ENDED.search(said):
        return said, None
    failed, skipped = len(set(FAILED.findall(said))), len(dict(SKIPPED.findall(said)))
    return said, (int(ENDED.search(said)[1]) - failed - skipped, failed, skipped)


def main():
    notes, jobs = pathlib.Path(sys.argv[1]), int(sys.argv[2])
    files = [pathlib.Path(name).resolve() for name in sys.argv[3:]] or list(scripts())
    all_well = True
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        for script, (said, counts) in zip(files, pool.map(run, files)):
            passed, failed, skipped = counts or (0, 1, 0)
            (notes / f"{script.stem}.counts").write_text(f"{passed} {failed} {skipped}\n", encoding="utf-8")
            (notes / f"{script.stem}.log").write_text(said, encoding="utf-8")
            print(f"{script.stem}: {passed} passed, {failed} failed, {skipped} left out", flush=True)
            with (notes / "skipped").open("a", encoding="utf-8") as names:
                names.writelines(f"{script.stem}.{name}: {reason}\n" for name, reason in dict(SKIPPED.findall(said)).items())
            if failed:
                all_well = False
                print(said)
    return 0 if all_well else 1


if __name__ == "__main__":
    sys.exit(main())
