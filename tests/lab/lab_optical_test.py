"""Tests optical drives in a virtual machine: QEMU's own, and simulated ones that stand behind the kernel like real ones."""

import json
import os
import time
import unittest

import disks
import guest
import lab_test
from lab_test import BLOCK

MMC = 3
lab_test.DRIVE_TYPES[MMC] = "ScsiMMCDrive"
CD, DVD = 4500, 480000  # sectors; what does not fit on a CD is a DVD for QEMU
READ = 1000
BAD = (0, 77, 100, 101, 255, 256, 511, 512, READ - 1)  # the first, a single one, neighbours, borders of transfers, the last
FASTER = 50  # the simulated drives' time


class QemuDrive:
    """An optical drive with a medium of so many sectors, or without one."""

    def __init__(self, kind, place, sectors, bad=()):
        self.kind, self.place, self.sectors, self.bad = kind, place, sectors, bad
        self.name = f"{kind}-{place}"

    def arguments(self, folder):
        bus = {"ide-cd": f"bus=ide.{self.place}", "scsi-cd": f"bus=vs.0,scsi-id={self.place},lun=0"}[self.kind]
        if not self.sectors:
            return ["-device", f"{self.kind},{bus}"]
        path = folder / f"{self.name}.iso"
        with path.open("wb") as image:
            image.truncate(self.sectors * 2048)
        node = {"driver": "file", "filename": str(path)}
        if self.bad:
            rules = [{"event": "none", "iotype": "read", "errno": disks.NO_DATA, "immediately": False, "sector": 4 * lba + 2}
                     for lba in self.bad]
            node = {"driver": "blkdebug", "image": node, "inject-error": rules}
        node = {"driver": "raw", "node-name": self.name, "read-only": True, "file": node}
        return ["-blockdev", json.dumps(node), "-device", f"{self.kind},{bus},drive={self.name},rerror=report"]

    def bus(self):
        """What the kernel's path of the drive has in it."""
        return f"/ata{self.place + 1}/" if self.kind == "ide-cd" else f"/virtio.*:0:{self.place}:0/block/"


QEMU = {"CD, ATA": QemuDrive("ide-cd", 0, CD), "CD, SCSI": QemuDrive("scsi-cd", 0, CD),
        "DVD, ATA": QemuDrive("ide-cd", 1, DVD), "DVD, SCSI": QemuDrive("scsi-cd", 1, DVD),
        "bad CD, ATA": QemuDrive("ide-cd", 2, CD, BAD), "bad DVD, SCSI": QemuDrive("scsi-cd", 2, DVD, BAD),
        "empty, ATA": QemuDrive("ide-cd", 3, 0), "empty, SCSI": QemuDrive("scsi-cd", 3, 0)}
PASS, FAIL, WRONG_MEDIUM, ONLY_IN_ORDER = (0, "PASS"), (1, "FAIL"), (4, "INCORRECTMEDIA"), (6, "NOTSUPPORTED")
# Each recordable medium, and how the test ends that writes at random; the one that writes in order passes on all.
RECORDED = {
    **dict.fromkeys(["cdr", "dvdr", "dvdr-dl", "dvdr-dl-lj", "bdr", "bdr-random", "bdre"], WRONG_MEDIUM),
    **dict.fromkeys(["dvd+r", "dvd+r-dl", "dvdrw-dl"], ONLY_IN_ORDER),
    **dict.fromkeys(["cdrw", "cdrw-ow", "dvdrw", "dvdrw-ow", "dvdram", "dvd+rw", "dvd+rw-dl"], PASS)}
SIMULATED = {"good": f"media=cdrom,sectors={CD},serial=LAB1", "empty": "media=none",
             "bad": f"media=dvdrom,sectors={CD},bad={'+'.join(map(str, BAD))}",
             **{kind: f"media={kind},sectors={CD}" for kind in RECORDED}}
# Those that keep real time, and how the measurement of their rates ends. The first write takes a minute, and has one.
SLOW_TO_START = {"slow to start": f"media=dvd+rw,performance=none,sectors={CD}"}
MEASURED = {"as fast as told": ("media=dvdrom,speed=1", PASS),
            "slower than told": ("media=dvdrom,speed=1,slow=0-1500:100", FAIL)}


