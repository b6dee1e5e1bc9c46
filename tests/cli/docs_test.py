"""That the documents, the manual, the completions and --help agree: every command line that they show is run, on drives
that are simulated."""

import os
import pathlib
import re
import shlex
import subprocess
import unittest

import program

ROOT = pathlib.Path(__file__).resolve().parents[2]
DOCUMENTS = [ROOT / "README.md", *sorted((ROOT / "docs").glob("*.md")), *sorted((ROOT / "docs/tests").glob("*.md"))]
LINE = re.compile(r"^(?: {4,}|\t)?(?:\$ )?(?:sudo )?(?:\S*/)?drivetest(?:\.exe)? ([a-z-][^\n]*)", re.MULTILINE)
DRIVE = re.compile(r"(/dev/|\\\\\.\\)\S+")
SIMULATED = {
    "/dev/nvme0n1": "sim:nvme,sectors=80000",
    "/dev/sr0": "sim:optical,media=dvd+rw,sectors=32000",
}
PLAN = '[[drive]]\npath = "sim:disk,sectors=80000"\n[[test]]\ntest = "read"\n'
ACCEPTED = {0, 1, 3, 6}  # ran to a verdict, or the simulated drive has no such way of access


def shown_lines(text):
    """What follows "drivetest" in indented and fenced code."""
    code = re.findall(r"^ {4}.*$", text, re.MULTILINE)
    code += [line for block in re.findall(r"^```[^\n]*\n(.*?)^```", text, re.MULTILINE | re.DOTALL)
             for line in block.splitlines()]
    return [found[1] for line in code if (found := LINE.match(line))]


def simulated(line):
    """The arguments, with nothing in them that is on this machine."""
    line = line.replace("*", "all")  # what a shell would find
    line = DRIVE.sub(lambda drive: SIMULATED.get(drive[0], "sim:disk,sectors=80000"), line)
    words = shlex.split(re.split(r" [|>#] ?", line)[0])
    if "--confirm" in words:
        words[words.index("--confirm") + 1] = words[2]
    return words


