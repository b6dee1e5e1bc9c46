"""Optical drives: media prompts at a terminal, what recording asks for first, and its verdicts."""

import os
import signal
import subprocess
import time
import unittest

import program

PROMPT = "Insert a medium: Please insert a medium for this test. (DriveTst Simulated writer) [Enter: continue, c: cancel]"


class Media(program.ProgramTest):
    def test_prompts_take_every_answer(self):
        for keys, answers, status, prompts in (
                ("media=none>none>cdrom", ["\n"], 0, 1),
                ("media=none>none>none>none>cdrom", ["\n", "\n"], 0, 2),  # both the prompt and the test load
                ("media=none", ["c\n"], 130, 1),
                ("media=none", ["\n", "\n", "\n"], 4, 3),
                ("media=none>none>dvdrom,tray=no", [], 0, 1),  # put in by hand
        ):
            with self.subTest(keys=keys, answers=answers):
                # What was seen before stays on the screen: an answer waits for its own prompt.
                exchanges = [(PROMPT, answer) for answer in answers]
                ended, seen = self.converse(["run", "ReadPerformanceTest", f"sim:optical,{keys}"], exchanges)
                self.assertEqual((ended, seen.count(PROMPT)), (status, prompts), seen)

    def test_nobody_is_asked_without_a_terminal(self):
        for keys, result, said in (("media=none", "NOMEDIA", "there is no medium in the drive"),
                                   ("media=dvdrom,sectors=5999", "INCORRECTMEDIA", "not enough data on this disc")):
            run = self.run_test(f"sim:optical,{keys}", test="ReadPerformanceTest")
            self.assertEqual((run.status, run.result()), (4, result))
            self.assertIn(said, run.out)

    def test_other_drives_are_refused(self):
        for drive, said in (("sim:disk", "is none"), ("/dev/sr-none", "does not exist")):
            process = self.start("run", "PatternTestMMC", drive, "--confirm", drive)
            self.assertEqual(process.returncode, 2)
            self.assertIn(f"PatternTestMMC tests optical drives, and {drive} {said}", process.stderr)


class Recording(program.ProgramTest):
    def record_on(self, keys, *parameters, test="PatternTestMMC"):
        drive = f"sim:optical,sectors=4096,{keys}"
        return self.run_test(drive, "NumberOfSeeks=64", *parameters, test=test, options=("--confirm", drive))

    def test_wants_to_be_confirmed_and_tells_of_the_loss(self):
        process = self.start("run", "PatternTestMMC", "sim:optical,media=cdr")
        self.assertEqual(process.returncode, 2)
        self.assertIn("WHAT IT HOLDS WILL BE LOST", process.stdout)
        self.assertIn("nothing was written", process.stderr)

    def test_verdicts(self):
        for keys, status, result, events in (
                ("media=dvd+rw", 0, "PASS", []),
                ("media=cdr,state=closed", 4, "INCORRECTMEDIA", []),
                ("media=dvd+rw,bad-write=20", 1, "FAIL", ["writeSectorRangeErr sector=16 lastSector=32"]),
                ("media=dvd+rw,bad=33", 1, "FAIL", ["readSectorRangeErr sector=32 lastSector=48"]),
                ("media=dvdram,corrupt=3", 1, "FAIL", ["patternMismatchRange sector=0 end_sector=16"]),
        ):
            with self.subTest(keys=keys):
                run = self.record_on(keys, "RetryCount=0", "DisplayAdvancedErrs=no")
                self.assertEqual((run.status, run.result(), run.events()), (status, result, events), run.out)
                self.assertEqual("neither closed nor write-protected" in run.out, status == 4)

    def test_a_stop_ends_it(self):
        drive = "sim:optical,media=dvd+rw"
        process = subprocess.Popen(self.command("run", "PatternTestMMC", drive, "--confirm", drive, "--events", self.record),
                                   stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        self.addCleanup(process.stdout.close)
        while process.poll() is None and (not os.path.exists(self.record) or os.path.getsize(self.record) < 300):
            time.sleep(0.01)
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(60), 130)
        self.check_record(self.record)
        self.assertEqual(program.Outcome(process, self.record).result(), "USERABORTED")


if __name__ == "__main__":
    unittest.main()
