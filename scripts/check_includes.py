#!/usr/bin/python3
"""Checks who includes whom: each library its own headers, the contracts and the C++ standard library. Headers of
the operating system and of other libraries are for the folders linux/ and windows/. The module, moreover, sees
contracts/ alone; the program sees what the other libraries have in their own folder, and of its platform below it.

Arguments: the project's folder and a compile_commands.json of it. Prints faults as FILE:LINE: WHAT. With --headers and
the folder: lists the headers that have to be compiled alone, as no source of their name includes them first.
"""

import json
import pathlib
import re
import shlex
import sys

LIBRARIES = ("contracts", "zel", "quix5", "libDrive2", "libDriveTest")
MODULE = "libDriveTest"
PROGRAM = "drivetest"
# Elsewhere than in a platform's folder, these libraries are part of what the file is for.
EXCEPTIONS = {("zel/Resource.cpp", "nlohmann/json.hpp"), ("libDrive2/journal/Checksum.cpp", "xxhash.h"),
              ("drivetest/record/RecordWriter.h", "nlohmann/json.hpp"), ("drivetest/CommandLine.cpp", "CLI/CLI.hpp")}
INCLUDE = re.compile(r'\s*#\s*include\s*(?:"([^"]+)"|<([^>]+)>)')
STANDARD = re.compile(r"[a-z_]+")  # no folder, no suffix: <vector>, <cstdint>
PATH_OPTIONS = ("-I", "-isystem", "-iquote", "-idirafter", "-include", "-imacros")


def sources(root, library):
    return sorted(path for path in (root / library).rglob("*") if path.suffix in (".h", ".cpp"))


def is_allowed(root, library, source, quoted, angled):
    """Whether the file may include this; `quoted` and `angled` are the two forms of an #include."""
    in_platform = {"linux", "windows"} & set(source.relative_to(root).parts)
    if angled:
        excepted = (source.relative_to(root).as_posix(), angled) in EXCEPTIONS
        return bool(STANDARD.fullmatch(angled)) or excepted or (bool(in_platform) and library != MODULE)
    found = [(base / quoted).resolve() for base in (source.parent, root / "contracts", root)]
    target = next((path for path in found if path.is_file()), None)
    if target is None:
        return False
    if any(target.is_relative_to(root / home) for home in ("contracts", library)):
        return True
    home, *folders = target.relative_to(root).parts
    return library == PROGRAM and home in LIBRARIES and home != MODULE and set(folders[:-1]) <= in_platform


def check_sources(root, library):
    for source in sources(root, library):
        for number, line in enumerate(source.read_text(encoding="utf-8").splitlines(), 1):
            include = INCLUDE.match(line)
            if include and not is_allowed(root, library, source, *include.groups()):
                name = include[1] or include[2]
                yield f"{source.relative_to(root)}:{number}: {library} must not include {name}"


def own_header(root, source):
    """The header that a source implements, or None: that of its name beside it, or in the contracts."""
    relative = source.relative_to(root).with_suffix(".h")
    places = [root / relative, root / "contracts" / relative.parts[0] / relative.name]
    return next((place for place in places if place.is_file()), None)


def first_include(root, source):
    """The header that a source includes first."""
    for line in source.read_text(encoding="utf-8").splitlines():
        if include := INCLUDE.match(line):
            found = [(base / (include[1] or "")).resolve() for base in (source.parent, root / "contracts", root)]
            return next((path for path in found if path.is_file()), None)
    return None


def check_first_includes(root):
    """A header that its source includes first is proven to compile alone."""
    for library in LIBRARIES + (PROGRAM,):
        for source in sources(root, library):
            own = own_header(root, source) if source.suffix == ".cpp" else None
            if own is not None and first_include(root, source) != own:
                yield f"{source.relative_to(root)}:1: the first #include must be its own header, {own.relative_to(root)}"


def headers_to_compile(root):
    """Those that no source includes first."""
    proven = {first_include(root, source) for library in LIBRARIES + (PROGRAM,) for source in sources(root, library)
              if source.suffix == ".cpp"}
    for library in LIBRARIES + (PROGRAM, "tests"):
        for header in sources(root, library):
            if header.suffix == ".h" and header not in proven and "windows" not in header.parts:
                yield header.relative_to(root).as_posix()


def include_paths(command):
    """The arguments of a compiler's command that lead to headers."""
    words = iter(shlex.split(command))
    for word in words:
        for option in PATH_OPTIONS:
            if word.startswith(option):
                yield word[len(option):] or next(words)
                break


def check_module_path(root, commands):
    """The module is compiled with contracts/ as the only include path."""
    compiled = [entry for entry in commands if pathlib.Path(entry["file"]).is_relative_to(root / MODULE)]
    if not compiled:
        yield f"{MODULE}:0: compile_commands.json names no source of the module"
    for entry in compiled:
        paths = {(pathlib.Path(entry["directory"]) / path).resolve() for path in include_paths(entry["command"])}
        if paths != {root / "contracts"}:
            listed = ", ".join(sorted(map(str, paths))) or "none"
            yield f"{entry['file']}:0: the include path must hold contracts/ alone, but holds {listed}"


def main():
    if len(sys.argv) == 3 and sys.argv[1] == "--headers":
        print("\n".join(headers_to_compile(pathlib.Path(sys.argv[2]).resolve())))
        return 0
    if len(sys.argv) != 3:
        sys.exit("use it as: check_includes.py FOLDER COMPILE_COMMANDS, or check_includes.py --headers FOLDER")
    root = pathlib.Path(sys.argv[1]).resolve()
    commands = json.loads(pathlib.Path(sys.argv[2]).read_text(encoding="utf-8"))
    faults = [fault for library in (*LIBRARIES, PROGRAM) for fault in check_sources(root, library)]
    faults += [*check_first_includes(root), *check_module_path(root, commands)]
    print("\n".join(faults), end="\n" if faults else "")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
