"""The script for MAAS: its header is what MAAS reads, and it does what MAAS calls it for."""

import ast
import os
import pathlib
import re
import signal
import subprocess
import tempfile
import unittest

import yaml

import loops
from machines import until

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "fleet/maas/drivetest-check"
PROGRAM = os.environ["DRIVETEST"]
MARK = re.compile(r"\s*#\s*-+\s*(Start|End) MAAS (\d+\.\d+) script metadata\s+-+", re.IGNORECASE)
FIELDS = {"name", "title", "description", "tags", "script_type", "hardware_type", "parallel", "timeout", "destructive", "packages",
          "parameters", "results", "for_hardware", "may_reboot", "recommission", "apply_configured_networking", "comment"}
PARAMETER_FIELDS = {"type", "min", "max", "title", "description", "argument_format", "default", "required", "allow_list"}
STATES = ("passed", "failed", "degraded", "timedout", "skipped")
MIB = 1 << 20


def header_of(text):
    """The dictionary between the marks, each line behind a "#"."""
    lines = text.splitlines()
    assert lines[0].startswith("#!/"), lines[0]
    marks = [number for number, line in enumerate(lines) if MARK.match(line)]
    assert [MARK.match(lines[number]).groups() for number in marks] == [("Start", "1.0"), ("End", "1.0")], marks
    inside = [line for line in lines[marks[0] + 1:marks[1]] if line.strip()]
    assert all("#" in line for line in inside), inside
    return yaml.safe_load("\n".join(line.split("#", 1)[1] for line in inside))


def check_result(text, declared):
    """The result as MAAS takes it."""
    result = yaml.safe_load(text)
    assert isinstance(result, dict) and set(result) == {"status", "results"}, result
    assert result["status"] in STATES, result
    for name, value in result["results"].items():
        assert name in declared, name
        assert all(type(each) in (str, float, int, bool) for each in (value if isinstance(value, list) else [value])), value
        assert all(ord(c) < 127 and (c >= " " or c == "\n") for c in str(value)), value
    return result


class Header(unittest.TestCase):
    def setUp(self):
        self.header = header_of(SCRIPT.read_text(encoding="utf-8"))

    def test_fields(self):
        header = self.header
        self.assertEqual(set(header) - FIELDS, set())
        self.assertEqual((header["name"], header["script_type"], header["hardware_type"]), (SCRIPT.name, "testing", "storage"))
        self.assertIn(header["parallel"], ("disabled", "instance", "any"))
        self.assertIs(header["destructive"], False)
        self.assertTrue(all(isinstance(tag, str) for tag in header["tags"]))
        self.assertRegex(str(header["timeout"]), r"^(\d\d:\d\d:\d\d|\d+)$")  # of "10:00:00" YAML makes seconds
        self.assertEqual(header["packages"], {"apt": ["drivetest"]})

    def test_parameters(self):
        for name, parameter in self.header["parameters"].items():
            self.assertEqual(set(parameter) - PARAMETER_FIELDS, set(), name)
            self.assertIn(parameter["type"], ("storage", "runtime"))
            self.assertRegex(parameter["argument_format"], r"\{(path|input)\}")
            self.assertTrue(all(type(parameter[part]) is int for part in ("min", "max") if part in parameter))
            self.assertTrue(parameter["type"] == "runtime" or not {"min", "max"} & set(parameter))

    def test_results(self):
        for name, result in self.header["results"].items():
            self.assertEqual(set(result), {"title", "description"}, name)
            self.assertTrue(all(isinstance(text, str) for text in result.values()))

    def test_it_needs_nothing_but_python(self):
        """The machine that MAAS boots has no more."""
        tree = ast.parse(SCRIPT.read_text(encoding="utf-8"))
        imported = {name.name for node in ast.walk(tree) if isinstance(node, ast.Import) for name in node.names}
        self.assertEqual(imported, {"argparse", "ctypes", "json", "os", "shutil", "signal", "subprocess", "sys", "tempfile"})


