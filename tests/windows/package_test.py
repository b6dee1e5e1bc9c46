"""The ZIP file for Windows, unpacked where names have blanks and letters beyond ASCII: it is whole, calls nothing but itself
and the system, and runs."""

import json
import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest
import zipfile

import program

SOURCE = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(program.PROGRAM).resolve().parents[1]
PLACE = "Prüfstand läuft 測試"
DRIVE = "sim:disk,sectors=1000,bad=7"
OWN = {"drivetest.exe", "libDrive2.dll", "libDriveTest.dll", "libquix5.dll", "libzel.dll"}
# Those that every Windows from 10 on has in its own folder, and what is called in them.
SYSTEM = {
    "kernel32.dll": "files, devices, threads, the console",
    "msvcrt.dll": "the C library that mingw-w64 is built for",
    "advapi32.dll": "who may do what, the registry",
    "ntdll.dll": "files by the folder that they lie in",
}
LICENCES = {"libcli11-dev": "BSD", "nlohmann-json3-dev": "Expat", "libtomlplusplus-dev": "Expat", "libjs-dygraphs": "MIT", "libxxhash-dev": "BSD", "g++-mingw-w64-x86-64-posix": "GPL",
            "mingw-w64-x86-64-dev": "ZPL"}


def imports(file):
    """The libraries that an executable file or a library wants when it is loaded."""
    told = subprocess.run(["x86_64-w64-mingw32-objdump", "-p", file], capture_output=True, text=True, check=True).stdout
    return set(re.findall(r"^\s*DLL Name: (\S+)", told, re.MULTILINE))


class Package(program.ProgramTest):
    @classmethod
    def setUpClass(cls):
        cls.parent = os.path.join(tempfile.mkdtemp(prefix="drivetest-"), PLACE)
        cls.addClassCleanup(shutil.rmtree, os.path.dirname(cls.parent))
        cls.home = os.path.join(cls.parent, "unpacked")
        packed = subprocess.run(["cpack", "--config", BUILD / "CPackConfig.cmake", "-B", os.path.dirname(cls.parent)],
                                cwd=BUILD, capture_output=True, text=True, check=False)
        if packed.returncode != 0:
            raise AssertionError(packed.stdout + packed.stderr)
        (file,) = pathlib.Path(cls.parent).parent.glob("*.zip")
        with zipfile.ZipFile(file) as content:
            content.extractall(cls.parent)
        os.rename(os.path.join(cls.parent, file.stem), cls.home)

    def command(self, *arguments):
        return [program.LAUNCHED[0], os.path.join(self.home, "drivetest.exe"), *super().command(*arguments)[len(program.LAUNCHED):]]

    def test_it_holds_what_is_to_be_given_on(self):
        self.assertEqual(set(os.listdir(self.home)),
                         OWN | {"libDriveTest.qpk", "drivetest.qpk", "README.md", "NOTICES.txt", "grade.toml", "prove-windows.ps1", "plans", "docs", "licenses"})
        self.assertIn("windows.md", os.listdir(os.path.join(self.home, "docs")))
        licences = pathlib.Path(self.home, "licenses")
        self.assertEqual({file.name for file in licences.iterdir()}, {name + ".txt" for name in LICENCES})
        for name, licence in LICENCES.items():
            self.assertIn(licence, (licences / (name + ".txt")).read_text(encoding="utf-8"))

    def test_it_calls_only_itself_and_the_system(self):
        for name in OWN:
            called = imports(os.path.join(self.home, name))
            with self.subTest(name):
                self.assertIn("KERNEL32.dll", called)  # else nothing was read
                self.assertEqual({each for each in called if each not in OWN and each.lower() not in SYSTEM}, set())

    def test_it_runs_there(self):
        self.assertRegex(self.start("--version").stdout, r"^drivetest \d+\.\d+\.\d+\n$")
        listed = self.start("devices", "--json")
        self.assertEqual((listed.returncode, type(json.loads(listed.stdout))), (0, list), listed.stderr)
        self.record = self.path("Aufzeichnung über 記録.jsonl")
        run = self.run_test(DRIVE)
        self.assertEqual((run.status, run.events(), run.err), (1, ["readSectorErr ReadSector=7"], ""))
        self.assertIn("Sector 7 cannot be read.", run.out)
        image = self.path("drive 測.img")
        pathlib.Path(image).write_bytes(bytes(1 << 20))
        run = self.run_test(image, test="LinearPatternTest", options=("--confirm", image))
        self.assertEqual((run.status, run.result(), pathlib.Path(image).read_bytes()), (0, "PASS", bytes(1 << 20)), run.out + run.err)

    def test_it_speaks_each_language(self):
        for file in SOURCE.glob("libDriveTest/resources/??.json"):
            text = json.loads(file.read_text(encoding="utf-8"))["Test.LinearReadTest"]
            with self.subTest(file.stem):
                self.assertIn(text, self.start("tests", "--lang", file.stem).stdout)

    def test_its_module_comes_from_beside_it(self):
        """Whatever lies in the current folder is not loaded, not even where there is no other."""
        for name in OWN - {"drivetest.exe"}:
            pathlib.Path(self.folder, name).write_text("not a library", encoding="utf-8")
        here = self.start("tests")
        self.assertEqual((here.returncode, here.stderr), (0, ""))
        shutil.copytree(self.home, self.path("without"))
        self.home = self.path("without")
        os.replace(os.path.join(self.home, "libDriveTest.dll"), self.path("libDriveTest.dll"))
        without = self.start("tests")
        self.assertEqual((without.returncode, without.stdout), (2, ""))
        self.assertIn("libDriveTest.dll does not exist", without.stderr)


if __name__ == "__main__":
    unittest.main()
