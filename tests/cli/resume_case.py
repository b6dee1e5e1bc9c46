"""What tests of runs that break off have in common."""

import hashlib
import os
import random
import re
import subprocess
import tempfile

import program
import resume_runs

MIB = 1 << 20
KILLS = int(os.environ.get("DRIVETEST_RESUME_KILLS", 8))
SEED = int(os.environ.get("DRIVETEST_SEED", random.randrange(1 << 32)))
NO_DIGEST = b"0" * 64

FAULTY = "sectors=60000,bad=1234+5000-5003+30000-30100+59999,speed=100,slow=%d-%d:200+%d-%d:700" % (
    *resume_runs.SLOW[0], *resume_runs.SLOW[1])

def sealed(lines):
    """The lines with the digests that they should have."""
    digest, out = hashlib.sha256(), []
    for line in lines:
        found = re.search(rb'"name":"progress".*"sha256":"([0-9a-f]{64})"', line)
        if found:
            own = digest.copy()
            own.update(line[:found.start(1)] + NO_DIGEST + line[found.end(1):])
            line = line[:found.start(1)] + own.hexdigest().encode() + line[found.end(1):]
        digest.update(line)
        out.append(line)
    return out


class Resume(program.ImageTest):
    def run_words(self, test, device, *parameters):
        given = [word for parameter in parameters for word in ("-p", parameter)]
        return self.command("run", test, device, *given, *self.confirmation(test, device))

    @staticmethod
    def confirmation(test, device):
        return [] if test != "pattern" else ["--confirm", "S1" if "serial=S1" in device else device]

    def whole(self, test, device, *parameters):
        """The record of a run that nobody disturbed."""
        path = self.path("whole.jsonl")
        ended = subprocess.run([*self.run_words(test, device, *parameters), "--save-progress", "0", "--events", path,
                                "--force"], stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False)
        self.check_record(path)
        return path, ended.returncode

    def interrupt(self, test, device, *parameters, kills=KILLS, between=lambda: None):
        """The same in parts, and the record of the last one."""
        whole, status = self.whole(test, device, *parameters)
        resume = self.command("run", *self.confirmation(test, device))
        begun = resume_runs.Interrupted(tempfile.mkdtemp(dir=self.folder), random.Random(SEED), self.run_words(test, device, *parameters), resume,
                                        between)
        last = begun.run(kills, os.path.getsize(whole) // (kills + 1))
        self.assertEqual(begun.status, status, begun.text)
        self.check_record(last)
        self.assert_same(last, whole)
        return begun, last

    def assert_same(self, record, whole):
        different = resume_runs.differences(resume_runs.account(record), resume_runs.account(whole))
        self.assertEqual(different, [], "seed %d" % SEED)
        self.assertEqual(self.report_of(record), self.report_of(whole), "seed %d" % SEED)

    def report_of(self, record):
        page = os.path.join(tempfile.mkdtemp(dir=self.folder), "report.html")
        ended = self.start("report", str(record), "-o", page)
        self.assertEqual(ended.returncode, 0, ended.stderr)
        with open(page, encoding="utf-8") as file:
            return resume_runs.report_lines(file.read())

    def broken_off(self, device="sim:disk," + FAULTY, test="read", at=None, parameters=()):
        """A record that ends within its progress: behind the line of that number, or of the middle."""
        path, _ = self.whole(test, device, *parameters)
        with open(path, "rb") as file:
            lines = file.read().splitlines(keepends=True)
        saved = [number for number, line in enumerate(lines) if b'"name":"progress"' in line]
        cut = self.path("cut.jsonl")
        with open(cut, "wb") as file:
            file.writelines(lines[:saved[len(saved) // 2 if at is None else at] + 1])
        return cut

    def resumed(self, record, *options):
        if os.path.exists(self.record):
            os.remove(self.record)
        return self.start("run", "--resume", record, "--events", self.record, *options)

    def refused(self, record, sentence, *options):
        """Nothing was started, and no file is left."""
        ended = self.resumed(record, *options)
        self.assertEqual((ended.returncode, os.path.exists(self.record)), (2, False), ended.stdout + ended.stderr)
        self.assertRegex(ended.stderr, sentence)
        self.assertEqual(len(ended.stderr.splitlines()), 1, ended.stderr)
