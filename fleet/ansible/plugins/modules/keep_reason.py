#!/usr/bin/python
"""Keeps on the controller why a host has no results."""

from __future__ import annotations

DOCUMENTATION = r"""
module: keep_reason
short_description: Keeps on the controller why a host has no results
version_added: "1.0.0"
description:
  - For M(drivetest.drivetest.summary). What is known of the host's run from before stays. The host itself is not asked.
options:
  id:
    description: The id of the run.
    type: str
    required: true
  dest:
    description: Folder on the controller.
    type: path
    required: true
  reason:
    description: A sentence.
    type: str
    required: true
author:
  - DriveTest developers (@drivetest)
"""

EXAMPLES = r"""
- name: Keep that it is switched off
  drivetest.drivetest.keep_reason:
    id: 2026-11-acceptance
    dest: /srv/drives/records
    reason: switched off by the owner
"""

RETURN = r""" # """
