"""Stopping a run, and what a person is asked at a terminal."""

import os
import pathlib
import signal
import subprocess
import time
import unittest

import program

ENDLESS = "sim:disk,sectors=1099511627776"
ENDING = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT, signal.SIGUSR2, signal.SIGALRM,
          signal.SIGVTALRM, signal.SIGPROF, signal.SIGIO, signal.SIGPWR, signal.SIGSTKFLT, signal.SIGXCPU, signal.SIGRTMIN,
          signal.SIGRTMAX)


class Stop(program.ProgramTest):
    def start_endless(self):
        process = subprocess.Popen([*program.LAUNCHED, "run", "LinearReadTest", ENDLESS, "--events", self.record],
                                   stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True)
        self.addCleanup(process.stdout.close)
        for _ in range(1000):  # until the step has begun
            if os.path.exists(self.record) and os.path.getsize(self.record) > 300:
                break
            time.sleep(0.01)
        return process

    def test_signals_become_a_stop_request(self):
        for number in (signal.SIGINT,) if program.WINDOWS else ENDING:
            with self.subTest(signal=number):
                process = self.start_endless()
                process.send_signal(number)
                process.wait(30)
                self.assertEqual(process.returncode, 130)
                self.check_record(self.record)
                run = program.Outcome(process, self.record)
                self.assertEqual((run.result(), run.end()), ("USERABORTED", "SKIP/NOT_APPLICABLE"))
                os.remove(self.record)

    def test_a_killed_run_leaves_a_readable_record(self):
        process = self.start_endless()
        process.kill()
        process.wait(30)
        self.check_record(self.record, "--partial")

    @program.names_linux("signals")
    def test_signals_that_change_nothing(self):
        process = self.start_endless()
        for number in (signal.SIGPIPE, signal.SIGXFSZ, signal.SIGCONT, signal.SIGWINCH):
            process.send_signal(number)
        with self.assertRaises(subprocess.TimeoutExpired):
            process.wait(0.5)
        process.send_signal(signal.SIGTERM)
        self.assertEqual(process.wait(30), 130)

    @program.names_linux("signals")
    def test_how_far_it_is_is_told_who_asks(self):
        process = self.start_endless()
        process.send_signal(signal.SIGUSR1)
        line = process.stdout.readline()
        process.send_signal(signal.SIGTERM)
        self.assertEqual(process.wait(30), 130)
        self.assertRegex(line, r"^LinearReadTest \S+  [\d.]+ %  .*MB/s \(mean [\d.]+\)  sector \d+  ")

    @program.names_linux("ignored signals")
    def test_an_ignored_interrupt_stays_ignored(self):
        process = subprocess.Popen([*program.LAUNCHED, "run", "LinearReadTest", ENDLESS, "--events", self.record],
                                   stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                   preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_IGN))
        while not os.path.exists(self.record) or os.path.getsize(self.record) < 300:
            time.sleep(0.01)
        process.send_signal(signal.SIGINT)
        with self.assertRaises(subprocess.TimeoutExpired):
            process.wait(0.5)
        process.send_signal(signal.SIGTERM)
        self.assertEqual(process.wait(30), 130)


