#!/usr/bin/python
"""Tells which drives a host has."""

from __future__ import annotations

DOCUMENTATION = r"""
module: drive_facts
short_description: Tells which drives a host has
version_added: "1.0.0"
description:
  - Sets the facts C(drivetest_drives), as C(drivetest devices --json) has them, and C(drivetest_version).
options:
  program:
    description: The program C(drivetest), by name or by path.
    type: str
    default: drivetest
author:
  - DriveTest developers (@drivetest)
"""

EXAMPLES = r"""
- name: Ask for the drives
  drivetest.drivetest.drive_facts:

- name: Show their serial numbers
  ansible.builtin.debug:
    msg: "{{ drivetest_drives | map(attribute='serial') | list }}"
"""

RETURN = r"""
ansible_facts:
  description: The facts.
  returned: success
  type: dict
  contains:
    drivetest_drives:
      description: Each drive with C(locator), C(model), C(serial), C(firmware), C(bytes), C(inUseBy) and so on.
      type: list
      elements: dict
    drivetest_version:
      description: What C(drivetest --version) says.
      type: str
"""

import json
import os
import subprocess

from ansible.module_utils.basic import AnsibleModule

MOST_SECONDS = 120  # a drive that hangs must not hold up the play for ever


def ask(module, *words):
    try:
        done = subprocess.run(words, stdin=subprocess.DEVNULL, capture_output=True, timeout=MOST_SECONDS, check=False,
                              env={**os.environ, "LC_ALL": "C.UTF-8"})
    except (OSError, subprocess.TimeoutExpired) as error:
        module.fail_json(msg="%s could not be asked for the drives: %s" % (words[0], error))
    if done.returncode != 0:
        module.fail_json(msg="%s ended with status %d: %s" % (" ".join(words), done.returncode,
                                                              done.stderr.decode("utf-8", "replace").strip()))
    return done.stdout.decode("utf-8", "replace")


def main():
    module = AnsibleModule({"program": {"type": "str", "default": "drivetest"}}, supports_check_mode=True)
    program = module.params["program"]
    if not program.startswith("/"):
        program = module.get_bin_path(program, required=True)
    drives = json.loads(ask(module, program, "devices", "--json"))
    version = ask(module, program, "--version").strip()
    module.exit_json(changed=False, ansible_facts={"drivetest_drives": drives, "drivetest_version": version})


if __name__ == "__main__":
    main()
