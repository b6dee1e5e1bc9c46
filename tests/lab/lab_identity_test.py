"""Tests in a virtual machine that a drive is known by what it is: not by its name, which another drive can have by now,
nor by what a copy of it has, too."""

import contextlib
import dataclasses
import shutil
import unittest

import disks
import kernel
import lab_test

SIZE, SPEED = 4 * disks.MIB, 2 * disks.MIB
HALF = SIZE // 2 // 512  # sectors of a mapping
# Name of a mapping, its UUID, and its first sector on the disk.
MAPPINGS = (("plain", "", 0), ("named", "LAB-1", HALF))


class Stick(disks.Disk):
    """A USB stick of the same model and serial number as all others."""

    def devices(self):
        return [f"usb-storage,drive={self.name},id={self.name},bus=usb.0,serial=1234"]


class IdentityLab(lab_test.Lab):
    """Of each drive that is tested there is another of the same size; at first it holds the same. Later starts
    have them in each other's place."""
    more_modules, more_programs = ["loop"], [("script", "bsdutils")]
    swapped = False
    stick, clone = (Stick("usb", SIZE - disks.MIB, (), SPEED, 0, name=name) for name in ("stick", "clone"))
    namespaces = [disks.Namespace("nvme", SIZE, (), SPEED, place, name=f"namespace-{place}") for place in (1, 2)]
    confirmed = [disks.Disk(kind, size * disks.MIB, (), speed=0, place=3, name=f"confirmed-{kind}")
                 for kind, size in (("nvme", 5), ("virtio-scsi", 6))]
    instead = [disks.Disk(disk.kind, disk.bytes, (), speed=0, place=4, name=f"instead-{disk.kind}", plugged=False)
               for disk in confirmed]
    watched = disks.Disk("nvme", SIZE, (), disks.MIB, place=5, name="watched")

    def boot(self):
        kept = disks.Disk("virtio-scsi", 96 * disks.MIB, (), speed=0, place=0, name="kept")
        self.parted, self.mapped = ([disks.Disk("ahci", SIZE, (), SPEED, 2 * row + (self.swapped + other) % 2,
                                                name=f"{name}-{other}") for other in (0, 1)]
                                    for row, name in enumerate(("parted", "mapped")))
        self.stick, self.clone = (dataclasses.replace(disk, plugged=plugged != self.swapped)
                                  for disk, plugged in ((self.stick, True), (self.clone, False)))
        self.drives = [*self.parted, *self.mapped, *self.namespaces, self.stick, self.clone, *self.confirmed, *self.instead,
                       self.watched]
        self.disks = [kept, *self.drives]
        if not (self.folder / "kept.img").exists():
            self.make_images(kept)
        super().boot()
        self.must("mkdir -p /dev/pts /kept /var/lib/drivetest; mount -t devpts devpts /dev/pts;"
                  f"modprobe -a crc32c_generic ext4 dm_mod loop; mount -t ext4 {self.path(kept)} /kept;"
                  "mkdir -p -m 700 /kept/state && mount -o bind /kept/state /var/lib/drivetest")

    def make_images(self, kept):
        image = {disk.name: self.folder / f"{disk.name}.img" for disk in self.disks}
        make = kernel.tool("mke2fs", "e2fsprogs")
        kernel.checked(make, "-q", "-t", "ext4", "-b", "4096", image["kept"], f"{kept.bytes >> 20}M")
        for disk, other in (self.parted, self.mapped, self.namespaces, (self.stick, self.clone)):
            disk.arguments(self.folder)
            if disk is self.parted[0]:
                kernel.checked(kernel.tool("sfdisk", "fdisk"), "-q", image[disk.name], input=b"2048,4096\n")
            shutil.copy(image[disk.name], image[other.name])

    def restart(self, name):
        """The other disk with partitions has that name then: if not by the order in which the kernel finds them, which is
        not certain, by exchanging the nodes."""
        self.must("sync")
        self.swapped = True
        for _ in range(2):
            self.guest.close()
            self.boot()
            other = self.path(self.parted[1])
            if other == name:
                return
        for node in ("", "1"):
            self.must(f"cd /dev && mv {name}{node} moved && mv {other}{node} {name}{node} && mv moved {other}{node}")

    def path(self, disk):
        if disk.kind in ("usb", "virtio-scsi"):  # without a serial number in /sys
            return super().path(disk)
        files = "/sys/block/*/device/serial /sys/block/*/device/vpd_pg80"
        return self.node(f"grep -ls {disk.serial()} {files} | cut -d/ -f4 | grep '{disk.node()}'")

    def written_bytes(self, disk):
        """Of what is not plugged in, nothing is known."""
        with contextlib.suppress(IndexError):
            return super().written_bytes(disk)
        return 0

    def map(self, name, uuid, start, disk, verb="create"):
        chosen = f"--uuid {uuid}" if uuid else ""
        table = f"0 {HALF} linear {self.path(disk)} {start}"
        self.must(f"export DM_DISABLE_UDEV=1; dmsetup {verb} {name} {chosen} --table '{table}' && dmsetup mknodes")
        return f"/dev/mapper/{name}"

    def unmap(self, name):
        self.must(f"DM_DISABLE_UDEV=1 dmsetup remove {name}")

    def pull(self, disk):
        self.guest.qemu("device_del", id=disk.name)
        self.guest.wait_until(lambda: f"'{disk.name}'" not in str(self.guest.qemu("qom-list", path="/machine/peripheral")),
                              60, f"{disk.name} pulled out")

    def plug_in(self, disk, **place):
        driver, *properties = disk.devices()[-1].split(",")
        self.guest.qemu("device_add", driver=driver, **{**dict(text.split("=") for text in properties), **place})
        self.path(disk)


