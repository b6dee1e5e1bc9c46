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
                ended, seen = self.converse(["run", "ReadPerformanceTest", f"sim:optical,strict,{keys}"], exchanges)
                self.assertEqual((ended, seen.count(PROMPT)), (status, prompts), seen)

    def test_nobody_is_asked_without_a_terminal(self):
        for keys, result, said in (("media=none", "NOMEDIA", "there is no medium in the drive"),
                                   ("media=dvdrom,sectors=5999", "INCORRECTMEDIA", "not enough data on this disc")):
            run = self.run_test(f"sim:optical,strict,{keys}", test="ReadPerformanceTest")
            self.assertEqual((run.status, run.result()), (4, result))
            self.assertIn(said, run.out)

    def test_other_drives_are_refused(self):
        for drive, said in (("sim:disk", "is none"), ("/dev/sr-none", "does not exist")):
            process = self.start("run", "PatternTestMMC", drive, "--confirm", drive)
            self.assertEqual(process.returncode, 2)
            self.assertIn(f"PatternTestMMC tests optical drives, and {drive} {said}", process.stderr)


class Lost(program.ProgramTest):
    """A drive that is pulled, or busy for good, at every command of a run; of the many polls at its end at some."""

    def outcome(self, test, drive, *parameters):
        record = self.path("record.jsonl")
        words = [word for parameter in parameters for word in ("-p", parameter)]
        process = self.start("run", test, drive, *words, "--confirm", "S1", "--no-prompt", "--events", record, "--force")
        run = program.Outcome(process, record)
        return run.result(), run.extensions("coverage")[0]["failed"], os.path.getsize(record) < 100 << 10, process.stderr

    def test_is_no_list_of_bad_sectors(self):
        for test, keys, parameters in (("PatternTestMMC", "cdr", ["NumberOfSeeks=64"]),
                                       ("PatternTestMMC", "dvdrw", ["NumberOfSeeks=64"]),
                                       ("RandomWriteTestMMC", "dvd+rw", ["NumberOfSeeks=4"]),
                                       ("ReadPerformanceTest", "cdrom", ["MinDataCapacity=0", "MinRatePercent=1"]),
                                       ("DefaultReadPerformanceTest", "bdrom", ["MinDataCapacity=0", "MinRate=0", "MaxRate=0"])):
            drive = "sim:optical,strict,serial=S1,sectors=2048,media=" + keys
            for fault, verdicts in (("gone", ["CANNOTRUN"]), ("busy", ["CANNOTRUN", "DEVICEBUSY"])):
                command = 0
                result = None
                while result != "PASS" and command < 100000:
                    command += 1 if command < 60 else command // 8
                    result, *others = self.outcome(test, "%s,%s-at=%d" % (drive, fault, command), *parameters)
                    with self.subTest(test=test, keys=keys, fault=fault, command=command):
                        self.assertIn(result, [*verdicts, "PASS"])
                        self.assertEqual(others[:2], [0, True], others[2])
                self.assertEqual((result, command > 60), ("PASS", True))


class Recording(program.ProgramTest):
    def record_on(self, keys, *parameters, test="PatternTestMMC"):
        drive = f"sim:optical,strict,sectors=4096,{keys}"
        return self.run_test(drive, "NumberOfSeeks=64", *parameters, test=test, options=("--confirm", drive))

    def test_wants_to_be_confirmed_and_tells_of_the_loss(self):
        process = self.start("run", "PatternTestMMC", "sim:optical,strict,media=cdr")
        self.assertEqual(process.returncode, 2)
        self.assertIn("WHAT IT HOLDS WILL BE LOST", process.stdout)
        self.assertIn("nothing was written", process.stderr)
        for keys, fits in (("media=cdr,sectors=100000", 16448), ("media=bdr,sectors=4096", 992), ("media=cdr", 81408),
                           ("media=cdrw", None), ("media=dvdr,sectors=4096", 0)):
            drive = "sim:optical,strict," + keys
            told = self.start("run", "PatternTestMMC", drive).stdout
            with self.subTest(keys=keys, told=told):
                self.assertEqual("NumberOfSeeks=%s leaves room" % fits in told, bool(fits))
                self.assertEqual("can be written once" in told, fits is not None)
                if fits:
                    again = self.start("run", "PatternTestMMC", drive, "-p", "NumberOfSeeks=%d" % fits)
                    self.assertNotIn("can be written once", again.stdout)

    def test_verdicts(self):
        for keys, status, result, failed, events in (
                ("media=dvd+rw", 0, "PASS", 0, []),
                ("media=cdr,state=closed", 4, "INCORRECTMEDIA", 0, []),
                ("media=dvd+rw,bad-write=20", 1, "FAIL", 16, ["writeSectorRangeErr sector=16 lastSector=32"]),
                ("media=dvd+rw,bad=33", 1, "FAIL", 16, ["readSectorRangeErr sector=32 lastSector=48"]),
                ("media=dvdram,corrupt=3", 1, "FAIL", 1, ["patternMismatchRange sector=0 end_sector=16"]),
        ):
            with self.subTest(keys=keys):
                run = self.record_on(keys, "RetryCount=0", "DisplayAdvancedErrs=no")
                self.assertEqual((run.status, run.result(), run.events()), (status, result, events), run.out)
                self.assertEqual(run.extensions("coverage")[0]["failed"], failed)
                self.assertEqual("neither closed nor write-protected" in run.out, status == 4)
                self.assertEqual("PASS - no problem was found\n" in run.out, status == 0)  # a calibration is not slow

    def test_a_stop_ends_it(self):
        drive = "sim:optical,strict,media=dvd+rw"
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
