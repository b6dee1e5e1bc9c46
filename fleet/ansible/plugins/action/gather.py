"""The controller's side of fetching records."""

from __future__ import annotations

import base64
import hashlib
import os
import re

from ansible.errors import AnsibleActionFail
from ansible.plugins.action import ActionBase

from ansible_collections.drivetest.drivetest.plugins.module_utils import controller_folder, run_folder

# A host names its files: what is no plain name could lead anywhere.
NAME = re.compile(r"[A-Za-z0-9_+][A-Za-z0-9._+=,@%-]{0,250}", re.ASCII)
MOST_FILES = 100000
MOST_BYTES = 1 << 30
TRIES = 3  # of a file that changes on its way


class Arrived:
    """Whether a file is there as the host has it."""

    def __init__(self, path, size, sha256):
        self.path, self.size, self.sha256 = path, size, sha256

    def __bool__(self):
        try:
            with open(self.path, "rb") as file:
                digest = hashlib.sha256()
                while block := file.read(1 << 20):
                    digest.update(block)
                return file.tell() == self.size and digest.hexdigest() == self.sha256
        except FileNotFoundError:
            return False


class ActionModule(ActionBase):
    TRANSFERS_FILES = False
    _supports_check_mode = True

    def run(self, tmp=None, task_vars=None):
        result = super().run(tmp, task_vars)
        given, self._vars = self._task.args, task_vars
        listed = self._execute_module(module_name="drivetest.drivetest.gather", module_args=given, task_vars=task_vars)
        if listed.get("failed") or self._play_context.check_mode:
            return {**result, **listed}
        folder = controller_folder.folder_of(given["dest"], given["id"], task_vars["inventory_hostname"])
        files = [self._verified(file) for file in listed["files"][:MOST_FILES]]
        fetched = sum(self._fetch(file, folder) for file in files)
        known = [{part: file[part] for part in ("name", "size", "sha256")} for file in files]
        if fetched or controller_folder.read(folder, "manifest.json") != known:
            controller_folder.write(folder, "manifest.json", known)
        return {**result, "changed": fetched > 0, "files": known, "fetched": fetched, "dest": folder}

    @staticmethod
    def _verified(file):
        if not (isinstance(file.get("name"), str) and NAME.fullmatch(file["name"]) and isinstance(file.get("size"), int)
                and isinstance(file.get("sha256"), str) and isinstance(file.get("path"), str)):
            raise AnsibleActionFail("the host offers a file with a name that records do not have: %.80r" % file)
        if not 0 <= file["size"] <= MOST_BYTES:
            raise AnsibleActionFail("%s has %d bytes, which no record has: look at it on the host" % (file["name"], file["size"]))
        return file

    def _bring(self, there, here):
        """Whoever comes in as somebody else than root reads nothing by the connection itself."""
        if not self._connection.become:
            self._connection.fetch_file(there, here)
            return
        read = self._execute_module(module_name="ansible.legacy.slurp", module_args={"src": there}, task_vars=self._vars)
        if read.get("failed") or read.get("encoding") != "base64":
            raise AnsibleActionFail("%s could not be read on the host: %s" % (there, read.get("msg", "no reason was given")))
        with open(here, "wb") as file:
            file.write(base64.b64decode(read["content"]))

    def _fetch(self, file, folder):
        """Whether it had to be."""
        path = os.path.join(folder, file["name"])
        if Arrived(path, file["size"], file["sha256"]):
            return False
        part = os.path.join(folder, ".part-" + file["name"])
        for _ in range(TRIES):
            self._bring(file["path"], part)
            if Arrived(part, file["size"], file["sha256"]):
                with open(part, "rb") as arrived:
                    os.fsync(arrived.fileno())
                os.replace(part, path)
                run_folder.sync_folder(folder)
                return True
        os.remove(part)
        raise AnsibleActionFail("%s did not arrive as the host has it, in %d attempts: gather again" % (file["name"], TRIES))
