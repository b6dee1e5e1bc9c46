"""What is set for all runs: precedence, what is shown of it, files that are wrong or not to be trusted; names of tests."""

import os
import re
import unittest

import program

LATER = {"LC_ALL": "", "LC_MESSAGES": "", "LANG": "C", "NO_COLOR": ""}


@program.names_linux("the places of settings")
class Settings(program.ProgramTest):
    def set(self, text, mode=0o644):
        os.makedirs(self.path("config"), exist_ok=True)
        self.file = self.path("config/drivetest.toml")
        with open(self.file, "w", encoding="utf-8") as file:
            file.write(text)
        os.chmod(self.file, mode)

    def shown(self, *options, **environment):
        """Value and origin of each setting."""
        process = self.start("config", *options, environment={**LATER, **environment})
        self.assertEqual((process.returncode, process.stderr), (0, ""))
        rows = process.stdout.split("\n\n")[0].splitlines()[1:]
        return {row.split()[0]: (row.split()[1], " ".join(row.split()[2:]).replace(self.file, "FILE")) for row in rows}

    def test_what_goes_first(self):
        self.set('language = "fr"\ncolor = true\nquiet = true\n[check]\nmax-time = "1h"\n')
        self.assertEqual(self.shown()["language"], ("fr", "FILE:1"))
        self.assertEqual(self.shown(LANG="ja_JP.UTF-8")["language"], ("fr", "FILE:1"))
        self.assertEqual(self.shown(LC_ALL="es_ES.UTF-8")["language"], ("es", "LC_ALL"))
        self.assertEqual(self.shown("--lang", "en", LC_ALL="es_ES.UTF-8")["language"], ("en", "command line"))
        self.assertEqual(self.shown(NO_COLOR="1", LC_ALL="C")["color"], ("false", "NO_COLOR"))
        shown = self.shown(LC_ALL="C")
        self.assertEqual([shown[each] for each in ("color", "quiet", "check.max-time", "log-priority", "run.slow-ms", "grade")],
                         [("true", "FILE:2"), ("true", "FILE:3"), ("1h", "FILE:5"), ("3", "built in"), ("0", "built in"),
                          ("none", "built in")])

    def test_settings_are_followed_unless_the_command_line_says_otherwise(self):
        records = self.path("kept")
        self.set(f'records = "{records}"\ngrade = "default"\n[run]\nslow-ms = 50\n[check]\nmax-time = 5\n')
        slow = ("run", "read", "sim:disk,sectors=9000,slow=7-8:60")
        graded = self.start(*slow)
        self.assertEqual((graded.returncode, len(os.listdir(records))), (3, 1), graded.stderr)
        self.assertIn("by the limits of default", graded.stdout)
        plain = self.start(*slow, "--grade", "none", "--slow-ms", "0", "--no-record")
        self.assertEqual((plain.returncode, len(os.listdir(records))), (0, 1), plain.stderr)
        self.assertNotIn("limits of", plain.stdout)
        checked = [self.start("check", "sim:disk,sectors=39000000000,speed=250", "--no-record", *options).stdout
                   for options in ((), ("--max-time", "20s"))]
        self.assertNotEqual(*checked)
        shorter, longer = [int(re.search(r"^info: +(\d+) of", text, re.MULTILINE)[1]) for text in checked]
        self.assertLess(shorter, longer, checked)

    def test_wrong_files_start_nothing(self):
        for text, sentence in (("language = \n", ":1:12: "),
                               ('langage = "de"\n', ':1:1: there is no "langage"; is it "language"?'),
                               ('[check]\nmaxtime = "1h"\n', ':2:1: there is no "check.maxtime"; is it "check.max-time"?'),
                               ("[chek]\nmax-time = 5\n", ':1:2: there is no "chek"; is it "check"?'),
                               ('\nlanguage = "xx"\n', ':2:12: there are no texts in the language "xx"; there are: en, de'),
                               ('quiet = "yes"\n', ":1:9: quiet wants true or false"),
                               ("log-priority = 5\n", ":1:16: log-priority wants a whole number from 0 to 4"),
                               ('records = "records"\n', ":1:11: records wants a path that begins at the root"),
                               ('grade = 1\n', ":1:9: grade wants a text in quotes"),
                               ('[check]\nmax-time = "soon"\n', ":2:12: check.max-time wants a time"),
                               ('confirm = "S1"\n', ":1:1: there is no "), ("[run]\nforce = true\n", ":2:1: there is no ")):
            self.set(text)
            for arguments in (("run", "read", "sim:disk,sectors=99", "--events", self.record), ("config",)):
                process = self.start(*arguments)
                self.assertEqual((process.returncode, process.stdout), (2, ""))
                self.assertTrue(process.stderr.startswith(f"drivetest: {self.file}{sentence}"), process.stderr)
            self.assertFalse(os.path.exists(self.record))
        self.set('grade = "/none.toml"\n')
        process = self.start("run", "read", "sim:disk,sectors=99")
        self.assertEqual((process.returncode, process.stderr), (2, "drivetest: /none.toml does not exist\n"))

    def test_files_that_others_may_write_are_left_out(self):
        self.set('language = "fr"\n', mode=0o666)
        process = self.start("config", environment=LATER)
        self.assertEqual((process.returncode, process.stdout[:7]), (0, "setting"))
        self.assertEqual(process.stderr, f"drivetest: {self.file} is left out: others may write to it; chmod go-w makes it "
                                         "yours alone\n")
        if os.geteuid() == 0:
            self.set('language = "fr"\n')
            os.chown(self.file, 12345, -1)
            process = self.start("config", environment=LATER)
            self.assertEqual((process.returncode, process.stdout[:7]), (0, "setting"))
            self.assertIn(f"{self.file} is left out: it belongs to another user", process.stderr)


class Names(program.ProgramTest):
    def test_short_ones_in_any_case(self):
        table = self.start("tests").stdout
        for short, long in (("read", "LinearReadTest"), ("compare", "LinearReadCompareTest"), ("seek", "RandomSeekTest"),
                            ("pattern", "LinearPatternTest"), ("cache", "CacheTest"), ("speed", "ReadSpeedTest")):
            described = self.start("tests", short).stdout
            self.assertTrue(described.startswith(long), described)
            self.assertEqual(self.start("tests", short.upper()).stdout, described)
            self.assertEqual(self.start("tests", long.lower()).stdout, described)
            self.assertRegex(table, rf"(?m)^{long} +{short} ")

    def test_completion_offers_both(self):
        script = self.start("completion", "bash").stdout
        self.assertIn("tests --names", script)
        names = self.start("tests", "--names").stdout.split()
        self.assertTrue({"read", "LinearReadTest", "cache", "CacheTest"} <= set(names), names)


if __name__ == "__main__":
    unittest.main()
