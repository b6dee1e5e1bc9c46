#!/usr/bin/python3
"""Kills runs and recoveries by SIGKILL, many times, and looks for a byte that is lost.

DRIVETEST=build/dev/bin/drivetest DRIVETEST_KILLS=1000 DRIVETEST_RECOVERY_KILLS=500 tests/campaign/kills.py, as root;
DRIVETEST_SEED and DRIVETEST_CASE repeat a case, DRIVETEST_WORKERS is how many run side by side. Moments depend on the
machine, so a case may have to be repeated some times.
"""

import collections
import concurrent.futures
import os
import random
import shutil
import subprocess
import sys
import tempfile
import traceback

sys.dont_write_bytecode = True

import case  # noqa: E402
import targets  # noqa: E402

KILLS = int(os.environ.get("DRIVETEST_KILLS", 48))
RECOVERY_KILLS = int(os.environ.get("DRIVETEST_RECOVERY_KILLS", 20))
WORKERS = int(os.environ.get("DRIVETEST_WORKERS", 2))
SKIPPED = 77  # the exit status for CTest


def run_case(seed, number, kinds, places):
    """The tally of a case, and what went wrong in it."""
    one = case.Case(seed, number, kinds, places)
    one.tally.update({"cases": 1, "on: " + one.kind.__name__: 1, "journal on: " + file_system(one.place): 1,
                      "moment: " + one.moment: 1, "test: " + one.test: 1, "named: " + one.naming: 1})
    try:
        one.run()
    except Exception as error:  # whatever it is, the campaign goes on and tells of it
        one.tally["LOSSES" if isinstance(error, case.Loss) else "cases that could not be run"] += 1
        text = ("case %d: %s\n  %s %s %s %s %s flip=%s\n  files in %s and %s\n"
                "  again: DRIVETEST_SEED=%d DRIVETEST_CASE=%d") % (
            number, error or traceback.format_exc(), one.kind.__name__, one.test, one.moment, one.naming, one.notes,
            getattr(one, "flipped_at", None), one.folder, one.journals, seed, number)
        return one.tally, text
    return one.tally, None


def file_system(folder):
    found = subprocess.run(["findmnt", "-n", "-o", "FSTYPE", "-T", folder], capture_output=True, text=True, check=True)
    return found.stdout.split()[0]


class Campaign:
    def __init__(self, seed, folder):
        self.seed, self.tally, self.failed = seed, collections.Counter(), 0
        self.kinds, self.missing = targets.usable(folder)
        self.places = ["/dev/shm", "/var/tmp"]

    def run(self):
        """Cases until there were enough kills of both."""
        number, pending = 0, set()
        with concurrent.futures.ProcessPoolExecutor(WORKERS) as pool:
            while pending or not self.is_done():
                while len(pending) < 2 * WORKERS and not self.is_done():
                    pending.add(pool.submit(run_case, self.seed, number, self.kinds, self.places))
                    number += 1
                ended, pending = concurrent.futures.wait(pending, return_when=concurrent.futures.FIRST_COMPLETED)
                for one in ended:
                    self.take(*one.result())

    def take(self, tally, problem):
        self.tally.update(tally)
        if self.tally["cases"] % 100 == 0:
            print("%(cases)d cases, %(killed)d runs and %(recoveries killed)d recoveries killed" % self.tally, flush=True)
        if problem:
            self.failed += 1
            print("FAILED", problem, flush=True)

    def is_enough(self):
        return self.tally["killed"] >= KILLS and self.tally["recoveries killed"] >= RECOVERY_KILLS

    def is_done(self):
        return self.is_enough() or self.failed >= 20 or self.tally["cases"] >= 20 * max(KILLS, RECOVERY_KILLS)

    def show(self):
        self.tally["LOSSES"] += 0
        for name in sorted(self.tally, key=lambda name: (":" in name, name)):
            print("%7d  %s" % (self.tally[name], name))
        if self.missing:
            print("not possible here: " + ", ".join(self.missing))


def main():
    if os.geteuid() != 0 or not os.path.isdir("/dev/shm"):
        print("Skipped: loop devices need root, and images /dev/shm")
        return SKIPPED
    seed = int(os.environ.get("DRIVETEST_SEED", random.randrange(1 << 32)))
    print("seed %d" % seed, flush=True)
    folder = tempfile.mkdtemp(prefix="campaign-", dir="/dev/shm")
    campaign = Campaign(seed, folder)
    shutil.rmtree(folder)
    wanted = os.environ.get("DRIVETEST_CASE")
    if wanted:
        campaign.take(*run_case(seed, int(wanted), campaign.kinds, campaign.places))
    else:
        campaign.run()
    campaign.show()
    return 0 if campaign.failed == 0 and (wanted or campaign.is_enough()) else 1


if __name__ == "__main__":
    sys.exit(main())
