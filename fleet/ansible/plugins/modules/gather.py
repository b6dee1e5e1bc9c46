#!/usr/bin/python
"""Fetches what a run of a plan has left."""

from __future__ import annotations

DOCUMENTATION = r"""
module: gather
short_description: Fetches the records of a run of a plan
version_added: "1.0.0"
description:
  - Fetches everything that a run of M(drivetest.drivetest.run_plan) has left to C(dest/ID/HOST) on the controller.
  - A file has its name there only when it is whole, as its SHA-256 says. Files that are there already are not fetched again, so
    that this can be repeated after a lost connection. C(manifest.json) is written last.
options:
  id:
    description: The id of the run.
    type: str
    required: true
  dest:
    description: Folder on the controller.
    type: path
    required: true
  folder:
    description: Where the runs of the host are kept.
    type: path
    default: /var/lib/drivetest/fleet
author:
  - DriveTest developers (@drivetest)
"""

EXAMPLES = r"""
- name: Fetch the records
  drivetest.drivetest.gather:
    id: 2026-11-acceptance
    dest: /srv/drives/records
"""

RETURN = r"""
files:
  description: Each with C(name), C(size) and C(sha256).
  returned: success
  type: list
  elements: dict
fetched:
  description: How many of them were not there yet.
  returned: success
  type: int
dest:
  description: The folder that they are in.
  returned: success
  type: str
"""

import hashlib
import os

from ansible.module_utils.basic import AnsibleModule

from ..module_utils import run_folder
from ..module_utils.plan_starter import PlanRun, Refused


def digest_of(path):
    digest = hashlib.sha256()
    with open(path, "rb") as file:
        while block := file.read(1 << 20):
            digest.update(block)
    return digest.hexdigest()


def files_of(run):
    """The records first of all; paths are relative to the run's folder."""
    where = run.folder.file(run_folder.RECORDS)
    names = [os.path.join(run_folder.RECORDS, name) for name in sorted(os.listdir(where))]
    names += [run_folder.PLAN, run_folder.MEANING, run_folder.STATE, run_folder.LOG]
    for name in names:
        path = run.folder.file(name)
        if os.path.isfile(path) and not os.path.islink(path):
            yield {"name": os.path.basename(name), "path": path, "size": os.path.getsize(path), "sha256": digest_of(path)}


def main():
    module = AnsibleModule({"id": {"type": "str", "required": True}, "dest": {"type": "path", "required": True},
                            "folder": {"type": "path", "default": "/var/lib/drivetest/fleet"}}, supports_check_mode=True)
    try:
        run = PlanRun(module.params["id"], module.params["folder"], None)
        report = run.report()
        if report["state"] != "ended":
            raise Refused("the run %s is %s on this host: gather its records when it has ended" % (run.id, report["state"]))
        module.exit_json(changed=False, files=list(files_of(run)), report=report)
    except (Refused, OSError, ValueError) as error:
        module.fail_json(msg=str(error))


if __name__ == "__main__":
    main()
