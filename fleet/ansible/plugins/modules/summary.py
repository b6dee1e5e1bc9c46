#!/usr/bin/python
"""Tells of every drive of a fleet what became of it."""

from __future__ import annotations

DOCUMENTATION = r"""
module: summary
short_description: Tells of every drive of a fleet what became of its tests
version_added: "1.0.0"
description:
  - Makes one table of what M(drivetest.drivetest.run_plan) and M(drivetest.drivetest.gather) have left on the controller, and
    writes it to C(dest/ID/summary.json) and C(dest/ID/summary.csv). Run it on the controller.
  - Each run of each drive of each host has one row, with a result from a record that was fetched whole, or with the reason why
    there is none.
options:
  id:
    description: The id of the run.
    type: str
    required: true
  dest:
    description: Folder on the controller.
    type: path
    required: true
  hosts:
    description:
      - Every host that was to be tested, and the serial numbers of the drives that are expected there. Of a host that never answered
        nothing but these is known; of one that is found without a drive that is expected, a row says so.
    type: dict
    required: true
author:
  - DriveTest developers (@drivetest)
"""

EXAMPLES = r"""
- name: Tell of all drives
  drivetest.drivetest.summary:
    id: 2026-11-acceptance
    dest: /srv/drives/records
    hosts: "{{ dict(groups['drives'] | zip(groups['drives'] | map('extract', hostvars) | map(attribute='drivetest_expected'))) }}"
  delegate_to: localhost
  run_once: true
"""

RETURN = r"""
rows:
  description: Each with C(host), C(drive), C(serial), C(model), C(test), C(number), and C(result) and counts, or C(reason).
  returned: success
  type: list
  elements: dict
counts:
  description: How many rows have each result, and how many have none (C(without)).
  returned: success
  type: dict
problems:
  description: Files that hold no run or were changed since they were fetched, and drives that are told by two hosts.
  returned: success
  type: list
  elements: str
"""

import collections
import csv
import hashlib
import io
import os

from ansible.module_utils.basic import AnsibleModule

from ..module_utils import controller_folder, records, run_folder

COLUMNS = ("host", "drive", "serial", "model", "test", "number", "result", "status", "reason", "record", "errors", "warnings",
           "requested", "tested", "failed", "skipped", "readRate")


class Host:
    """What is known of one host."""

    def __init__(self, parent, name, expected):
        self.name, self.expected = name, expected
        self.folder = os.path.join(parent, controller_folder.plain(name))
        self.outcome = controller_folder.read(self.folder, "outcome.json", {})
        self.manifest = controller_folder.read(self.folder, "manifest.json")
        self.problems = []

    def rows(self):
        plan = self.outcome.get("plan")
        if plan is None:
            drives = [{"locator": "", "serial": serial} for serial in self.expected] or [{"locator": "", "serial": ""}]
            return [self._without(drive, self._why()) for drive in drives]
        account = records.Account(plan, self._records(), why_missing=self._why())
        rows = [{"host": self.name, **row} for row in account.rows]
        if self.manifest is None:  # what is not here is no result yet
            rows = [self._without_result(row) for row in rows]
        there = {drive.get("serial") for drive in plan["drives"]}
        return rows + [self._without({"locator": "", "serial": serial}, "the plan takes no drive with this serial number there")
                       for serial in self.expected if serial not in there]

    def _records(self):
        if self.manifest is None:
            return []
        for file in self.manifest:
            path = os.path.join(self.folder, file["name"])
            if not os.path.isfile(path) or digest_of(path) != file["sha256"]:
                self.problems.append("%s: %s is not as it was fetched: gather again" % (self.name, file["name"]))
        found, problems = records.read_records(self.folder)
        self.problems += ["%s: %s" % (self.name, problem) for problem in problems]
        return found

    def _why(self):
        state = self.outcome.get("state")
        if self.outcome.get("reason"):
            return self.outcome["reason"]
        if state is None:
            return "nothing is known of this host: it did not answer"
        if self.manifest is None:
            return "the run is %s there, and its records are not fetched" % state
        return self.outcome.get("problem", "there is no record of it")

    def _without_result(self, row):
        return {part: value for part, value in row.items() if part not in ("result", "record")}

    def _without(self, drive, reason):
        return {"host": self.name, "drive": drive["locator"], "serial": drive["serial"], "model": "", "test": "", "number": 1,
                "reason": records.shown(reason), "status": records.BROKE_OFF}


def digest_of(path):
    with open(path, "rb") as file:
        return hashlib.sha256(file.read()).hexdigest()


def told_twice(rows):
    """A serial number that two hosts have, or one host twice under different names."""
    places = collections.defaultdict(set)
    for row in rows:
        if row["serial"]:
            places[row["serial"]].add((row["host"], row["drive"]))
    return ["the serial number %s is told of by %s" % (serial, " and ".join("%s %s" % place for place in sorted(where)))
            for serial, where in sorted(places.items()) if len(where) > 1]


def cell(value):
    """What a spreadsheet would take for a formula stays a text."""
    text = records.shown("" if value is None else value)
    return "'" + text if text.startswith(("=", "+", "-", "@")) else text


def table_of(rows):
    text = io.StringIO()
    writer = csv.writer(text)
    writer.writerow(COLUMNS)
    for row in rows:
        writer.writerow([cell(row.get(column)) for column in COLUMNS])
    return text.getvalue()


def main():
    module = AnsibleModule({"id": {"type": "str", "required": True}, "dest": {"type": "path", "required": True},
                            "hosts": {"type": "dict", "required": True}}, supports_check_mode=True)
    given = module.params
    parent = os.path.join(given["dest"], controller_folder.plain(given["id"]))
    rows, problems = [], []
    for name, expected in given["hosts"].items():
        host = Host(parent, name, [str(serial) for serial in expected or []])
        rows += host.rows()
        problems += host.problems
    problems += told_twice(rows)
    counts = dict(collections.Counter(row.get("result", "without") for row in rows))
    changed = not module.check_mode and controller_folder.read(parent, "summary.json") != rows
    if changed:
        os.makedirs(parent, exist_ok=True)
        controller_folder.write(parent, "summary.json", rows)
        run_folder.write_durably(os.path.join(parent, "summary.csv"), table_of(rows))
    module.exit_json(changed=changed, rows=rows, counts=counts, problems=problems)


if __name__ == "__main__":
    main()
