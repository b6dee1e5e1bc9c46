"""Records that cannot be trusted: each is refused with the reason, or gone on with rightly."""

import json
import os
import random
import re
import resource
import signal
import subprocess
import unittest

import program
import resume_runs
from resume_case import MIB, SEED, Resume, sealed


def limit_memory():
    """So that what takes too much fails instead of slowing the machine."""
    resource.setrlimit(resource.RLIMIT_AS, (2 << 30, 2 << 30))


class Refusals(Resume):
    def test_what_cannot_be_gone_on_with(self):
        cut = self.broken_off()
        with open(cut, "rb") as file:
            lines = file.read().splitlines(keepends=True)
        version = json.loads(lines[1])["testRunArtifact"]["testRunStart"]["version"].encode()
        first = next(number for number, line in enumerate(lines) if b'"name":"progress"' in line)
        cases = (
            (b"", "this is no record of a run"),
            (b"GIF89a\n" * 9, "no progress was saved in it"),
            (b"".join(lines[:first]), "no progress was saved in it"),
            (b"".join(lines[:first + 1]).replace(b"readSectorErr", b"readSectorOrr").replace(b'"method"', b'"Method"'),
             "line %d of it is damaged" % (first + 1)),
            (b"".join(sealed([line.replace(b'"version":"' + version, b'"version":"0.0.9') for line in lines])),
             r"version 0\.0\.9 of drivetest made it, and this is"),
            (b"".join(sealed([line.replace(b'"sectors":60000', b'"sectors":60001') for line in lines])), "has another size"),
            (b"".join(sealed([line.replace(b'"sectorsDone":', b'"sectorsDone":-') for line in lines])), "jsonl:%d: " % (first + 1)),
            (b"".join(sealed([re.sub(rb'"good":\[\[0,', b'"good":[[99999999,', line) for line in lines])), "jsonl:%d: " % (first + 1)),
            (b"".join(sealed([line.replace(b"LinearReadTest", b"RandomSeekTest") for line in lines])), "RandomSeekTest"),
        )
        for data, sentence in cases:
            with self.subTest(sentence=sentence):
                with open(cut, "wb") as file:
                    file.write(data)
                self.refused(cut, sentence)
        self.refused(self.path("nowhere"), "nowhere cannot be resumed: it does not exist")

    def test_numbers_that_no_run_has(self):
        cut = self.broken_off(at=12)
        with open(cut, "rb") as file:
            lines = file.read().splitlines(keepends=True)
        most = b"18446744073709551615"
        for old, new, sentence in (
                (rb'"spentNs":\d+', b'"spentNs":' + most, '"spentNs"'),
                (rb'"errorsDone":\d+', b'"errorsDone":4294967296', '"errorsDone"'),
                (rb'"transferSectors":\d+', b'"transferSectors":4294967296', '"transferSectors"'),
                (rb'"sectorsDone":\d+', b'"sectorsDone":99999999', '"sectorsDone"'),
                (rb'"bad":\[\[1234,1', b'"bad":[[1234,58767', '"progress"'),
                (rb'"bad":\[\[1234,1', b'"bad":[[' + most + b',1', '"progress"'),
                (rb'"good":\[\[0,', b'"good":[[0,' + most + b',2,', '"progress"'),
                (rb'"visited":\d+', b'"visited":1', '"progress"'),
                (rb'"kept":\[\["read",\d+', b'"kept":[["read",60000', '"progress"'),
                (rb'"firstTry":', b'"firstTry":-', '"firstTry"'),
                (rb'"sectorsDone":', b'"sectorsDone":1e3,"was":', '"sectorsDone"')):
            with self.subTest(old=old, new=new):
                changed = [re.sub(old, new, line) for line in lines]
                self.assertTrue(changed != lines)
                with open(cut, "wb") as file:
                    file.writelines(sealed(changed))
                self.refused(cut, sentence)

    @program.names_linux("FIFOs and devices")
    def test_what_is_no_file_that_can_be_read(self):
        os.mkfifo(self.path("fifo.jsonl"))
        os.mkdir(self.path("folder.jsonl"))
        os.symlink(self.path("loop.jsonl"), self.path("loop.jsonl"))
        for path, sentence in ((self.path("fifo.jsonl"), "it is no file"), (self.path("folder.jsonl"), "it is no file"),
                               ("/dev/zero", "it is no file"), (self.path("loop.jsonl"), "it does not exist")):
            self.refused(path, sentence)
        with open(self.path("huge.jsonl"), "wb") as huge:
            huge.truncate(1 << 40)
        self.refused(self.path("huge.jsonl"), "longer than any record")
        ended = self.start("resume", self.folder)
        self.assertEqual((ended.returncode, ended.stdout.count("longer than any record")), (6, 1), ended.stdout + ended.stderr)
        cut = self.broken_off()
        os.symlink(cut, self.path("link"))
        self.assertEqual(self.resumed(self.path("link")).returncode, 1)

    def test_lines_that_would_fill_the_memory(self):
        cut = self.broken_off()
        with open(cut, "rb") as file:
            whole = file.read()
        for line in (b"[" * (24 << 20), b"[{}" + b",{}" * (8 << 20) + b"]", b'"' + b"x" * (40 << 20) + b'"', bytes(40 << 20)):
            with open(cut, "wb") as file:
                file.write(whole + line + b"\n")
            ended = self.start("run", "--resume", cut, "--events", self.record, "--force", preexec_fn=limit_memory)
            self.assertEqual(ended.returncode, 1, ended.stderr)
            self.assertIn("is damaged from line %d on" % (whole.count(b"\n") + 1), ended.stdout)

    def test_two_runs_in_one_file(self):
        first = self.broken_off()
        with open(first, "rb") as file:
            broken_off = file.read()
        with open(self.path("whole.jsonl"), "rb") as file:
            whole = file.read()
        for second, status in ((whole, 2), (broken_off, 1)):
            with open(first, "wb") as file:
                file.write(broken_off + second)
            ended = self.resumed(first)
            self.assertEqual(ended.returncode, status, ended.stderr)
        self.assertIn("is damaged from line", ended.stdout)
        self.assert_same(self.record, self.path("whole.jsonl"))

    def test_what_the_record_says_already(self):
        cut = self.broken_off()
        for words, sentence in ((("read", "sim:disk"), "TEST and DEVICE are those of the record"),
                                (("-p", "MaxErrors=3"), "leave out --param"), (("--max-time", "1h"), "leave out --param"),
                                (("--gentle",), "leave out --gentle")):
            self.refused(cut, sentence, *words)
        ended = self.start("run", "--resume", cut, "--events", cut, "--force")
        self.assertEqual(ended.returncode, 2)
        self.assertIn("the record is kept as it is", ended.stderr)

    def test_a_drive_that_was_changed(self):
        image = self.make_image(4 * MIB)
        for test in ("compare", "pattern"):
            cut = self.broken_off(image, test)
            with open(image, "r+b") as file:
                file.seek(2 * MIB)
                old = file.read(4096)
                file.seek(2 * MIB)
                file.write(bytes(4096))
            confirmed = self.confirmation(test, image)
            self.refused(cut, "was written to since the run began, for example sector 4096", *confirmed)
            with open(image, "r+b") as file:
                file.seek(2 * MIB)
                file.write(old)
            ended = self.resumed(cut, *confirmed)
            self.assertEqual(ended.returncode, 0, ended.stdout + ended.stderr)
            self.assertEqual(self.changed(), [])
        cut = self.broken_off(image)
        os.truncate(image, 3 * MIB)
        self.refused(cut, "has another size now: 6144 sectors of 512 bytes, and had 8192 of 512")

    def test_a_writer_wants_its_journal_settled_and_a_confirmation(self):
        image = self.make_image(20 * MIB)
        cut = self.broken_off(image, "pattern")
        ended = self.resumed(cut, "--no-prompt")
        self.assertEqual((ended.returncode, self.changed()), (2, []))
        self.assertIn("confirm that with --confirm", ended.stderr)
        killed = self.kill_within_a_chunk(image)
        ended = self.resumed(killed, "--confirm", image)
        self.assertEqual(ended.returncode, 9, ended.stderr)
        self.assertIn("put it back first", ended.stderr)
        self.assertEqual(self.start("recover").returncode, 0)
        ended = self.resumed(killed, "--confirm", image)
        self.assertEqual((ended.returncode, self.changed()), (0, []), ended.stderr)

    def kill_within_a_chunk(self, image):
        """Its record; the image holds patterns."""
        record = self.path("killed.jsonl")
        for _ in range(200):
            with subprocess.Popen([*self.run_words("pattern", image), "--save-progress", "0", "--events", record, "--force"],
                                  stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL) as process:
                while process.poll() is None and not (resume_runs.proven(record) and self.changed()):
                    pass
                process.kill()
            if process.returncode == -signal.SIGKILL and self.changed() and resume_runs.proven(record):
                return record
            self.start("recover")
        self.fail("no kill left anything to recover")

    def test_a_run_that_goes_on(self):
        process = subprocess.Popen(self.command("run", "read", "sim:disk,sectors=100000000,real-time,speed=5", "--events",
                                                self.record, "--save-progress", "0"), stdout=subprocess.DEVNULL)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        while resume_runs.proven(self.record) is None:
            pass
        ended = self.start("run", "--resume", self.record, "--events", self.path("new"))
        self.assertEqual((ended.returncode, os.path.exists(self.path("new"))), (2, False))
        self.assertIn("its run has not ended", ended.stderr)