# Recorded with faults, and what is told of them.
FAULTY = {"unit not written": ("media=dvd+rw,bad-write=40", "writeSectorRangeErr sector=32 lastSector=48"),
          "unit not read": ("media=dvdrw-ow,bad=33", "readSectorRangeErr sector=32 lastSector=48"),
          "unit read wrong": ("media=bdre,corrupt=64", "patternMismatchRange sector=64 end_sector=96")}


class OpticalLab(lab_test.Lab):
    def boot(self):
        self._image.add_program(os.environ["OPTICAL_TARGET"], "drivetest")
        self._image.pack()
        super().boot()
        self.must("modprobe -a sr_mod target_core_user tcm_loop")
        faulty = {name: f"sectors={CD},{keys}" for name, (keys, _) in FAULTY.items()}
        self.nodes, self.generic = {}, {}
        self.simulate(FASTER, {**SIMULATED, **faulty})
        self.simulate(1, {**{name: keys for name, (keys, _) in MEASURED.items()}, **SLOW_TO_START})

    def simulate(self, faster, drives):
        """Puts simulated drives behind the kernel, and keeps their nodes."""
        locators = " ".join(f"'sim:optical,strict,{keys}'" for keys in drives.values())
        told = self.guest.share / f"drives-{faster}"
        target = self.guest.start(f"optical_target {faster} {locators} >/host/{told.name}")
        self.guest.wait_until(lambda: not target.running() or told.exists() and
                              told.read_text().count("\n") == len(drives), 60, "the simulated drives")
        if not target.running():
            raise guest.GuestError(f"no simulated drives: {target.wait()}")
        for name, line in zip(drives, told.read_text().splitlines()):
            _, self.nodes[name], self.generic[name] = line.split()

    def path(self, name):
        if name in self.nodes:
            return self.nodes[name]
        return self.node(f"ls -l /sys/block | grep '{QEMU[name].bus()}' | grep -o 'sr[0-9]*$'")


def setUpModule():
    lab_test.setUpModule(lambda: OpticalLab(list(QEMU.values())))


class OpticalTest(lab_test.LabTest):
    def setUp(self):
        super().setUp()
        self.lab = lab_test.LAB


class Inventory(OpticalTest):
    def test_each_drive_is_listed_with_its_capabilities(self):
        listed = {device["locator"]: device for device in json.loads(self.lab.must("drivetest devices --json"))}
        for name, model, serial, sectors in (("CD, ATA", "QEMU DVD-ROM", "", CD), ("DVD, SCSI", "QEMU CD-ROM", "", DVD),
                                             ("good", "Simulated writer", "LAB1", CD)):
            with self.subTest(name=name):
                device = listed[self.lab.path(name)]
                self.assertEqual((device["model"], device.get("serial") or "", device["bytes"], device["sectorSize"]),
                                 (model, serial, sectors * 2048, 2048))
                self.assertEqual(set(device["capabilities"]), {"SCSIMMC", "CDROM", "RemovableStorage"})


class Reading(OpticalTest):
    def check_reading(self, name, bad):
        for method in (MMC, BLOCK):
            with self.subTest(drive=name, method=method):
                self.check_surface(self.lab.path(name), READ, bad, method, f"EndRange={READ}")

    def test_good_media(self):
        for name in ("CD, ATA", "CD, SCSI", "DVD, ATA", "DVD, SCSI", "good"):
            self.check_reading(name, ())

    def test_bad_media(self):
        for name in ("bad DVD, SCSI", "bad"):
            self.check_reading(name, BAD)

    def test_bad_sectors_that_the_drive_calls_out_of_range(self):
        """QEMU's ATA drives do: they are named, but what happened to them is not known."""
        for method in (MMC, BLOCK):
            run = self.read(self.lab.path("bad CD, ATA"), method, f"EndRange={READ}")
            self.assertEqual((run.status, run.result()), (1, "FAIL"), run.out)
            self.assertEqual(run.events(), [f"readSectorErr ReadSector={lba}" for lba in BAD])

    def test_the_whole_of_a_medium(self):
        self.check_surface(self.lab.path("good"), CD, (), MMC)

    def test_empty_drives(self):
        for name in ("empty, ATA", "empty, SCSI", "empty"):
            for method in (MMC, BLOCK):
                with self.subTest(drive=name, method=method):
                    run = self.lab.read(self.lab.path(name), method).ended()
                    self.assertEqual((run.faults(), run.status, run.result()), ([], 4, "NOMEDIA"), run.out)
                    self.assertIn("there is no medium in the drive", run.out)


