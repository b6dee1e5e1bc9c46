"""Runs that break off and are resumed: nothing is skipped or counted twice."""

import glob
import hashlib
import json
import os
import re
import subprocess
import unittest

import program
import resume_runs
from resume_case import FAULTY, MIB, SEED, Resume, sealed

STOPPABLE = "sim:disk,sectors=20000,bad=1234,real-time,speed=5"
SIMULATED = (
    ("read", "sim:disk," + FAULTY, ()),
    ("read", "sim:disk," + FAULTY, ("SectorPercentToTest=37",)),
    ("read", "sim:disk," + FAULTY, ("XferSizeHinting=no", "EndRange=3000", "NumberOfSeeks=700")),
    ("read", "sim:disk," + FAULTY, ("MaxTime=86400",)),
    ("read", "sim:disk," + FAULTY, ("MaxErrors=60",)),
    ("read", "sim:scsi,recovered=7000-7050,transient=9000:1,temperature=41," + FAULTY, ("StartRange=11", "EndRange=50007")),
    ("compare", "sim:disk,corrupt=8000-8003+33333," + FAULTY, ()),
    ("pattern", "sim:disk,bad-write=777,corrupt=12000,serial=S1,sectors=20000,bad=5000,speed=100", ()),
)



class Kills(Resume):
    def test_a_run_in_parts_says_what_a_whole_one_says(self):
        for test, device, parameters in SIMULATED:
            with self.subTest(test=test, parameters=parameters, seed=SEED):
                self.interrupt(test, device, *parameters)

    def test_every_byte_of_a_drive_is_put_back(self):
        """Killed while it holds patterns, it is recovered before it is gone on with."""
        image = self.make_image(20 * MIB)
        recover = self.command("recover")
        self.interrupt("pattern", image, between=lambda: subprocess.run(recover, check=True, capture_output=True))
        self.assertEqual(self.changed(), [])

    def test_an_image_that_was_renamed_is_another_path(self):
        image = self.make_image(2 * MIB)
        cut = self.broken_off(image)
        os.link(image, self.path("other.img"))
        os.remove(image)
        self.refused(cut, "its drive is not there: .*connect it, then try again")
        os.rename(self.path("other.img"), image)
        self.assertEqual(self.resumed(cut).returncode, 0)


