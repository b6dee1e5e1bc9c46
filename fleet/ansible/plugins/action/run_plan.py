"""The controller's side of a run: it waits, and does not mind connections that are lost meanwhile."""

from __future__ import annotations

import contextlib
import signal
import time

from ansible.errors import AnsibleConnectionFailure, AnsibleError
from ansible.plugins.action import ActionBase
from ansible.utils.display import Display

from ansible_collections.drivetest.drivetest.plugins.module_utils import controller_folder

ANSWER_SECONDS = 180  # a host that vanishes in the middle of an answer says no more
ENDED_FROM_OUTSIDE = (137, 143, 255)  # what the module ends with when its host goes down

display = Display()


class NoAnswer(Exception):
    pass


@contextlib.contextmanager
def limited(seconds):
    """Not where the task has a limit of its own, which is kept in the same way."""
    def give_up(_number, _frame):
        raise NoAnswer("it has not answered within %d s" % seconds)

    if signal.getitimer(signal.ITIMER_REAL)[0] > 0:
        yield
        return
    before = signal.signal(signal.SIGALRM, give_up)
    signal.alarm(seconds)
    try:
        yield
    finally:
        signal.alarm(0)
        signal.signal(signal.SIGALRM, before)


class ActionModule(ActionBase):
    TRANSFERS_FILES = False
    _supports_check_mode = True

    def run(self, tmp=None, task_vars=None):
        result = super().run(tmp, task_vars)
        given = dict(self._task.args)
        wait, poll = int(given.get("wait", 0)), int(given.get("poll", 30))
        lost_after = int(given.get("lost_after", 900 if wait else 0))
        found = self._follow(given, task_vars, 0 if self._play_context.check_mode else wait, poll, lost_after)
        if given.get("dest") and not self._play_context.check_mode:
            folder = controller_folder.folder_of(given["dest"], given["id"], task_vars["inventory_hostname"])
            self._keep(folder, found)
        return {**result, **found}

    @staticmethod
    def _keep(folder, found):
        """What a host has told once is known also when it is lost later."""
        before = controller_folder.read(folder, "outcome.json", {})
        known = {part: found[part] for part in ("state", "status", "attempt", "plan", "problem") if part in found}
        if found.get("failed"):
            known["reason"] = found.get("msg", "the module failed")
        controller_folder.write(folder, "outcome.json", {**({"plan": before["plan"]} if "plan" in before else {}), **known})

    def _follow(self, given, task_vars, wait, poll, lost_after):
        changed, answered, began = False, time.monotonic(), time.monotonic()
        while True:
            try:
                found = self._ask(given, task_vars)
                answered = time.monotonic()
                changed = changed or found.get("changed", False)
                if found.get("failed") or found["state"] in ("ended", "absent") or time.monotonic() - began >= wait:
                    return {**found, "changed": changed}
            except (AnsibleConnectionFailure, NoAnswer) as error:
                silent = time.monotonic() - answered
                if silent >= lost_after:
                    return {"failed": True, "changed": changed, "state": "lost",
                            "msg": "the host has not answered for %d s: %s" % (silent, str(error).strip()[:300])}
                display.v("no answer, asked again in %d s: %s" % (poll, error), host=task_vars["inventory_hostname"])
                self._connect_anew()
            time.sleep(poll)

    def _ask(self, given, task_vars):
        """A host that goes down in the middle of an answer looks as if the module had failed, without its words."""
        with limited(ANSWER_SECONDS):
            found = self._execute_module(module_name="drivetest.drivetest.run_plan", module_args=given, task_vars=task_vars)
        if "id" not in found and (found.get("unreachable") or found.get("rc") in ENDED_FROM_OUTSIDE):
            raise AnsibleConnectionFailure(str(found.get("module_stderr") or found.get("msg") or "the answer broke off"))
        return {"state": "unknown", **found}

    def _connect_anew(self):
        # The folder for temporary files may be gone with the host's memory.
        self._connection._shell.tmpdir = None
        with contextlib.suppress(AnsibleError, NotImplementedError, AttributeError):
            self._connection.reset()
