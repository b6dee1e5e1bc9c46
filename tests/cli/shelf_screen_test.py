"""What a person sees of runs on several drives, on the screens of real terminals; golden ones are in screens.txt, as those of
a single run."""

import os
import re
import subprocess
import unittest

import program
from screen_test import golden, masked
from shelves import REAL_TIME, ShelfTest

if not program.WINDOWS:
    import terminal

LONG = "sim:disk,sectors=40000000,%s" % REAL_TIME
UNDERWAY = r" \d\.\d %.* MB/s +\d:\d\d:\d\d"


@program.names_linux("pseudo-terminals")
class Plan(ShelfTest):
    def test_no_row_is_broken_by_the_terminal(self):
        with open(self.path("plan.toml"), "w", encoding="utf-8") as plan:
            plan.write('confirm = ["S1"]\n[[test]]\ntest = "pattern"\n' +
                       "".join('[[drive]]\npath = "sim:disk,sectors=9000,serial=%s"\n' % serial for serial in ("S1", "S2")))
        opened = terminal.Terminal(self.command("plan", "check", self.path("plan.toml")), 80, 40)
        self.addCleanup(opened.close)
        opened.see("from max-time")
        screen = opened.screen
        self.assertEqual([row for y, row in enumerate(screen.rows()) if terminal.CONTINUED in screen.buffer[y]], [])
        self.assertIn("  LinearPatternTest   1     about 0.25 s   writes, and puts everything back", screen.rows())


@program.names_linux("pseudo-terminals")
class View(ShelfTest):
    """The table, as a terminal shows it."""
    HEADS = {40: "drive +done +errors", 60: "drive +done +rate +left +errors",
             80: "drive +test +done +rate +left +°C +errors", 200: "drive +test +done +rate +left +°C +errors"}

    def open(self, columns, rows=24, count=9, reflows=False):
        drives = ["sim:disk,sectors=4000000,serial=V%d,bad=9,%s" % (i, REAL_TIME) for i in range(count)]
        command = self.command("run", "read", *drives, "--out", self.out, "--jobs", "5")
        opened = terminal.Terminal(command, columns, rows, reflows=reflows)
        self.addCleanup(opened.close)
        opened.see("V4 .* 1$")
        return opened

    def assert_table(self, opened, columns, drives):
        rows = opened.screen.rows()
        head = next(i for i, row in enumerate(rows) if re.fullmatch(self.HEADS[columns], row))
        self.assertRegex(rows[head - 1], r"^\d.* %  5 under test  4 waiting  0 done")
        shown = rows[head + 1:]
        self.assertEqual([re.search(r"V\d", row)[0] for row in shown[:drives]], ["V%d" % i for i in range(drives)], rows)
        self.assertEqual(shown[drives:], [] if drives == 9 else ["and %d drives more" % (9 - drives)], rows)
        self.assertEqual((opened.screen.cut, opened.screen.gone, head), (0, [], 1), rows)

    def test_widths(self):
        for columns in (40, 80, 200):
            with self.subTest(columns=columns):
                self.assert_table(self.open(columns), columns, 9)

    def test_more_drives_than_rows(self):
        for rows, drives in ((12, 9), (11, 7), (7, 3)):
            with self.subTest(rows=rows):
                opened = self.open(80, 24)
                opened.resize(80, rows)
                opened.screen.gone = []
                opened.see_anew("under test")
                opened.see_anew("under test")
                self.assert_table(opened, 80, drives)

    def test_a_terminal_of_few_rows(self):
        opened = self.open(80, 24)
        opened.resize(80, 4)
        opened.see_anew("under test")
        opened.see_anew("under test")
        self.assertEqual(len([row for row in opened.screen.rows() if row]), 1)

    def test_resized_on_the_way(self):
        for reflows in (False, True):
            opened = self.open(200, reflows=reflows)
            for columns in (40, 200, 60, 80):
                opened.resize(columns)
                opened.see_anew("under test")
                opened.screen.cut = 0  # of rows that were on their way for the width before
                opened.see_anew("under test")
                self.assert_table(opened, columns, 9)

    def test_interrupted(self):
        opened = self.open(80)
        opened.type("\x03")
        self.assertEqual(opened.end(), 130)
        text = "\n".join(opened.screen.rows())
        self.assertIn("9 drives: 5 USERABORTED, 4 left out", text)
        self.assertNotIn("under test", text)