class Insistence(program.ImageTest):
    """A drive that fails forever, and a person who does not want to wait."""
    FOREVER = "RetryCount=4294967295"

    def begin(self, test, device, *options):
        process = subprocess.Popen(self.command("run", test, device, "-p", self.FOREVER, "--events", self.record, *options),
                                   stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
        self.addCleanup(process.stderr.close)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    @staticmethod
    def signal_often(process, times):
        program.signal_often(process.pid, times, lambda: process.poll() is not None)

    def has_failed(self):
        return os.path.exists(self.record) and b"Error reading sectors" in pathlib.Path(self.record).read_bytes()

    def wait_for(self, happened):
        end = time.monotonic() + 60
        while not happened():
            self.assertLess(time.monotonic(), end)
            time.sleep(0.01)

    def test_the_second_gives_up_attempts_and_restores(self):
        image = self.make_image(1 << 20)
        for test, fault, options in (("LinearReadTest", "bad=0", []), ("LinearPatternTest", "bad-write=100", ["--confirm", "S1"])):
            with self.subTest(test=test):
                process = self.begin(test, "sim:disk,serial=S1,image=%s,%s" % (image, fault), *options)
                self.wait_for(self.changed if options else self.has_failed)
                self.signal_often(process, 1)
                with self.assertRaises(subprocess.TimeoutExpired):
                    process.wait(0.5)
                self.signal_often(process, 1)
                process.wait(30)
                self.assertEqual((process.returncode in (1, 130), self.changed()), (True, []))
                self.check_record(self.record)
                os.remove(self.record)

    def test_the_third_ends_at_once_and_leaves_the_journal(self):
        device = "sim:disk,serial=S1,image=%s,bad-write=100" % self.make_image(1 << 20)
        for options, sentence in (([], 'the journal keeps their data, and "drivetest recover" puts it back'),
                                  (["--no-journal"], "no journal keeps their data")):
            with self.subTest(options=options):
                process = self.begin("LinearPatternTest", device, "--confirm", "S1", *options)
                self.wait_for(self.changed)
                self.signal_often(process, 3)
                self.assertEqual(process.wait(30), 9)
                said = process.stderr.read()
                self.assertIn("drivetest: ended at once: sectors may hold what the test wrote", said)
                self.assertIn(sentence, said)
                self.assertNotEqual(self.changed(), [])
                os.remove(self.record)
                if not options:
                    recovered = self.start("recover", "sim:disk,serial=S1,image=" + self.image)
                    self.assertEqual((recovered.returncode, self.changed()), (0, []), recovered.stderr)


class AtATerminal(program.ProgramTest):
    def test_prompts_for_a_medium(self):
        drive = "sim:disk,removable,media=none"
        prompt = "Insert a medium: Please insert a medium for this test. (DriveTst Simulated disk) [Enter: continue, c: cancel]"
        status, seen = self.converse(["run", "LinearReadTest", drive], [(prompt, "c\n")])
        self.assertEqual((status, seen.count(prompt)), (130, 1))
        status, seen = self.converse(["run", "LinearReadTest", drive, "-p", "MaxRetries=1"], [(prompt, "\n")])
        self.assertEqual((status, seen.count(prompt)), (4, 1))
        status, seen = self.converse(["run", "LinearReadTest", drive, "--no-prompt"], [])
        self.assertEqual((status, seen.count(prompt)), (4, 0))

    def test_a_medium_put_in_at_the_prompt_is_tested_to_its_end(self):
        drives = ["sim:%s,media=none>disk:1000" % kind for kind in ("disk,removable", "scsi,removable", "floppy", "ufi")]
        for drive in drives:
            with self.subTest(drive=drive):
                record = self.path("record%d" % drives.index(drive))
                # Nothing is drawn over the question, however long the answer takes.
                status, seen = self.converse(["run", "LinearReadTest", drive, "--events", record],
                                             [("cancel]", lambda: time.sleep(0.5) or "\n")])
                self.assertEqual(status, 0, seen)
                self.assertIn("1000 requested = 1000 tested", seen)
                self.assertNotIn("LinearReadTest sim:", seen.split("cancel]")[1].split("\n")[0])
                run = program.Outcome(subprocess.CompletedProcess([], status, seen, ""), record)
                self.assertEqual(sum(cells for code, cells in run.extensions("surface")[0]["outcomes"] if code == 1), 1000)

    def test_only_the_medium_that_was_shown_is_written_to(self):
        drive = "sim:disk,removable,media=none>disk"
        status, seen = self.converse(["run", "LinearPatternTest", drive, "--confirm", drive], [])
        self.assertEqual((status, "[Enter" in seen), (4, False), seen)
        self.assertIn("there is no medium in %s; put in the one that may be written to" % drive, seen)
        verifying = ["run", "LinearPatternTest", drive + ":1000", "-p", "VerifyOnly=yes", "-p", "OverridePattern=00"]
        status, seen = self.converse(verifying, [("cancel]", "\n")])
        self.assertIn("1000 requested", seen)


if __name__ == "__main__":
    unittest.main()