class Damage(Resume):
    def test_a_damaged_record_is_refused_or_does_no_harm(self):
        cut = self.broken_off("sim:disk,sectors=20000,bad=1234+9000-9003,speed=100", at=4)
        expected = resume_runs.account(self.path("whole.jsonl"))
        with open(cut, "rb") as file:
            data = file.read()
        generator = random.Random(SEED)
        places = sorted(generator.sample(range(len(data)), 25)) + [len(data) - 1, len(data) - 2, 0]
        refused = 0
        for place in places:
            for damaged in (data[:place] + bytes([data[place] ^ 1 << generator.randrange(7)]) + data[place + 1:], data[:place],
                            data[:place] + bytes(len(data) - place)):
                with open(cut, "wb") as file:
                    file.write(damaged)
                ended = self.resumed(cut)
                if ended.returncode == 2:
                    refused += 1
                    self.assertRegex(ended.stderr, "cannot be resumed|jsonl:\\d+: ")
                    continue
                self.assertEqual(ended.returncode, 1, ended.stderr)
                self.check_record(self.record)
                self.assertEqual(resume_runs.differences(resume_runs.account(self.record), expected), [],
                                 "place %d, seed %d" % (place, SEED))
        self.assertGreater(refused, 5)


if __name__ == "__main__":
    unittest.main()
