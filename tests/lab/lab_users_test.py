"""Tests in a virtual machine that a drive which something real uses is not written to, by whatever name it is used."""

import unittest

import disks
import lab_test

SECTORS = 100  # that a run writes
# The programs are told that nobody makes device nodes for them.
ALONE = "export MDADM_NO_UDEV=1 DM_DISABLE_UDEV=1 LVM_SUPPRESS_FD_WARNINGS=1; mkdir -p /run/lock/lvm /run/mdadm /srv"
MIRROR = "--run --assume-clean --bitmap=none --level=1 --raid-devices=2 {a} {b}"


class TwoPaths(disks.Disk):
    """A disk that hangs on two ports."""

    def devices(self):
        return [f"scsi-hd,drive={self.name},id={self.name}-{port},bus=vs.0,scsi-id={self.place + port},lun=0,"
                "share-rw=on,serial=twice,wwn=0x5000c500a1b2c3d4" for port in (0, 1)]


class UsersLab(lab_test.Lab):
    more_modules = ["loop", "raid1", "btrfs", "bcache"]
    more_programs = [("lvm", "lvm2"), ("mdadm", "mdadm"), ("mkfs.btrfs", "btrfs-progs"), ("btrfs", "btrfs-progs"),
                     ("make-bcache", "bcache-tools"), ("sfdisk", "fdisk")]

    def boot(self):
        super().boot()
        self.must("modprobe -a loop crc32c_generic ext4 dm_mod raid1 btrfs bcache")
        self.a, self.b, self.twice = (disk for disk in self.disks)

    def paths(self, disk):
        """Of both ports, once both are there."""
        found = f"$(grep -lx {disk.bytes // 512} /sys/block/sd*/size | cut -d/ -f4)"
        return [f"/dev/{name}" for name in self.settle(f"set -- {found}; [ $# = 2 ] && echo $*").split()]


def setUpModule():
    lab_test.setUpModule(lambda: UsersLab([
        disks.Disk("nvme", 256 * disks.MIB, (), speed=0, place=0, name="a"),
        disks.Disk("nvme", 257 * disks.MIB, (), speed=0, place=1, name="b"),
        TwoPaths("nvme", 4 * disks.MIB, (), speed=disks.MIB, place=0, name="twice")]))