class Recording(OpticalTest):
    def digest(self, path):
        return self.lab.must(f"echo 3 >/proc/sys/vm/drop_caches; dd if={path} bs=2048 count={READ} 2>/dev/null | md5sum")

    def test_contents_are_preserved(self):
        for kind in ("dvdram", "dvd+rw", "dvd+rw-dl", "bdre"):
            path = self.lab.path(kind)
            for method in (MMC, BLOCK):
                with self.subTest(kind=kind, method=method):
                    before = self.digest(path)
                    run = self.lab.write("LinearPatternTest", path, method, f"EndRange={READ}", "NumberOfPatterns=2").ended()
                    self.check(run, method)
                    self.assertEqual((run.status, run.result()), (0, "PASS"), run.out)
                    self.assertEqual(self.digest(path), before)

    def test_each_medium(self):
        for test, expected in (("PatternTestMMC", dict.fromkeys(RECORDED, PASS)), ("RandomWriteTestMMC", RECORDED)):
            for kind in RECORDED:
                with self.subTest(test=test, kind=kind):
                    run = self.lab.write(test, self.lab.path(kind), None, "NumberOfSeeks=32", "NumberOfPatterns=2").ended()
                    self.assertEqual((run.faults(), run.status, run.result()), ([], *expected[kind]), run.out)

    def test_the_first_write_may_take_a_minute(self):
        """Longer than the kernel waits for a command unless it is told."""
        started = time.monotonic()
        run = self.lab.write("PatternTestMMC", self.lab.path("slow to start"), None, "NumberOfSeeks=16").ended()
        self.assertEqual((run.faults(), run.status, run.result()), ([], *PASS), run.out)
        self.assertGreater(time.monotonic() - started, 60)

    def test_bad_sectors_are_named(self):
        for name, (_, event) in FAULTY.items():
            with self.subTest(drive=name):
                run = self.lab.write("PatternTestMMC", self.lab.path(name), None, "NumberOfSeeks=96", "RetryCount=0",
                                     "DisplayAdvancedErrs=no").ended()
                self.assertEqual((run.faults(), run.status, run.events()), ([], 1, [event]), run.out)

    def test_generic_node(self):
        """Is another name of the drive."""
        run = self.lab.start("ReadPerformanceTest", self.lab.generic["good"], None, "MinDataCapacity=1000").ended()
        self.assertEqual((run.faults(), run.status, run.result()), ([], *PASS), run.out)

    def test_mounted_medium_is_left_alone(self):
        path = self.lab.path("dvdram")
        self.lab.must("modprobe -a crc32c_generic ext4")
        before = self.lab.must(f"mke2fs -b 2048 {path} >/dev/null && mkdir -p /disc && mount -o ro -t ext2 {path} /disc && md5sum <{path}")
        try:
            run = self.lab.write("PatternTestMMC", path, None, "NumberOfSeeks=32").ended()
            self.assertEqual((run.faults(), run.status), ([], 5), run.out)
            self.assertIn("is mounted on /disc", run.out)
        finally:
            self.lab.must("umount /disc")
        self.assertEqual(self.lab.must(f"md5sum <{path}"), before)

    def test_measured_rates(self):
        for name, (_, expected) in MEASURED.items():
            with self.subTest(drive=name):
                run = self.lab.start("ReadPerformanceTest", self.lab.path(name), None, "EndRange=1500").ended()
                self.assertEqual((run.faults(), run.status, run.result()), ([], *expected), run.out)


if __name__ == "__main__":
    unittest.main(verbosity=2)
