#!/usr/bin/python3
"""Runs clang-tidy over the project's sources, apart from the tests', whose macros are none of ours and cost most of the
time. What had no finding is remembered by what the preprocessor makes of it, so that only what changed is looked at again.

Arguments: the project's folder, a compile_commands.json of it, and how many may run side by side. Prints findings; exit
status 1 when there are any.
"""

import concurrent.futures
import hashlib
import json
import os
import pathlib
import shlex
import subprocess
import sys

TIDY, COMPILER = "clang-tidy-19", "clang++-19"


def memory():
    """The folder of an empty file for each text that had no finding."""
    home = os.environ.get("XDG_CACHE_HOME") or os.path.join(os.path.expanduser("~"), ".cache")
    folder = pathlib.Path(home, "drivetest-tidy")
    folder.mkdir(parents=True, exist_ok=True)
    return folder


def preprocessed(entry):
    """With comments, which can silence a finding, with the macros and #includes that some findings are about, and without
    the places of files; None when it fails."""
    words = shlex.split(entry["command"])
    words = words[next(i for i, word in enumerate(words) if not word.endswith("ccache")) + 1:]
    kept = [word for word in words if word not in ("-c", entry["file"])]
    if "-o" in kept:
        at = kept.index("-o")
        del kept[at:at + 2]
    command = [COMPILER, *kept, "-w", "-E", "-P", "-CC", "-dD", "-dI", entry["file"]]
    done = subprocess.run(command, cwd=entry["directory"], capture_output=True, check=False)
    return done.stdout if done.returncode == 0 else None


class Checker:
    def __init__(self, root, build):
        self._build, self._memory = build, memory()
        version = subprocess.run([TIDY, "--version"], capture_output=True, check=True).stdout
        self._rules = version + (root / ".clang-tidy").read_bytes()

    def check(self, entry):
        """Whether it was looked at, and what was found."""
        text = preprocessed(entry)
        key = hashlib.sha256(self._rules + (text or b"")).hexdigest()
        known = self._memory / key
        if text is not None and known.exists():
            return False, ""
        done = subprocess.run([TIDY, "-p", self._build, "--quiet", entry["file"]], capture_output=True, text=True, check=False)
        if done.returncode == 0 and text is not None:
            known.touch()
        return True, "" if done.returncode == 0 else done.stdout or done.stderr


def main():
    if len(sys.argv) != 4:
        sys.exit("use it as: tidy.py FOLDER COMPILE_COMMANDS JOBS")
    root, commands = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2]).resolve()
    sources = {entry["file"]: entry for entry in json.loads(commands.read_text(encoding="utf-8"))
               if not any(pathlib.Path(entry["file"]).is_relative_to(root / folder) for folder in ("tests", "build"))}
    if not sources:
        sys.exit(f"{commands} names no source")
    checker = Checker(root, commands.parent)
    with concurrent.futures.ThreadPoolExecutor(int(sys.argv[3])) as pool:
        results = list(pool.map(checker.check, sources.values()))
    for _, found in results:
        print(found, end="")
    looked_at = sum(looked for looked, _ in results)
    faulty = sum(bool(found) for _, found in results)
    print(f"{len(sources)} sources, {looked_at} of them looked at, {faulty} with findings")
    return 1 if faulty else 0


if __name__ == "__main__":
    sys.exit(main())
