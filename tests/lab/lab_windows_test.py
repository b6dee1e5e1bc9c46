"""Tests the program for Windows against real drivers: in the virtual machine, Wine hands its SCSI commands to them."""

import itertools
import json
import os
import pathlib
import shlex
import unittest

import disks
import guest
import kernel
import lab_optical_test
import lab_test
from lab_test import BLOCK, BLOCK_AND_SCSI, SCSI

MMC = lab_optical_test.MMC
WINE = pathlib.Path("/usr/lib/wine/wine64")
HERE = pathlib.Path(__file__).parent
SECTORS = 2048  # of 4096 bytes
BAD_DISK = disks.Disk("virtio-scsi", SECTORS * 4096, disks.surface(4096, SECTORS * 4096), speed=0, place=0)
GOOD_DISK = disks.Disk("usb", 4 * disks.MIB, (), speed=0, place=0)
WRITTEN = [disks.Disk(kind, disks.MIB + place * 4096, (), speed=0, place=place + 1, write_fault=fault)
           for place, (kind, fault) in enumerate((("usb", "never"), ("usb", "always"), ("virtio-scsi", "never")))]
CD, BAD_DVD, EMPTY = (lab_optical_test.QEMU[name] for name in ("CD, SCSI", "bad DVD, SCSI", "empty, SCSI"))
CDS = {drive: lab_optical_test.QemuDrive(drive.kind, place, drive.sectors, drive.bad)
       for place, drive in enumerate((CD, BAD_DVD, EMPTY), 4)}  # beside the disks


class WindowsLab(lab_test.Lab):
    """Its paths are the names that Windows has for drives."""

    def add_drivetest(self):
        for source, target in (("drivetest.exe", "drivetest/drivetest"), ("in-wine", "bin/in-wine"), ("wine", "bin/wine")):
            self._image.add(HERE / "guest" / source, target)

    def arguments(self):
        shares = {"usr": "/usr", "drivetest": pathlib.Path(os.environ["DRIVETEST"]).resolve().parent}
        return super().arguments() + [word for tag, folder in shares.items() for word in (
            "-virtfs", f"local,path={folder},mount_tag={tag},security_model=none,readonly=on")]

    def boot(self):
        self._names = {"physicaldrive": itertools.count(), "cdrom": itertools.count()}
        super().boot()
        self.must("modprobe sr_mod; wine")

    def named(self, kind, node):
        """A name of Windows for a node of the guest."""
        name = f"{kind}{next(self._names[kind])}"
        self.must(f"ln -s {node} /system/wine/dosdevices/{name}")
        return shlex.quote(f"\\\\.\\{name}")

    def path(self, disk):
        return self.named("physicaldrive", super().path(disk))

    def optical_path(self, drive):
        """By the generic node: that of the block device takes commands of those only who may write to its medium."""
        found = self.node(f"ls -l /sys/block | grep '{drive.bus()}' | grep -o 'sr[0-9]*$'")
        return self.named("cdrom", "/dev/" + self.settle(f"ls /sys/block/{found[5:]}/device/scsi_generic"))


def make_lab():
    if not os.environ["DRIVETEST"].endswith(".exe"):
        raise unittest.SkipTest("DRIVETEST names no program for Windows: scripts/check-windows.sh builds it")
    if not WINE.exists():
        raise kernel.Unavailable(f"{WINE} was not found: install the package wine64, as scripts/setup.sh --windows does")
    return WindowsLab([BAD_DISK, GOOD_DISK, *WRITTEN, *CDS.values()])


def setUpModule():
    lab_test.setUpModule(make_lab)


class WindowsTest(lab_test.LabTest):
    def setUp(self):
        super().setUp()
        self.lab = lab_test.LAB


class Disks(WindowsTest):
    def test_bad_sectors(self):
        self.check_surface(self.lab.path(BAD_DISK), SECTORS, BAD_DISK.bad, SCSI)

    def test_each_way(self):
        path = self.lab.path(GOOD_DISK)
        for method in (BLOCK_AND_SCSI, SCSI, BLOCK):
            with self.subTest(method=method):
                self.check_surface(path, GOOD_DISK.sectors, (), method)



class Writing(WindowsTest):
    write, check_preserved, check_fault = (lab_test.Writing.write, lab_test.Writing.check_preserved,
                                           lab_test.Writing.check_fault)

    def tearDown(self):
        self.lab.must("! ls /system/wine/drive_c/ProgramData/DriveTest/journal | grep .")

    def test_contents_are_preserved(self):
        self.check_preserved("usb", SCSI)

    def test_sector_that_takes_no_writes(self):
        changed = self.check_fault("usb", "always", SCSI, 1,
                                   [lab_test.Writing.WRITE_ERROR, lab_test.Writing.NOT_RESTORED])
        self.assertEqual(changed, [])

    def test_drive_of_which_the_system_knows_another_size(self):
        """Wine tells no sizes of sectors: those of 512 bytes are assumed. Nothing is written where the drive has others."""
        run, changed, written = self.write("LinearPatternTest", self.lab.disk_to_write("virtio-scsi", "never"), SCSI)
        self.assertEqual((run.status, run.result(), changed, written), (6, "CANNOTRUN", [], 0), run.out)
        self.assertIn("has another size than the one that was confirmed", run.out)


class Optical(WindowsTest):
    def test_good_and_bad_media(self):
        for drive in (CD, BAD_DVD):
            with self.subTest(drive=drive.name):
                self.check_surface(self.lab.optical_path(CDS[drive]), lab_optical_test.READ, drive.bad, MMC,
                                   f"EndRange={lab_optical_test.READ}")

    def test_empty_drive(self):
        run = self.lab.read(self.lab.optical_path(CDS[EMPTY]), MMC).ended()
        self.assertEqual((run.faults(), run.status, run.result()), ([], 4, "NOMEDIA"), run.out)


class ScsiDebug(WindowsTest):
    def load(self, **options):
        """A new drive; gives its path."""
        given = " ".join(f"{name}={value}" for name, value in {"dev_size_mb": 16, "delay": 0, **options}.items())
        self.addCleanup(self.lab.settle, "rmmod scsi_debug")
        self.lab.must(f"modprobe scsi_debug {given}")
        return self.lab.named("physicaldrive", self.lab.node("ls /sys/bus/pseudo/devices/adapter0/host*/target*/*/block"))

    def set(self, **values):
        for name, value in values.items():
            self.lab.settle(f"echo {value} >/sys/bus/pseudo/drivers/scsi_debug/{name}")

    def test_bad_sectors(self):
        self.check_surface(self.load(opts=2), 32768, range(0x1234, 0x123E), SCSI)

    def test_recovered_errors_are_warnings(self):
        path = self.load()
        self.set(opts=8, every_nth=-1)
        run = self.read(path, SCSI, "EndRange=1000")
        self.assertEqual((run.status, run.result()), (3, "WARN"), run.out)


if __name__ == "__main__":
    unittest.main(verbosity=2)
