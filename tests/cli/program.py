"""Runs the program as a user does, and reads its records."""

import json
import os
import shutil
import subprocess
import sys
import tempfile
import unittest

PROGRAM = os.environ["DRIVETEST"]
CHECKER = os.environ["RECORD_CHECKER"]


class Outcome:
    """What one run of the program left behind."""

    def __init__(self, process, record_path):
        self.status = process.returncode
        self.out = process.stdout
        self.err = process.stderr
        self.record_path = record_path

    def artifacts(self):
        with open(self.record_path, encoding="utf-8") as lines:
            return [json.loads(line) for line in lines]

    def steps(self, kind):
        found = (a.get("testStepArtifact", {}) for a in self.artifacts())
        return [step[kind] for step in found if kind in step]

    def extensions(self, name):
        return [e["content"] for e in self.steps("extension") if e["name"] == name]

    def events(self):
        """key and variables of every event, such as "readSectorErr ReadSector=7"."""
        texts = []
        for event in self.extensions("event"):
            values = ["%s=%s" % item for item in event["variables"].items()]
            texts.append(" ".join([event["key"]] + values))
        return texts

    def coverage(self):
        c = self.extensions("coverage")[0]
        return "%(requested)d = %(tested)d + %(failed)d + %(skipped)d" % c

    def result(self):
        return self.extensions("result")[0]["result"]

    def end(self):
        last = self.artifacts()[-1]["testRunArtifact"]["testRunEnd"]
        return last["status"] + "/" + last["result"]


class ProgramTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="drivetest-")
        self.addCleanup(shutil.rmtree, self.folder)
        self.record = os.path.join(self.folder, "record.jsonl")

    def path(self, name):
        return os.path.join(self.folder, name)

    def start(self, *arguments, environment=None, **options):
        env = {**os.environ, "LC_ALL": "C.UTF-8", **(environment or {})}
        return subprocess.run([PROGRAM, *arguments], stdin=subprocess.DEVNULL, env=env, cwd=self.folder,
                              capture_output=True, text=True, timeout=120, check=False, **options)

    def run_test(self, device, *parameters, options=()):
        """A linear read with a record, which must be valid."""
        given = [word for parameter in parameters for word in ("-p", parameter)]
        process = self.start("run", "LinearReadTest", device, *given, "--events", self.record, *options)
        self.check_record(self.record)
        return Outcome(process, self.record)

    def check_record(self, path, *options):
        checked = subprocess.run([sys.executable, CHECKER, *options, path], capture_output=True, text=True, check=False)
        self.assertEqual(checked.returncode, 0, checked.stdout + checked.stderr)


def loop_device(test, path):
    """Attaches a file to a loop device for the length of a test; skips the test where that cannot be done."""
    if os.geteuid() != 0:
        test.skipTest("loop devices need root")
    attached = subprocess.run(["losetup", "--show", "-f", path], capture_output=True, text=True, check=False)
    if attached.returncode != 0:
        test.skipTest("loop devices do not work here: " + attached.stderr.strip())
    device = attached.stdout.strip()
    test.addCleanup(subprocess.run, ["losetup", "-d", device], check=False, stderr=subprocess.DEVNULL)
    return device
