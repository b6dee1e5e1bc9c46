"""Keeps on the controller why a host has no results. Nothing of it runs on the host."""

from __future__ import annotations

from ansible.plugins.action import ActionBase

from ansible_collections.drivetest.drivetest.plugins.module_utils import controller_folder


class ActionModule(ActionBase):
    TRANSFERS_FILES = False
    _requires_connection = False
    _supports_check_mode = True

    def run(self, tmp=None, task_vars=None):
        result = super().run(tmp, task_vars)
        given = self._task.args
        if self._play_context.check_mode:
            return {**result, "changed": False}
        folder = controller_folder.folder_of(given["dest"], given["id"], task_vars["inventory_hostname"])
        before = controller_folder.read(folder, "outcome.json", {})
        after = {**before, "reason": str(given["reason"])}
        controller_folder.write(folder, "outcome.json", after)
        return {**result, "changed": before != after}
