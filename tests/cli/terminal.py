"""The program in a terminal: its output makes a screen, as in the terminals that people use."""

import contextlib
import fcntl
import os
import pty
import re
import select
import signal
import struct
import termios
import time

import pyte

CONTINUED = -1  # a key beside a row's columns: the row goes on in the next one


class Screen(pyte.Screen):
    """Cuts rows when it becomes narrower, as xterm does, or breaks them anew, as VTE does."""

    def __init__(self, columns, rows, reflows):
        super().__init__(columns, rows)
        self.reflows = reflows
        self.gone = []  # rows that left at the top
        self.cut = 0  # characters for which there was no room

    def rows(self):
        shown = [row.rstrip() for row in self.display]
        while shown and not shown[-1]:
            shown.pop()
        return shown

    def index(self):
        if self.cursor.y == self.lines - 1:
            self.gone.append(self.display[0].rstrip())
        super().index()

    def draw(self, data):
        for char in data:
            if self.cursor.x >= self.columns:
                if pyte.modes.DECAWM in self.mode:
                    self._mark_continued(self.cursor.y)
                else:
                    self.cut += 1
            super().draw(char)

    def resize(self, lines=None, columns=None):
        if self.reflows and columns not in (None, self.columns):
            self._break_anew(columns)
        super().resize(lines, columns)

    def erase_in_line(self, how=0, private=False):
        super().erase_in_line(how, private)
        if how == 0:
            self.buffer[self.cursor.y].pop(CONTINUED, None)

    def _break_anew(self, columns):
        """The cursor goes with the character that it stands on."""
        rows, line, cursor = [], [], 0
        for y in range(self.lines):
            row = self.buffer[y]
            if y == self.cursor.y:
                cursor = len(rows) + len(line) // columns
            goes_on = CONTINUED in row and row[CONTINUED].data == "x"
            ends = max((x + 1 for x in row if x >= 0 and row[x].data != " "), default=0)
            line += [row[x] for x in range(self.columns if goes_on else ends)]
            if not goes_on:
                pieces = [line[i:i + columns] for i in range(0, len(line), columns)] or [[]]
                rows += [(piece, piece is not pieces[-1]) for piece in pieces]
                line = []
        last = max([cursor] + [y for y, (cells, _) in enumerate(rows) if cells])
        dropped = max(0, last + 1 - self.lines)
        self.gone += ["".join(cell.data for cell in cells) for cells, _ in rows[:dropped]]
        self.buffer.clear()
        for y, (cells, goes_on) in enumerate(rows[dropped:dropped + self.lines]):
            self.buffer[y].update(enumerate(cells))
            if goes_on:
                self._mark_continued(y)
        self.cursor.y = max(0, cursor - dropped)

    def _mark_continued(self, y):
        self.buffer[y][CONTINUED] = self.default_char._replace(data="x")


class Terminal:
    """A run of the program, and what is seen of it."""

    def __init__(self, command, columns, rows=24, *, environment=None, reflows=False, told=None):
        """`told` are columns and rows that the program is told where they are others."""
        self.screen = Screen(columns, rows, reflows)
        self.stream = pyte.ByteStream(self.screen)
        self.sent = b""
        self.status = None
        self.child, self.terminal = pty.fork()
        if self.child == 0:
            self._tell(0, *(told or (columns, rows)))
            os.execve(command[0], command, {**os.environ, "LC_ALL": "C.UTF-8", "TERM": "xterm", **(environment or {})})

    @staticmethod
    def _tell(terminal, columns, rows):
        fcntl.ioctl(terminal, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))

    def take(self, seconds=0.1):
        """What comes within that time becomes visible; nothing at the end."""
        if self.terminal is None or not select.select([self.terminal], [], [], seconds)[0]:
            return b""
        try:
            chunk = os.read(self.terminal, 65536)
        except OSError:  # the program has ended
            chunk = b""
        if chunk:
            self.sent += chunk
            self.stream.feed(chunk)
        else:
            os.close(self.terminal)
            self.terminal = None
        return chunk

    def see(self, wanted):
        """Waits for a pattern, or what else a function of the screen's text tells."""
        is_seen = wanted if callable(wanted) else lambda text: re.search(wanted, text, re.MULTILINE)
        end = time.monotonic() + 60
        while not (self._is_drawn() and is_seen("\n".join(self.screen.rows()))):
            if self.terminal is None or time.monotonic() > end:
                raise AssertionError("%s was not seen, but:\n%s" % (wanted, "\n".join(self.screen.rows())))
            self.take()
        return self.screen.rows()

    def _is_drawn(self):
        """Not in the middle of a status, which the program draws without wrapping."""
        return self.sent.rfind(b"\033[?7l") <= self.sent.rfind(b"\033[?7h")

    def see_anew(self, wanted):
        """The same, of what is drawn from now on."""
        self.drain()
        seen = len(self.sent)
        self.see(lambda text: len(self.sent) > seen and re.search(wanted, text, re.MULTILINE))
        return self.screen.rows()

    def drain(self):
        while self.take(0):
            pass

    def type(self, text):
        os.write(self.terminal, text.encode())

    def resize(self, columns, rows=24):
        self.screen.resize(rows, columns)
        self._tell(self.terminal, columns, rows)

    def end(self):
        """Waits for the end of the program."""
        end = time.monotonic() + 60
        while self.terminal is not None and time.monotonic() < end:
            self.take()
        self.status = os.waitstatus_to_exitcode(os.waitpid(self.child, 0)[1])
        return self.status

    def close(self):
        if self.status is None:
            with contextlib.suppress(ProcessLookupError, ChildProcessError):
                os.kill(self.child, signal.SIGKILL)
                os.waitpid(self.child, 0)
        if self.terminal is not None:
            os.close(self.terminal)
