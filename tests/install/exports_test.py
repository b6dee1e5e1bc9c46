"""What the libraries export: what the headers that others include declare, all of it, and nothing else."""

import json
import os
import pathlib
import re
import subprocess
import unittest

BUILD = pathlib.Path(os.environ["BUILD_FOLDER"])
SOURCE = pathlib.Path(os.environ["SOURCE_FOLDER"])
# The folders of headers that are for others; those of quix5 itself are for programs that run modules.
FACES = {"zel": ["contracts/zel"], "quix5": ["contracts/quix5", "quix5"],
         "libDrive2": ["contracts/libDrive2", "contracts/libDrive2/linux"]}
FILES = {"zel": "libzel.so", "quix5": "libquix5.so", "libDrive2": "libDrive2.so"}
DECLARED = re.compile(r"^(?:class|struct) (?:DRIVETEST_API )?(\w+)[^;{]*\{|^[\w\[:<][\w\[\]:<>*& ]*?\b(\w+)\(", re.M)
# Vtables and what goes with them, thunks, guards and static objects of functions; then the namespace and the name.
MANGLED = re.compile(r"_Z(?:T[VIST]|Th\w*?_|GV|Z)*N?[KVrO]*(\d+)(\w+)")
# The standard library's templates are exported by its own headers.
STANDARD = re.compile(r"_Z(?:T[VIST]|GV|Z)*N?[KVrO]*(?:S[abiost]|N?9__gnu_cxx)")


def nm(*arguments):
    listed = subprocess.run(["nm", *map(str, arguments)], capture_output=True, text=True, check=True).stdout
    return [line.split()[-2:] for line in listed.splitlines() if len(line.split()) > 1]


def exported(library):
    return {symbol for kind, symbol in nm("-D", "--defined-only", BUILD / "bin" / FILES[library])}


def made_objects():
    """What the build makes now: a build folder may hold objects of earlier ones, too."""
    commands = json.loads((BUILD / "compile_commands.json").read_text(encoding="utf-8"))
    return [re.search(r" -o (\S+)", entry["command"])[1] for entry in commands]


def owner(symbol):
    """The class or free function that a symbol is part of; None for a name outside of namespaces."""
    if (match := MANGLED.match(symbol)) is None:
        return None
    inside = match[2][int(match[1]):]
    name = re.match(r"(\d+)(\w+)", inside)
    return name[2][:int(name[1])] if name else None


def demangled(symbols):
    return subprocess.run(["c++filt"], input="\n".join(sorted(symbols)), capture_output=True, text=True, check=True).stdout


class Exports(unittest.TestCase):
    maxDiff = None

    def test_libraries_export_what_their_headers_declare(self):
        for library, folders in FACES.items():
            headers = [path for folder in folders for path in (SOURCE / folder).glob("*.h")]
            texts = [path.read_text(encoding="utf-8") for path in headers]
            declared = {name for text in texts for match in DECLARED.finditer(text) for name in match.groups() if name}
            with self.subTest(library):
                found = exported(library)
                ours = {symbol for symbol in found if not STANDARD.match(symbol)}
                self.assertEqual(demangled(symbol for symbol in ours if owner(symbol) not in declared), "")
                # What the sources define once (inline functions are weak), and all that has a vtable.
                objects = [BUILD / made for made in made_objects() if made.startswith(library + "/")]
                defined = {symbol for kind, symbol in nm(*objects) if kind in "TDBR" or symbol.startswith(("_ZTVN", "_ZTIN"))}
                hidden = {symbol for symbol in defined - found if owner(symbol) in declared}
                self.assertEqual(demangled(hidden), "")
                self.assertGreater(len(ours), 20)


if __name__ == "__main__":
    unittest.main()
