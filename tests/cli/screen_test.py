"""What a person sees of a run, on the screens of real terminals: golden ones are in screens.txt, which
APPROVE_SCREENS=1 writes anew."""

import os
import pathlib
import re
import signal
import time
import unittest

import program

if not program.WINDOWS:
    import terminal

GOLDEN = pathlib.Path(__file__).with_name("screens.txt")
START = 10200600000  # a position has as many digits from beginning to end, and the strip a stretch to fill
LARGE = "sectors=17400000000,speed=200,bad=%d+%d-%d" % (START + 100, START + 200000, START + 200001)
FAULTY = "sim:disk,removable,media=none>disk," + LARGE
STUCK = "sim:disk,sectors=9,bad=0"  # with FOREVER it never gets beyond its first sector
FOREVER = ["-p", "RetryCount=4294967295"]
UNDERWAY = r"0\.\d\d %.*\n?.*\n?.* 0:\d\d:\d\d"
WIDTHS = (40, 80, 200)


def masked(rows):
    """Without what is another number each time."""
    return [re.sub(r"\d+", "#", row) for row in rows]


def status(rows):
    return rows[next(i for i, row in enumerate(rows) if " %" in row):]


def golden(name, rows=()):
    sections = dict(re.findall(r"^== (.+)\n((?:(?!== ).*\n)*)", GOLDEN.read_text(encoding="utf-8"), re.MULTILINE))
    if rows and "APPROVE_SCREENS" in os.environ:
        sections[name] = "".join(row + "\n" for row in rows)
        GOLDEN.write_text("".join("== %s\n%s" % item for item in sorted(sections.items())), encoding="utf-8")
    return sections.get(name, "").splitlines()


@program.names_linux("pseudo-terminals")
class OnScreen(program.ProgramTest):
    def open(self, test, device, *options, columns=80, rows=24, **kept):
        command = self.command("run", test, device, "--no-record", *options)
        opened = terminal.Terminal(command, columns, rows, **kept)
        self.addCleanup(opened.close)
        return opened

    def faulty(self, columns=80, **kept):
        """Underway, when the medium has been put in."""
        opened = self.open("LinearReadTest", FAULTY, "-p", "StartRange=%d" % START, columns=columns, **kept)
        opened.see(r"\]$")
        opened.type("\n")
        return opened

    def stuck(self, columns=80, **kept):
        return self.open("LinearReadTest", STUCK, *FOREVER, columns=columns, **kept)

    def assert_golden(self, moment, columns, rows):
        name = "%s, %d columns" % (moment, columns)
        self.assertEqual(masked(rows), golden(name, masked(rows)), name)

    def assert_one_status(self, columns, rows):
        """And nothing that was drawn before."""
        text = "\n".join(rows)
        self.assertEqual((text.count(" left"), text.count("MB/s (mean")), (1, 1), text)
        self.assertEqual(status(masked(rows)), status(golden("underway, %d columns" % columns)), text)


class Moments(OnScreen):
    def test_asked_and_underway(self):
        for columns in WIDTHS:
            with self.subTest(columns=columns):
                opened = self.open("LinearReadTest", FAULTY, "-p", "StartRange=%d" % START, columns=columns)
                opened.see(r"cancel\]")
                while opened.take(1):  # nothing is drawn while it waits
                    pass
                self.assert_golden("asked", columns, opened.screen.rows())
                opened.type("\n")
                self.assert_golden("underway", columns, opened.see(UNDERWAY))
                self.assertEqual((opened.screen.cut, opened.screen.gone), (0, []))

    def test_stopping_and_ended(self):
        for columns in WIDTHS:
            with self.subTest(columns=columns):
                opened = self.stuck(columns)
                opened.see(r"[1-9]\.\d\d s")
                opened.type("\x03")
                self.assert_golden("stopping", columns, opened.see("stopping"))
                opened.type("\x03")
                self.assertEqual(opened.end(), 130)
                self.assert_golden("ended", columns, opened.screen.rows())

    def test_a_stop_is_seen_at_once(self):
        took = []
        while len(took) < 5 and min(took, default=1) >= 0.3:  # the machine may be busy
            opened = self.stuck()
            opened.see("0 errors")
            typed = time.monotonic()
            opened.type("\x03")
            opened.see("stopping")
            took.append(time.monotonic() - typed)
        self.assertLess(min(took), 0.3)