@program.names_linux("pseudo-terminals")
class Golden(ShelfTest):
    """Masked figures, and names as the drives have them."""

    def open(self, drives, *options, columns=80, rows=24, **kept):
        opened = terminal.Terminal(self.command("run", "read", *drives, "--out", self.out, *options), columns, rows, **kept)
        self.addCleanup(opened.close)
        return opened

    def table(self, opened, drives):
        """When each drive under test has its figures."""
        rows = opened.see(lambda text: len(re.findall(UNDERWAY, text)) >= drives)
        self.assertEqual((opened.screen.cut, opened.screen.gone), (0, []), rows)
        return masked(rows[next(i for i, row in enumerate(rows) if "under test" in row):])

    def test_drives_in_every_state(self):
        drives = [LONG + ",serial=SLOW1,bad=9", LONG.replace("disk", "scsi,temperature=41") + ",serial=WARM",
                  "sim:disk,sectors=1000,serial=GOOD", "sim:disk,sectors=1000,serial=BAD,bad=5-7"]
        for columns in (80, 100):
            with self.subTest(columns=columns):
                opened = self.open(drives, columns=columns)
                opened.see("GOOD .*PASS")
                opened.see("BAD .*FAIL")
                name = "several drives, %d columns" % columns
                rows = self.table(opened, 2)
                self.assertEqual(rows, golden(name, rows))
                opened.type("\x03")
                self.assertEqual(opened.end(), 1)
                text = "\n".join(opened.screen.rows())
                self.assertNotIn("under test", text)
                self.assertIn("4 drives: 1 FAIL, 2 USERABORTED, 1 PASS", text)

    def test_long_names_lose_their_beginning(self):
        """In scripts with wide letters, and with marks above others, too."""
        paths = [self.path(name + ".img") for name in ("磁盘映像文件" * 6, "ドライブe\u0301" * 6, "n" * 90)]
        for path in paths:
            with open(path, "wb") as image:
                image.truncate(4 << 30)
        for columns in (80, 100):
            with self.subTest(columns=columns):
                opened = self.open(["sim:disk,%s,image=%s" % (REAL_TIME, path) for path in paths], columns=columns)
                rows = self.table(opened, 3)
                self.assertEqual(rows, golden("long names, %d columns" % columns, rows))

    def test_twenty_drives(self):
        drives = ["%s,serial=D%02d" % (LONG, number) for number in range(20)]
        opened = self.open(drives, "--jobs", "20", columns=100)
        self.assertEqual(len(self.table(opened, 20)), 22)
        for rows, shown in ((16, 12), (22, 18), (24, 20)):
            opened.resize(100, rows)
            opened.screen.gone = []
            opened.see_anew("under test")
            opened.see_anew("under test")
            text = "\n".join(opened.screen.rows())
            self.assertEqual((len(re.findall("MB/s +[0-9]:", text)), text.count("and %d drives more" % (20 - shown))),
                             (shown, int(shown < 20)), text)


@program.names_linux("pseudo-terminals")
class Kinds(ShelfTest):
    """Of outputs."""

    def test_terminals_without_colours_or_without_a_moving_cursor(self):
        drives = [LONG + ",serial=A,bad=9", "sim:disk,sectors=1000,serial=B"]
        for environment, options, coloured, moves in (
                ({}, (), True, True), ({"NO_COLOR": "1"}, (), False, True), ({"TERM": "dumb"}, (), False, False)):
            with self.subTest(environment=environment):
                opened = terminal.Terminal(self.command("run", "read", *drives, "--out", self.out, *options), 80,
                                           environment=environment)
                self.addCleanup(opened.close)
                opened.see(UNDERWAY if moves else "B: PASS")
                opened.type("\x03")
                self.assertEqual(opened.end(), 130)
                self.assertEqual((re.search(rb"\033\[[\d;]*m", opened.sent) is not None, b"\033" in opened.sent),
                                 (coloured, moves))

    def test_outputs_that_take_nothing(self):
        """The records are whole all the same, and the status is that of the drives."""
        drives = ["sim:disk,sectors=1000,serial=A", "sim:disk,sectors=1000,serial=B,bad=5"]
        for redirection, status in ((">&-", 1), (">/dev/full", 1), ("2>&-", 1), ("<&- >&- 2>&-", 1)):
            with self.subTest(redirection):
                self.out = self.path("out" + str(len(os.listdir(self.folder))))
                words = self.command("run", "read", *drives, "--out", self.out)
                ended = subprocess.run(["/bin/sh", "-c", '"$@" ' + redirection, "sh", *words], check=False, timeout=60,
                                       stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
                self.assertEqual(ended.returncode, status)
                self.assertEqual(sorted(result for _, _, result, _ in self.overview()), ["FAIL", "PASS"])
                self.check_records()


if __name__ == "__main__":
    unittest.main()
