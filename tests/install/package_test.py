"""What cmake --install makes: a program that runs wherever its folder is taken, and all that a module from outside
of the project needs."""

import os
import shutil
import subprocess
import tempfile
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
CMAKE = os.environ["CMAKE"]


def run(*command, **options):
    return subprocess.run(command, capture_output=True, text=True, check=False, **options)


class Package(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.mkdtemp(prefix="drivetest-")
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        first, cls.prefix = (os.path.join(cls.folder, name) for name in ("first", "prefix"))
        cls.must(CMAKE, "--install", os.environ["BUILD_FOLDER"], "--prefix", first)
        os.rename(first, cls.prefix)
        cls.program = os.path.join(cls.prefix, "bin", "drivetest")

    @classmethod
    def must(cls, *command):
        done = run(*command)
        if done.returncode != 0:
            raise AssertionError(f"{command} failed:\n{done.stdout}{done.stderr}")

    def drivetest(self, *arguments):
        return run(self.program, *arguments, cwd=self.folder, env={"PATH": os.environ["PATH"], "HOME": self.folder})

    def test_program_finds_its_module_and_texts(self):
        found = self.drivetest("run", "LinearReadTest", "sim:disk,sectors=1000,bad=7", "--no-record")
        self.assertEqual((found.returncode, found.stderr), (1, ""))
        self.assertIn("Sector 7 cannot be read.", found.stdout)

    def test_libraries_carry_the_version_of_their_interface(self):
        found = {name for _, _, names in os.walk(os.path.join(self.prefix)) for name in names if ".so" in name}
        for library in ("libzel", "libquix5", "libDrive2"):
            versions = [name for name in found if name.startswith(library + ".so")]
            self.assertEqual(sorted(name.count(".") for name in versions), [1, 3, 4], versions)

    def test_module_from_outside(self):
        source, build = os.path.join(self.folder, "module"), os.path.join(self.folder, "build")
        shutil.copytree(os.path.join(HERE, "module"), source)
        self.must(CMAKE, "-S", source, "-B", build, f"-DCMAKE_PREFIX_PATH={self.prefix}",
                  f"-DCMAKE_CXX_COMPILER={os.environ['CXX']}")
        self.must(CMAKE, "--build", build)
        module = ["--module", os.path.join(build, "FirstSector.so")]
        self.assertIn("FirstSectorTest", self.drivetest("tests", *module).stdout)
        good = self.drivetest("run", "FirstSectorTest", "sim:disk,sectors=1000,bad=1", "--no-record", *module)
        self.assertEqual((good.returncode, good.stderr), (0, ""))
        bad = self.drivetest("run", "FirstSectorTest", "sim:disk,sectors=1000,bad=0", "--no-record", *module)
        self.assertEqual((bad.returncode, bad.stderr), (1, ""))
        self.assertIn("The first sector of this drive, 0, is lost.", bad.stdout)


if __name__ == "__main__":
    unittest.main()
