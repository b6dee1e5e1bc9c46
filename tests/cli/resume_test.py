"""Runs that break off and are resumed: nothing is skipped or counted twice, and what cannot be trusted is refused."""

import hashlib
import json
import os
import random
import re
import signal
import subprocess
import tempfile
import unittest

import program
import resume_runs

MIB = 1 << 20
KILLS = int(os.environ.get("DRIVETEST_RESUME_KILLS", 8))
SEED = int(os.environ.get("DRIVETEST_SEED", random.randrange(1 << 32)))
NO_DIGEST = b"0" * 64

FAULTY = "sectors=60000,bad=1234+5000-5003+30000-30100+59999,slow=20000-20300:200+40000-40010:700,speed=100"
SIMULATED = (
    ("read", "sim:disk," + FAULTY, ()),
    ("read", "sim:disk," + FAULTY, ("SectorPercentToTest=37",)),
    ("read", "sim:disk," + FAULTY, ("XferSizeHinting=no", "EndRange=3000", "NumberOfSeeks=700")),
    ("read", "sim:disk," + FAULTY, ("MaxTime=86400",)),
    ("read", "sim:disk," + FAULTY, ("MaxErrors=60",)),
    ("read", "sim:scsi,recovered=7000-7050,transient=9000:1,temperature=41," + FAULTY, ("StartRange=11", "EndRange=50007")),
    ("compare", "sim:disk,corrupt=8000-8003+33333," + FAULTY, ()),
    ("pattern", "sim:disk,bad-write=777,corrupt=12000,serial=S1,sectors=20000,bad=5000,speed=100", ()),
)


def sealed(lines):
    """The lines with the digests that they should have."""
    digest, out = hashlib.sha256(), []
    for line in lines:
        found = re.search(rb'"name":"progress".*"sha256":"([0-9a-f]{64})"', line)
        if found:
            own = digest.copy()
            own.update(line[:found.start(1)] + NO_DIGEST + line[found.end(1):])
            line = line[:found.start(1)] + own.hexdigest().encode() + line[found.end(1):]
        digest.update(line)
        out.append(line)
    return out


