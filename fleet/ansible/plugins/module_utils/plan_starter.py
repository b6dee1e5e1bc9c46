"""Begins a run of a plan on this host, asks what has become of it, and ends it."""

from __future__ import annotations

import contextlib
import hashlib
import inspect
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time

from . import plan_runner, records, rest_plan, run_folder

ID = re.compile(r"[A-Za-z0-9][A-Za-z0-9._-]{0,63}", re.ASCII)
BEGIN_SECONDS = 30  # within which a process that was started has taken its lock
RUNNER = "runner"  # the package in the run's folder
MOST_ATTEMPTS = 5  # a drive that takes its host down must not do so for ever


class Refused(RuntimeError):
    """What the user has to change, as a sentence."""


class Taken(RuntimeError):
    """Somebody else works on the run."""


class PlanRun:
    """One run, of one id, on this host."""

    def __init__(self, run_id, parent, program):
        if not ID.fullmatch(run_id):
            raise Refused("the id %r is none: give up to 64 letters, digits, dots, underscores and hyphens" % run_id)
        self.id, self.parent, self.program = run_id, parent, program
        self.folder = run_folder.RunFolder(os.path.join(parent, run_id))

    def check(self, text, confirm):
        """What the plan means here."""
        if any(not serial or not serial.isprintable() for serial in confirm):
            raise Refused("a serial number to confirm is empty or has control characters: %r" % confirm)
        if self._meaning(text)["confirmed"]:
            raise Refused("the plan itself confirms drives (confirm = ...): leave that out, and list the serial numbers of the "
                          "drives that may be written to in the inventory")
        return self._meaning(rest_plan.with_confirmed(text, confirm))

    def _meaning(self, text):
        with tempfile.TemporaryDirectory(prefix="drivetest-") as folder:
            path = os.path.join(folder, "plan")
            with open(path, "w", encoding="utf-8") as file:
                file.write(text)
            done = subprocess.run([self.program, "plan", "check", "--json", path], stdin=subprocess.DEVNULL, capture_output=True,
                                  check=False, env={**os.environ, "LC_ALL": "C.UTF-8"})
        if done.returncode in (0, 3):
            return json.loads(done.stdout)
        said = done.stderr.decode("utf-8", "replace").replace(path + ":", "plan:").replace("drivetest: ", "")
        raise Refused("the plan is wrong, and nothing was started:\n" + said.strip())

    @contextlib.contextmanager
    def alone(self):
        """Of those that begin runs on this host, whatever their ids."""
        os.makedirs(self.parent, mode=0o700, exist_ok=True)
        number = run_folder.lock_file(os.path.join(self.parent, ".lock"), wait=BEGIN_SECONDS)
        if number is None:
            raise Refused("somebody else is beginning a run on this host, for %d s already: ask again" % BEGIN_SECONDS)
        try:
            yield
        finally:
            os.close(number)

    def digest(self, text, confirm, options):
        return hashlib.sha256(json.dumps([text, sorted(confirm), options]).encode()).hexdigest()

    def verify_same(self, text, confirm, options):
        if self.folder.read(run_folder.REQUEST)["digest"] != self.digest(text, confirm, options):
            raise Refused("the id %s is of a run with another plan, other options, or other confirmed drives: give a new id" % self.id)

    def prepare(self, text, confirm, options, meaning):
        """The folder is there whole or not at all."""
        new = tempfile.mkdtemp(prefix=".new-", dir=self.parent)
        try:
            folder = run_folder.RunFolder(new)
            run_folder.write_durably(folder.file(run_folder.PLAN), rest_plan.with_confirmed(text, confirm))
            folder.write(run_folder.MEANING, meaning)
            folder.write(run_folder.REQUEST, {"id": self.id, "program": self.program, "confirm": list(confirm), "options": options,
                                              "digest": self.digest(text, confirm, options)})
            os.mkdir(folder.file(run_folder.RECORDS))
            self._write_runner(folder)
            os.rename(new, self.folder.path)
        except BaseException:
            shutil.rmtree(new, ignore_errors=True)
            raise
        run_folder.sync_folder(self.parent)

    @staticmethod
    def _write_runner(folder):
        """What was sent here to ask is gone when the run goes on."""
        package = folder.file(RUNNER)
        os.makedirs(package, exist_ok=True)
        run_folder.write_durably(os.path.join(package, "__init__.py"), "")
        for part in (records, run_folder, rest_plan, plan_runner):
            name = part.__name__.rpartition(".")[2] + ".py"
            run_folder.write_durably(os.path.join(package, name), inspect.getsource(part))

    def may_go_on(self):
        return self.folder.read(run_folder.STATE, {}).get("attempt", 0) < MOST_ATTEMPTS

    def work(self):
        """Carries it out here, and returns when it has ended or was interrupted."""
        lock = self.folder.lock()
        if lock is None:
            raise Taken("somebody else works on the run %s" % self.folder.path)
        try:
            if not self.folder.has_ended():
                plan_runner.Runner(self.folder, lock).run()
        finally:
            os.close(lock)

    def start(self, launcher):
        """Returns when somebody works on it, or it is done."""
        if launcher == "auto":
            launcher = "systemd" if os.path.isdir("/run/systemd/system") else "setsid"
        words = [sys.executable, "-B", "-m", RUNNER + ".plan_runner", self.folder.path]
        before = self.folder.read(run_folder.STATE, {}).get("attempt", 0)
        if launcher == "systemd":
            self._start_unit(words)
        else:
            subprocess.Popen(words, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                             cwd=self.folder.path, start_new_session=True)
        end = time.monotonic() + BEGIN_SECONDS
        while self.folder.read(run_folder.STATE, {}).get("attempt", 0) == before:
            if time.monotonic() > end:
                raise Refused("the run %s did not begin within %d s: see %s" % (
                    self.id, BEGIN_SECONDS, "journalctl -u drivetest-" + self.id if launcher == "systemd" else self.folder.path))
            time.sleep(0.05)

    def _start_unit(self, words):
        """A unit of its own: it does not end with the session, and not twice under one name."""
        done = subprocess.run(["systemd-run", "--quiet", "--collect", "--unit=drivetest-" + self.id, "--description=drivetest plan",
                               "--property=KillMode=mixed", "--property=TimeoutStopSec=5min",
                               "--working-directory=" + self.folder.path, "--", *words],
                              stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False)
        if done.returncode != 0 and not self.folder.is_worked_on():
            raise Refused("systemd-run could not start the run: " + records.shown(done.stderr.strip()))

    def stop(self, wait=120.0):
        """Each drive gets back what was overwritten."""
        run_folder.write_durably(self.folder.file(run_folder.STOP), "")
        end = time.monotonic() + wait
        while self.folder.is_worked_on():
            pid = self.folder.read(run_folder.STATE, {}).get("pid", 0)
            with contextlib.suppress(OSError), open("/proc/%d/cmdline" % pid, "rb") as words:
                if self.folder.path.encode() in words.read().split(b"\0"):
                    os.kill(pid, signal.SIGTERM)
            if time.monotonic() > end:
                raise Refused("the run %s has not ended %d s after it was asked to; it may still be putting data back" % (self.id, wait))
            time.sleep(0.2)
        state = self.folder.read(run_folder.STATE, {"attempt": 0, "commands": []})
        if state.get("state") != "ended":  # it was interrupted before
            self.folder.write(run_folder.STATE, {**state, "state": "ended"})

    def report(self):
        """What is known of it, from its files."""
        state = self.folder.state()
        if state == "absent":
            return {"id": self.id, "state": state, "results": []}
        known = self.folder.read(run_folder.STATE, {})
        found, problems = records.read_records(self.folder.file(run_folder.RECORDS))
        if state == "interrupted" and not self.may_go_on():
            state, known = "ended", {"problem": "given up after %d attempts, each of which was interrupted" % MOST_ATTEMPTS, **known}
        missing = "it has not ended" if state != "ended" else known.get("problem") or self._last_words(known)
        account = records.Account(self.folder.read(run_folder.MEANING), found, self.folder.stop_wanted, missing)
        report = {"id": self.id, "state": state, "attempt": known.get("attempt", 0), "folder": self.folder.path,
                  "results": account.rows, "problems": problems, "plan": account.plan}
        if "problem" in known:
            report["problem"] = known["problem"]
        return {**report, "status": account.status} if state == "ended" else report

    def _last_words(self, known):
        commands = known.get("commands") or [{"words": ["run"], "status": 8}]
        return "no record was left: drivetest %s ended with status %s: %s" % (
            commands[-1]["words"][0], commands[-1]["status"], self.folder.log_end())