class Parts(Resume):
    def test_the_new_record_is_whole_and_the_old_one_stays(self):
        cut = self.broken_off()
        with open(cut, "rb") as file:
            before = file.read()
        for expected in ("cut-2.jsonl", "cut-3.jsonl"):
            ended = self.start("run", "--resume", cut)
            self.assertEqual(ended.returncode, 1, ended.stderr)
            self.assertIn("record    " + self.path(expected), ended.stdout.replace("\\", "/"))
            with open(self.path(expected), "rb") as new, open(cut, "rb") as old:
                self.assertEqual(old.read(), before)
                self.assertTrue(new.read().startswith(before))
            self.check_record(self.path(expected))
        told = resume_runs.extensions(self.path("cut-2.jsonl"), "resumed")
        self.assertEqual([(t["file"], t["sha256"]) for t in told], [(cut, hashlib.sha256(before).hexdigest())])
        self.refused(self.path("cut-2.jsonl"), "came to its end: start a new one")

    def test_a_report_leaves_out_the_time_between(self):
        cut = self.broken_off()
        with open(cut, "rb") as file:
            lines = file.read().splitlines(keepends=True)
        with open(cut, "wb") as file:  # as of ten days ago
            file.writelines(sealed([re.sub(rb'"timestamp":"\d{4}', b'"timestamp":"2020', line) for line in lines]))
        self.assertEqual(self.resumed(cut).returncode, 1)
        self.assertEqual(self.start("report", self.record, "-o", self.path("report.html")).returncode, 0)
        with open(self.path("report.html"), encoding="utf-8") as page:
            text = re.sub("<[^>]*>", " ", page.read())
        self.assertRegex(text, r"Duration\s+[0-9.]+\ss")
        self.assertRegex(text, r"Resumed\s+1 time")

    def test_a_chunk_that_is_skipped_or_told_twice_would_be_noticed(self):
        """Whoever changes the record so that it still proves itself."""
        cut = self.broken_off()
        with open(cut, "rb") as file:
            lines = file.read().splitlines(keepends=True)
        done = int(re.search(rb'"sectorsDone":(\d+)', lines[-1])[1])
        # No more may be good than was visited: the one is refused.
        for number, status in ((done - 128, 2), (done + 128, 1)):
            last = re.sub(rb'"(sectorsDone|visited)":\d+', lambda found, n=number: b'"%s":%d' % (found[1], n), lines[-1])
            with open(cut, "wb") as file:
                file.writelines(sealed([*lines[:-1], last]))
            ended = self.resumed(cut)
            self.assertEqual(ended.returncode, status, ended.stderr)
        account = resume_runs.account(self.record)
        self.assertEqual(account["coverage"][0]["skipped"], 128)
        self.assertTrue(resume_runs.differences(account, resume_runs.account(self.path("whole.jsonl"))))

    def test_limits_count_both_parts(self):
        cut = self.broken_off(parameters=("MaxErrors=20",), at=-1)
        ended = self.resumed(cut)
        self.assertEqual(ended.returncode, 1, ended.stderr)
        self.assert_same(self.record, self.path("whole.jsonl"))

    def test_a_run_without_a_verdict_goes_on(self):
        """It was stopped, or its record could not be written to the end: what it had saved counts."""
        process = subprocess.Popen(self.command("run", "read", STOPPABLE, "--events", self.record, "--save-progress", "0"),
                                   stdout=subprocess.DEVNULL)
        while resume_runs.proven(self.record) is None:
            pass
        process.send_signal(program.STOP)
        self.assertEqual(process.wait(), 130)
        self.check_record(self.record)
        stopped = self.path("stopped.jsonl")
        os.rename(self.record, stopped)
        self.check_goes_on(stopped)

    def check_goes_on(self, record):
        """With a drive that takes its time, so that of times nothing can be said."""
        ended = self.resumed(record)
        self.assertEqual(ended.returncode, 1, ended.stderr)
        self.check_record(self.record)
        found = resume_runs.account(self.record)
        whole = resume_runs.account(self.whole("read", STOPPABLE.replace(",real-time", ""))[0])
        for name in ("coverage", "badSectors", "events", "joined", "diagnoses", "result", "end"):
            self.assertEqual(found[name], whole[name])

    @program.names_linux("mount")
    def test_a_full_disk_is_told_and_costs_what_came_after(self):
        small = self.path("small")
        os.mkdir(small)
        if os.geteuid() != 0 or subprocess.run(["mount", "-t", "tmpfs", "-o", "size=16k", "tmpfs", small], check=False).returncode:
            self.skipTest("mounting needs root")
        self.addCleanup(subprocess.run, ["umount", small], check=True)
        record = os.path.join(small, "record.jsonl")
        ended = self.start("run", "read", STOPPABLE, "--save-progress", "0", "--events", record)
        self.assertEqual(ended.returncode, 8, ended.stdout + ended.stderr)
        self.assertEqual(ended.stdout.count("record.jsonl cannot be written to: No space left on device; the test goes on"), 1)
        self.assertIn("record.jsonl is incomplete", ended.stderr)
        self.check_goes_on(record)

    def test_what_is_written_besides_tells_of_both_parts(self):
        cut = self.broken_off()
        self.assertEqual(self.resumed(cut, "--bad-list", self.path("bad"), "--grade", "default").returncode, 1)
        with open(self.path("bad"), encoding="utf-8") as bad:
            self.assertIn("\n1234 1 unreadable\n5000-5003 4 unreadable\n30000-30100 101 unreadable\n", bad.read())
        self.assertEqual(len(resume_runs.extensions(self.record, "grade")), 1)

    def test_all_of_a_folder(self):
        """Those of one drive one after the other; of what is no record nobody hears."""
        for name, device, parameters in (("a", "sim:disk," + FAULTY, ()), ("b", "sim:disk,sectors=50000", ()),
                                         ("c", "sim:disk," + FAULTY, ("StartRange=11",))):
            os.rename(self.broken_off(device, parameters=parameters), self.path(name + ".jsonl"))
        os.remove(self.path("whole.jsonl"))
        with open(self.path("other.jsonl"), "w", encoding="utf-8") as other:
            other.write("GIF89a\n")
        ended = self.start("resume", self.folder)
        self.assertEqual(ended.returncode, 1, ended.stderr)
        self.assertIn("2 drives: 1 FAIL, 1 PASS", ended.stdout)
        ends = {}
        for name, result in (("a-2", "FAIL"), ("b-2", "PASS"), ("c-2", "FAIL")):
            self.check_record(self.path(name + ".jsonl"))
            self.assertEqual(resume_runs.extensions(self.path(name + ".jsonl"), "result")[0]["result"], result)
            self.assertTrue(os.path.exists(self.path(name + ".html")) and os.path.exists(self.path(name + ".log")))
            with open(self.path(name + ".jsonl"), encoding="utf-8") as lines:
                ends[name] = [json.loads(line)["timestamp"] for line in lines if '"resumed"' in line or "testRunEnd" in line]
        self.assertLess(ends["a-2"][1], ends["c-2"][0])
        again = self.start("resume", self.folder)
        self.assertEqual((again.returncode, again.stdout), (0, "no run of %s can be resumed\n" % self.folder))
        self.assertEqual(self.start("resume", self.path("nowhere")).returncode, 2)

    def test_one_of_a_folder_may_be_all(self):
        os.rename(self.broken_off(), self.path("a.jsonl"))
        os.remove(self.path("whole.jsonl"))
        ended = self.start("resume", self.folder)
        self.assertEqual(ended.returncode, 1, ended.stderr)
        self.assertIn("record    " + self.path("a-2.jsonl"), ended.stdout.replace("\\", "/"))
        self.assertFalse(os.path.exists(self.path("overview.html")))

    def test_each_drive_of_a_folder_is_confirmed(self):
        images = []
        for name in ("a", "b"):
            images.append(self.make_image(4 * MIB))
            os.rename(images[-1], self.path(name + ".img"))
            images[-1] = self.path(name + ".img")
            os.rename(self.broken_off(images[-1], "pattern"), self.path(name + ".jsonl"))
        os.remove(self.path("whole.jsonl"))
        ended = self.start("resume", self.folder, "--confirm", images[1], "--no-prompt", "--journal", self.journals)
        self.assertEqual(ended.returncode, 2, ended.stdout)
        self.assertIn('confirm that with --confirm "%s"; nothing was written' % images[0], ended.stdout)
        os.rename(self.path("b-2.jsonl"), self.path("b.done"))
        ended = self.start("resume", self.folder, "--confirm", images[1], "--confirm", images[0], "--journal", self.journals)
        self.assertEqual(ended.returncode, 0, ended.stderr)
        records = glob.glob(self.path("[ab]-*.jsonl"))
        self.assertEqual(len(records), 2)
        for record in records:
            self.check_record(record)


if __name__ == "__main__":
    unittest.main()
