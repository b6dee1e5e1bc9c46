"""Names lead elsewhere: what is confirmed, written and put back is one drive, and other names of it are no other drive."""

import contextlib
import os
import shutil
import subprocess
import unittest

import loops
import program
import recover_test

MIB = 1 << 20
WRITE = ["run", "LinearPatternTest"]


def command(*words, check=True):
    return subprocess.run(words, check=check, capture_output=True, text=True).stdout.strip()


class Confirmed(program.ImageTest):
    def test_the_path_leads_elsewhere_after_the_prompt(self):
        image = self.make_image(4 * MIB)
        other, moved = shutil.copy(image, self.path("other.img")), self.path("moved.img")
        os.truncate(other, 4 * MIB)

        def swap():
            os.rename(image, moved)
            os.rename(other, image)
            return image + "\n"

        status, seen = self.converse([*WRITE, image, "-p", "PreserveData=no"], [("to go on", swap)])
        self.assertEqual((status, self.changed()), (0, []), seen)  # the one that has the name now
        self.image = moved
        self.assertEqual(len(self.changed()), 8192, seen)  # the one that was confirmed

    def test_another_loop_of_the_same_name(self):
        device = self.make_loop(4 * MIB)
        other = shutil.copy(self.image, self.path("other.img"))

        def swap():
            with contextlib.suppress(OSError):  # as long as the program keeps it open
                loops.move(device, other)
            return device + "\n"

        seen = self.converse([*WRITE, device, "-p", "PreserveData=no"], [("to go on", swap)])[1]
        self.image = other
        self.assertEqual(self.changed(), [], seen)

    def test_properties_do_not_make_another_drive_of_it(self):
        image = self.make_image(4 * MIB)
        for name in ("Serial", "Model", "Bytes"):
            process = self.start(*WRITE, image, "--property", name + "=X", "--confirm", "X")
            self.assertEqual((process.returncode, self.changed()), (2, []))
            self.assertIn("%s says which drive it is" % name, process.stderr)

    def test_a_refused_run_leaves_nothing(self):
        image = self.make_image(4 * MIB)
        process = self.start(*WRITE, image, "--confirm", image, "--events", image)
        self.assertEqual((process.returncode, self.changed(), os.listdir(self.journals)), (2, [], []), process.stderr)
        self.assertEqual([name for name in os.listdir(self.path("state/open")) if not name.startswith(".")], [])


class Recovered(recover_test.RecoveryTest):
    def attach(self, image):
        """The loop device of an image, with a partition."""
        loop = loops.attach(image)
        self.addCleanup(self.detach, loop)
        command("addpart", loop, "1", "2048", "8192")
        return loop

    def detach(self, loop):
        if loops.is_attached(loop):
            command("delpart", loop, "1", check=False)
            loops.detach(loop)

    @program.names_linux("partitions of loop devices")
    def test_a_partition_after_the_disks_have_changed_places(self):
        if os.geteuid() != 0:
            self.skipTest("loop devices need root")
        image = self.make_image(8 * MIB)
        other = shutil.copy(image, self.path("other.img"))
        loop = self.attach(image)
        process = self.stop_when_it_has_written(loop + "p1")
        process.kill()
        process.wait()
        command("delpart", loop, "1")
        loops.move(loop, other)
        command("addpart", loop, "1", "2048", "8192")
        self.left_alone(9, says="its drive is not there", also=[other])
        self.left_alone(9, loop + "p1", says="the journal is of another drive", also=[other])
        self.attach(image)
        self.recover(0)
        self.assertEqual((self.changed(), recover_test.read(other) == self.original), ([], True))

    def test_an_open_journal_keeps_off_all_names_of_its_storage(self):
        image = self.make_image(8 * MIB)
        self.interrupt(image)
        link = self.path("link.img")
        os.link(image, link)
        self.refuse_all([link, "sim:disk,serial=S1,image=" + image, "sim:disk,sectors=100,image=" + link])
        if os.geteuid() == 0 and not program.WINDOWS:
            loop = self.attach(image)
            self.refuse_all([loop, loop + "p1"])
            self.detach(loop)
        self.recover(0, link)
        self.assertEqual(self.changed(), [])

    def refuse_all(self, names):
        """Whatever folder the journals of the run are to lie in, and whether it wants any."""
        elsewhere, before = self.path("elsewhere"), self.contents()
        for name in names:
            for options in ([], ["--no-journal", "-p", "PreserveData=no"]):
                with self.subTest(name=name, options=options):
                    self.journals, usual = elsewhere, self.journals
                    process = self.start(*WRITE, name, "--confirm", "S1" if "serial" in name else name, *options)
                    self.journals = usual
                    self.assertEqual((process.returncode, self.contents() == before), (9, True), process.stdout + process.stderr)
                    self.assertIn("put it back first", process.stderr)


if __name__ == "__main__":
    unittest.main()
