"""The folder of one run of a plan on a host. All that is known of the run is in its files, so that who asks needs no memory, and
neither a lost connection nor a reboot costs more than the question.

    plan.toml     what was asked for, with the drives that may be written to
    plan.json     what that means on this host, as "drivetest plan check --json" says it
    request.json  how it is run: program, options, and the digest of plan and options
    lock          held by whoever works on it, and by the program that he has started
    state.json    how far it is; written by the runner alone
    stop          somebody wants it to end
    records/      what the program leaves
    runner.log    what it says
"""

from __future__ import annotations

import contextlib
import fcntl
import json
import os
import time

PLAN, MEANING, REQUEST, STATE, STOP, LOG, RECORDS = ("plan.toml", "plan.json", "request.json", "state.json", "stop", "runner.log",
                                                     "records")
LOCK_NUMBER = 100  # of the file descriptor: above those that the program gives to its own processes


def write_durably(path, text):
    """The file is there whole, or as it was, also after a power cut."""
    part = path + ".part"
    with open(part, "w", encoding="utf-8") as file:
        file.write(text)
        file.flush()
        os.fsync(file.fileno())
    os.replace(part, path)
    sync_folder(os.path.dirname(path))


def sync_folder(path):
    number = os.open(path, os.O_RDONLY | os.O_DIRECTORY)
    try:
        os.fsync(number)
    finally:
        os.close(number)


def lock_file(path, wait=0.0):
    """A descriptor that holds the lock until it is closed, here and in those that inherit it; None when it is taken."""
    number = os.open(path, os.O_RDWR | os.O_CREAT | os.O_CLOEXEC, 0o600)
    end = time.monotonic() + wait
    while True:
        try:
            fcntl.flock(number, fcntl.LOCK_EX | fcntl.LOCK_NB)
            return number
        except OSError:
            if time.monotonic() >= end:
                os.close(number)
                return None
        time.sleep(0.05)


class RunFolder:
    def __init__(self, path):
        self.path = path

    def file(self, name):
        return os.path.join(self.path, name)

    def exists(self):
        return os.path.isdir(self.path)

    def read(self, name, default=None):
        try:
            with open(self.file(name), encoding="utf-8") as file:
                return json.load(file)
        except FileNotFoundError:
            return default
        except ValueError as error:
            raise ValueError("%s is damaged (%s): give a new id, or delete the folder when its records are of no use" % (
                self.file(name), error)) from None

    def write(self, name, content):
        write_durably(self.file(name), json.dumps(content, indent=1) + "\n")

    def lock(self):
        """For the runner: a descriptor that its processes inherit, or None while somebody else has it. Those who only ask hold
        it for a moment, too."""
        number = lock_file(self.file("lock"), wait=5)
        if number is None:
            return None
        high = fcntl.fcntl(number, fcntl.F_DUPFD, LOCK_NUMBER)
        os.close(number)
        return high

    def is_worked_on(self):
        number = lock_file(self.file("lock"))
        if number is None:
            return True
        os.close(number)
        return False

    @property
    def stop_wanted(self):
        return os.path.exists(self.file(STOP))

    def has_ended(self):
        return self.read(STATE, {}).get("state") == "ended"

    def state(self):
        """absent, running, interrupted (nobody works on it, and it is not done), or ended."""
        if not self.exists():
            return "absent"
        # In this order: what has ended may just give up its lock.
        worked_on = self.is_worked_on()
        if self.has_ended():
            return "ended"
        return "running" if worked_on else "interrupted"

    def log_end(self, most=300):
        """What the program said last."""
        with contextlib.suppress(OSError), open(self.file(LOG), "rb") as file:
            file.seek(max(0, os.path.getsize(file.name) - 4096))
            lines = file.read().decode("utf-8", "replace").splitlines()
            said = [line for line in lines if line.strip() and not line.startswith("== ")]
            return said[-1][:most] if said else ""
        return ""
