"""What the controller keeps of a run: DEST/ID/HOST, and in it, of that host,

    manifest.json  the files that were fetched whole
    outcome.json   how the run was when it was last asked for, or why it is not known
"""

from __future__ import annotations

import json
import os
import re

from . import run_folder


def plain(name):
    """A name as one of a file: an inventory may have slashes in it, or nothing but dots."""
    return re.sub(r"[^A-Za-z0-9._-]|^\.", lambda found: "%%%02X" % ord(found.group()), name)


def folder_of(dest, run_id, host):
    folder = os.path.join(os.path.expanduser(dest), plain(run_id), plain(host))
    os.makedirs(folder, exist_ok=True)
    return folder


def write(folder, name, content):
    run_folder.write_durably(os.path.join(folder, name), json.dumps(content, indent=1) + "\n")


def read(folder, name, default=None):
    try:
        with open(os.path.join(folder, name), encoding="utf-8") as file:
            return json.load(file)
    except (FileNotFoundError, ValueError):
        return default
