"""Where the shell of Windows leads what is printed: to files, behind what they hold, and never into what is tested. Files that
the other system has opened are no measure of that: they have no names here."""

import subprocess
import unittest

import program


class Redirection(program.ImageTest):
    def shell(self, words, redirection):
        """The exit status, and what was said to where the shell itself leads."""
        line = " ".join([program.native(program.PROGRAM), *self.command(*words)[len(program.LAUNCHED):], redirection])
        done = subprocess.run([program.LAUNCHED[0], "cmd", "/c", line], cwd=self.folder, stdin=subprocess.DEVNULL, timeout=60,
                              capture_output=True, text=True, check=False)
        return done.returncode, done.stdout + done.stderr

    def test_files_take_what_is_printed(self):
        self.journals = program.native(self.journals)
        for redirection, before in (("> out.txt", b""), (">> out.txt", b"before\n"), ("2>&1 >> out.txt", b"before\n")):
            with self.subTest(redirection):
                with open(self.path("out.txt"), "wb") as out:
                    out.write(b"before\n")
                self.assertEqual(self.shell(["run", "LinearReadTest", "sim:disk,sectors=100", "--no-record"], redirection), (0, ""))
                with open(self.path("out.txt"), "rb") as out:
                    said = out.read()
                self.assertTrue(said.startswith(before + b"LinearReadTest on sim:disk,sectors=100: PASS"), said)

    def test_what_is_tested_takes_nothing(self):
        image = self.make_image(1 << 20)
        for redirection, expected in ((">> drive.img", "standard output must not be written to where it leads: it is what is to be"),
                                      ("2>> drive.img", "standard error must not be"), (">> drive.img 2>&1", "")):
            with self.subTest(redirection):
                status, said = self.shell(["run", "LinearReadTest", image, "--no-record"], redirection)
                self.assertEqual(status, 2)
                self.assertIn(expected, said)
                self.assertEqual(self.changed(), [])


if __name__ == "__main__":
    unittest.main()