class Users(lab_test.LabTest):
    def setUp(self):
        super().setUp()
        self.lab = lab_test.LAB
        self.names = {disk.name: self.lab.path(disk) for disk in (self.lab.a, self.lab.b)}
        self.names.update({key + "_": path[5:] for key, path in self.names.items()})

    def do(self, script):
        return self.lab.must(f"set -e; {ALONE}; {script.format(**self.names)}")

    def use(self, take, free):
        """Takes the drives into use for the rest of the case."""
        self.addCleanup(self.do, "for each in {a} {b}; do dd if=/dev/zero of=$each bs=1M count=2 2>/dev/null; sync;"
                                 "blockdev --rereadpt $each; done")
        self.do(take)
        self.addCleanup(self.do, free)
        self.lab.must("sync")

    def start(self, path, confirm):
        return self.lab.start("LinearPatternTest", path, None, f"EndRange={SECTORS}", "NumberOfPatterns=1",
                              options=[f"--confirm {confirm}"]).ended()

    def check_refused(self, path, reason, disk, confirm=""):
        """Nothing is written, although it was confirmed. A user's own bookkeeping is less than what a run writes."""
        written = self.lab.written_bytes(disk)
        run = self.start(path, confirm or disk.name)
        self.assertEqual((run.status, run.result(), run.faults()), (5, "DEVICEBUSY", []), run.out)
        self.assertIn(f"{path} is in use: " + reason.format(**self.names), run.out)
        self.assertLess(self.lab.written_bytes(disk) - written, SECTORS * 512)

    def check_both_refused(self, reason):
        for name, disk in (("a", self.lab.a), ("b", self.lab.b)):
            with self.subTest(name=name):
                self.check_refused(self.names[name], f"{{{name}_}} {reason}", disk)

    def test_logical_volumes(self):
        self.use("lvm vgcreate vg {a} {b}; lvm lvcreate -y -Wn -Zn -n data -l 100%FREE vg; dmsetup mknodes;"
                 "mke2fs /dev/mapper/vg-data >/dev/null; mount -o ro -t ext2 /dev/mapper/vg-data /srv",
                 "umount /srv; lvm vgremove -f -y vg; lvm pvremove {a} {b}")
        self.check_both_refused("is part of dm-0 (vg-data, which is mounted on /srv)")

    def test_array_and_its_members_when_it_is_stopped(self):
        self.use(f"mdadm --create /dev/md0 {MIRROR}; mke2fs /dev/md0 >/dev/null; mount -o ro -t ext2 /dev/md0 /srv",
                 "umount /srv 2>/dev/null || true; mdadm --stop /dev/md0 2>/dev/null || true")
        self.lab.settle("grep -qx clean /sys/block/md0/md/array_state")
        self.check_both_refused("is part of md0 (which is mounted on /srv)")
        self.do("umount /srv; mdadm --stop /dev/md0")
        run = self.start(self.names["b"], "b")
        self.assertEqual((run.status, "linux_raid_member" in run.out), (0, True), run.out)

    def test_mapping_over_a_mapping(self):
        self.use("dmsetup create low --table \"0 2048 linear {a} 0\"; dmsetup mknodes;"
                 "dmsetup create high --table '0 2048 linear /dev/mapper/low 0'; dmsetup mknodes",
                 "dmsetup remove high; dmsetup remove low")
        self.check_refused(self.names["a"], "{a_} is part of dm-0 (low, which is part of dm-1 (high))", self.lab.a)

    def test_btrfs_of_two_devices(self):
        """The table of mounts shows one of them only."""
        self.use("mkfs.btrfs -q -f -d raid1 -m raid1 {a} {b} 2>/dev/null; btrfs device scan >/dev/null;"
                 "mount -o ro -t btrfs {a} /srv", "umount /srv")
        self.check_refused(self.names["a"], "{a_} is mounted on /srv", self.lab.a)
        self.check_refused(self.names["b"], "{b_} is part of a btrfs that is mounted on /srv", self.lab.b)

    def test_bcache(self):
        self.use("make-bcache --bucket 64k -C {a} -B {b} >/dev/null; echo {a} >/sys/fs/bcache/register",
                 "echo 1 | tee /sys/block/bcache0/bcache/stop /sys/fs/bcache/*-*/stop >/dev/null;"
                 "for i in $(seq 300); do [ -e /sys/block/{a_}/bcache ] || [ -e /sys/block/{b_}/bcache ] || break;"
                 "sleep 0.1; done")
        self.check_refused(self.names["a"], "{a_} is a cache of bcache", self.lab.a)
        self.do("echo {b} >/sys/fs/bcache/register")
        self.lab.settle("[ -e /sys/block/bcache0 ]")
        self.check_both_refused("is part of bcache0")

    def test_swap_and_a_loop_over_a_partition(self):
        self.use("echo ',16M' | sfdisk -q {a}; mkswap {a}p1 >/dev/null; swapon {a}p1",
                 "swapoff {a}p1 2>/dev/null || true")
        self.check_refused(self.names["a"], "{a_}p1 is swap space", self.lab.a)
        self.do("swapoff {a}p1; losetup /dev/loop7 {a}p1; mke2fs /dev/loop7 >/dev/null;"
                "mount -o ro -t ext2 /dev/loop7 /srv; sync")
        self.addCleanup(self.do, "umount /srv; losetup -d /dev/loop7")
        path, reason = self.names["a"], "{a_}p1 is attached to /dev/loop7 (which is mounted on /srv)"
        self.check_refused(path, reason, self.lab.a)
        self.check_refused(path + "p1", reason, self.lab.a, path + "p1")

    def test_swap_file_in_an_image(self):
        self.use("truncate -s 32M /image; ln /image /other; mke2fs -F /image >/dev/null; losetup /dev/loop6 /image;"
                 "mount -t ext2 /dev/loop6 /srv; dd if=/dev/zero of=/srv/swap\\ file bs=1M count=8 2>/dev/null;"
                 "mkswap /srv/swap\\ file >/dev/null; swapon /srv/swap\\ file; rm /image; sync",
                 "swapoff /srv/swap\\ file; umount /srv; losetup -d /dev/loop6; rm /other")
        for path, name in (("/other", "/other is attached to /dev/loop6 (which is mounted on /srv)"),
                           ("/srv/swap\\ file", "is swap space")):
            status, said = self.lab.guest.run(f"drivetest run LinearPatternTest {path} --confirm {path}")
            self.assertEqual((status, name in said), (5, True), said)

    def test_other_path_to_the_same_disk(self):
        used, tested = self.lab.paths(self.lab.twice)
        name = f"{used[5:]} (another path to {tested[5:]})"
        self.use(f"mke2fs {used} >/dev/null; mount -o ro -t ext2 {used} /srv",
                 "umount /srv 2>/dev/null || true")
        self.check_refused(tested, f"{name} is mounted on /srv", self.lab.twice)
        self.do("umount /srv")
        run = self.lab.write("LinearPatternTest", used, None, "NumberOfPatterns=18")
        run.wait_until(lambda: "Pattern #1" in run.log())
        status, said = self.lab.guest.run(f"drivetest run LinearPatternTest {tested} --confirm twice")
        self.lab.must("killall drivetest")
        self.assertEqual((status, f"{tested} cannot be taken for this test alone" in said), (5, True), said)
        self.assertEqual(run.ended().status, 130, run.out)


if __name__ == "__main__":
    unittest.main(verbosity=2)
