"""What a run leaves behind holds nothing of what the drive holds, whatever went wrong with it. Only undo journals, and what
recovery exports, hold data, and those are for their owner alone."""

import base64
import os
import re
import stat
import unittest

import program
import recover_test

MIB = 1 << 20
MARK = b"tOp%s3creT*Mark!"  # the drive holds nothing else
LEAST = 6  # bytes in a row that would give it away
GRADES = ("--grade", "default")


def pieces():
    """All pieces of that length."""
    return [(MARK * 2)[at:at + LEAST] for at in range(len(MARK))]


def ways():
    """How a piece could be written: as it is, in hexadecimal digits, as numbers, in Base64; bytes of words swapped, too."""
    found = set()
    for piece in pieces():
        for seen in (piece, piece[::-1]):
            found.add(seen)
            found.add(seen.hex().encode())
            found.add(",".join(map(str, seen)).encode())
        found.add(base64.b64encode(piece))
    return found


WAYS = ways()


def leaks_in(contents):
    """The ways that are in there, also with gaps between hexadecimal digits and numbers."""
    dense = re.sub(rb"0x|[\s:_\\]", b"", contents)
    texts = (contents, dense, dense.lower())
    return sorted(way for way in WAYS if any(way in text for text in texts))


@program.names_linux("modes of files")
class Secrecy(recover_test.RecoveryTest):
    def make_marked(self):
        self.image = self.path("drive.img")
        with open(self.image, "wb") as image:
            image.write(MARK * (16 * MIB // len(MARK)))
        self.original = self.contents()
        return self.image

    def look(self, said, but=()):
        """What was said, and all files that there are now, but for those that are there to hold data: they are their
        owner's. Gives how many files were looked at."""
        self.assertEqual(leaks_in(said.encode()), [])
        looked = 0
        for folder, _, names in os.walk(self.folder):
            for path in (os.path.join(folder, name) for name in names):
                if path in but or folder == self.journals:
                    self.assertEqual(stat.S_IMODE(os.stat(path).st_mode) & 0o077, 0, path)
                elif path != self.image:
                    self.assertEqual(leaks_in(recover_test.read(path)), [], path)
                    looked += 1
        return looked

    def run_everywhere(self, test, device, *options):
        """A run that leaves all that a run can leave, and what is made of its record."""
        files = [word for option, name in (("--log", "log"), ("--report", "report.html"), ("--bad-list", "bad"))
                 for word in (option, self.path(name))]
        exports = [word for form in ("ddrescue", "badblocks") for word in ("--export", form, self.path(form))]
        command = ["check", device, "--max-time", "20s"] if test == "check" else ["run", test, device, "--log-priority", "0", *exports]
        process = self.start(*command, "--force", "--events", self.record, *files, *GRADES, *options)
        said = process.stdout + process.stderr
        for command in (("explain", self.record), ("grade", self.record),
                        ("certificate", self.record, "-o", self.path("certificate.html"))):
            done = self.start(*command)
            said += done.stdout + done.stderr
        return process.returncode, said

    def test_a_leak_would_be_found(self):
        part = (MARK * 2)[5:13]
        for leak in (part, part.hex().encode(), part.hex(" ").upper().encode(), b"[%s]" % ", ".join(map(str, part)).encode(),
                     base64.b64encode(b"x" + part), base64.b64encode(part + b"yz"), part[::-1],
                     b" ".join(b"0x%02X" % byte for byte in part)):
            with self.subTest(leak):
                self.assertNotEqual(leaks_in(b"before " + leak + b" behind"), [])
        self.assertEqual(leaks_in(part[:LEAST - 1] + b" nothing of it"), [])

    def test_of_faults_and_differences(self):
        faults = "image=%s,bad=100-110+4000,corrupt=700+2000-2050,transient=300:1"
        writes = ("--confirm",)
        for kind, test, *options in (("disk", "LinearReadTest"), ("scsi", "LinearReadTest"), ("ata", "LinearReadTest", "--gentle"),
                                     ("disk", "LinearReadCompareTest"), ("scsi", "LinearReadCompareTest"),
                                     ("nvme", "LinearReadCompareTest"), ("disk", "check"),
                                     ("disk", "LinearPatternTest", *writes), ("scsi", "LinearPatternTest", *writes),
                                     ("disk", "CacheTest", *writes), ("disk", "ReadWriteSpeedTest", *writes),
                                     ("disk", "CapacityTest", *writes), ("disk", "RandomSeekTest")):
            device = "sim:%s,%s" % (kind, faults % self.make_marked())
            with self.subTest(test=test, device=device):
                status, said = self.run_everywhere(test, device, *options, *([device] if options == list(writes) else []))
                self.assertIn(status, (0, 1, 3, 9), said)
                self.assertGreaterEqual(self.look(said), 5)
            self.forget_journals()  # of what is "corrupt" nothing can be put back

    def test_of_a_run_that_was_killed(self):
        self.make_marked()
        process = self.stop_when_it_has_written(self.image)
        journal = self.journal()
        self.assertNotEqual(leaks_in(recover_test.read(journal)), [])  # what it is for
        self.look("")
        process.kill()
        process.wait()
        # Somebody else has written to the drive: what it should hold is exported.
        recover_test.put(self.image, 512 * self.changed()[0], b"by somebody else")
        done = self.start("recover")
        exported = [path for folder, _, names in os.walk(self.folder) for path in (os.path.join(folder, name) for name in names)
                    if path != self.image and leaks_in(recover_test.read(path))]
        self.assertNotEqual(exported, [])
        self.look(done.stdout + done.stderr, but=exported)


if __name__ == "__main__":
    unittest.main()
