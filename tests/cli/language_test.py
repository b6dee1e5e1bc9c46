"""The language that a person chose: every sentence of the program is in it, records stay English."""

import json
import re
import unicodedata
import unittest

import program

# Words that a sentence in English hardly does without, and that German does not have.
ENGLISH = re.compile(r"\b(the|is|are|were|be|been|this|that|with|of|and|not|there|which|could|cannot|nothing|sectors|error|warning)\b")
DISK = "sim:disk,sectors=20000,serial=S1"


def columns(line):
    return sum(2 if unicodedata.east_asian_width(character) in "WF" else 1 for character in line)


class Language(program.ProgramTest):
    def say(self, *arguments):
        process = self.start(*arguments, "--lang", "de")
        return process.returncode, process.stdout + process.stderr

    def test_no_english_sentence_in_german_output(self):
        taken, missing = self.path("taken"), self.path("missing.img")
        with open(taken, "w", encoding="utf-8") as file:
            file.write("x")
        read, write = ("run", "LinearReadTest"), ("run", "LinearPatternTest")
        for arguments, status, sentence in (
                (("tests",), 0, "[schreibt]"), (("tests", "LinearReadTest"), 0, "Parameter (-p NAME=WERT):"),
                (("tests", "None"), 2, 'einen Test "None" gibt es nicht'), (("devices",), 0, ""),
                ((*read, DISK), 0, "kein Problem gefunden"), ((*read, DISK + ",bad=7-9"), 1, "7-9, 3 Sektoren"),
                ((*read, DISK, "-p", "None=1"), 2, 'hat keinen Parameter "None"'),
                ((*read, DISK, "-p", "None"), 2, "ist kein Parameter"),
                ((*read, DISK, "--property", "Serial=1"), 2, "kommt vom Laufwerk selbst"),
                ((*read, DISK, "--log", taken), 2, "das Log kann nicht nach"),
                ((*read, DISK, "--log", self.folder), 2, "es ist ein Ordner"),
                (("run", "ReadPerformanceTest", missing), 2, "gibt es nicht"),
                ((*write, DISK), 2, "bestätigen Sie das mit --confirm"),
                ((*write, DISK, "--confirm", "S2"), 2, "bezeichnet nicht"),
                (("nonsense",), 2, 'einen Befehl "nonsense" gibt es nicht'), ((), 2, "geben Sie einen Befehl an"),
                (("run", "--nonsense"), 2, 'eine Option "--nonsense" gibt es nicht'), (("run",), 2, "TEST fehlt"),
                (("health", DISK, "more"), 2, '"more" ist mehr'), ((*read, DISK, "--log", "a", "--log", "b"), 2, "mehrfach"),
                ((*read, DISK, "--slow-ms", "soon"), 2, '--slow-ms: "soon" ist keine ganze Zahl von 0 bis'),
                ((*read, DISK, "--slow-count", "1"), 2, "nur zusammen mit --slow-ms"),
                ((*read, DISK, "--quiet=x"), 2, "--quiet nimmt keinen Wert an"), (("completion", "x"), 2, "bash, fish, zsh"),
                ((*read, DISK + ",bad"), 2, '"bad" braucht einen Wert: Sektoren wie'),
                ((*read, DISK + ",gone-at=3"), 6, "fehlgeschlagen: das Gerät antwortet nicht mehr"),
                ((*read, DISK + ",busy-at=3"), 5, "fehlgeschlagen: das Gerät ist belegt"),
                ((*write, DISK + ",wp", "--confirm", "S1"), 6, "das Medium ist schreibgeschützt"),
                ((*write, DISK + ",encrypted", "--confirm", "S1"), 6, "es enthält ein verschlüsseltes Volume"),
                ((*write, DISK + ",volumes=busy", "--confirm", "S1"), 5, "das simulierte Laufwerk ist in Benutzung; "),
                ((*read, self.folder), 6, "ist ein Ordner, kein Laufwerk"), ((*read, missing), 6, "lässt sich nicht öffnen"),
                ((*read, "sim:disk,sectors=9,image=" + taken), 2, "ist kleiner als das simulierte Laufwerk"),
                ((*read, DISK, "--module", taken), 2, "lässt sich nicht laden"),
                ((*write, DISK, "-p", "PreserveData=perhaps"), 2, "geben Sie an: true oder false"),
                (("recover",), 0, "Es gibt nichts wiederherzustellen"), (("recover", missing), 2, "gibt es nicht")):
            with self.subTest(arguments):
                ended, text = self.say(*arguments)
                self.assertEqual(ended, status, text)
                self.assertIn(sentence, text)
                if arguments[:1] == ("devices",):  # below its headings the drives and the system speak
                    text = text.splitlines()[0]
                # The system speaks for itself.
                text = re.sub(r"sim:\S+|invalid ELF header|file too short|N?o[a-z]* [a-z ]*director(y|ies)\b|(File|Module) not found",
                              "", text)
                self.assertEqual(ENGLISH.findall(text.replace(self.folder, "")), [], text)

    def test_records_and_what_programs_read_are_english(self):
        for number, (device, sentence) in enumerate((
                (DISK + ",gone-at=3", "failed: the device does not answer any more"),
                (self.folder, ", not a drive or an image file"))):
            with self.subTest(device):
                file = self.path(f"{number}.jsonl")
                self.start("run", "LinearReadTest", device, "--events", file, "--lang", "de")
                with open(file, encoding="utf-8") as record:
                    messages = [json.loads(line)["testStepArtifact"]["error"]["message"] for line in record
                                if '"error":{' in line]
                self.assertTrue(messages[-1].endswith(sentence), messages)
        self.assertEqual(*(self.start("devices", "--json", "--lang", language).stdout for language in ("en", "de")))

    def test_summaries_stand_in_columns(self):
        for language in ("en", "de", "fr", "es", "ja", "zh"):
            run = self.start("run", "LinearPatternTest", DISK + ",bad=7", "--confirm", "S1", "--no-record", "--lang", language)
            summary = run.stdout.partition(": FAIL")[2] or run.stdout.partition("：FAIL")[2] or run.stdout.partition(" : FAIL")[2]
            starts = {columns(re.match(r"  \S+ +", line)[0]) for line in summary.splitlines()[1:]}
            with self.subTest(language):
                self.assertEqual(len(starts), 1, run.stdout)

    def test_help_is_in_the_language_and_fits_a_terminal(self):
        for language in ("en", "de", "fr", "es", "ja", "zh"):
            listed = self.start("--help", "--lang", language).stdout
            commands = re.findall(r"^  ([a-z]+)  ", listed, re.MULTILINE)
            self.assertGreater(len(commands), 8, listed)
            for command in ("", *commands):
                text = self.start(*filter(None, [command]), "--help", "--lang", language).stdout
                with self.subTest(language=language, command=command):
                    self.assertRegex(text, r"\n  -h,--help +\S")
                    self.assertEqual([line for line in text.splitlines() if columns(line) > 100], [])
                    if language == "de":
                        self.assertEqual(ENGLISH.findall(re.sub(r"[\w-]+=\S*", "", text)), [], text)
                    elif language != "en":
                        own = re.sub(r"--print-default|[:：(（] ?default\b", "", text)  # what is to be typed
                        self.assertNotRegex(own, r"\b(Usage|REQUIRED|Needs|the|with|default)\b")


if __name__ == "__main__":
    unittest.main()
