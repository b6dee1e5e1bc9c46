"""The language that a person chose: every sentence of the program is in it, records stay English."""

import re
import unittest

import program

# Words that a sentence in English hardly does without, and that German does not have.
ENGLISH = re.compile(r"\b(the|is|are|were|be|been|this|that|with|of|and|not|there|which|could|cannot|nothing|sectors|error|warning)\b")
DISK = "sim:disk,sectors=20000,serial=S1"


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
                (("nonsense",), 2, 'einen Befehl "nonsense" gibt es nicht'),
                (("recover",), 0, "Es gibt nichts wiederherzustellen"), (("recover", missing), 2, "gibt es nicht")):
            with self.subTest(arguments):
                ended, text = self.say(*arguments)
                self.assertEqual(ended, status, text)
                self.assertIn(sentence, text)
                if arguments[0] == "devices":  # below its headings the drives and the system speak
                    text = text.splitlines()[0]
                self.assertEqual(ENGLISH.findall(re.sub(r"sim:\S+", "", text.replace(self.folder, ""))), [], text)


if __name__ == "__main__":
    unittest.main()
