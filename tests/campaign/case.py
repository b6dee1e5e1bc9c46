"""One case: a run is killed, what it left is made worse, and then all must be as it was, or the journal kept."""

import collections
import contextlib
import os
import random
import re
import shutil
import signal
import subprocess
import tempfile
import time

from targets import MIB

PROGRAM = os.environ.get("DRIVETEST_INSTEAD") or os.environ["DRIVETEST"]
TESTS = {"LinearPatternTest": 16 * MIB, "CacheTest": 35 * MIB, "ReadWriteSpeedTest": 12 * MIB,
         "CapacityTest": 8 * MIB}  # and a drive's size
FOREIGN = ("inside", "outside", "zeros", "zeros as of the run", "file system")
NO_ZEROS = ["-p", "OverridePattern=A5"]  # else zeros over all that the run overwrote cannot be told from its own
SLOT = b"UNDOSLOT"  # a slot's header in the journal begins so; before it lies its note
BLOCK = 4096
NULL = dict.fromkeys(("stdin", "stdout", "stderr"), subprocess.DEVNULL)


class Loss(AssertionError):
    """What must never be."""


def check(holds, text):
    if not holds:
        raise Loss(text)


class Case:
    blob = b""          # random bytes of which drives are made
    durations = {}      # of whole runs and recoveries, of this process

    def __init__(self, seed, number, kinds, places):
        self.random = random.Random("%d/%d" % (seed, number))
        self.tally = collections.Counter()
        self.reasons, self.kind, self.foreign, self.notes = [], self.random.choice(kinds), {}, []
        self.test = list(TESTS)[number % len(TESTS)]
        if self.test == "CacheTest" and self.kind.sector_bytes != 512:  # it would want 272 MiB
            self.test = "LinearPatternTest"
        self.place = self.random.choice(places)
        self.moment = ("random", "protected", "patterns")[number // len(TESTS) % 3]
        self.second_run = self.random.random() < 0.08
        self.naming = "alias" if self.second_run else self.random.choice(("none", "name", "alias"))
        draw = self.random.random()
        self.has_flip = draw < 0.10  # of all; some have nothing open
        self.foreign_kind = self.random.choice(FOREIGN) if 0.10 <= draw < 0.30 else None
        if self.test == "CapacityTest":  # what it protects is scattered, and told as a whole
            self.foreign_kind = None
        if self.foreign_kind == "zeros":
            self.test = "LinearPatternTest"
        self.recovery_kills = self.random.choice((0, 1, 1, 2))

    def run(self):
        """The tally; raises what went wrong, and leaves its files then."""
        self.folder = tempfile.mkdtemp(prefix="campaign-", dir="/dev/shm")
        self.journals = tempfile.mkdtemp(prefix="campaign-", dir=self.place)
        os.environ["DRIVETEST_STATE"] = os.path.join(self.folder, "state")
        self.drive = self.kind(self.folder, self.make_data())
        try:
            self.act()
        except BaseException:
            with contextlib.suppress(subprocess.CalledProcessError):  # what went wrong first is to be told
                self.drive.detach()
            raise
        self.drive.detach()
        shutil.rmtree(self.folder)
        shutil.rmtree(self.journals)
        return self.tally

    def make_data(self):
        if not Case.blob:
            Case.blob = os.urandom(48 * MIB)
        at = self.random.randrange(MIB)
        return Case.blob[at:at + TESTS[self.test] + self.kind.start]

    def act(self):
        self.kill_run()
        found = self.call("recover", "--dry-run", *self.folder_words())
        self.slots = [(int(first), int(last or first) + 1)
                      for first, last in re.findall(r"^  holds (?:\d+ scattered sectors from|sectors?) (\d+)(?: (?:through|to) (\d+))?", found[1], re.M)]
        changed = self.changed()
        self.tally["open journals"] += bool(self.slots)
        self.tally["patterns on the drive"] += bool(changed)
        check(all(any(a <= s < b for a, b in self.slots) for s in changed), "changed sectors outside of the journal's")
        if self.slots:
            self.make_worse()
            self.recover()
        self.check_clean()

    # The run

    def kill_run(self):
        command = self.command("run", self.test, self.drive.path, "--confirm", self.drive.confirm,
                               *(NO_ZEROS if self.foreign_kind == "zeros" else []))
        duration = self.duration_of(command)
        with open(os.path.join(self.folder, "said"), "w+", encoding="utf-8") as said:
            process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=said, stderr=said)
            self.wait_for_moment(process, duration)
            process.kill()
            killed = process.wait() == -signal.SIGKILL
            said.seek(0)
            self.tally["killed"] += killed
            check(killed or process.returncode == 0, "the run ended with %d: %s" % (process.returncode, said.read()))

    def duration_of(self, command):
        """Of a run that nobody kills; it must put back all that it overwrites."""
        key = (self.kind, self.test, self.place, self.foreign_kind == "zeros")
        if key not in self.durations:
            began = time.monotonic()
            ended = subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False)
            self.durations[key] = time.monotonic() - began
            check(ended.returncode == 0, "a whole run ended with %d: %s" % (ended.returncode, ended.stderr))
            self.check_clean()
        return self.durations[key]

    def wait_for_moment(self, process, duration):
        wait = self.random.uniform(0, duration)
        if self.moment != "random":
            seen = self.has_protected if self.moment == "protected" else self.holds_patterns
            while process.poll() is None and not seen():
                pass
            wait *= self.random.choice((0, self.random.random() ** 3))
        time.sleep(wait)

    def has_protected(self):
        """Whether the first slot of a journal has a header."""
        return any(self.read(path, 36864, 8) == SLOT for path in self.journal_files())

    def holds_patterns(self):
        """A look at some sectors; a chunk has more of them."""
        with open(self.drive.files[0], "rb") as file:
            for at in range(self.drive.start, len(self.drive.original), 128 << 10):
                if os.pread(file.fileno(), 512, at) != self.drive.original[at:at + 512]:
                    return True
        return False

    # What happens between

    def make_worse(self):
        self.journal = self.only_journal()
        if self.naming == "alias":
            self.drive.rename()
        if self.has_flip:
            self.flip()
        if self.second_run:
            self.refuse_second_run()
        if self.foreign_kind:
            self.write_foreign()

    def refuse_second_run(self):
        self.tally["second runs refused"] += 1
        before = self.drive.contents(), self.read(self.journal)
        name = self.drive.relative()
        status, text = self.call("run", "LinearPatternTest", name, "--confirm", name)
        check(status == 9, "a run on %s, of which a journal is open, ended with %d: %s" % (name, status, text))
        check((self.drive.contents(), self.read(self.journal)) == before, "a refused run wrote something")

    def flip(self):
        """Half of them where all depends on it, half anywhere in what is used."""
        data = self.read(self.journal)
        used = [at for at in range(0, len(data), BLOCK) if data[at:at + BLOCK].strip(b"\0")]
        heads = [at for at in used if at < 8 * BLOCK or SLOT in (data[at:at + 8], data[at + BLOCK:at + BLOCK + 8])]
        among, length = self.random.choice(((used, BLOCK), (heads, 256)))
        self.flipped_at = self.random.choice(among) + self.random.randrange(length)
        self.flipped = bytes([data[self.flipped_at] ^ 1 << self.random.randrange(8)]), data[self.flipped_at:][:1]
        self.put_journal(self.flipped[0])
        self.tally["bits flipped"] += 1

    def put_journal(self, byte):
        with open(self.journal, "r+b") as file:
            file.seek(self.flipped_at)
            file.write(byte)

    def write_foreign(self):
        kind = self.foreign_kind
        self.tally["foreign: " + kind] += 1
        size, first, last = self.drive.sector_bytes, *self.random.choice(self.slots)
        sectors, count = self.drive.bytes // size, self.random.randint(1, 8)
        if kind not in ("inside", "outside"):
            self.put_foreign(first, bytes((last - first) * size))
        if kind == "file system":
            for at in (0, sectors // 4, sectors // 2, sectors - 16):
                self.put_foreign(at + 2 * 512 // size, os.urandom(4096 // size * size))
        if kind == "inside":
            self.put_foreign(self.random.randrange(first, last - min(count, last - first) + 1),
                             os.urandom(min(count, last - first) * size))
        free = [s for s in range(sectors - count) if all(s + count <= a or s >= b for a, b in self.slots)]
        if kind == "outside" and free:
            self.put_foreign(self.random.choice(free), os.urandom(count * size))
        self.notes.append("foreign: " + kind)

    def put_foreign(self, sector, data):
        size = self.drive.sector_bytes
        self.drive.write(sector * size, data)
        for at in range(0, len(data), size):
            self.foreign[sector + at // size] = data[at:at + size]

    # The recovery

    def recover(self):
        before = self.drive.contents()
        kept, text = self.try_to_recover()
        check(kept in (0, 9), "the recovery ended with %d: %s" % (kept, text))
        if kept == 0:
            is_ambiguous = self.foreign_kind == "zeros as of the run"
            self.tally["zeros as of the run: overwritten by the original"] += is_ambiguous
            self.check_contents([self.expected_by_force if is_ambiguous else self.expected])
            return
        self.note_kept(text)
        self.check_contents([self.expected, lambda at: before[at:at + self.drive.sector_bytes]])
        self.undo_flip()
        status, text = self.try_to_recover("--force")
        check(status == 0, "the forced recovery ended with %d: %s" % (status, text))
        self.check_contents([self.expected_by_force])
        self.check_exports(before)

    def try_to_recover(self, *options):
        """Killed some times in its course, then to its end."""
        device = [] if self.naming == "none" and "--force" not in options else [self.drive.path]
        words = ["recover", *device, *self.folder_words(), *options]
        duration = self.durations.get("recover", 0.02)
        for _ in range(self.recovery_kills):
            process = subprocess.Popen(self.command(*words), **NULL)
            time.sleep(self.random.uniform(0, duration))
            process.kill()
            self.tally["recoveries killed"] += process.wait() == -signal.SIGKILL
        began = time.monotonic()
        ended = self.call(*words)
        self.durations["recover"] = max(0.004, time.monotonic() - began)
        return ended

    def expected(self, at):
        sector = self.sector_of(at)
        return self.foreign.get(sector, self.drive.original[at:at + self.drive.sector_bytes])

    def expected_by_force(self, at):
        is_saved = any(a <= self.sector_of(at) < b for a, b in self.slots)
        return self.drive.original[at:at + self.drive.sector_bytes] if is_saved else self.expected(at)

    def sector_of(self, at):
        return (at - self.drive.start) // self.drive.sector_bytes

    def check_contents(self, allowed):
        now, size = self.drive.contents(), self.drive.sector_bytes
        if not self.foreign and now == self.drive.original:
            return
        wrong = [self.sector_of(at) for at in range(0, len(now), size)
                 if all(now[at:at + size] != held(at) for held in allowed)]
        foreign = [sector for sector in wrong if sector in self.foreign]
        check(not wrong, "%d sectors, %d of them foreign, hold what they must not, the first is %d" %
              (len(wrong), len(foreign), wrong[0] if wrong else 0))

    def note_kept(self, text):
        check(os.path.exists(self.journal), "the journal is not kept, but something was not restored: " + text)
        said = re.findall(r"the journal \S+ is kept: ([^;\n]*)", text) or re.findall(r"(?:error: *)(.*)", text)
        check(said, "the journal is kept without a word: " + text)
        why = "flipped bit" if self.has_flip else ", ".join(self.notes) or "nothing done"
        name = re.sub(r"\S*/\S+|\d+", "...", said[-1]).split(". ")[0].strip()
        self.tally["kept: %s: %s" % (why, name[:100])] += 1

    def undo_flip(self):
        """A kept journal has lost nothing: with its bit mended it serves as before."""
        if self.has_flip and self.read(self.journal, self.flipped_at, 1) == self.flipped[0]:
            self.put_journal(self.flipped[1])

    def check_exports(self, before):
        """What force overwrote is in the exported files."""
        saved, size = {}, self.drive.sector_bytes
        for name in os.listdir(self.journals):
            match = re.search(r"-found-(\d+)(?:-\d+)?\.bin$", name)
            data = self.read(os.path.join(self.journals, name)) if match else b""
            for at in range(0, len(data), size):
                saved.setdefault(int(match[1]) + at // size, set()).add(data[at:at + size])
        for sector, data in self.foreign.items():
            at = self.drive.start + sector * size
            if self.expected_by_force(at) != data and before[at:at + size] == data:
                check(data in saved.get(sector, ()), "foreign sector %d was overwritten and not exported" % sector)
                self.tally["foreign sectors exported"] += 1

    def check_clean(self):
        """Nothing is left to do: all sectors hold what they should, and no journal or entry is left."""
        status, text = self.call("recover", "--journal", self.journals)
        check(status == 0, "a last recovery ended with %d: %s" % (status, text))
        self.check_contents([self.expected, self.expected_by_force] if self.slots_known() else [self.expected])
        entries = os.path.join(self.folder, "state", "open")
        left = self.journal_files() + (os.listdir(entries) if os.path.isdir(entries) else [])
        check(not left, "left behind: " + " ".join(left))

    # Small things

    def slots_known(self):
        return bool(getattr(self, "slots", []))

    def folder_words(self):
        return [] if self.random.random() < 0.5 else ["--journal", self.journals]

    def command(self, verb, *words):
        return [PROGRAM, verb, *words, *(["--journal", self.journals] if verb == "run" else [])]

    def call(self, *words):
        ended = subprocess.run(self.command(*words), stdin=subprocess.DEVNULL, capture_output=True, text=True,
                               timeout=120, check=False)
        return ended.returncode, ended.stdout + ended.stderr

    def journal_files(self):
        return [os.path.join(self.journals, name) for name in os.listdir(self.journals) if name.endswith(".journal")]

    def only_journal(self):
        files = self.journal_files()
        check(len(files) == 1, "one journal is expected, not %d" % len(files))
        return files[0]

    @staticmethod
    def read(path, offset=0, size=-1):
        try:
            with open(path, "rb") as file:
                file.seek(offset)
                return file.read(size)
        except FileNotFoundError:  # a run deletes its journal
            return b""

    def changed(self):
        now, size = self.drive.contents(), self.drive.sector_bytes
        if now == self.drive.original:
            return []
        return [self.sector_of(at) for at in range(0, len(now), size)
                if now[at:at + size] != self.drive.original[at:at + size]]
