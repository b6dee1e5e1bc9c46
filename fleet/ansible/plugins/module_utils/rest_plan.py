"""A plan of what another one has left undone."""

from __future__ import annotations

import json

try:
    import tomllib
except ImportError:
    tomllib = None

from . import records


class NoRest(RuntimeError):
    """Why what is left cannot be gone on with."""


def toml(value):
    """A value as a plan has it."""
    if isinstance(value, bool):
        return "true" if value else "false"
    if isinstance(value, (int, float)):
        return repr(value)
    if isinstance(value, list):
        return "[" + ", ".join(toml(each) for each in value) + "]"
    if isinstance(value, dict):
        return "{ " + ", ".join("%s = %s" % (toml(str(name)), toml(each)) for name, each in value.items()) + " }"
    return json.dumps(str(value), ensure_ascii=False).replace("\x7f", "\\u007f")


def table(heading, entries):
    return "[[%s]]\n" % heading + "".join("%s = %s\n" % (toml(name), toml(value)) for name, value in entries.items())


def with_confirmed(text, confirm):
    """The plan, which confirms nothing itself, with the drives that may be written to."""
    return ("confirm = %s\n" % toml(list(confirm)) if confirm else "") + text.removeprefix("\ufeff")


def rest_of(text, plan, remaining):
    """The plan's text, what it meant when the run began, and (drive, its tests) that are left."""
    if tomllib is None:
        raise NoRest("tests that had not begun are left out: going on with them needs Python 3.11 on the host")
    whole = tomllib.loads(text)
    tests = {test.get("name", test["test"]): test for test in whole["test"]}
    parts = ["".join("%s = %s\n" % (toml(name), toml(value)) for name, value in whole.items()
                     if name not in ("drive", "test", "repeats"))]
    made = {}
    for drive, missing in remaining:
        labels, seen = [], {}
        for test in missing:
            seen[test["label"]] = seen.get(test["label"], 0) + 1
            label = "%s (%d)" % (test["label"], seen[test["label"]])
            made[label] = {**tests[test["label"]], "name": label, "repeats": 1}
            labels.append(label)
        parts.append(table("drive", {**name_of(drive, plan), "tests": labels}))
    parts += [table("test", test) for test in made.values()]
    return "".join(parts)


def name_of(drive, plan):
    """By its serial number where that tells it from others: a path may lead to another drive after a reboot."""
    serial = drive.get("serial")
    is_simulated = drive["locator"].startswith("sim:")
    if serial and not is_simulated and sum(other.get("serial") == serial for other in plan["drives"]) == 1:
        return {"serial": serial}
    return {"path": drive["locator"]}


def remaining_plan(text, plan, found, stopped=False):
    """None when nothing is left."""
    left = list(records.Account(plan, found, stopped).remaining())
    return rest_of(text, plan, left) if left else None
