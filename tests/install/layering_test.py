"""What scripts/check_includes.py finds: a small project of one fault each."""

import json
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

CHECK = pathlib.Path(os.environ["SOURCE_FOLDER"], "scripts", "check_includes.py")
# Sources that are as they should be, whatever else is there.
GOOD = {
    "contracts/zel/Export.h": "#ifndef _WIN32\n#elif defined(DRIVETEST_EXPORTS)\n#endif\n",
    "zel/windows/Path.cpp": "#include <windows.h>\n#if defined(_WIN64)\n#endif\n",
    "zel/linux/Path.cpp": "#include <unistd.h>\n#ifdef __linux__\n#endif\n",
    "libDriveTest/Module.cpp": "#include <vector>\n#include \"zel/Export.h\"\n#ifdef NDEBUG\n#endif\n",
    "quix5/Module.h": "// #ifdef _WIN32 is only said here\n#ifndef MY_WIN32_PART\n#endif\n",
    "quix5/Module.cpp": "#include \"quix5/Module.h\"\n",
}
# File, contents, what is said of it.
FAULTS = (
    ("zel/Clock.cpp", "#ifdef _WIN32\n", "zel/Clock.cpp:1: _WIN32 is asked"),
    ("quix5/Value.cpp", "\n#if 1 && \\\n  defined(__linux__)\n", "quix5/Value.cpp:2: __linux__ is asked"),
    ("libDrive2/sim/Sim.h", "#if 0\n# elif defined __MINGW32__\n", "libDrive2/sim/Sim.h:2: __MINGW32__ is asked"),
    ("contracts/quix5/Export.h", "#ifndef _MSC_VER\n", "contracts/quix5/Export.h:1: _MSC_VER is asked"),
    ("drivetest/main/main.cpp", "#if __has_include(<io.h>)\n", "drivetest/main/main.cpp:1: __has_include is asked"),
    ("tests/zel/Path_test.cpp", "#ifdef WIN32\n", "tests/zel/Path_test.cpp:1: WIN32 is asked"),
    ("fuzz/Target.cpp", "#ifdef __unix__\n", "fuzz/Target.cpp:1: __unix__ is asked"),
    ("zel/Text.cpp", "#include <windows.h>\n", "zel/Text.cpp:1: zel must not include windows.h"),
    ("libDriveTest/Test.cpp", "#include \"quix5/Module.h\"\n", "libDriveTest/Test.cpp:1: libDriveTest must not include quix5/Module.h"),
    ("quix5/Module.cpp", "#include <vector>\n", "quix5/Module.cpp:1: the first #include must be its own header"),
)


class Layering(unittest.TestCase):
    def check(self, *changes):
        """Its exit status and the lines that it says of the good sources with these in their place."""
        with tempfile.TemporaryDirectory(prefix="drivetest-") as folder:
            root = pathlib.Path(folder).resolve()
            for path, contents in (*GOOD.items(), *changes):
                (root / path).parent.mkdir(parents=True, exist_ok=True)
                (root / path).write_text(contents, encoding="utf-8")
            commands = root / "compile_commands.json"
            compiled = {"directory": folder, "file": f"{root}/libDriveTest/Module.cpp", "command": f"g++ -I{root}/contracts"}
            commands.write_text(json.dumps([compiled]), encoding="utf-8")
            done = subprocess.run([sys.executable, "-B", CHECK, root, commands], capture_output=True, text=True, check=False)
            self.assertEqual(done.stderr, "")
            return done.returncode, done.stdout.splitlines()

    def test_it_names_each_fault_and_nothing_else(self):
        self.assertEqual(self.check(), (0, []))
        for path, contents, expected in FAULTS:
            with self.subTest(path):
                status, said = self.check((path, contents))
                self.assertEqual((status, len(said)), (1, 1), said)
                self.assertTrue(said[0].startswith(expected), said)


if __name__ == "__main__":
    unittest.main()
