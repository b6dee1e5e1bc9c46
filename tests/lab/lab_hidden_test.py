"""Tests in a virtual machine SCSI drives of 520 and 528 bytes a sector: the kernel takes them for drives of its own, and has
no block device for them."""

import json
import os
import unittest

import guest
import lab_test
from lab_test import SCSI

SECTORS = 33000  # CacheTest wants 32768
SIZES = (520, 528)
BAD = (3, 1234, 5000, 5001, SECTORS - 1)
FEW = "EndRange=2000"  # positions: each costs a command
TESTS = [("LinearReadTest",), ("LinearReadCompareTest",), ("LinearSeekTest", FEW), ("RandomSeekTest", FEW), ("FunnelSeekTest", FEW),
         ("LinearPatternTest",), ("CacheTest",), ("ReadSpeedTest",), ("ReadWriteSpeedTest",)]
JOURNALS = "--journal /tmp/journals"


class HiddenLab(lab_test.Lab):
    def boot(self):
        self._image.add_program(os.environ["OPTICAL_TARGET"], "drivetest")
        self._image.pack()
        super().boot()
        self.must("modprobe -a target_core_user tcm_loop")
        drives = {}
        for size in SIZES:
            image = f"/tmp/{size}.img"
            self.must(f"dd if=/dev/urandom of={image} bs={size} count={SECTORS} 2>/dev/null && cp {image} {image}.before")
            drives[size] = f"sector-size={size},serial=HIDDEN{size},image={image}"
            drives[size, "bad"] = f"sector-size={size},sectors={SECTORS},serial=BAD{size},bad={'+'.join(map(str, BAD))}"
            drives[size, "slow"] = f"sector-size={size},serial=SLOW{size},image={image},speed=4"
        drives["protected"] = "sector-size=520,sectors=2000,serial=PROT,protection=1"
        self.nodes = {}
        self.play(1, drives)

    def play(self, faster, drives):
        """Puts simulated drives behind the kernel, and keeps their generic nodes."""
        locators = " ".join(f"sim:scsi,{keys}" for keys in drives.values())
        told = self.guest.share / "drives"
        target = self.guest.start(f"optical_target {faster} {locators} >/host/{told.name}")
        self.guest.wait_until(lambda: not target.running() or told.exists() and
                              told.read_text().count("\n") == len(drives), 60, "the simulated drives")
        if not target.running():
            raise guest.GuestError(f"no simulated drives: {target.wait()}")
        for name, line in zip(drives, told.read_text().splitlines()):
            self.nodes[name] = line.split()[2]


def setUpModule():
    lab_test.setUpModule(lambda: HiddenLab([]))


class HiddenTest(lab_test.LabTest):
    def setUp(self):
        super().setUp()
        self.lab = lab_test.LAB

    def write(self, test, name, *parameters):
        return self.lab.write(test, self.lab.nodes[name], None, *parameters).ended()

    def assert_as_before(self, size):
        self.lab.must(f"cmp /tmp/{size}.img /tmp/{size}.img.before")


class Inventory(HiddenTest):
    def test_they_are_listed_by_their_generic_nodes(self):
        listed = {device["locator"]: device for device in json.loads(self.lab.must("drivetest devices --json"))}
        for size in SIZES:
            device = listed[self.lab.nodes[size]]
            self.assertEqual((device["bytes"], device["sectorSize"], device["serial"], device["capabilities"]),
                             (SECTORS * size, size, f"HIDDEN{size}", ["SCSISBC"]))
            self.assertIn(f"its sectors have {size} bytes", device["whyNotShown"])
        self.assertEqual(listed[self.lab.nodes["protected"]]["protectionType"], 1)

    def test_a_block_device_without_sectors_is_the_same_drive(self):
        node = self.lab.nodes[520]
        name = self.lab.settle(f"ls /sys/class/scsi_generic/{node[5:]}/device/block")
        self.assertEqual(self.lab.must(f"cat /sys/block/{name}/size"), "0\n")
        run = self.lab.start("LinearReadTest", f"/dev/{name}", None).ended()
        self.check(run, SCSI)
        self.assertEqual((run.status, run.coverage()), (0, f"{SECTORS} = {SECTORS} + 0 + 0"), run.out)

    def test_one_that_another_program_has_open_is_not_written(self):
        node = self.lab.nodes[520]
        status, said = self.lab.guest.run(f"sleep 60 <{node} & sleep 1; drivetest run LinearPatternTest {node} --confirm HIDDEN520 {JOURNALS}; "
                                          "status=$?; kill $!; exit $status")
        self.assertEqual((status, "another program has it open" in said), (5, True), said)
        self.assert_as_before(520)


class AllTests(HiddenTest):
    def test_good_drives_pass_and_keep_every_byte(self):
        for size in SIZES:
            for test, *parameters in TESTS:
                with self.subTest(size=size, test=test):
                    run = self.write(test, size, *parameters)
                    self.check(run, SCSI)
                    self.assertEqual((run.status, run.result()), (0, "PASS"), run.out)
                    self.assert_as_before(size)

    def test_bad_sectors_are_named_exactly(self):
        ranges = [[3, 3], [1234, 1234], [5000, 5001], [SECTORS - 1, SECTORS - 1]]
        for size in SIZES:
            self.check_surface(self.lab.nodes[size, "bad"], SECTORS, BAD, SCSI)
            run = self.write("LinearPatternTest", (size, "bad"))
            self.check(run, SCSI)
            found = [bad["ranges"] for bad in run.extensions("badSectors") if bad["ranges"]]
            self.assertEqual((run.result(), found), ("FAIL", [ranges]), run.out)


class Kills(HiddenTest):
    def test_a_killed_run_is_undone(self):
        for size in SIZES:
            with self.subTest(size=size):
                node = self.lab.nodes[size, "slow"]
                command = f"drivetest run LinearPatternTest {node} --confirm SLOW{size} --no-record {JOURNALS}"
                self.lab.must(f"{command} >/tmp/said 2>&1 & for i in $(seq 600); do cmp -s /tmp/{size}.img /tmp/{size}.img.before "
                              f"|| break; usleep 50000; done; kill -9 $!; wait; ! cmp -s /tmp/{size}.img /tmp/{size}.img.before")
                status, said = self.lab.guest.run(f"drivetest recover {JOURNALS}")
                self.assertEqual(status, 0, said)
                self.assertIn("all its data is on the drive again", said)
                self.assert_as_before(size)


if __name__ == "__main__":
    unittest.main()
