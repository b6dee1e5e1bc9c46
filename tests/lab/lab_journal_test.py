"""Tests in a virtual machine that what a test overwrote comes back: after a power cut, when the drive is pulled out, and
when the undo journal cannot be kept."""

import random
import unittest

import disks
import kernel
import lab_test
from lab_test import ATA, BLOCK, BLOCK_AND_SCSI, NVME

SIZE, SPEED, KEPT = 4 * disks.MIB, 4 * disks.MIB, "/kept/journals"
# Test, the drives and how they are reached, how much it has written to each when the power is cut, and parameters. The
# partition comes first: the kernel finds no table that was overwritten when it started.
CUTS = [("LinearPatternTest", {"namespace": NVME, "partition": BLOCK}, 300 * disks.KIB, "NumberOfPatterns=18"),
        ("ReadWriteSpeedTest", {"nvme": NVME, "ahci": ATA}, 3 * disks.MIB),
        ("LinearPatternTest", {"nvme": NVME, "ahci": ATA}, 7 * disks.MIB),
        ("ReadWriteSpeedTest", {"nvme": BLOCK, "ahci": BLOCK_AND_SCSI}, 5 * disks.MIB)]


class JournalLab(lab_test.Lab):
    """Drives to be tested, others of the same size, and one for the journals; all outlive the guest."""
    cuts = 0

    def boot(self):
        """The drives of one size change places each time."""
        drives = [disks.Disk(kind, SIZE, (), SPEED, (self.cuts + other) % 2, name=f"{kind}-{other}", forgetful=True)
                  for other in (0, 1) for kind in ("nvme", "ahci")]
        spaces = [disks.Namespace("nvme", SIZE, (), SPEED, n, name=f"namespace-{n}", forgetful=True) for n in (1, 2)]
        self.tested = {"nvme": drives[0], "ahci": drives[1], "namespace": spaces[1]}
        self.others = {"nvme": drives[2], "ahci": drives[3], "namespace": spaces[0]}
        kept = disks.Disk("virtio-scsi", 48 * disks.MIB, (), speed=0, place=0, forgetful=True)
        drives = sorted(drives, key=lambda disk: disk.place)
        place = 2 if self.cuts % 2 else 4
        self.disks = [kept, *drives[:place], *spaces, *drives[place:]]
        if self.cuts == 0:
            self.make_images(kept, [disk for disk in drives if disk.kind == "ahci"])
        super().boot()
        self.must(f"modprobe -a crc32c_generic ext4; mkdir /kept; mount -t ext4 {super().path(kept)} /kept")

    def make_images(self, kept, parted):
        make = kernel.tool("mke2fs", "e2fsprogs")
        kernel.checked(make, "-q", "-t", "ext4", "-b", "4096", self.folder / f"{kept.name}.img", "48M")
        for disk in parted:
            disk.arguments(self.folder)
            kernel.checked(kernel.tool("sfdisk", "fdisk"), "-q", self.folder / f"{disk.name}.img", input=b"2048,4096\n")

    def path_of(self, drives, name):
        return self.path(drives["ahci"]) + "1" if name == "partition" else self.path(drives[name])

    def path(self, disk):
        files = "/sys/block/*/device/serial /sys/block/*/device/vpd_pg80"
        return self.node(f"grep -ls {disk.serial()} {files} | cut -d/ -f4 | grep '{disk.node()}'")

    def write(self, test, path, method=None, *parameters, journal=KEPT):
        return super().write(test, path, method, *parameters, options=[f"--journal {journal}"])

    def cut_power(self):
        self.guest.close()
        self.cuts += 1
        for disk in self.disks:
            disk.cut_power(self.folder, random.Random(self.cuts))

    def plug_in(self, disk):
        """Once QEMU has done with pulling the disk out."""
        self.guest.wait_until(lambda: f"'{disk.name}'" not in str(self.guest.qemu("qom-list", path="/machine/peripheral")),
                              60, f"{disk.name} pulled out")
        driver, *properties = disk.devices()[-1].split(",")
        self.guest.qemu("device_add", driver=driver, **dict(text.split("=") for text in properties))
        self.path(disk)


def setUpModule():
    lab_test.setUpModule(lambda: JournalLab([]))


