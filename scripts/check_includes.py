#!/usr/bin/python3
"""Checks who includes whom: each part its own headers, the contracts and the C++ standard library; the program also
what quix5 has for those who run modules. Headers of the operating system and of other libraries are for the folders
linux/ and windows/, and so are our own that lie in such folders. The module, moreover, sees contracts/ alone. Nor is
anything compiled for one system only outside of such folders, but in the header that marks what libraries export.

Arguments: the project's folder and a compile_commands.json of it. Prints faults as FILE:LINE: WHAT. With --headers and
the folder: lists the headers that have to be compiled alone, as no source of their name includes them first; those for
Windows, which only compile for it, are listed with "windows" behind that, and alone.
"""

import json
import pathlib
import re
import shlex
import sys

PARTS = ("contracts", "zel", "quix5", "libDrive2", "libDriveTest", "drivetest")
UNSHIPPED = ("tests", "fuzz", "bench")
MODULE = "libDriveTest"
PLATFORMS = {"linux", "windows"}
# What a part shows beside the contracts, and to whom.
SHOWN = {("quix5", "drivetest")}
# Elsewhere than in a platform's folder, these libraries are part of what the file is for.
EXCEPTIONS = {("zel/Resource.cpp", "nlohmann/json.hpp"), ("libDrive2/journal/Checksum.cpp", "xxhash.h"),
              *((f"drivetest/commands/{name}.cpp", "CLI/CLI.hpp")
                for name in ("CommandLine", "CommandOptions", "Completion", "HelpCommands", "Manual", "PlanCommandOptions",
                           "RunArguments", "RunCommandOptions", "UsageError")),
              ("drivetest/commands/HelpFormatter.h", "CLI/CLI.hpp"),
              ("drivetest/record/Json.h", "nlohmann/json.hpp"),
              *(("drivetest/settings/TomlFile.cpp", f"toml++/{name}.h")
                for name in ("toml", "impl/forward_declarations", "impl/unicode"))}
# What the preprocessor is not asked outside of the platforms' folders: on which system it runs.
SYSTEM_MACROS = re.compile(
    r"\b(?:_?WIN(?:32|64|NT)|_+(?:WIN(?:32|64|NT)|MINGW\w*|CYGWIN\w*|(?:gnu_)?linux|unix|APPLE|MACH|ANDROID|FreeBSD|GLIBC)_*"
    r"|linux|unix|_WINDOWS|_MSC_\w+|_POSIX_VERSION|__has_include)\b")
CONDITION = re.compile(r"\s*#\s*(?:el)?if")
MARKS_EXPORTS = "contracts/zel/Export.h"
INCLUDE = re.compile(r'\s*#\s*include\s*(?:"([^"]+)"|<([^>]+)>)')
STANDARD = re.compile(r"[a-z_]+")  # no folder, no suffix: <vector>, <cstdint>
PATH_OPTIONS = ("-I", "-isystem", "-iquote", "-idirafter", "-include", "-imacros")
# Headers of the standard library that are compiled once for all sources; every source includes them by itself as well.
PRECOMPILED = "cmake_pch.hxx"


def sources(root, part):
    return sorted(path for path in (root / part).rglob("*") if path.suffix in (".h", ".cpp"))


def resolved(root, source, quoted):
    """The file that an #include "..." leads to, or None."""
    found = [(base / quoted).resolve() for base in (source.parent, root / "contracts", root)]
    return next((path for path in found if path.is_file()), None)


def is_allowed(root, part, source, quoted, angled):
    """Whether the file may include this; `quoted` and `angled` are the two forms of an #include."""
    in_platform = bool(PLATFORMS & set(source.relative_to(root).parts)) and part != MODULE
    if angled:
        excepted = (source.relative_to(root).as_posix(), angled) in EXCEPTIONS
        return bool(STANDARD.fullmatch(angled)) or excepted or in_platform
    target = resolved(root, source, quoted)
    if target is None or not target.is_relative_to(root):
        return False
    home, *folders = target.relative_to(root).parts[:-1]
    if PLATFORMS & set(folders) and not in_platform:
        return False
    return home in ("contracts", part) or ((home, part) in SHOWN and not folders)


