"""Tests in a virtual machine what becomes of media that are put into empty drives while a test asks for one."""

import unittest

import lab_test
from lab_test import BLOCK, BLOCK_AND_SCSI, FLOPPY, SCSI

MMC = 3
lab_test.DRIVE_TYPES[MMC] = "ScsiMMCDrive"
# A terminal at which nobody types: a medium that comes is noticed without a word.
AT_A_TERMINAL = "</dev/ttyS0"


class EmptyDrive:
    """A drive without a medium, and the sizes in sectors of two that are put in, the second a smaller one."""

    def __init__(self, name, arguments, node, sector_bytes, sectors):
        self.name, self._arguments, self.node, self.sector_bytes, self.sectors = name, arguments, node, sector_bytes, sectors
        self.place = {"device": name} if "-drive" in arguments else {"id": name}

    def arguments(self, folder):
        for number, sectors in enumerate(self.sectors):
            with (folder / f"{self.name}-{number}.img").open("wb") as image:
                image.truncate(sectors * self.sector_bytes)
        return self._arguments


FLOPPY_DRIVE = EmptyDrive("fd", ["-device", "floppy,id=fd,bus=fdc.0,unit=1,drive-type=144"], "echo fd1", 512, (2880, 1440))
CARD_READER = EmptyDrive("card", ["-drive", "if=none,id=card", "-device", "usb-storage,bus=usb.0,removable=on,drive=card"],
                         "grep -slx 1 /sys/block/sd*/removable | cut -d/ -f4", 512, (8192, 3000))
CD_DRIVE = EmptyDrive("cd", ["-device", "ide-cd,id=cd,bus=ide.0"], "echo sr0", 2048, (900, 500))
METHODS = {FLOPPY_DRIVE: (FLOPPY,), CARD_READER: (BLOCK_AND_SCSI, SCSI, BLOCK), CD_DRIVE: (MMC, BLOCK)}


class MediaLab(lab_test.Lab):
    def boot(self):
        super().boot()
        self.must("modprobe -a floppy sr_mod")


def setUpModule():
    lab_test.setUpModule(lambda: MediaLab(list(METHODS)))


class PutIn(lab_test.LabTest):
    def setUp(self):
        super().setUp()
        self.lab = lab_test.LAB

    def ask(self, path, method):
        """Starts a test that comes to ask for a medium."""
        run = self.lab.start("LinearReadTest", path, method, options=[AT_A_TERMINAL])
        run.wait_until(lambda: "prompting for media" in run.log())
        if "prompting for media" not in run.log():
            self.fail(run.ended().out)
        return run

    def take_out(self, drive):
        self.lab.guest.qemu("eject", force=True, **drive.place)

    def put(self, drive, number):
        self.lab.guest.qemu("blockdev-change-medium", **drive.place, format="raw",
                            filename=str(self.lab.folder / f"{drive.name}-{number}.img"),
                            **{"read-only-mode": "read-only" if drive is CD_DRIVE else "read-write"})

    def check_drive(self, drive):
        path = self.lab.node(drive.node)
        for method in METHODS[drive]:
            for number, sectors in enumerate(drive.sectors):
                with self.subTest(method=method, sectors=sectors):
                    self.take_out(drive)
                    run = self.ask(path, method)
                    self.put(drive, number)
                    run.ended(60)
                    self.assertEqual((run.faults(), run.status, run.result()), ([], 0, "PASS"), run.out + run.log()[-2000:])
                    self.assertEqual(run.coverage(), f"{sectors} = {sectors} + 0 + 0")

    def test_floppy_drive(self):
        self.check_drive(FLOPPY_DRIVE)

    def test_card_reader(self):
        self.check_drive(CARD_READER)

    def test_cd_drive(self):
        self.check_drive(CD_DRIVE)

    def test_nobody_mounts_the_disc_that_a_test_waits_for(self):
        self.take_out(CD_DRIVE)
        run = self.ask("/dev/sr0", MMC)
        status, said = self.lab.guest.run("mkdir -p /cd; modprobe ext4; mount -r -t ext4 /dev/sr0 /cd")
        self.put(CD_DRIVE, 0)
        run.ended(60)
        self.assertNotEqual(status, 0)
        self.assertIn("busy", said.lower())
        self.assertEqual(run.result(), "PASS")

    def test_what_was_not_shown_is_not_written_to(self):
        self.take_out(CARD_READER)
        path = self.lab.node(CARD_READER.node)
        run = self.lab.write("LinearPatternTest", path, BLOCK, options=[AT_A_TERMINAL]).ended(60)
        self.assertEqual((run.status, run.result()), (4, "NOMEDIA"), run.out)
        self.assertIn(f"there is no medium in {path}; put in the one that may be written to", run.out)


if __name__ == "__main__":
    unittest.main()