class Run(unittest.TestCase):
    def setUp(self):
        place = tempfile.TemporaryDirectory(prefix="drivetest-")
        self.addCleanup(place.cleanup)
        self.folder = place.name
        self.header = header_of(SCRIPT.read_text(encoding="utf-8"))
        self.result = os.path.join(self.folder, "result.yaml")
        os.symlink(PROGRAM, os.path.join(self.folder, "drivetest"))  # found by name, as where the package is

    def words(self, path, seconds):
        """The arguments as the header says they are made."""
        formats = {name: parameter["argument_format"] for name, parameter in self.header["parameters"].items()}
        return [str(SCRIPT), formats["storage"].format(path=path, input=path), formats["runtime"].format(input=seconds)]

    def environment(self, path=None):
        return {"PATH": path or self.folder + ":/usr/bin:/bin", "HOME": "/root", "RESULT_PATH": self.result, "RUNTIME": "3600",
                "HAS_STARTED": "False", "OUTPUT_STDOUT_PATH": self.folder + "/out", "OUTPUT_STDERR_PATH": self.folder + "/err",
                "OUTPUT_COMBINED_PATH": self.folder + "/all", "DOWNLOAD_PATH": self.folder, "TMPDIR": self.folder,
                "DRIVETEST_STATE": os.path.join(self.folder, "state")}

    def told(self):
        with open(self.result, encoding="utf-8") as file:
            return check_result(file.read(), self.header["results"])

    def run_script(self, path, seconds=600, environment=None):
        done = subprocess.run(self.words(path, seconds), stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False,
                              env=environment or self.environment())
        self.assertNotIn("Traceback", done.stderr)
        told = self.told()
        return done.returncode, told["status"], told["results"]

    def test_what_becomes_of_a_drive(self):
        for drive, expected, status, verdict in (
                ("sim:disk,sectors=20000,serial=S1", 0, "passed", "PASS"),
                ("sim:disk,sectors=20000,bad=77+100-102", 1, "failed", "FAIL"),
                ("sim:scsi,sectors=20000,smart=failing", 0, "degraded", "PASS"),
                ("sim:disk,sectors=20000,gone-at=40", 6, "failed", None),
                ("sim:disk,removable,media=none", 0, "skipped", "NOMEDIA"),
                ("sim:tape", 2, "failed", None),
                ("/dev/no\nsuch", 6, "failed", None),
                ("--help", 6, "failed", None)):
            with self.subTest(drive):
                code, told, results = self.run_script(drive)
                self.assertEqual((code, told), (expected, status), results)
                if verdict is not None:
                    self.assertEqual(results["verdict"], verdict)
                self.assertTrue(results["verdict"])

    def test_what_the_results_say(self):
        code, status, results = self.run_script("sim:ata,sectors=20000,bad=77+100-102,hours=4321,serial=S\"1'")
        self.assertEqual((code, status), (1, "failed"))
        self.assertEqual({name: results[name] for name in ("sectors_tested", "sectors_failed", "sectors_skipped", "bad_sectors",
                                                           "power_on_hours")},
                         {"sectors_tested": "19996", "sectors_failed": "4", "sectors_skipped": "0", "bad_sectors": ["77", "100-102"],
                          "power_on_hours": "4321"})
        self.assertIn("S\"1'", results["drive"])
        self.assertIn("Sector 77 cannot be read.", results["findings"])
        self.assertGreater(float(results["read_rate"]), 0)

    def test_a_loop_device(self):
        if os.geteuid() != 0:
            self.skipTest("loop devices need root")
        path = os.path.join(self.folder, "drive.img")
        with open(path, "wb") as file:
            file.truncate(32 * MIB)
        try:
            device = loops.attach(path)
        except OSError as error:
            self.skipTest("loop devices do not work here: %s" % error)
        self.addCleanup(loops.detach, device)
        code, status, results = self.run_script(device)
        self.assertEqual((code, status, results["sectors_tested"]), (0, "passed", str(32 * MIB // 512)))

    def test_a_machine_without_the_program(self):
        code, status, results = self.run_script("sim:disk", environment=self.environment(path="/usr/bin:/bin"))
        self.assertEqual((code, status), (1, "failed"))
        self.assertIn("could not be started", results["verdict"])

    def test_the_time_that_is_given_is_kept(self):
        code, status, results = self.run_script("sim:disk,sectors=39000000000,speed=250", seconds=60)
        self.assertEqual((code, status, results["verdict"]), (0, "passed", "PASS"))
        self.assertGreater(int(results["sectors_skipped"]), 38000000000)

    def begun(self):
        """The script and its program, when that has begun to read."""
        script = subprocess.Popen(self.words("sim:disk,speed=1,real-time", 600), stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                  stderr=subprocess.STDOUT, env=self.environment())
        self.addCleanup(script.communicate)
        child = until(lambda: self.program_of(script.pid))
        until(lambda: any(os.path.getsize(path) for path in pathlib.Path(self.folder).glob("drivetest-*/record.jsonl")))
        return script, child

    def test_an_end_from_outside_is_told(self):
        for number, verdict in ((signal.SIGTERM, "USERABORTED"), (signal.SIGKILL, None)):
            with self.subTest(number):
                script, child = self.begun()
                os.kill(script.pid if verdict else child, number)
                script.communicate(timeout=60)
                self.assertNotEqual(script.returncode, 0)
                told = self.told()
                self.assertEqual(told["status"], "failed")
                self.assertTrue(told["results"]["verdict"].startswith(verdict or "the run broke off"), told)
                os.remove(self.result)

    def test_a_script_that_is_killed_leaves_the_drive_alone(self):
        script, child = self.begun()
        script.kill()
        until(lambda: not os.path.exists("/proc/%d/fd/1" % child))

    @staticmethod
    def program_of(pid):
        with open("/proc/%d/task/%d/children" % (pid, pid), encoding="ascii") as children:
            return next((int(child) for child in children.read().split()), None)


if __name__ == "__main__":
    unittest.main()