def check_sources(root, part):
    for source in sources(root, part):
        for number, line in enumerate(source.read_text(encoding="utf-8").splitlines(), 1):
            include = INCLUDE.match(line)
            if include and not is_allowed(root, part, source, *include.groups()):
                name = include[1] or include[2]
                yield f"{source.relative_to(root)}:{number}: {part} must not include {name}"


def conditions(source):
    """The preprocessor's questions: (the line where one begins, its whole text)."""
    lines = enumerate(source.read_text(encoding="utf-8").splitlines(), 1)
    for number, line in lines:
        if CONDITION.match(line):
            text = line
            while text.endswith("\\"):
                text = text[:-1] + next(lines, (0, ""))[1]
            yield number, text


def check_conditions(root, part):
    for source in sources(root, part):
        relative = source.relative_to(root)
        if PLATFORMS & set(relative.parts) or relative.as_posix() == MARKS_EXPORTS:
            continue
        for number, text in conditions(source):
            if asked := SYSTEM_MACROS.search(text):
                yield f"{relative}:{number}: {asked[0]} is asked: what differs between systems belongs in linux/ and windows/"


def own_header(root, source):
    """The header that a source implements, or None: that of its name beside it, or in the contracts."""
    relative = source.relative_to(root).with_suffix(".h")
    contracts = root / "contracts"
    places = [root / relative, contracts / relative, contracts / relative.parts[0] / relative.name]
    return next((place for place in places if place.is_file()), None)


def first_include(root, source):
    """The header that a source includes first."""
    for line in source.read_text(encoding="utf-8").splitlines():
        if include := INCLUDE.match(line):
            return resolved(root, source, include[1] or "")
    return None


def check_first_includes(root):
    """A header that its source includes first is proven to compile alone."""
    for part in PARTS:
        for source in sources(root, part):
            own = own_header(root, source) if source.suffix == ".cpp" else None
            if own is not None and first_include(root, source) != own:
                yield f"{source.relative_to(root)}:1: the first #include must be its own header, {own.relative_to(root)}"


def headers_to_compile(root, for_windows):
    """Those that no source includes first."""
    proven = {first_include(root, source) for part in PARTS for source in sources(root, part)
              if source.suffix == ".cpp"}
    for part in PARTS + ("tests",):
        for header in sources(root, part):
            place = header.relative_to(root)
            if header.suffix == ".h" and header not in proven and ("windows" in place.parts) == for_windows:
                yield place.as_posix()


def include_paths(command):
    """The arguments of a compiler's command that lead to headers."""
    words = iter(shlex.split(command))
    for word in words:
        for option in PATH_OPTIONS:
            if word.startswith(option):
                path = word[len(option):] or next(words)
                if pathlib.Path(path).name != PRECOMPILED:
                    yield path
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
    if len(sys.argv) > 2 and sys.argv[1] == "--headers" and sys.argv[3:] in ([], ["windows"]):
        print("\n".join(headers_to_compile(pathlib.Path(sys.argv[2]).resolve(), bool(sys.argv[3:]))))
        return 0
    if len(sys.argv) != 3:
        sys.exit("use it as: check_includes.py FOLDER COMPILE_COMMANDS, or check_includes.py --headers FOLDER [windows]")
    root = pathlib.Path(sys.argv[1]).resolve()
    commands = json.loads(pathlib.Path(sys.argv[2]).read_text(encoding="utf-8"))
    faults = [fault for part in PARTS for fault in check_sources(root, part)]
    faults += [fault for part in PARTS + UNSHIPPED for fault in check_conditions(root, part)]
    faults += [*check_first_includes(root), *check_module_path(root, commands)]
    print("\n".join(faults), end="\n" if faults else "")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