class Documents(program.ProgramTest):
    def break_off(self, name):
        """A record that ends within its progress."""
        made = self.start("run", "LinearReadTest", "sim:disk,sectors=2000", "--events", name, "--save-progress", "0")
        self.assertEqual(made.returncode, 0, made.stderr)
        with open(os.path.join(self.folder, name), "r+b") as record:
            lines = record.read().splitlines(keepends=True)
            record.truncate(sum(map(len, lines[:8])))

    def run_shown(self, line):
        # Each in a folder of its own, where what it reads is there and what it writes is not.
        self.folder, before = os.path.join(self.folder, "place"), self.folder
        os.mkdir(self.folder)
        try:
            arguments = simulated(line)
            for name in filter(lambda word: word.endswith(".jsonl"), arguments if arguments[0] not in ("run", "check") else []):
                made = self.start("run", "LinearReadTest", "sim:disk,sectors=2000", "--events", name)
                self.assertEqual(made.returncode, 0, made.stderr)
            for name in filter(lambda word: word.endswith(".toml"), arguments):
                is_plan = arguments[0] == "plan" or "--plan" in arguments
                with open(os.path.join(self.folder, name), "w", encoding="utf-8") as file:
                    file.write(PLAN if is_plan else self.start("grade", "--print-default").stdout)
            if "--resume" in arguments:
                self.break_off(arguments[arguments.index("--resume") + 1])
            if arguments[0] == "resume":
                os.mkdir(os.path.join(self.folder, arguments[1]))
                self.break_off(os.path.join(arguments[1], "record.jsonl"))
            if arguments[0] == "verify":
                made = self.start("certificate", arguments[2], "-o", arguments[1])
                self.assertEqual(made.returncode, 0, made.stderr)
            return self.start(*arguments)
        finally:
            program.shutil.rmtree(self.folder)
            self.folder = before

    def check_lines(self, lines):
        for line in lines:
            with self.subTest(line):
                ran = self.run_shown(line)
                self.assertIn(ran.returncode, ACCEPTED, ran.stdout + ran.stderr)

    def test_documents_show_commands_that_run(self):
        shown = {path: shown_lines(path.read_text(encoding="utf-8")) for path in DOCUMENTS}
        for path in DOCUMENTS:
            self.check_lines(shown[path])
        self.assertGreater(sum(map(len, shown.values())), 30)

    def test_every_test_has_a_page_that_names_its_parameters_rightly(self):
        listed = re.findall(r"^(\w+)", self.start("tests").stdout, re.MULTILINE)
        index = (ROOT / "docs/tests/README.md").read_text(encoding="utf-8")
        pages = {path.stem for path in (ROOT / "docs/tests").glob("*.md")} - {"README"}
        self.assertEqual(pages, set(listed))
        for test in listed:
            page = (ROOT / f"docs/tests/{test}.md").read_text(encoding="utf-8")
            parameters = re.findall(r"^  (\w+) ", self.start("tests", test).stdout, re.MULTILINE)
            used = set(re.findall(r"^\| `(\w+)|, `(\w+)` \|", page, re.MULTILINE))
            with self.subTest(test):
                self.assertIn(f"]({test}.md)", index)
                self.assertLessEqual({name for pair in used for name in pair if name}, set(parameters))
                self.assertIn(f"run {test} ", " ".join(shown_lines(page)))

    def test_help_ends_in_examples_that_run(self):
        for command in ("", *self.commands()):
            with self.subTest(command):
                examples = self.help_of(command).partition("Examples:")[2]
                lines = re.findall(r"drivetest (.*?)\)?$", examples, re.MULTILINE)
                self.assertTrue(lines)
                self.check_lines(lines)

    def help_of(self, command):
        return self.start(*filter(None, [command]), "--help").stdout

    def commands(self):
        listed = self.help_of("").partition("Commands:\n")[2].partition("\n\n")[0]
        return re.findall(r"^  (\w+) ", listed, re.MULTILINE)

    def options(self, command):
        return set(re.findall(r"--[a-z][a-z-]*", "\n".join(re.findall(r"^  (-\S*)", self.help_of(command), re.MULTILINE))))

    def test_manual_has_what_help_has(self):
        page = self.start("manual").stdout
        sections = dict(re.findall(r"^\.SS drivetest (\w+)[^\n]*\n(.*?)(?=^\.SS|\Z)", page, re.MULTILINE | re.DOTALL))
        self.assertEqual(list(sections), self.commands())
        for command, section in sections.items():
            named = set(re.findall(r"--[a-z][a-z-]*", "\n".join(re.findall(r"^\\fB(.*?)\\fR", section.replace("\\-", "-"), re.MULTILINE))))
            self.assertEqual(named, self.options(command), command)
        self.assertNotRegex(page, r"(?m)^'|\\[^efBR&-]")  # nothing that troff would take for a request

    @unittest.skipUnless(program.shutil.which("groff"), "groff is not there")
    def test_manual_is_troff(self):
        for language in ("en", "de", "ja"):
            page = self.start("manual", "--lang", language).stdout
            drawn = subprocess.run(["groff", "-k", "-ww", "-man", "-Tutf8", "-P-c"], input=page, text=True,
                                   capture_output=True, check=True, env={**os.environ, "LC_ALL": "C.UTF-8"})
            self.assertEqual(drawn.stderr, "")
            self.assertIn("--confirm", drawn.stdout)

    def complete(self, *words):
        """What bash offers for the last word."""
        script = (self.start("completion", "bash").stdout + "\ncompopt() { :; }\n"
                  'COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _drivetest; printf "%s\\n" "${COMPREPLY[@]}"')
        done = subprocess.run(["bash", "-c", script, "bash", program.PROGRAM, *words], capture_output=True, text=True,
                              check=False, cwd=self.folder, env={**os.environ, "LC_ALL": "C.UTF-8"})
        self.assertEqual(done.stderr, "")
        return done.stdout.split()

    @program.names_linux("shells")
    def test_bash_completes(self):
        os.mkdir(self.path("disks"))
        with open(self.path("disk.img"), "wb"):
            pass
        listed = self.start("tests").stdout
        tests = re.findall(r"^(\w+)", listed, re.MULTILINE)
        short = re.findall(r"^\w+ {1,26}([a-z]+) ", listed, re.MULTILINE)
        for words, offered in (
                (["re"], ["recover", "report", "resume"]),
                (["run", ""], [*tests, *short]),
                (["run", "-q", "-p", "MaxErrors", "=", "1", "Fun"], ["FunnelSeekTest"]),
                (["run", "FunnelSeekTest", "dis"], ["disk.img", "disks"]),
                (["run", "FunnelSeekTest", "sim", ":", "disk", "--journal", "dis"], ["disks"]),
                (["run", "FunnelSeekTest", "disk.img", "d"], ["disk.img", "disks"]),
                (["health", "disk.img", "d"], []),
                (["report", "a", "b", "disk"], ["disk.img", "disks"]),
                (["run", "--confirm", ""], []),
                (["completion", ""], ["bash", "fish", "zsh"])):
            with self.subTest(words):
                self.assertEqual(sorted(self.complete(*words)), sorted(offered))
        for command in self.commands():
            self.assertLessEqual(self.options(command), set(self.complete(command, "--")), command)

    @program.names_linux("shells")
    def test_shells_take_their_scripts(self):
        for shell in ("bash", "zsh", "fish"):
            script = self.start("completion", shell).stdout
            for command in self.commands():
                for option in self.options(command):
                    # fish names them without dashes
                    self.assertRegex(script, r"(-l |--)%s\b" % option[2:])
            if program.shutil.which(shell):
                checked = subprocess.run([shell, "-n"], input=script, capture_output=True, text=True, check=False)
                self.assertEqual((checked.returncode, checked.stderr), (0, ""), shell)
        self.assertEqual(self.start("completion", "tcsh").returncode, 2)


if __name__ == "__main__":
    unittest.main()