def setUpModule():
    lab_test.setUpModule(lambda: IdentityLab([]))


class IdentityTest(lab_test.LabTest):
    @property
    def lab(self):
        return lab_test.LAB

    @contextlib.contextmanager
    def nothing_written(self, *besides):
        """To any drive but those."""
        drives = [disk for disk in self.lab.drives if disk not in besides]
        before = [(self.lab.contents(disk), self.lab.written_bytes(disk)) for disk in drives]
        yield
        for disk, (contents, written) in zip(drives, before):
            self.assertTrue(self.lab.contents(disk) == contents, f"{disk.name} has changed")
            self.assertEqual(self.lab.written_bytes(disk), written, disk.name)


class Confirmed(IdentityTest):
    """What a person confirms is the drive that was shown, even if another one has its name when the answer comes."""

    def check_replaced(self, path, serial, replace, said):
        self.lab.must("rm -f /answer")
        ask = f"script -qec 'drivetest run LinearPatternTest {path} --journal /kept/confirmed' /dev/null"
        job = self.lab.guest.start(f"(until [ -e /answer ]; do sleep 0.1; done; cat /answer) | {ask}")
        with self.nothing_written():
            self.lab.guest.wait_until(lambda: "to go on" in job.output() or not job.running(), 60, "the question")
            replace()
            self.lab.must(f"echo '{serial}' >/typed && mv /typed /answer")
            status, output = job.wait()
            self.assertEqual(status, 6, output)
            self.assertRegex(output, said)
        self.assertEqual(self.lab.must("ls /kept/confirmed 2>/dev/null || true"), "")

    def test_another_drive_is_put_in_its_place(self):
        for disk, other, place in zip(self.lab.confirmed, self.lab.instead, ({"bus": "port-confirmed-nvme"}, {"scsi-id": "3"})):
            with self.subTest(kind=disk.kind):
                path = self.lab.path(disk)

                def replace(disk=disk, other=other, place=place):
                    self.lab.pull(disk)
                    self.lab.plug_in(other, **place)
                self.check_replaced(path, disk.name if disk.kind == "nvme" else path, replace,
                                    f"{path} (is gone|does not answer any more): .*; nothing was written")

    def test_mapping_is_loaded_with_another_drive(self):
        path = self.lab.map("exchanged", "", 0, self.lab.mapped[0])
        self.addCleanup(self.lab.unmap, "exchanged")

        def replace():
            self.lab.must("DM_DISABLE_UDEV=1 dmsetup suspend exchanged")
            self.lab.map("exchanged", "", 0, self.lab.mapped[1], verb="reload")
            self.lab.must("DM_DISABLE_UDEV=1 dmsetup resume exchanged")
        self.check_replaced(path, path, replace, f"{path} is stored on something else now: another drive has taken its place; "
                                                 "nothing was written")


