"""Runs the tests on simulated drives with each layout of faults; with --table, prints what came out."""

import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

TESTS = pathlib.Path(__file__).resolve().parent.parent
sys.path += [str(TESTS / "cli"), str(TESTS / "record")]

import check_record  # noqa: E402
import judge  # noqa: E402
import layouts  # noqa: E402
import program  # noqa: E402

VALIDATOR = check_record.load_validator()


def judged(layout):
    """Runs the test of a layout."""
    with tempfile.TemporaryDirectory(prefix="layouts-") as folder:
        record, bad_list = pathlib.Path(folder, "record.jsonl"), pathlib.Path(folder, "bad")
        words = [*program.LAUNCHED, "run", layout.test, layout.drive, "--events", record, "--no-record", "--bad-list", bad_list,
                 "--journal", os.path.join(folder, "journals"), "--no-prompt", *layout.options]
        words += [word for parameter in layout.parameters for word in ("-p", parameter)]
        if layout.test in layouts.WRITING_TESTS:
            words += ["--confirm", layout.drive]
        ended = subprocess.run(words, env={**os.environ, "DRIVETEST_STATE": program.native(os.path.join(folder, "state")), "LC_ALL": "C.UTF-8",
                                           "WINEDEBUG": "fixme-all"},  # of one that Wine could not start it says why
                               stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=120, check=False)
        if not record.exists() or not bad_list.exists():
            raise AssertionError(f"status {ended.returncode}, no record or no list: {ended.stdout}{ended.stderr}")
        judgement = judge.Judgement(layout, ended.returncode, record.read_text(), bad_list.read_text())
        judgement.problems += check_record.RecordCheck(VALIDATOR).check(record.read_bytes())[:3]
        return judgement


class SimulatedLayouts(unittest.TestCase):
    maxDiff = None


def add_case(layout):
    def case(self):
        self.assertEqual(judged(layout).problems, [])
    setattr(SimulatedLayouts, "test_" + "".join(c if c.isalnum() else "_" for c in layout.name), case)


for _layout in layouts.SIMULATED:
    add_case(_layout)


if __name__ == "__main__":
    if "--table" not in sys.argv:
        unittest.main()
    sys.exit(judge.print_table(layouts.SIMULATED, judged))
