"""Where the program looks for its libraries: beside itself, never in the current folder."""

import os
import re
import subprocess
import tempfile
import unittest

BUILD = os.environ["BUILD_FOLDER"]


def elf_files(folder):
    for parent, _, names in os.walk(folder):
        for path in (os.path.join(parent, name) for name in names):
            with open(path, "rb") as file:
                if not os.path.islink(path) and file.read(4) == b"\x7fELF":
                    yield path


def search_paths(path):
    """The elements of a file's RPATH and RUNPATH."""
    listed = subprocess.run(["readelf", "-d", path], capture_output=True, text=True, check=True,
                            env={**os.environ, "LC_ALL": "C"}).stdout
    return [element for value in re.findall(r"\(R(?:UN)?PATH\).*\[(.*)\]", listed) for element in value.split(":")]


class RunPath(unittest.TestCase):
    def check(self, folder, allowed):
        found = {path: search_paths(path) for path in elf_files(folder)}
        self.assertEqual({path: elements for path, elements in found.items() if not all(map(allowed, elements))}, {})
        return {os.path.basename(path): elements for path, elements in found.items()}

    def test_built_files(self):
        found = self.check(os.path.join(BUILD, "bin"), lambda element: re.match(r"/|\$ORIGIN(/|$)", element))
        self.assertEqual(found["drivetest"], ["$ORIGIN"])

    def test_installed_files(self):
        with tempfile.TemporaryDirectory(prefix="drivetest-") as folder:
            subprocess.run([os.environ["CMAKE"], "--install", BUILD], env={**os.environ, "DESTDIR": folder},
                           check=True, stdout=subprocess.DEVNULL)
            found = self.check(folder, lambda element: re.match(r"\$ORIGIN(/|$)", element))
            self.assertEqual((len(found), found["drivetest"]), (5, ["$ORIGIN"]))


if __name__ == "__main__":
    unittest.main()
