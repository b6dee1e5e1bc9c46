#!/usr/bin/python3
"""Counts the tests of one run of ctest, or of a GoogleTest program. Arguments: its JUnit file, a name, and a folder; writes
NAME.counts there (passed, failed and skipped tests) and adds the names of skipped tests to the file "skipped"."""

import pathlib
import re
import sys
import xml.etree.ElementTree


def skips(case):
    """What the test skipped: itself, or some of the cases that a Python script holds."""
    if case.get("status") == "disabled":
        return 1, ": disabled"
    if case.get("result") == "skipped":  # GoogleTest's own word
        said = case.find("skipped").get("message", "").partition("\n")[2].strip()
        return 1, ": " + said if said else ""
    output = case.findtext("system-out") or ""
    reason = case.find("skipped")
    if reason is not None and reason.get("message", "").startswith("SKIP_"):
        said = re.search(r": Skipped\n(.+)", output)
        return 1, ": " + said[1] if said else ""
    cases = re.search(r"^OK \(.*skipped=(\d+)", output, re.MULTILINE)
    return (int(cases[1]), f": {cases[1]} of its cases") if cases else (0, "")


def has_run_well(case):
    return case.get("status") == "run" and case.find("failure") is None and case.get("result") != "skipped"


def main():
    if len(sys.argv) != 4:
        sys.exit("use it as: count_tests.py JUNIT NAME FOLDER")
    junit, name, folder = sys.argv[1], sys.argv[2], pathlib.Path(sys.argv[3])
    try:
        cases = list(xml.etree.ElementTree.parse(junit).getroot().iter("testcase"))
    except (OSError, xml.etree.ElementTree.ParseError) as error:
        sys.exit(f"count_tests.py: there is no list of tests in {junit}: {error}")
    passed = sum(map(has_run_well, cases))
    # Of those that did not run, the ones that did not skip themselves could not be started.
    failed = sum(not has_run_well(case) and skips(case)[0] == 0 for case in cases)
    skipped = sum(skips(case)[0] for case in cases)
    (folder / f"{name}.counts").write_text(f"{passed} {failed} {skipped}\n", encoding="utf-8")
    with (folder / "skipped").open("a", encoding="utf-8") as names:
        for case in cases:
            if skips(case)[0]:
                suite = case.get("classname") + "." if case.get("result") else ""
                test = suite + case.get("name").split("  # ")[0]  # what follows is GoogleTest's note on the parameter
                names.write(f"{test} ({name}){skips(case)[1]}\n")


if __name__ == "__main__":
    sys.exit(main())
