#!/usr/bin/python3
"""Runs clang-tidy over the project's sources, apart from the tests', whose macros are none of ours and cost most of the
time. What had no finding is remembered by what the preprocessor makes of it, so that only what changed is looked at again.

Arguments: the project's folder, a compile_commands.json of it, how many may run side by side and, to look at nothing but
what is for one platform, the name of its folders. What is built for another system than this one is looked at as such.
Prints findings; exit status 1 when there are any.
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
# Options that only GCC knows, and those of precompiled headers, which are each compiler's own; two have a value.
LEFT_OUT = {"-c", "-fno-keep-inline-dllexport", "-fpch-preprocess", "-Winvalid-pch"}
LEFT_OUT_PAIRS = {"-o", "-include"}
# What clang needs in the place of a cross-compiler of this name. Windows' headers would bring the intrinsics of all
# processors along, which nothing here uses and which take clang-tidy longer than all else.
CROSS_COMPILERS = {"x86_64-w64-mingw32": ["--target=x86_64-w64-windows-gnu", "-D__X86INTRIN_H"]}


def memory():
    """The folder of an empty file for each text that had no finding."""
    home = os.environ.get("XDG_CACHE_HOME") or os.path.join(os.path.expanduser("~"), ".cache")
    folder = pathlib.Path(home, "drivetest-tidy")
    folder.mkdir(parents=True, exist_ok=True)
    return folder


def clang_options(entry):
    """Those by which clang compiles what the entry has another compiler compile, without the source."""
    words = iter(shlex.split(entry["command"]))
    compiler = pathlib.Path(next(word for word in words if not word.endswith("ccache"))).name
    options = next((options[:] for name, options in CROSS_COMPILERS.items() if compiler.startswith(name)), [])
    for word in words:
        if word in LEFT_OUT_PAIRS:
            next(words)
        elif word not in LEFT_OUT and word != entry["file"]:
            options.append(word)
    return options


def preprocessed(entry, options):
    """With comments, which can silence a finding, with the macros and #includes that some findings are about, and without
    the places of files; None when it fails."""
    command = [COMPILER, *options, "-w", "-E", "-P", "-CC", "-dD", "-dI", entry["file"]]
    done = subprocess.run(command, cwd=entry["directory"], capture_output=True, check=False)
    return done.stdout if done.returncode == 0 else None


class Checker:
    def __init__(self, root):
        self._memory = memory()
        version = subprocess.run([TIDY, "--version"], capture_output=True, check=True).stdout
        self._rules = version + (root / ".clang-tidy").read_bytes()

    def check(self, entry):
        """Whether it was looked at, and what was found."""
        options = clang_options(entry)
        text = preprocessed(entry, options)
        key = hashlib.sha256(self._rules + (text or b"")).hexdigest()
        known = self._memory / key
        if text is not None and known.exists():
            return False, ""
        done = subprocess.run([TIDY, "--quiet", entry["file"], "--", *options], cwd=entry["directory"],
                              capture_output=True, text=True, check=False)
        if done.returncode == 0 and text is not None:
            known.touch()
        return True, "" if done.returncode == 0 else done.stdout or done.stderr


def is_wanted(root, source, platform):
    folders = source.relative_to(root).parts[:-1] if source.is_relative_to(root) else ()
    return folders[:1] not in ((), ("tests",), ("build",)) and (platform is None or platform in folders)


def main():
    if len(sys.argv) not in (4, 5):
        sys.exit("use it as: tidy.py FOLDER COMPILE_COMMANDS JOBS [PLATFORM]")
    root, commands = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2]).resolve()
    platform = sys.argv[4] if len(sys.argv) == 5 else None
    sources = {entry["file"]: entry for entry in json.loads(commands.read_text(encoding="utf-8"))
               if is_wanted(root, pathlib.Path(entry["file"]), platform)}
    if not sources:
        sys.exit(f"{commands} names no source")
    checker = Checker(root)
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
