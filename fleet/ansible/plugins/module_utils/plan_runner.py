"""Carries out the plan of a run folder, detached from whoever asked for it: python3 -m runner.plan_runner FOLDER

How it works: the first attempt runs the plan. When that is interrupted (the host lost its power, or somebody killed all of it), the
next one puts back what a test has left overwritten, goes on with the runs that broke off, and then runs what had not begun. What is
done is known from the records alone. Only one works on a folder at a time, as the lock says.
"""

from __future__ import annotations

import os
import signal
import subprocess
import sys
import time

from . import records, rest_plan, run_folder


class Ending(Exception):
    """Somebody wants it to end: the host goes down, or it was told to."""


class Runner:
    def __init__(self, folder, lock):
        self.folder, self.lock = folder, lock
        self.request = folder.read(run_folder.REQUEST)
        self.plan = folder.read(run_folder.MEANING)
        self.state = folder.read(run_folder.STATE, {"attempt": 0, "commands": []})
        self.child, self.ending = None, False

    def run(self):
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            signal.signal(number, self._end)
        self.state["attempt"] += 1
        self._save("running")
        try:
            if self._found():
                self._go_on()
            else:
                self._program("run", "--plan", self.folder.file(run_folder.PLAN), *self._beside_plan())
        except Ending:
            # A host that goes down comes back; who wants no more of it has said so.
            if not self.folder.stop_wanted:
                self._save("interrupted")
                return
        except (OSError, rest_plan.NoRest) as error:
            self.state["problem"] = records.shown(error)
        self._save("ended")

    def _save(self, name):
        self.state.update(state=name, pid=os.getpid(), at=int(time.time()))
        self.folder.write(run_folder.STATE, self.state)

    def _found(self):
        return records.read_records(self.folder.file(run_folder.RECORDS))[0]

    def _go_on(self):
        where = self.folder.file(run_folder.RECORDS)
        confirmed = [serial for serial in records.Account(self.plan, self._found()).confirmed_again()
                     if serial in self.request["confirm"]]
        # Before anything else is written to a drive.
        if self._program("recover") != 0:
            self.state["problem"] = "what a test has left overwritten could not be put back: " + self.folder.log_end()
            return
        # What cannot be resumed is not done, and is begun anew below.
        self._program("resume", where, "--no-prompt", *(word for serial in confirmed for word in ("--confirm", serial)))
        with open(self.folder.file(run_folder.PLAN), encoding="utf-8") as file:
            rest = rest_plan.remaining_plan(file.read(), self.plan, self._found())
        if rest is not None:
            path = self.folder.file("rest-%d.toml" % self.state["attempt"])
            run_folder.write_durably(path, rest)
            self._program("run", "--plan", path, *self._beside_plan())

    def _beside_plan(self):
        return ["--out", self.folder.file(run_folder.RECORDS), "--no-prompt", *self.request["options"]]

    def _program(self, *words):
        """Its exit status. The lock goes on to it: whoever kills this process alone has not ended the tests."""
        if self.ending:
            raise Ending
        with open(self.folder.file(run_folder.LOG), "ab") as log:
            log.write(("== %s\n" % " ".join(words)).encode("utf-8", "replace"))
            log.flush()
            self.child = subprocess.Popen([self.request["program"], *words], stdin=subprocess.DEVNULL, stdout=log, stderr=log,
                                          cwd="/", pass_fds=(self.lock,), env={**os.environ, "LC_ALL": "C.UTF-8"})
        if self.ending:  # the signal came before there was anybody to hand it on to
            self.child.terminate()
        status = self.child.wait()
        self.state["commands"].append({"words": list(words), "status": status})
        self._save("running")
        if self.ending:
            raise Ending
        return status

    def _end(self, _number, _frame):
        """The program puts back what it has overwritten."""
        self.ending = True
        if self.child is not None and self.child.poll() is None:
            self.child.terminate()


def main():
    folder = run_folder.RunFolder(sys.argv[1])
    lock = folder.lock()
    if lock is not None and not folder.has_ended():
        Runner(folder, lock).run()


if __name__ == "__main__":
    main()
