"""What a test leaves overwritten is put back before the program ends."""

import os
import subprocess
import tempfile
import unittest

import program

MIB = 1 << 20


class FullFileSystem(program.ImageTest):
    def make_sparse(self, size, data):
        """An image with data at its start and end, on a file system that has no room for all of it."""
        if os.geteuid() != 0:
            self.skipTest("mounting needs root")
        folder = tempfile.mkdtemp(dir=self.folder)
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=%d" % (size // 2 + 300 * 1024), "none", folder], check=True)
        self.addCleanup(subprocess.run, ["umount", folder], check=True)
        self.image = os.path.join(folder, "sparse.img")
        with open(self.image, "wb") as image:
            image.write(data)
            image.truncate(size)  # all between is a hole
            image.seek(size - len(data))
            image.write(data)
        self.original = self.contents()

    def test_no_room_left(self):
        for test in ("LinearPatternTest", "ReadWriteSpeedTest"):
            for options in ([], ["--no-journal"]):
                with self.subTest(test=test, options=options):
                    self.check_no_room(test, options)

    def check_no_room(self, test, options):
        self.make_sparse(20 * MIB, os.urandom(MIB))
        run = self.write(test, self.image, options=options)
        self.assertEqual(self.changed(), [], run.out)
        self.assertEqual(os.listdir(self.journals) if os.path.isdir(self.journals) else [], [])
        self.assertEqual((run.status, run.result(), run.extensions("unrestored")), (6, "CANNOTRUN", []), run.out)
        self.assertEqual(run.out.count("there is no room left where it is stored: make room there"), 1, run.out)
        self.assertRegex(run.out, r"put back \d+ sectors that the test had left overwritten")


if __name__ == "__main__":
    unittest.main()
