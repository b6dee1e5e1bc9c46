"""What --junit writes, against the structure that tools for continuous integration expect."""

import os
import re
import unittest
import xml.etree.ElementTree

import program

# Each element's attributes, those that need not be there in brackets, and its children in their order.
STRUCTURE = {
    "testsuites": ("[name]", ["testsuite*"]),
    "testsuite": ("name package id hostname timestamp tests failures errors [skipped] time",
                  ["properties", "testcase*", "system-out", "system-err"]),
    "properties": ("", ["property*"]),
    "property": ("name value", []),
    "testcase": ("name classname time", ["skipped?", "error?", "failure?"]),
    "skipped": ("[message]", []),
    "error": ("[message] type", []),
    "failure": ("[message] type", []),
    "system-out": ("", []),
    "system-err": ("", []),
}
SMALL = "sim:disk,sectors=2000"


def children_fit(children, pattern):
    expected = "".join("(?:%s )%s" % (name.rstrip("*?"), name[-1] if name[-1] in "*?" else "") for name in pattern)
    return re.fullmatch(expected, "".join(child.tag + " " for child in children)) is not None


class JUnit(program.ProgramTest):
    def check_structure(self, element):
        attributes, children = STRUCTURE[element.tag]
        words = attributes.split()
        self.assertLessEqual({word for word in words if word[0] != "["}, set(element.attrib), element.tag)
        self.assertLessEqual(set(element.attrib), {word.strip("[]") for word in words}, element.tag)
        self.assertTrue(children_fit(list(element), children), [child.tag for child in element])
        for child in element:
            self.check_structure(child)

    def read(self, path="junit.xml"):
        """{suite: [(test, outcome, type, text)]} of a file that is as it should be."""
        root = xml.etree.ElementTree.parse(self.path(path)).getroot()
        self.assertEqual(root.tag, "testsuites")
        self.check_structure(root)
        suites = {}
        for suite in root:
            self.assertRegex(suite.get("timestamp"), r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d$")
            cases = suite.findall("testcase")
            self.assertAlmostEqual(float(suite.get("time")), sum(float(case.get("time")) for case in cases), delta=0.01)
            self.assertEqual(int(suite.get("tests")), len(cases))
            for kind, counted in (("failure", "failures"), ("error", "errors"), ("skipped", "skipped")):
                self.assertEqual(int(suite.get(counted)), sum(case.find(kind) is not None for case in cases))
            suites[suite.get("name")] = [
                (case.get("name"), *((found[0].tag, found[0].get("type"), found[0].get("message") + "\n" + (found[0].text or ""))
                                     if (found := list(case)) else ("passed", None, ""))) for case in cases]
        return suites

    def test_one_drive(self):
        for device, options, outcome, kind, text in (
                (SMALL, (), "passed", None, "^$"),
                (SMALL + ",bad=7+100-103", (), "failure", "FAIL", r"5 sectors of the drive are bad(.|\n)*\n7 1 unreadable\n100-103 4 unreadable\n"
                                                                  r"readSectorErr \(5\): Sector 7 cannot be read"),
                (SMALL + ",slow=7:300", ("--slow-ms", "200"), "passed", None, "^$"),  # a WARN
                (SMALL + ",gone-at=3", (), "error", r"\w+", "no verdict"),
                ("sim:disk,sectors=2000,removable,media=none", ("-p", "PromptUserForMedia=false"), "error", r"\w+", "NOMEDIA|CANNOTRUN")):
            with self.subTest(device):
                ran = self.start("run", "LinearReadTest", device, "--no-record", "--junit", "junit.xml", "--force", "--no-prompt", *options)
                self.assertNotEqual(ran.returncode, 2, ran.stderr)
                [(test, found, found_kind, found_text)] = self.read()[device]
                self.assertEqual((test, found), ("LinearReadTest", outcome))
                self.assertRegex(found_kind or "", "^%s$" % (kind or ""))
                self.assertRegex(found_text, text)

    def test_stopped_is_skipped(self):
        device = "sim:disk,sectors=100000000,speed=100,real-time"
        child = program.subprocess.Popen(self.command("run", "LinearReadTest", device, "--no-record", "--junit", "junit.xml", "--log", "log"),
                                         cwd=self.folder, stdout=program.subprocess.PIPE, stderr=program.subprocess.PIPE)
        end = program.time.monotonic() + 60
        while not os.path.exists(self.path("junit.xml")) and program.time.monotonic() < end:
            program.select.select([], [], [], 0.05)
        child.send_signal(program.STOP)
        child.communicate(timeout=60)
        [(_, outcome, _, text)] = self.read()[device]
        self.assertEqual(outcome, "skipped")
        self.assertIn("stopped before its end", text)

    @program.names_linux("names of files that hold control characters")
    def test_any_name_is_xml(self):
        name = "a<b>&\"'\x01\x1b[31m\n\ufffe\u202e]]>"
        with open(self.path(name), "wb") as image:
            image.truncate(1 << 20)
        self.start("run", "LinearReadTest", name, "--no-record", "--junit", "junit.xml")
        [(suite, [(_, outcome, _, _)])] = self.read().items()
        self.assertEqual((suite, outcome), ("a<b>&\"'\\x01\\x1b[31m\\n\\u{fffe}\\u{202e}]]>", "passed"))

    def test_several_drives_are_suites_of_one_file(self):
        drives = [f"{SMALL},serial=S1", f"{SMALL},serial=S2,bad=9", f"{SMALL},serial=S3,gone-at=3", "sim:optical,media=none"]
        ran = self.start("run", "LinearReadTest", *drives, "--out", "out", "--junit", "junit.xml")
        suites = self.read()
        self.assertEqual(len(suites), 4, ran.stderr)
        outcomes = {suite.split()[-1]: [case[1] for case in cases] for suite, cases in suites.items()}
        self.assertEqual(outcomes, {"S1": ["passed"], "S2": ["failure"], "S3": ["error"], "sim:optical,media=none": ["error"]})
        self.assertIn("9 1 unreadable", next(cases for suite, cases in suites.items() if suite.endswith("S2"))[0][3])

    def test_plan(self):
        with open(self.path("plan.toml"), "w", encoding="utf-8") as plan:
            plan.write(f'[[drive]]\npath = "{SMALL},serial=S1,bad=9"\n[[drive]]\npath = "{SMALL},serial=S2"\n'
                       '[[test]]\ntest = "read"\n[[test]]\ntest = "RandomSeekTest"\nparameters = { NumberOfSeeks = 20 }\n')
        ran = self.start("run", "--plan", "plan.toml", "--out", "out", "--junit", "junit.xml")
        suites = self.read()
        self.assertEqual([[case[1] for case in cases] for cases in suites.values()][1], ["passed", "passed"], ran.stdout + ran.stderr)
        self.assertEqual(next(iter(suites.values()))[0][:2], ("LinearReadTest", "failure"))

    def test_nothing_starts_where_it_cannot_be_written(self):
        for arguments in ((SMALL,), (f"{SMALL},serial=S1", f"{SMALL},serial=S2", "--out", "out")):
            with self.subTest(arguments):
                ran = self.start("run", "LinearReadTest", *arguments, "--junit", "none/junit.xml")
                self.assertEqual((ran.returncode, ran.stdout), (2, ""))
                self.assertRegex(ran.stderr, r"^drivetest: the JUnit file cannot be written to none/junit\.xml: .*\n$")
                self.assertFalse(os.path.exists(self.path("out")))


if __name__ == "__main__":
    unittest.main()