class Resizing(OnScreen):
    def test_nothing_is_left_of_what_was_drawn_before(self):
        for reflows in (False, True):
            with self.subTest(reflows=reflows):
                opened = self.faulty(200, reflows=reflows)
                opened.see(UNDERWAY)
                for columns in (40, 200, 80, 40, 200):
                    opened.resize(columns)
                    opened.see_anew(" left")
                    opened.screen.cut = 0  # of rows that were on their way for the width before
                    self.assert_one_status(columns, opened.see_anew(UNDERWAY))
                    self.assertEqual(opened.screen.cut, 0)

    def test_rows_that_are_on_their_way_while_it_becomes_narrower(self):
        for reflows in (False, True):
            with self.subTest(reflows=reflows):
                opened = self.faulty(200, reflows=reflows)
                opened.see(UNDERWAY)
                for columns in (150, 90, 60, 40):
                    terminal.select.select([opened.terminal], [], [])  # drawn for the width before
                    opened.resize(columns)
                opened.see_anew(" left")
                self.assert_one_status(columns, opened.see_anew(UNDERWAY))

    def test_terminals_that_do_not_tell_their_size_or_are_tiny(self):
        for columns, rows, told in ((80, 24, (0, 0)), (40, 24, (0, 0)), (80, 1, None), (40, 2, None), (10, 24, None)):
            with self.subTest(columns=columns, rows=rows, told=told):
                opened = self.open("LinearReadTest", "sim:disk,sectors=39062500000,speed=800", columns=columns,
                                   rows=rows, told=told)
                for _ in range(3):
                    seen = opened.see_anew(" %")
                opened.drain()
                self.assertNotIn(" %", "\n".join(opened.screen.gone))
                self.assertEqual("\n".join(seen).count(" %"), 1)


class Interrupted(OnScreen):
    def test_a_line_that_is_asked_for_stands_above(self):
        opened = self.faulty()
        before = opened.see(UNDERWAY)
        os.kill(opened.child, signal.SIGUSR1)
        above = len(before) - len(status(before))
        rows = opened.see(r"^LinearReadTest\nsim:.*\n.*\n.* errors ")
        self.assertEqual(rows[:above], before[:above])
        self.assertEqual(rows[above], "LinearReadTest")
        self.assert_one_status(80, opened.see_anew(UNDERWAY)[above + 5:])

    def test_a_pause_leaves_the_screen_to_the_shell(self):
        shell = ["/bin/bash", "--norc", "-mc", '"$0" "$@"; read -p "shell "; fg >/dev/null']
        opened = terminal.Terminal([*shell, *self.command("run", "LinearReadTest", "sim:disk," + LARGE, "--no-record")], 80)
        self.addCleanup(opened.close)
        opened.see(" left")
        opened.type("\x1a")
        rows = opened.see("^shell")
        self.assertNotRegex("\n".join(rows), " left|MB/s|·")
        opened.type("\n")
        opened.see(" left")
        opened.type("\x03")
        opened.end()

    def test_the_last_words_stand_alone(self):
        said = []
        for _ in range(20):  # the second interrupt may end it first
            opened = self.stuck()
            opened.see("0 errors")
            opened.type("\x03")
            opened.see("stopping")
            program.signal_often(opened.child, 2)
            opened.end()
            said = [row for row in opened.screen.rows() if row]
            if "ended at once" in said[-1]:
                break
        self.assertEqual(said, ["drivetest: ended at once"])


class Kinds(OnScreen):
    """Of terminals, and of languages."""

    def test_colours(self):
        for environment, coloured, moves in (({}, True, True), ({"NO_COLOR": "1"}, False, True),
                                             ({"NO_COLOR": ""}, True, True), ({"TERM": "dumb"}, False, False)):
            with self.subTest(environment=environment):
                opened = self.faulty(environment=environment)
                opened.see(UNDERWAY if moves else "to visit")
                self.assertEqual((re.search(rb"\033\[[\d;]*m", opened.sent) is not None, b"\033" in opened.sent),
                                 (coloured, moves))

    def test_rows_fit_in_every_language(self):
        for language in ("de", "fr", "es", "ja", "zh"):
            with self.subTest(language=language):
                opened = self.faulty(40, environment={"LC_ALL": language + ".UTF-8"})
                rows = opened.see_anew(" MB/s")
                self.assertEqual((opened.screen.cut, opened.screen.gone), (0, []), rows)
                self.assertEqual("\n".join(rows).count(" MB/s"), 1, rows)
                self.assertNotIn(" left", "\n".join(rows))

    def test_a_record_on_the_same_terminal_is_not_drawn_over(self):
        opened = self.open("LinearReadTest", "sim:disk," + LARGE, "--events", "-")
        opened.see("to visit")
        self.assertNotIn(b"\033", opened.sent)


if __name__ == "__main__":
    unittest.main()
