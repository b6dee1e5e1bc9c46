#!/usr/bin/python3
"""Counts the tests of one ctest run. Arguments: ctest's JUnit file, a name, and a folder; writes NAME.counts there
(passed, failed and skipped tests) and adds the names of skipped tests to the file "skipped"."""

import pathlib
import re
import sys
import xml.etree.ElementTree


def skips(case):
    """What the test skipped: itself, or some of the cases that a Python script holds."""
    if case.get("status") == "disabled":
        return 1, ": disabled"
    output = case.findtext("system-out") or ""
    reason = case.find("skipped")
    if reason is not None and reason.get("message", "").startswith("SKIP_"):
        said = re.search(r": Skipped\n(.+)", output)
        return 1, ": " + said[1] if said else ""
    cases = re.search(r"^OK \(.*skipped=(\d+)", output, re.MULTILINE)
    return (int(cases[1]), f": {cases[1]} of its cases") if cases else (0, "")


def main():
    if len(sys.argv) != 4:
        sys.exit("use it as: count_tests.py JUNIT NAME FOLDER")
    junit, name, folder = sys.argv[1], sys.argv[2], pathlib.Path(sys.argv[3])
    try:
        cases = xml.etree.ElementTree.parse(junit).getroot().findall("testcase")
    except (OSError, xml.etree.ElementTree.ParseError) as error:
        sys.exit(f"count_tests.py: ctest left no list of its tests in {junit}: {error}")
    passed = sum(case.get("status") == "run" for case in cases)
    # Of those that did not run, the ones that did not skip themselves could not be started.
    failed = sum(case.get("status") != "run" and skips(case)[0] == 0 for case in cases)
    skipped = sum(skips(case)[0] for case in cases)
    (folder / f"{name}.counts").write_text(f"{passed} {failed} {skipped}\n", encoding="utf-8")
    with (folder / "skipped").open("a", encoding="utf-8") as names:
        for case in cases:
            if skips(case)[0]:
                test = case.get("name").split("  # ")[0]  # what follows is GoogleTest's note on the parameter
                names.write(f"{test} ({name}){skips(case)[1]}\n")


if __name__ == "__main__":
    sys.exit(main())
