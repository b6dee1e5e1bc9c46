"""Tests in a virtual machine of drives that lie about their capacity, made of mappings of the kernel, and that another
program finds the same size."""

import re
import unittest

import disks
import lab_test
from lab_test import BLOCK

REAL = 32768  # sectors
RAM = "/dev/ram0"
THIRD = f"{REAL} linear {RAM} 0"
TABLES = {  # name -> the table of a mapping, what is told first, and the sector that another program names
    "thrice": ([f"0 {THIRD}", f"{REAL} {THIRD}", f"{2 * REAL} {THIRD}"], f"capacityRepeats sector={REAL} other=0", REAL),
    "wraps": ([f"0 {THIRD}", f"{REAL} 20000 linear {RAM} 0"], f"capacityRepeats sector={REAL} other=0", REAL),
    # Its end is the middle once more; the other program does not see that.
    "crossed": ([f"0 {THIRD}", f"{REAL} 8192 linear {RAM} 16384"], f"capacityRepeats sector={REAL} other=16384", 40960),
    "drops": ([f"0 8192 linear {RAM} 0", f"8192 24576 flakey {RAM} 8192 0 1 1 drop_writes"], "capacityLost sector=8192", 8192),
    "honest": ([f"0 {THIRD}"], "capacityTrue addresses=1024 sectors=32768", REAL),
}


class CapacityLab(lab_test.Lab):
    more_modules = ["brd", "dm_flakey"]
    more_programs = [("f3probe", "f3")]

    def boot(self):
        super().boot()
        self.must(f"modprobe brd rd_nr=1 rd_size={REAL // 2}; modprobe -a dm_mod dm_flakey")


def setUpModule():
    lab_test.setUpModule(lambda: CapacityLab([disks.Disk("nvme", disks.MIB, (), speed=0, place=0, name="a")]))


class CapacityTest(lab_test.LabTest):
    def make(self, name):
        table = "\\n".join(TABLES[name][0])
        lab = lab_test.LAB
        lab.must(f"dd if=/dev/urandom of={RAM} bs=1M count=16 2>/dev/null; printf '{table}\\n' | dmsetup create {name} "
                 "&& dmsetup mknodes")
        self.addCleanup(lab.must, f"dmsetup remove --retry {name}")
        return f"/dev/mapper/{name}"

    def contents(self):
        return lab_test.LAB.must(f"echo 3 >/proc/sys/vm/drop_caches; sha256sum {RAM}")

    def test_each_lie_is_told_and_every_byte_put_back(self):
        for name, (_, told, _) in TABLES.items():
            with self.subTest(name):
                path = self.make(name)
                before = self.contents()
                run = lab_test.LAB.start("CapacityTest", path, BLOCK, "NumberOfAddresses=1024",
                                         options=[f"--confirm {path}"]).ended()
                self.assertEqual(run.status, 0 if name == "honest" else 1, run.out)
                self.assertTrue(run.events()[0].startswith(told), run.events()[0])
                self.assertEqual(self.contents(), before)

    def test_another_program_agrees_on_the_sizes(self):
        for name, (_, _, real) in TABLES.items():
            with self.subTest(name):
                _, said = lab_test.LAB.guest.run(f"f3probe --destructive --reset-type=2 {self.make(name)}")
                self.assertEqual(re.findall(r"\*Usable\* size: .*\((\d+) blocks\)", said), [str(real)], said)


if __name__ == "__main__":
    unittest.main()
