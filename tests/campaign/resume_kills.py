#!/usr/bin/python3
"""Kills each run of the test of resuming sixty times by SIGKILL, and looks for a sector that is skipped or counted twice.

DRIVETEST=build/dev/bin/drivetest RECORD_CHECKER=tests/record/check_record.py tests/campaign/resume_kills.py;
DRIVETEST_RESUME_KILLS makes it more, DRIVETEST_SEED repeats it. Moments depend on the machine all the same.
"""

import os
import pathlib
import sys
import unittest

sys.dont_write_bytecode = True
sys.path.append(str(pathlib.Path(__file__).resolve().parent.parent / "cli"))
os.environ.setdefault("DRIVETEST_RESUME_KILLS", "60")

import resume_test  # noqa: E402

if __name__ == "__main__":
    print("seed %d" % resume_test.SEED, flush=True)
    unittest.main(resume_test, argv=[sys.argv[0], "Kills", *sys.argv[1:]])