class Journal(lab_test.LabTest):
    def setUp(self):
        super().setUp()
        self.lab = lab_test.LAB
        self.before = {name: self.lab.contents(disk) for name, disk in self.lab.tested.items()}

    def check_recovered(self, journal=KEPT):
        """All is put back, and nothing is left to do."""
        status, said = self.lab.guest.run(f"drivetest recover --journal {journal} && ! ls {journal} | grep 'journal$'")
        self.assertEqual((status, self.changed()), (0, set()), said)

    def check_not_recovered(self, reason, device=""):
        status, said = self.lab.guest.run(f"drivetest recover --journal {KEPT} {device}")
        self.assertEqual(status, 9, said)
        self.assertRegex(said, reason)

    def changed(self):
        return {name for name, disk in self.lab.tested.items() if self.lab.contents(disk) != self.before[name]}

    def test_power_cuts(self):
        left_changed, moved = set(), set()
        for test, methods, size, *parameters in CUTS:
            drives = {name: self.lab.tested["ahci" if name == "partition" else name] for name in methods}
            paths = {name: self.lab.path_of(self.lab.tested, name) for name in methods}
            written = {name: self.lab.written_bytes(disk) for name, disk in drives.items()}
            runs = {name: self.lab.write(test, paths[name], method, *parameters) for name, method in methods.items()}
            for name, run in runs.items():
                run.wait_until(lambda name=name: self.lab.written_bytes(drives[name]) >= written[name] + size)
            self.lab.cut_power()
            left = {name for name in methods if drives[name] in [self.lab.tested[each] for each in self.changed()]}
            left_changed |= left
            self.lab.boot()
            moved |= {name for name, path in paths.items() if path != self.lab.path_of(self.lab.tested, name)}
            for name in methods if left else []:
                path = self.lab.path_of(self.lab.others, name)
                self.check_not_recovered(f"{path}: the journal is of another drive", path)
            for other in self.lab.others.values():
                self.assertEqual(self.lab.written_bytes(other), 0)
            self.check_recovered()
        # Else nothing was shown.
        self.assertEqual(left_changed, {name for _, methods, *_ in CUTS for name in methods})
        self.assertTrue(moved)

    def test_pulled_out_and_put_in_again(self):
        disk = self.lab.tested["nvme"]
        run = self.lab.write("LinearPatternTest", self.lab.path(disk), None, "NumberOfPatterns=18")
        run.wait_until(lambda: "Pattern #3" in run.log())
        self.lab.guest.qemu("device_del", id=disk.name)
        run.ended(60)
        self.assertEqual((run.status, run.faults(), self.changed()), (9, [], {"nvme"}), run.out)
        self.check_not_recovered("its drive is not there: connect it")
        self.lab.plug_in(disk)
        self.check_recovered()

    def test_no_room(self):
        self.lab.must("mkdir /full && mount -t tmpfs -o size=1m,mode=700 full /full")
        run = self.lab.write("LinearPatternTest", self.lab.path(self.lab.tested["nvme"]), journal="/full").ended()
        self.assertEqual((run.status, self.lab.must("ls /full"), self.changed()), (6, "", set()), run.out)
        self.assertRegex(run.out, r"the journal needs \d+ MiB in /full, which has 1 MiB left: .*nothing was written")

    def test_journal_fails(self):
        """The journal's drive takes nothing any more: what is overwritten by then is put back, then the test ends."""
        self.lab.must("modprobe scsi_debug dev_size_mb=64 delay=0")
        path = self.lab.node("ls /sys/bus/pseudo/devices/adapter0/host*/target*/*/block")
        self.lab.must(f"mke2fs {path} && mkdir /failing && mount -t ext4 {path} /failing")
        for test, parameters, moment, status in (
                ("ReadWriteSpeedTest", [], "Reading sector", 6),
                ("LinearPatternTest", ["NumberOfPatterns=18"], "Pattern #1", 6)):
            with self.subTest(test=test):
                run = self.lab.write(test, self.lab.path(self.lab.tested["nvme"]), None, *parameters, journal="/failing")
                run.wait_until(lambda run=run, moment=moment: moment in run.log())
                self.lab.must(f"echo offline >/sys/block/{path[5:]}/device/state")
                run.ended(60)
                self.lab.must(f"echo running >/sys/block/{path[5:]}/device/state")
                self.assertEqual((run.status, run.faults(), self.changed()), (status, [], set()), run.out)
                self.assertIn("the undo journal failed: ", run.out)
                self.check_recovered("/failing")


if __name__ == "__main__":
    unittest.main(verbosity=2)