class Restarted(IdentityTest):
    """Drives that killed tests left with patterns, in a system where their names lead to others."""

    @classmethod
    def setUpClass(cls):
        lab = lab_test.LAB
        cls.before = {disk.name: lab.contents(disk) for disk in lab.drives}
        cls.name = lab.path(lab.parted[0])
        cls.interrupt("parted", lab.parted[0], cls.name + "1")
        for name, uuid, start in MAPPINGS:
            cls.interrupt(name, lab.mapped[0], lab.map(name, uuid, start, lab.mapped[0]))
        cls.interrupt("namespace", lab.namespaces[0], lab.path(lab.namespaces[0]), lab.namespaces[0].serial())
        cls.interrupt("stick", lab.stick, lab.path(lab.stick))
        lab.restart(cls.name)

    @classmethod
    def interrupt(cls, folder, disk, path, confirm=None):
        lab, before = lab_test.LAB, lab_test.LAB.contents(disk)
        run = lab.start("LinearPatternTest", path, None, "NumberOfPatterns=18",
                        options=[f"--confirm {confirm or path}", f"--journal /kept/{folder}"])
        run.wait_until(lambda: lab.contents(disk) != before)
        lab.must("killall -9 drivetest")
        run.ended()
        if lab.contents(disk) == before:
            raise lab_test.guest.GuestError(f"no patterns were left on {path}: {run.out}")

    def recover(self, folder, device=""):
        return self.lab.guest.run(f"drivetest recover --journal /kept/{folder} {device}")

    def check_kept(self, folder, reason, device=""):
        journal = self.lab.must(f"md5sum /kept/{folder}/*.journal")
        with self.nothing_written():
            status, said = self.recover(folder, device)
            self.assertEqual(status, 9, said)
            self.assertRegex(said, reason)
        self.assertEqual(self.lab.must(f"md5sum /kept/{folder}/*"), journal)

    def check_restored(self, folder, disk, device="", part=slice(None)):
        with self.nothing_written(disk):
            self.assertTrue(self.lab.contents(disk)[part] != self.before[disk.name][part])
            status, said = self.recover(folder, device)
            self.assertEqual((status, self.lab.must(f"ls /kept/{folder}")), (0, ""), said)
            self.assertTrue(self.lab.contents(disk)[part] == self.before[disk.name][part], said)

    def test_partition_of_a_disk_that_has_swapped_its_name(self):
        self.check_kept("parted", "the journal is of another drive", f"{self.name}1")
        self.check_restored("parted", self.lab.parted[0])

    def test_mapping_over_another_disk(self):
        disk, other = self.lab.mapped
        for name, uuid, start in MAPPINGS:
            with self.subTest(name=name):
                path = self.lab.map(name, uuid, start, other)
                self.check_kept(name, "its drive is not there")
                self.check_kept(name, f"{path}: the journal is of another drive", path)
                self.lab.unmap(name)
                self.lab.map(name, uuid, start, disk)
                self.check_restored(name, disk, part=slice(512 * start, 512 * (start + HALF)))
                self.lab.unmap(name)

    def test_copy_of_a_stick(self):
        """Its sectors all hold what the journal wants back."""
        self.check_kept("stick", "nothing that lasts is known of its drive.*: name it")
        path = self.lab.path(self.lab.clone)
        self.check_kept("stick", f"all sectors of {path} hold their data, but so would a copy", path)
        self.lab.pull(self.lab.clone)
        self.lab.plug_in(self.lab.stick)
        self.check_restored("stick", self.lab.stick, self.lab.path(self.lab.stick))

    def test_other_namespace_of_the_same_controller(self):
        disk, other = self.lab.namespaces
        self.check_kept("namespace", "the journal is of another drive", self.lab.path(other))
        self.check_restored("namespace", disk)


class Watched(IdentityTest):
    def test_drive_is_attached_to_a_loop_device_while_it_is_tested(self):
        disk, before = self.lab.watched, self.lab.contents(self.lab.watched)
        path = self.lab.path(disk)
        with self.nothing_written(disk):
            run = self.lab.start("LinearPatternTest", path, None, "NumberOfPatterns=18",
                                 options=[f"--confirm {disk.name}", "--journal /kept/watched"])
            run.wait_until(lambda: self.lab.contents(disk) != before)
            self.lab.must(f"losetup /dev/loop5 {path}")
            self.addCleanup(self.lab.must, "losetup -d /dev/loop5")
            run.ended()
        self.assertEqual((run.status, run.result(), run.faults()), (5, "DEVICEBUSY", []), run.out)
        self.assertRegex(run.out, "somebody began to use the drive while the test ran: .*/dev/loop5")
        self.assertTrue(self.lab.contents(disk) == before)
        self.assertEqual(self.lab.must("ls /kept/watched"), "")


if __name__ == "__main__":
    unittest.main(verbosity=2)
