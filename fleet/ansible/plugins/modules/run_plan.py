#!/usr/bin/python
"""Runs a plan of drive tests on a host."""

from __future__ import annotations

DOCUMENTATION = r"""
module: run_plan
short_description: Tests the drives of a host as a plan says
version_added: "1.0.0"
description:
  - Starts C(drivetest run --plan) detached from the connection, and tells what has become of it.
  - The run is known by its I(id). Whoever asks again starts nothing twice; the state is in files on the host.
  - When the host was rebooted meanwhile, asking again puts back what a test had left overwritten, goes on with the runs that broke
    off, and then runs what had not begun. A run that is interrupted five times is given up.
  - Nothing is written to a drive that I(confirm) does not list. A plan that confirms drives itself is refused.
options:
  id:
    description: Names the run, on this host. Up to 64 letters, digits, dots, underscores and hyphens.
    type: str
    required: true
  plan:
    description: The plan, as the text of its file. Needed to start a run.
    type: str
  confirm:
    description:
      - Serial numbers of the drives that tests may write to; of a drive without one, its path. Give it from the inventory.
      - Those that are of no drive of this host are of no matter, so that one list can be of a whole group.
    type: list
    elements: str
    default: []
  jobs:
    description: So many drives are under test at once, at most. Without it, as many as do not disturb each other.
    type: int
  timeout:
    description: Ends the run of a drive that makes no progress for so long, such as C(10min).
    type: str
  state:
    description:
      - C(started) starts the run, or goes on with one that was interrupted, and leaves alone one that has ended.
      - C(asked) only tells of it.
      - C(stopped) ends it; every drive gets back what a test has overwritten.
    type: str
    choices: [started, asked, stopped]
    default: started
  program:
    description: The program C(drivetest), by name or by path.
    type: str
    default: drivetest
  folder:
    description: Where the runs of this host are kept.
    type: path
    default: /var/lib/drivetest/fleet
  launcher:
    description: What the run is detached by; C(auto) takes C(systemd) where that runs the host.
    type: str
    choices: [auto, systemd, setsid]
    default: auto
  wait:
    description: So many seconds the run is waited for, and connections that are lost meanwhile are made again. C(0) does not wait.
    type: int
    default: 0
  poll:
    description: Seconds between two questions while it waits.
    type: int
    default: 30
  lost_after:
    description:
      - A host that has not answered for so many seconds counts as lost. Until then the question is repeated.
      - Without it, 900 where it waits, and else 0.
    type: int
  dest:
    description: Folder on the controller. What is known of the run is kept there in C(ID/HOST), for M(drivetest.drivetest.summary).
    type: path
notes:
  - The result of a drive that fails its test is a result, and no failure of this module. See I(status).
  - In check mode nothing is started, and I(plan) is what would be run.
requirements:
  - Python 3.9 on the host; 3.11 to run after a reboot what had not begun before it.
author:
  - DriveTest developers (@drivetest)
"""

EXAMPLES = r"""
- name: Read all drives, and wait for it
  drivetest.drivetest.run_plan:
    id: 2026-11-acceptance
    plan: "{{ lookup('file', 'used-drive.toml') }}"
    wait: 172800

- name: Write to the drives that the inventory lists
  drivetest.drivetest.run_plan:
    id: 2026-11-write
    plan: "{{ lookup('file', 'new-drive.toml') }}"
    confirm: "{{ drivetest_confirm | default([]) }}"

- name: Ask how it is
  drivetest.drivetest.run_plan:
    id: 2026-11-write
    state: asked
"""

RETURN = r"""
state:
  description: C(absent), C(running), C(interrupted), C(ended), or C(lost) of a host that does not answer any more.
  returned: always
  type: str
status:
  description: The worst status of all runs, as C(drivetest run) would end with.
  returned: when it has ended
  type: int
attempt:
  description: How often it was begun; 1 unless it was interrupted.
  returned: when there is such a run
  type: int
results:
  description: A row for each run of each drive, with C(result) and counts, or C(reason).
  returned: when there is such a run
  type: list
  elements: dict
plan:
  description: What C(drivetest plan check --json) said of the plan.
  returned: when there is such a run, and in check mode
  type: dict
folder:
  description: Where it is on the host.
  returned: when there is such a run
  type: str
"""

from ansible.module_utils.basic import AnsibleModule

from ..module_utils.plan_starter import PlanRun, Refused

ARGUMENTS = {
    "id": {"type": "str", "required": True},
    "plan": {"type": "str"},
    "confirm": {"type": "list", "elements": "str", "default": []},
    "jobs": {"type": "int"},
    "timeout": {"type": "str"},
    "state": {"type": "str", "choices": ["started", "asked", "stopped"], "default": "started"},
    "program": {"type": "str", "default": "drivetest"},
    "folder": {"type": "path", "default": "/var/lib/drivetest/fleet"},
    "launcher": {"type": "str", "choices": ["auto", "systemd", "setsid"], "default": "auto"},
    # Of the controller's side.
    "wait": {"type": "int", "default": 0},
    "poll": {"type": "int", "default": 30},
    "lost_after": {"type": "int"},
    "dest": {"type": "path"},
}


def options_of(arguments):
    options = []
    for name in ("jobs", "timeout"):
        if arguments[name] is not None:
            options += ["--" + name, str(arguments[name])]
    return options


def start(module, run):
    arguments = module.params
    text, confirm, options = arguments["plan"], arguments["confirm"], options_of(arguments)
    if text is None:
        raise Refused("there is no plan: give the text of one to start a run")
    if module.check_mode:
        return would_start(run, text, confirm, options)
    with run.alone():
        is_new = not run.folder.exists()
        if is_new:
            run.prepare(text, confirm, options, run.check(text, confirm))
        else:
            run.verify_same(text, confirm, options)
        starts = run.folder.state() == "interrupted" and run.may_go_on()
        if starts:
            run.start(arguments["launcher"])
    return {**run.report(), "changed": starts}


def would_start(run, text, confirm, options):
    report = run.report()
    if report["state"] == "absent":
        return {**report, "plan": run.check(text, confirm), "changed": True}
    run.verify_same(text, confirm, options)
    return {**report, "changed": report["state"] == "interrupted"}


def stop(module, run):
    report = run.report()
    if report["state"] in ("absent", "ended"):
        return {**report, "changed": False}
    if not module.check_mode:
        run.stop()
        report = run.report()
    return {**report, "changed": True}


def main():
    module = AnsibleModule(ARGUMENTS, supports_check_mode=True)
    given = module.params
    try:
        program = given["program"] if given["program"].startswith("/") else module.get_bin_path(given["program"])
        if given["state"] == "started" and not program:
            raise Refused("the program %s is not installed on this host: the role drivetest.drivetest.fleet installs it" % given["program"])
        run = PlanRun(given["id"], given["folder"], program)
        if given["state"] == "started":
            done = start(module, run)
        elif given["state"] == "stopped":
            done = stop(module, run)
        else:
            done = {**run.report(), "changed": False}
    except (Refused, OSError, ValueError, KeyError) as error:
        module.fail_json(msg=str(error), id=given["id"])
    module.exit_json(**done)


if __name__ == "__main__":
    main()
