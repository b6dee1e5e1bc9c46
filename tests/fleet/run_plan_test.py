"""The run of a plan on one host, as the module of Ansible has it: begun once whatever is asked, gone on with after kills, and no
drive written to that the inventory does not list."""

import concurrent.futures
import contextlib
import glob
import json
import os
import signal
import subprocess
import sys
import tempfile
import unittest

from machines import until

PROGRAM = os.environ["DRIVETEST"]
MODULES = "ansible_collections.drivetest.drivetest.plugins.modules."
READ = '[[test]]\ntest = "read"\n'
PATTERN = '[[test]]\ntest = "pattern"\n'
OFTEN = "parameters = { NumberOfPatterns = 16 }\n"  # takes some seconds
SLOW = "sim:disk,sectors=20000,speed=2,real-time"  # about five seconds
MIB = 1 << 20


def drive(path, more=""):
    return "[[drive]]\npath = %s\n%s" % (json.dumps(path), more)


class RunPlan(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        place = tempfile.TemporaryDirectory(prefix="drivetest-")
        self.addCleanup(place.cleanup)
        self.folder = place.name
        self.runs = os.path.join(self.folder, "runs")
        self.addCleanup(lambda: [os.kill(pid, signal.SIGKILL) for pid in self.processes()])

    def module(self, name, arguments, check_mode=False):
        """What it answers."""
        given = {"ANSIBLE_MODULE_ARGS": {**arguments, "_ansible_check_mode": check_mode}}
        done = subprocess.run([sys.executable, "-B", "-m", MODULES + name], input=json.dumps(given), capture_output=True, text=True,
                              check=False, env={**os.environ, "DRIVETEST_STATE": os.path.join(self.folder, "state")})
        try:
            return json.loads(done.stdout)
        except ValueError:
            raise AssertionError(done.stdout + done.stderr) from None

    def ask(self, plan=None, check_mode=False, **arguments):
        return self.module("run_plan", {"id": "one", "plan": plan, "program": PROGRAM, "folder": self.runs, "launcher": "setsid",
                                        **arguments}, check_mode)

    def ended(self, **arguments):
        """The report, when it has ended."""
        return until(lambda: (report := self.ask(state="asked", **arguments))["state"] == "ended" and report)

    def processes(self, part=""):
        """All that work on runs of this test, the runner first."""
        found = []
        for path in glob.glob("/proc/[0-9]*/cmdline"):
            try:
                with open(path, "rb") as file:
                    words = file.read().decode("utf-8", "replace")
            except OSError:
                continue
            if self.runs in words and part in words:
                found.append(int(path.split("/")[2]))
        return sorted(found)

    def has_begun(self, runs=1):
        until(lambda: len([path for path in glob.glob(self.runs + "/one/records/*.jsonl") if os.path.getsize(path)]) >= runs)

    def kill(self, part=""):
        """All at once, as far as a process can."""
        pids = self.processes(part)
        self.assertTrue(pids)
        for pid in pids:
            os.kill(pid, signal.SIGSTOP)
        for pid in pids:
            os.kill(pid, signal.SIGKILL)
        until(lambda: not set(pids) & set(self.processes(part)))

    @staticmethod
    def told(report):
        """Each run's drive, test and what became of it."""
        return [(row["serial"] or os.path.basename(row["drive"]), row["test"], row.get("result") or row["reason"].split(":")[0])
                for row in report["results"]]

    def test_many_that_ask_at_once_begin_one_run(self):
        plan = "repeats = 2\n" + drive(SLOW + ",serial=A") + drive("sim:disk,sectors=9000,bad=7,serial=B") + READ
        with concurrent.futures.ThreadPoolExecutor(6) as pool:
            answers = list(pool.map(lambda _: self.ask(plan), range(6)))
        self.assertEqual(sorted(answer["changed"] for answer in answers), [False] * 5 + [True], answers)
        report = self.ended()
        test = "LinearReadTest"
        self.assertEqual(self.told(report), [("A", test, "PASS")] * 2 + [("B", test, "FAIL")] * 2)
        self.assertEqual((report["status"], report["attempt"], report["problems"]), (1, 1, []))
        self.assertEqual([row["failed"] for row in report["results"]], [0, 0, 1, 1])
        again = self.ask(plan)
        self.assertEqual((again["changed"], again["results"]), (False, report["results"]))
        self.assertEqual(len(glob.glob(self.runs + "/one/records/*.jsonl")), 4)

    def test_what_is_refused_starts_nothing(self):
        read = drive("sim:disk,serial=A") + READ
        for plan, arguments, said in (
                ('confirm = ["A"]\n' + read, {}, "the plan itself confirms drives"),
                ('"conf\\u0069rm" = ["A"]\n' + read, {}, "the plan itself confirms drives"),
                ("\n" + read + "speed = 3\n", {"confirm": ["A"]}, 'plan:6:1: there is no "speed"'),
                (read, {"confirm": [""]}, "a serial number to confirm is empty"),
                (read, {"confirm": ["A\nB"]}, "has control characters"),
                (read, {"id": "../x"}, "is none: give up to 64"),
                (read, {"id": ""}, "is none: give up to 64"),
                (None, {}, "there is no plan"),
                (read, {"program": "/none/drivetest"}, "No such file")):
            with self.subTest(said, plan=plan):
                for check_mode in (True, False):
                    answer = self.ask(plan, check_mode, **arguments)
                    self.assertTrue(answer.get("failed"), answer)
                    self.assertIn(said, answer["msg"])
                self.assertEqual([name for name in glob.glob(self.runs + "/*")], [])

    def test_check_mode_says_what_would_be_run(self):
        plan = drive("sim:disk,serial=A") + drive("sim:disk,serial=B") + PATTERN
        answer = self.ask(plan, check_mode=True, confirm=["A", "not here"])
        self.assertEqual((answer["state"], answer["changed"], os.path.exists(self.runs)), ("absent", True, False))
        self.assertEqual([(each["serial"], each.get("refused", "")[:24], each["tests"][0]["writes"]) for each in answer["plan"]["drives"]],
                         [("A", "", True), ("B", answer["plan"]["drives"][1]["refused"][:24], True)])
        self.assertEqual(answer["plan"]["confirmed"], ["A", "not here"])

    def test_only_what_the_inventory_lists_is_written_to(self):
        self.ask(drive("sim:disk,sectors=9000,serial=A") + drive("sim:disk,sectors=9000,serial=B") + PATTERN, confirm=["B"])
        report = self.ended()
        self.assertEqual(self.told(report), [("A", "LinearPatternTest", "refused"), ("B", "LinearPatternTest", "PASS")])
        self.assertIn("A", report["results"][0]["reason"])

    def test_one_id_is_one_plan(self):
        self.ask(drive("sim:disk,sectors=9000,serial=A") + READ)
        for plan, arguments in ((drive("sim:disk,sectors=9000,serial=B") + READ, {}),
                                (drive("sim:disk,sectors=9000,serial=A") + READ, {"confirm": ["A"]}),
                                (drive("sim:disk,sectors=9000,serial=A") + READ, {"jobs": 1})):
            self.assertIn("is of a run with another plan", self.ask(plan, **arguments)["msg"])
        self.assertEqual(self.told(self.ended()), [("A", "LinearReadTest", "PASS")])

    def test_after_a_crash_of_the_host_all_that_was_not_done_is(self):
        """One drive is done with its first test, one has begun, and one has not."""
        plan = ('jobs = 2\non-failure = "stop-drive"\n' + drive(SLOW + ",serial=A") + drive("sim:disk,sectors=900,bad=3,serial=B") +
                drive("sim:disk,sectors=900,serial=C") + READ + 'slow-ms = 900\n[[test]]\ntest = "compare"\nname = "c"\nrepeats = 2\n')
        self.ask(plan)
        self.has_begun(2)
        until(lambda: any(row.get("result") == "FAIL" for row in self.ask(state="asked")["results"]))
        self.kill()
        self.assertEqual(self.ask(state="asked")["state"], "interrupted")
        again = self.ask(plan)
        self.assertEqual((again["changed"], again["attempt"]), (True, 2))
        compare, read = "LinearReadCompareTest", "LinearReadTest"
        report = self.ended()
        self.assertEqual(self.told(report), [
            ("A", read, "PASS"), ("A", compare, "PASS"), ("A", compare, "PASS"), ("B", read, "FAIL"),
            ("B", compare, "left out, as LinearReadTest gave FAIL"), ("B", compare, "left out, as LinearReadTest gave FAIL"),
            ("C", read, "PASS"), ("C", compare, "PASS"), ("C", compare, "PASS")])
        used = [row["record"] for row in report["results"] if "record" in row]
        self.assertEqual(len(set(used)), 7)

    def test_a_run_whose_runner_alone_is_killed_is_not_begun_beside_itself(self):
        plan = drive(SLOW + ",serial=A") + READ
        self.ask(plan)
        self.has_begun()
        self.kill("plan_runner")
        self.assertEqual(self.ask(plan)["state"], "running")
        until(lambda: self.ask(state="asked")["state"] == "interrupted")
        self.ask(plan)
        report = self.ended()
        self.assertEqual((self.told(report), report["attempt"]), ([("A", "LinearReadTest", "PASS")], 2))
        self.assertEqual(len(glob.glob(self.runs + "/one/records/*.jsonl")), 1)

    def test_a_host_that_shuts_down_in_order_goes_on_afterwards(self):
        plan = drive(SLOW + ",serial=A") + READ
        self.ask(plan)
        self.has_begun()
        os.kill(self.processes("plan_runner")[0], signal.SIGTERM)
        until(lambda: self.ask(state="asked")["state"] == "interrupted")
        self.ask(plan)
        report = self.ended()
        self.assertEqual(self.told(report), [("A", "LinearReadTest", "PASS")])

    def image(self, name="drive.img", size=64 * MIB):
        path = os.path.join(self.folder, name)
        with open(path, "wb") as file:
            file.write(os.urandom(size))
        with open(path, "rb") as file:
            return path, file.read()

    def writes(self, path, before):
        """Until the image is not as it was."""
        def is_changed():
            with open(path, "rb") as file:
                return file.read() != before
        until(is_changed)

    def test_a_crash_while_drives_are_written_to_costs_no_byte(self):
        """One of three is done when it happens. What is confirmed is of a whole group of hosts."""
        images = [self.image("small.img", MIB), self.image("a.img"), self.image("b.img")]
        confirm = [path for path, _ in images] + ["of another host"]
        plan = "".join(drive(path) for path, _ in images) + PATTERN + OFTEN
        self.ask(plan, confirm=confirm)
        until(lambda: any(row.get("result") == "PASS" for row in self.ask(state="asked")["results"]))
        self.writes(*images[1])
        self.writes(*images[2])
        self.kill()
        self.ask(plan, confirm=confirm)
        report = self.ended()
        self.assertEqual(self.told(report), [(name, "LinearPatternTest", "PASS") for name in ("small.img", "a.img", "b.img")], report)
        for path, before in images:
            with open(path, "rb") as file:
                self.assertEqual(file.read(), before)

    def test_a_stop_puts_back_and_is_told(self):
        path, before = self.image()
        plan = drive(path) + drive(SLOW + ",serial=A") + PATTERN + OFTEN + READ
        self.ask(plan, confirm=[path], jobs=1)
        self.writes(path, before)
        stopped = self.ask(state="stopped")
        self.assertEqual((stopped["state"], stopped["changed"], stopped["status"]), ("ended", True, 130), stopped)
        with open(path, "rb") as file:
            self.assertEqual(file.read(), before)
        self.assertEqual([told for _, _, told in self.told(stopped)], ["USERABORTED"] + ["stopped before it began"] * 1 + ["refused"] * 2)
        self.assertEqual(self.ask(state="stopped")["changed"], False)
        self.assertEqual(self.ask(plan, confirm=[path], jobs=1)["state"], "ended")

    def test_a_run_that_takes_its_host_down_each_time_is_given_up(self):
        plan = drive(SLOW + ",serial=A") + READ
        for attempt in range(5):
            answer = self.ask(plan)
            self.assertEqual((answer["state"], answer["attempt"]), ("running", attempt + 1))
            self.kill()
        report = self.ask(plan)
        self.assertEqual((report["state"], report["changed"], report["status"]), ("ended", False, 8))
        self.assertIn("given up after 5 attempts", report["problem"])
        self.assertEqual(self.processes(), [])

    def fill(self):
        """All that there is room for on the disk with the runs."""
        with contextlib.suppress(OSError), open(self.runs + "/fill", "wb", buffering=0) as file:
            while True:
                file.write(bytes(512))

    def test_a_full_disk_costs_time_and_nothing_else(self):
        os.mkdir(self.runs)
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=1m", "tmpfs", self.runs], check=True)
        self.addCleanup(subprocess.run, ["umount", "-l", self.runs], check=True)
        plan = drive(SLOW + ",serial=A") + READ
        self.fill()
        self.assertIn("No space left on device", self.ask(plan)["msg"])
        self.assertEqual([name for name in os.listdir(self.runs) if name not in ("fill", ".lock")], [])
        os.remove(self.runs + "/fill")
        self.assertEqual(self.ask(plan)["state"], "running")
        self.fill()
        until(lambda: not self.processes())
        os.remove(self.runs + "/fill")
        report = self.ask(plan)
        until(lambda: self.ask(plan)["state"] == "ended", what=str(report))
        self.assertEqual(self.told(self.ended()), [("A", "LinearReadTest", "PASS")])

    def test_a_program_that_starts_no_run_is_told_with_its_words(self):
        """The drive is there when the plan is checked, and gone when it is run."""
        path, _ = self.image()
        plan = drive(path) + READ
        wrapper = os.path.join(self.folder, "program")
        with open(wrapper, "w", encoding="utf-8") as file:
            file.write('#!/bin/sh\n[ "$1" = plan ] || rm -f %s\nexec %s "$@"\n' % (path, PROGRAM))
        os.chmod(wrapper, 0o755)
        self.ask(plan, program=wrapper)
        report = self.ended()
        self.assertEqual(report["status"], 8)
        self.assertIn("ended with status 2: drivetest: ", report["results"][0]["reason"])
        self.assertIn("does not exist", report["results"][0]["reason"])


if __name__ == "__main__":
    unittest.main()
