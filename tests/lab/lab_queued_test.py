"""Tests in a virtual machine the queued commands of ATA drives: that they are sent, and what is found when they fail. QEMU's
disks end all that are queued when one fails, and do not tell which one it was."""

import unittest

import disks
import lab_test
from lab_test import ATA, BLOCK

SIZE = 40 * disks.MIB
BAD = (3000, 3001, 4100)  # of one chunk, in commands that are under way together; none that the kernel reads by itself
TRACE = "/sys/kernel/tracing"


def setUpModule():
    lab_test.setUpModule(lambda: lab_test.Lab([disks.Disk("ahci", SIZE, BAD, 0, 0),
                                               disks.Disk("ahci", SIZE + disks.MIB, (), 0, 1),
                                               disks.Disk("ahci", SIZE + 2 * disks.MIB, (), 8 * disks.MIB, 2)]))


class Queued(lab_test.LabTest):
    def setUp(self):
        super().setUp()
        self.lab = lab_test.LAB
        self.lab.must(f"grep -q {TRACE} /proc/mounts || mount -t tracefs tracefs {TRACE}; cd {TRACE}; echo 0 >tracing_on; "
                      "echo 32768 >buffer_size_kb; "
                      "echo 1 >events/libata/ata_qc_issue/enable; echo >trace; echo 1 >tracing_on")
        self.good = self.lab.disk("ahci")

    def commands(self):
        """How many reads the kernel has passed on since the start: queued, and by DMA."""
        said = self.lab.must(f"grep -c ATA_CMD_FPDMA_READ {TRACE}/trace; grep -c ATA_CMD_READ_EXT {TRACE}/trace; true")
        return tuple(map(int, said.split()))

    def test_are_sent_where_several_commands_make_a_transfer(self):
        path = self.lab.path(self.good)
        for method in (ATA, BLOCK):
            with self.subTest(method=method):
                before = self.commands()
                self.check_surface(path, self.good.sectors, (), method)
                queued, single = (now - then for now, then in zip(self.commands(), before))
                self.assertGreater(queued, 50)
                self.assertLess(single, 10)

    def test_find_exactly_what_is_bad(self):
        disk = self.lab.disk("ahci", bad=True)
        run = self.lab.read(self.lab.path(disk), ATA, "RetryCount=0").ended(400)  # each failure makes the kernel pause
        self.check(run, ATA)
        told = [event for event in run.events() if event.split()[0] != "advancedError"]
        self.assertEqual(told, [f"readSectorErr ReadSector={lba}" for lba in BAD], run.out)
        self.assertEqual(run.coverage(), f"{disk.sectors} = {disk.sectors - len(BAD)} + {len(BAD)} + 0")
        queued, single = self.commands()
        self.assertGreater(queued, 0)
        self.assertGreater(single, 5000, "the chunk is read sector by sector, and then nothing is queued any more")

    def test_are_not_used_where_the_kernel_has_switched_them_off(self):
        path = self.lab.path(self.good)
        depth = f"/sys/block/{path.split('/')[-1]}/device/queue_depth"
        self.addCleanup(self.lab.must, f"echo 32 >{depth}")
        self.lab.must(f"echo 1 >{depth}")
        self.check_surface(path, self.good.sectors, (), ATA)
        queued, single = self.commands()
        self.assertLess(queued, 5)  # the first ones are refused
        self.assertGreater(single, 50)

    def test_of_a_drive_that_is_pulled_make_no_sector_bad(self):
        disk = self.lab.disk("ahci", slow=True)
        run = self.lab.read(self.lab.path(disk), ATA)
        run.wait_until_reading()
        self.lab.must(f"echo 1 >/sys/block/{self.lab.path(disk).split('/')[-1]}/device/delete")
        self.check_gone(run, ATA)


if __name__ == "__main__":
    unittest.main()
