"""Runs the tests in a virtual machine on drives with each layout of faults that a kernel makes; with --table, prints what
came out."""

import pathlib
import sys
import unittest

sys.path.append(str(pathlib.Path(__file__).resolve().parent.parent / "layouts"))

import disks  # noqa: E402
import guest_layouts  # noqa: E402
import judge  # noqa: E402
import lab_test  # noqa: E402
import layouts  # noqa: E402


class OnceBad(disks.Disk):
    """Its bad sectors are read at the second attempt."""

    def _fault(self, iotype, lba):
        return {**super()._fault(iotype, lba), "once": iotype == "read"}


def make_disks():
    """Each of its own size."""
    bad, size = guest_layouts.QEMU_BAD, 4 * disks.MIB
    faults = {"nvme-always": "always", "nvme-twice": "twice", "nvme-after": "after 4"}
    made = [disks.Disk("nvme", size, bad, 0, 0, name="nvme-bad"),
            OnceBad("nvme", size + 256 * disks.KIB, (700,), 0, 1, name="nvme-once"),
            disks.Disk("usb", size + 320 * disks.KIB, bad, 0, 0, name="usb-bad"),
            disks.Disk("ahci", size + 64 * disks.KIB, bad, 0, 0, name="ahci-bad"),
            disks.Disk("nvme", 64 * disks.MIB, (), 2 * disks.MIB, 2, name="nvme-pulled")]
    return made + [disks.Disk("nvme", size + (5 + place) * 64 * disks.KIB, (), 0, place, fault, name)
                   for place, (name, fault) in enumerate(faults.items(), 3)]


class LayoutsLab(lab_test.Lab):
    more_modules = ["brd", "dm_flakey", "dm_delay"]

    def boot(self):
        super().boot()
        self.must(f"modprobe brd rd_nr=1 rd_size={guest_layouts.RAM_SECTORS // 2}; modprobe -a dm_mod dm_flakey dm_delay")

    def judged(self, layout):
        """Makes the drive of a layout, runs its test, and takes the drive away again."""
        if layout.make:
            self.must(layout.make)
        try:
            return self._judged(layout, None if layout.make else self._named(layout.drive))
        finally:
            if layout.free:
                self.settle(f"{{ {layout.free}; }}")

    def _named(self, name):
        return next(disk for disk in self.disks if disk.name == name)

    def _judged(self, layout, disk):
        path = self.path(disk) if disk else self.node(layout.find)
        bad_list = self.guest.share / "bad"
        bad_list.unlink(missing_ok=True)
        run = self._start(layout, path).ended()
        texts = [path.read_text() if path.exists() else "{}" for path in (run.record_path, bad_list)]
        judgement = judge.Judgement(layout, run.status, *texts)
        judgement.problems += run.faults()[:3]
        if judgement.problems:
            judgement.problems.append(run.out)
        return judgement

    def _start(self, layout, path):
        options = ["--no-record --no-prompt --bad-list /host/bad", *layout.options]
        if layout.test in layouts.WRITING_TESTS:
            self._confirms = {}  # the drives have changed
            return self.write(layout.test, path, layout.method, *layout.parameters, options=options)
        run = self.start(layout.test, path, layout.method, *layout.parameters, options=options)
        if layout.pulled:
            run.wait_until_reading()
            self.guest.qemu("device_del", id=layout.drive)
        return run


class GuestLayouts(lab_test.LabTest):
    pass


def add_case(layout):
    def case(self):
        self.assertEqual(lab_test.LAB.judged(layout).problems, [])
    setattr(GuestLayouts, "test_" + "".join(c if c.isalnum() else "_" for c in layout.name), case)


for _layout in guest_layouts.GUEST:
    add_case(_layout)


def setUpModule():
    lab_test.setUpModule(lambda: LayoutsLab(make_disks()))


def print_table():
    lab = LayoutsLab(make_disks())
    try:
        return judge.print_table(guest_layouts.GUEST, lab.judged)
    finally:
        lab.close()


if __name__ == "__main__":
    if "--table" in sys.argv:
        sys.exit(print_table())
    unittest.main(verbosity=2)