class Resume(program.ImageTest):
    def run_words(self, test, device, *parameters):
        given = [word for parameter in parameters for word in ("-p", parameter)]
        return self.command("run", test, device, *given, *self.confirmation(test, device))

    @staticmethod
    def confirmation(test, device):
        return [] if test != "pattern" else ["--confirm", "S1" if "serial=S1" in device else device]

    def whole(self, test, device, *parameters):
        """The record of a run that nobody disturbed."""
        path = self.path("whole.jsonl")
        ended = subprocess.run([*self.run_words(test, device, *parameters), "--save-progress", "0", "--events", path,
                                "--force"], stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False)
        self.check_record(path)
        return path, ended.returncode

    def interrupt(self, test, device, *parameters, kills=KILLS, between=lambda: None):
        """The same in parts, and the record of the last one."""
        whole, status = self.whole(test, device, *parameters)
        resume = self.command("run", *self.confirmation(test, device))
        begun = resume_runs.Interrupted(tempfile.mkdtemp(dir=self.folder), random.Random(SEED), self.run_words(test, device, *parameters), resume,
                                        between)
        last = begun.run(kills, os.path.getsize(whole) // (kills + 1))
        self.assertEqual(begun.status, status, begun.text)
        self.check_record(last)
        self.assert_same(last, whole)
        return begun, last

    def assert_same(self, record, whole):
        different = resume_runs.differences(resume_runs.account(record), resume_runs.account(whole))
        self.assertEqual(different, [], "seed %d" % SEED)

    def broken_off(self, device="sim:disk," + FAULTY, test="read", at=None, parameters=()):
        """A record that ends within its progress: behind the line of that number, or of the middle."""
        path, _ = self.whole(test, device, *parameters)
        with open(path, "rb") as file:
            lines = file.read().splitlines(keepends=True)
        saved = [number for number, line in enumerate(lines) if b'"name":"progress"' in line]
        cut = self.path("cut.jsonl")
        with open(cut, "wb") as file:
            file.writelines(lines[:saved[len(saved) // 2 if at is None else at] + 1])
        return cut

    def resumed(self, record, *options):
        if os.path.exists(self.record):
            os.remove(self.record)
        return self.start("run", "--resume", record, "--events", self.record, *options)

    def refused(self, record, sentence, *options):
        """Nothing was started, and no file is left."""
        ended = self.resumed(record, *options)
        self.assertEqual((ended.returncode, os.path.exists(self.record)), (2, False), ended.stdout + ended.stderr)
        self.assertRegex(ended.stderr, sentence)
        self.assertEqual(len(ended.stderr.splitlines()), 1, ended.stderr)


class Kills(Resume):
    def test_a_run_in_parts_says_what_a_whole_one_says(self):
        for test, device, parameters in SIMULATED:
            with self.subTest(test=test, parameters=parameters, seed=SEED):
                self.interrupt(test, device, *parameters)

    def test_every_byte_of_a_drive_is_put_back(self):
        """Killed while it holds patterns, it is recovered before it is gone on with."""
        image = self.make_image(20 * MIB)
        recover = self.command("recover")
        self.interrupt("pattern", image, between=lambda: subprocess.run(recover, check=True, capture_output=True))
        self.assertEqual(self.changed(), [])

    def test_an_image_that_was_renamed_is_another_path(self):
        image = self.make_image(2 * MIB)
        cut = self.broken_off(image)
        os.link(image, self.path("other.img"))
        os.remove(image)
        self.refused(cut, "its drive is not there: .*connect it, then try again")
        os.rename(self.path("other.img"), image)
        self.assertEqual(self.resumed(cut).returncode, 0)


class Parts(Resume):
    def test_the_new_record_is_whole_and_the_old_one_stays(self):
        cut = self.broken_off()
        with open(cut, "rb") as file:
            before = file.read()
        for expected in ("cut-2.jsonl", "cut-3.jsonl"):
            ended = self.start("run", "--resume", cut)
            self.assertEqual(ended.returncode, 1, ended.stderr)
            self.assertIn("record    " + self.path(expected), ended.stdout)
            with open(self.path(expected), "rb") as new, open(cut, "rb") as old:
                self.assertEqual(old.read(), before)
                self.assertTrue(new.read().startswith(before))
            self.check_record(self.path(expected))
        told = resume_runs.extensions(self.path("cut-2.jsonl"), "resumed")
        self.assertEqual([(t["file"], t["sha256"]) for t in told], [(cut, hashlib.sha256(before).hexdigest())])
        self.refused(self.path("cut-2.jsonl"), "came to its end: start a new one")

    def test_a_report_leaves_out_the_time_between(self):
        cut = self.broken_off()
        with open(cut, "rb") as file:
            lines = file.read().splitlines(keepends=True)
        with open(cut, "wb") as file:  # as of ten days ago
            file.writelines(sealed([re.sub(rb'"timestamp":"\d{4}', b'"timestamp":"2020', line) for line in lines]))
        self.assertEqual(self.resumed(cut).returncode, 1)
        self.assertEqual(self.start("report", self.record, "-o", self.path("report.html")).returncode, 0)
        with open(self.path("report.html"), encoding="utf-8") as page:
            text = re.sub("<[^>]*>", " ", page.read())
        self.assertRegex(text, r"Duration\s+[0-9.]+\ss")
        self.assertRegex(text, r"Resumed\s+1 time")

    def test_limits_count_both_parts(self):
        cut = self.broken_off(parameters=("MaxErrors=20",), at=-1)
        ended = self.resumed(cut)
        self.assertEqual(ended.returncode, 1, ended.stderr)
        self.assert_same(self.record, self.path("whole.jsonl"))

    def test_what_is_written_besides_tells_of_both_parts(self):
        cut = self.broken_off()
        self.assertEqual(self.resumed(cut, "--bad-list", self.path("bad"), "--grade", "default").returncode, 1)
        with open(self.path("bad"), encoding="utf-8") as bad:
            self.assertIn("\n1234 1 unreadable\n5000-5003 4 unreadable\n30000-30100 101 unreadable\n", bad.read())
        self.assertEqual(len(resume_runs.extensions(self.record, "grade")), 1)

    def test_all_of_a_folder(self):
        """Those of one drive one after the other; of what is no record nobody hears."""
        for name, device, parameters in (("a", "sim:disk," + FAULTY, ()), ("b", "sim:disk,sectors=50000", ()),
                                         ("c", "sim:disk," + FAULTY, ("StartRange=11",))):
            os.rename(self.broken_off(device, parameters=parameters), self.path(name + ".jsonl"))
        os.remove(self.path("whole.jsonl"))
        with open(self.path("other.jsonl"), "w", encoding="utf-8") as other:
            other.write("GIF89a\n")
        ended = self.start("resume", self.folder)
        self.assertEqual(ended.returncode, 1, ended.stderr)
        self.assertIn("2 drives: 1 FAIL, 1 PASS", ended.stdout)
        ends = {}
        for name, result in (("a-2", "FAIL"), ("b-2", "PASS"), ("c-2", "FAIL")):
            self.check_record(self.path(name + ".jsonl"))
            self.assertEqual(resume_runs.extensions(self.path(name + ".jsonl"), "result")[0]["result"], result)
            self.assertTrue(os.path.exists(self.path(name + ".html")) and os.path.exists(self.path(name + ".log")))
            with open(self.path(name + ".jsonl"), encoding="utf-8") as lines:
                ends[name] = [json.loads(line)["timestamp"] for line in lines if '"resumed"' in line or "testRunEnd" in line]
        self.assertLess(ends["a-2"][1], ends["c-2"][0])
        again = self.start("resume", self.folder)
        self.assertEqual((again.returncode, again.stdout), (0, "no run of %s can be resumed\n" % self.folder))
        self.assertEqual(self.start("resume", self.path("nowhere")).returncode, 2)

    def test_one_of_a_folder_may_be_all(self):
        os.rename(self.broken_off(), self.path("a.jsonl"))
        os.remove(self.path("whole.jsonl"))
        ended = self.start("resume", self.folder)
        self.assertEqual(ended.returncode, 1, ended.stderr)
        self.assertIn("record    " + self.path("a-2.jsonl"), ended.stdout)
        self.assertFalse(os.path.exists(self.path("overview.html")))


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
