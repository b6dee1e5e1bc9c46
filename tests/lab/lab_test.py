"""Tests the program against the distribution's kernel and its drivers, in a virtual machine: each kind of drive,
reached in each way that it can be, with faults at known places."""

import json
import os
import pathlib
import shlex
import shutil
import sys
import tempfile
import unittest

TESTS = pathlib.Path(__file__).resolve().parent.parent
sys.path += [str(TESTS / "cli"), str(TESTS / "record")]

import check_record  # noqa: E402
import disks  # noqa: E402
import guest  # noqa: E402
import kernel  # noqa: E402
import program  # noqa: E402

MODULES = ["nvme", "ahci", "ata_piix", "virtio_scsi", "xhci_pci", "usb_storage", "uas", "sd_mod", "sg", "configfs"]
LATER_MODULES = ["scsi_debug", "null_blk", "floppy", "crc32c_generic", "ext4", "dm_mod", "sr_mod", "target_core_user",
                 "tcm_loop"]  # loaded when needed

# Ways to reach a drive -> the drive that the log then names.
ATA, SCSI, FLOPPY, BLOCK, BLOCK_AND_SCSI, NVME = 1, 2, 5, 6, 7, 8
DRIVE_TYPES = {ATA: "AtaDrive", SCSI: "ScsiSBCDrive", FLOPPY: None, BLOCK: "OSDrive", BLOCK_AND_SCSI: "OSScsiSBCDrive",
               NVME: "NVMeDrive"}
# Of the ATA kinds the kernel repeats each failed command itself, and resets the bus each time.
FEWER_ERRORS = {"ahci": ["RetryCount=0"], "pata": ["RetryCount=0"]}
ATA_METHODS, SCSI_METHODS = (BLOCK_AND_SCSI, SCSI, BLOCK, ATA), (BLOCK_AND_SCSI, SCSI, BLOCK)
# How each kind can be reached; first what is chosen unasked.
METHODS = {"nvme": (BLOCK, NVME), "nvme-4k": (BLOCK, NVME), "ahci": ATA_METHODS, "pata": ATA_METHODS,
           "virtio-scsi": SCSI_METHODS, "usb": SCSI_METHODS, "uas": SCSI_METHODS}
CAPABILITIES = {BLOCK: "HardDrive", NVME: "NVME", ATA: "ATA", SCSI: "SCSISBC"}


class Lab:
    """The guest, its disks and what the cases share; made once."""
    more_modules, more_programs = [], []  # names; names with their packages

    def __init__(self, all_disks):
        self._kernel = kernel.Kernel(os.environ["LAB_KERNEL"])
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="lab-"))
        self.validator = check_record.load_validator()
        self.disks = all_disks
        self._runs = 0
        self._image = guest.Image(self.folder, self._kernel, MODULES, LATER_MODULES + self.more_modules)
        self.add_drivetest()
        for name, package in [("dmsetup", "dmsetup"), *self.more_programs]:
            self._image.add_program(kernel.tool(name, package))
        self._image.pack()
        self.boot()

    def add_drivetest(self):
        self._image.add_program(program.PROGRAM, "drivetest", ["libDriveTest.so", "libDriveTest.qpk"])

    def arguments(self):
        """QEMU's, beside what all guests have."""
        return disks.COMMON + [word for disk in self.disks for word in disk.arguments(self.folder)]

    def boot(self):
        self._confirms = {}  # path of a drive -> what confirms that it is written
        folder = tempfile.mkdtemp(prefix="guest-", dir=self.folder)
        start = [pathlib.Path(folder), self._kernel, self._image.archive, self.arguments()]
        try:
            self.guest = guest.Guest(*start)
        except guest.GuestError as error:  # once in many starts, an emulated machine stands still from the outset
            print(f"the guest is started a second time: {error}", file=sys.stderr)
            self.guest = guest.Guest(*start)

    def close(self):
        self.guest.close()
        shutil.rmtree(self.folder)

    def disk(self, kind, bad=False, slow=False):
        return next(d for d in self.disks if (d.kind, bool(d.bad), bool(d.speed)) == (kind, bad, slow))

    def disk_to_write(self, kind, fault):
        return next(d for d in self.disks if (d.kind, d.write_fault) == (kind, fault))

    def contents(self, disk):
        return (self.folder / f"{disk.name}.img").read_bytes()

    def put(self, disk, data):
        """Changes the start of a disk that is not in use."""
        with (self.folder / f"{disk.name}.img").open("r+b") as image:
            image.write(data)

    def written_bytes(self, disk):
        """How much the guest has written to a disk so far, however it is reached."""
        found = [each["stats"] for each in self.guest.qemu("query-blockstats") if each.get("node-name") == disk.name]
        return found[0]["wr_bytes"]

    def path(self, disk):
        """Where the guest shows a disk, once it does."""
        return self.node(f"grep -lx {disk.bytes // 512} /sys/block/*/size | cut -d/ -f4")

    def node(self, script):
        """The device of the name that a script tells, once there is one."""
        return self.settle(f'name=$({script}) && [ -b "/dev/$name" ] && echo "/dev/$name"')

    def settle(self, script):
        """What a script says once it succeeds, within half a minute."""
        return self.must(f"for i in $(seq 300); do {script} 2>/dev/null && exit; sleep 0.1; done; exit 1").strip()

    def must(self, script):
        status, output = self.guest.run(script)
        if status != 0:
            raise guest.GuestError(f"\"{script}\" ended with status {status}: {output}\n{self.guest.console_tail()}")
        return output

    def read(self, path, method, *parameters):
        return self.start("LinearReadTest", path, method, *parameters)

    def write(self, test, path, method, *parameters, options=()):
        """Starts a test that writes, confirmed as the list of devices asks for it; partitions, which it does not show, by
        their path."""
        if not self._confirms:
            listed = json.loads(self.must("drivetest devices --json"))
            self._confirms = {device["locator"]: shlex.quote(device["confirm"]) for device in listed}
        return self.start(test, path, method, *parameters, options=["--confirm " + self._confirms.get(path, path), *options])

    def start(self, test, path, method, *parameters, options=()):
        """Starts a test; gives what tells of its end."""
        self._runs += 1
        record, log = f"{self._runs}.jsonl", f"{self._runs}.log"
        options = [*options, *(f"-p {parameter}" for parameter in parameters)]
        options += [f"--property __libDriveTest_AccessOrder=DriveTestSearchOrder:{method}"] if method else []
        job = self.guest.start(f"drivetest run {test} {path} --events /host/{record} "
                               f"--log /host/{log} --log-priority 1 {' '.join(options)}")
        return GuestRun(self, job, self.guest.share / record, self.guest.share / log)


class GuestRun(program.Outcome):
    """A test that runs in the guest."""

    def __init__(self, lab, job, record, log):
        self._lab, self._job = lab, job
        self.record_path, self.log_path = record, log

    def wait_until(self, reached):
        """Something, or the end of the test."""
        self._lab.guest.wait_until(lambda: reached() or not self._job.running(), 60, "what a test does")

    def wait_until_reading(self):
        self.wait_until(lambda: self.log().count(": Testing LBA ") >= 2)

    def ended(self, seconds=120):
        self.status, self.out = self._job.wait(seconds)
        return self

    def log(self):
        return self.log_path.read_text(errors="replace") if self.log_path.exists() else ""

    def drive_type(self):
        return next((line.split(": ")[-1] for line in self.log().splitlines() if "Created drive type: " in line), None)

    def faults(self):
        """What is wrong with the record."""
        if not self.record_path.exists():
            return ["there is none"]
        return check_record.RecordCheck(self._lab.validator).check(self.record_path.read_bytes())


LAB = None


def setUpModule(make=lambda: Lab(disks.make_disks())):
    global LAB
    try:
        kernel.tool("qemu-system-x86_64", "qemu-system-x86")
        LAB = make()
    except kernel.Unavailable as error:
        raise unittest.SkipTest(str(error)) from error
    unittest.addModuleCleanup(LAB.close)


class LabTest(unittest.TestCase):
    maxDiff = None

    def run(self, result=None):
        """Shows what the guest's console said if the test fails."""
        start, problems = LAB.guest.console.stat().st_size, len(result.failures + result.errors)
        super().run(result)
        if len(result.failures + result.errors) > problems:
            print(f"{self}: {LAB.guest.console_tail(start)}", file=sys.stderr)

    def setUp(self):
        if not LAB.guest.alive():  # wrecked by a case before this one, which has failed
            LAB.boot()

    def read(self, path, method, *parameters):
        """Reads a drive to the end; checks what holds for every run."""
        run = LAB.read(path, method, *parameters).ended()
        self.check(run, method)
        return run

    def check(self, run, method):
        self.assertEqual(run.faults(), [], run.out)
        self.assertEqual(run.drive_type(), DRIVE_TYPES[method], run.log()[:2000])

    def check_surface(self, path, sectors, bad, method, *parameters, besides=()):
        """Exactly the bad sectors are found, each once; of other events only those in "besides"."""
        run = self.read(path, method, *parameters)
        told = [event for event in run.events() if event.split()[0] not in besides]
        self.assertEqual(told, [f"readSectorErr ReadSector={lba}" for lba in bad], run.out)
        self.assertEqual((run.status, run.result()), (1, "FAIL") if bad else (0, "PASS"), run.out)
        self.assertEqual(run.coverage(), f"{sectors} = {sectors - len(bad)} + {len(bad)} + 0")

    def check_gone(self, run, method):
        """The drive went away in the middle: no sector is called bad for it."""
        run.ended(60)
        self.check(run, method)
        self.assertEqual((run.status, run.result()), (6, "CANNOTRUN"), run.out)
        self.assertEqual(run.extensions("coverage")[0]["failed"], 0, run.out)
        self.assertNotIn("readSectorErr", " ".join(run.events()))


class Inventory(LabTest):
    def test_each_kind_is_listed_with_its_capabilities(self):
        LAB.must("modprobe floppy")
        listed = {device["locator"]: device for device in json.loads(LAB.must("drivetest devices --json"))}
        self.assertEqual(set(listed["/dev/fd0"]["capabilities"]), {"FloppyDrive", "RemovableStorage"})
        for kind, methods in METHODS.items():
            disk = LAB.disk(kind)
            with self.subTest(kind=kind):
                device = listed[LAB.path(disk)]
                expected = {CAPABILITIES[method] for method in methods if method in CAPABILITIES}
                expected |= {"USBMassStorage"} if kind in ("usb", "uas") else set()
                self.assertEqual(set(device["capabilities"]), expected)
                self.assertEqual((device["bytes"], device["sectorSize"]), (disk.bytes, disk.sector_bytes))
                self.assertTrue(device["model"].startswith("QEMU "), device)

    def test_how_each_kind_is_reached_unasked(self):
        for kind, methods in METHODS.items():
            with self.subTest(kind=kind):
                self.check(LAB.read(LAB.path(LAB.disk(kind)), None, "EndRange=100").ended(), methods[0])


class Surface(LabTest):
    def check_kind(self, kind, method):
        # QEMU's ATA disks say of a bad sector that they aborted the command, which is told as such.
        besides = ["advancedError"] if kind in ("ahci", "pata") and method in (ATA, SCSI) else []
        for faulty in (True, False):
            disk = LAB.disk(kind, bad=faulty)
            with self.subTest(disk=disk.name):
                self.check_surface(LAB.path(disk), disk.sectors, disk.bad, method, *FEWER_ERRORS.get(kind, []),
                                   besides=besides)

    def test_null_blk(self):
        self.addCleanup(LAB.must, "rmdir /sys/kernel/config/nullb/nullb0; rmmod null_blk")
        LAB.must("modprobe null_blk nr_devices=0; cd /sys/kernel/config/nullb && mkdir nullb0 && cd nullb0 "
                 "&& echo 16 >size && echo 1 >memory_backed && echo +4660-4661 >badblocks && echo 1 >power")
        self.check_surface(LAB.node("echo nullb0"), 32768, (4660, 4661), BLOCK)

    def test_zones_are_read_and_never_written(self):
        """A host-managed drive takes no write in place: nothing could be put back."""
        self.addCleanup(LAB.must, "rmdir /sys/kernel/config/nullb/nullb0; rmmod null_blk")
        LAB.must("modprobe null_blk nr_devices=0; cd /sys/kernel/config/nullb && mkdir nullb0 && cd nullb0 "
                 "&& echo 16 >size && echo 1 >memory_backed && echo 1 >zoned && echo 4 >zone_size && echo 1 >power")
        path = LAB.node("echo nullb0")
        self.check_surface(path, 32768, (), BLOCK)
        status, said = LAB.guest.run(f"drivetest run LinearPatternTest {path} --confirm {path} --no-journal")
        self.assertEqual((status, "in the order of its zones" in said), (6, True), said)

    def test_floppy(self):
        LAB.must("modprobe floppy")
        for method in (FLOPPY, BLOCK):
            self.check_surface(LAB.node("echo fd0"), 2880, (), method)


class Health(LabTest):
    """By the drive layer's own commands: smartctl is not in the guest."""

    def told(self, path):
        status, said = LAB.guest.run(f"drivetest health {path}")
        return status, said.replace("\u202f", " ")

    def test_of_each_kind(self):
        for kind, told in (
                ("nvme", ["Predicted failure +none", "Spare that is left +0 %", "Endurance that is used +0 %",
                          "Temperature +50 °C"]),
                ("ahci", ["Predicted failure +none", "Reallocated sectors +0", "Temperature +", "Power_On_Hours"]),
                ("pata", ["Predicted failure +none", "Reallocated sectors +0", "Temperature +", "Power_On_Hours"])):
            with self.subTest(kind=kind):
                status, said = self.told(LAB.path(LAB.disk(kind)))
                self.assertEqual((status, "the drive's own commands" in said), (0, True), said)
                for line in told:
                    self.assertRegex(said, line)

    def test_of_those_that_tell_nothing(self):
        for kind in ("virtio-scsi", "usb", "uas"):
            status, said = self.told(LAB.path(LAB.disk(kind)))
            self.assertEqual((status, "tells nothing of its health" in said), (6, True), said)

    def test_is_recorded_before_and_after_a_run(self):
        for kind, method in (("nvme", NVME), ("nvme", BLOCK), ("ahci", ATA), ("ahci", BLOCK_AND_SCSI)):
            with self.subTest(kind=kind, method=method):
                run = self.read(LAB.path(LAB.disk(kind)), method, "EndRange=1000")
                self.assertEqual((run.status, [each["when"] for each in run.extensions("health")]), (0, ["before", "after"]))

    def test_disks_test_themselves(self):
        status, said = LAB.guest.run(f"drivetest selftest {LAB.path(LAB.disk('ahci'))} short")
        self.assertEqual((status, "self-test (short): passed" in said), (0, True), said)
        status, said = LAB.guest.run(f"drivetest selftest {LAB.path(LAB.disk('nvme'))} short")
        self.assertEqual((status, "the drive cannot test itself" in said), (6, True), said)


class Pulled(LabTest):
    def check_kind(self, kind, method):
        disk = LAB.disk(kind, slow=True)
        LAB.disks.remove(disk)
        run = LAB.read(LAB.path(disk), method)
        run.wait_until_reading()
        LAB.guest.qemu("device_del", id=disk.name)
        self.check_gone(run, method)


class ScsiDebug(LabTest):
    def load(self, **options):
        """A new drive; gives its path."""
        given = " ".join(f"{name}={value}" for name, value in {"dev_size_mb": 16, "delay": 0, **options}.items())
        self.addCleanup(LAB.settle, "killall -q drivetest; rmmod scsi_debug")
        LAB.must(f"modprobe scsi_debug {given}")
        return LAB.node("ls /sys/bus/pseudo/devices/adapter0/host*/target*/*/block")

    def set(self, **values):
        for name, value in values.items():  # some are refused while commands are under way
            LAB.settle(f"echo {value} >/sys/bus/pseudo/drivers/scsi_debug/{name}")

    def check_sectors(self, size, bad, method):
        path = self.load(sector_size=size, opts=2, medium_error_start=bad[0], medium_error_count=len(bad))
        self.check_surface(path, 16 * disks.MIB // size, bad, method)

    def check_write_protected(self, method):
        path = self.load(wp=1)
        self.assertEqual(LAB.must(f"cat /sys/block/{path[5:]}/ro"), "1\n")
        self.check_surface(path, 32768, (), method)
        status, said = LAB.guest.run(f"drivetest run LinearPatternTest {path}")
        self.assertEqual((status, "Read-only file system" in said, "unmount" in said), (6, True, False), said)

    def start_slowly(self, method, *parameters):
        """A run that has begun to read, half a second for each command."""
        path = self.load()
        LAB.must(f"cd /sys/block/{path[5:]}/device && echo 2 >timeout && echo 0 >$(ls -d scsi_disk/*)/max_retries")
        self.set(delay=125)
        run = LAB.read(path, method, *parameters)
        run.wait_until_reading()
        return run

    def check_pulled(self, method):
        run = self.start_slowly(method)
        self.set(add_host=-1)
        self.check_gone(run, method)

    def check_silent(self, method):
        """A drive that answers no command any more."""
        # The system does not tell that nothing answers: each sector of the transfer would be waited for, several times.
        patience = ["RetryCount=0", "IsolateFailedLBA=false", "MaxErrors=1"] if method == BLOCK else []
        run = self.start_slowly(method, *patience)
        self.addCleanup(self.set, opts=0, every_nth=0)
        self.set(opts=4, every_nth=-1)
        run.ended(150)
        self.check(run, method)
        self.assertIn(run.result(), ("FAIL", "CANNOTRUN") if method == BLOCK else ("CANNOTRUN",), run.out)

    def test_silent_from_the_start(self):
        path = self.load()
        self.addCleanup(self.set, opts=0, every_nth=0)
        self.set(opts=4, every_nth=-1)
        run = LAB.read(path, SCSI).ended(150)
        self.assertEqual((run.status, run.result()), (6, "CANNOTRUN"), run.out)

    def test_recovered_errors_are_warnings(self):
        path = self.load()
        self.set(opts=8, every_nth=-1)
        run = self.read(path, SCSI)
        self.assertEqual((run.status, run.result()), (3, "WARN"), run.out)

    def test_offline(self):
        path = self.load()
        LAB.must(f"echo offline >/sys/block/{path[5:]}/device/state")
        status, output = LAB.guest.run(f"drivetest run LinearReadTest {path}")
        self.assertEqual(status, 6, output)
        self.assertRegex(output, path + ".*(cannot be|no longer)")


    def test_health(self):
        """It has pages of temperature and of informational exceptions."""
        status, said = LAB.guest.run(f"drivetest health {self.load()}")
        self.assertEqual(status, 0, said)
        self.assertRegex(said, "Temperature +38 °C")


class Writing(LabTest):
    def write(self, test, disk, method, *parameters):
        """Gives the run, the sectors that hold something else after it, and how many bytes it wrote."""
        before, written = LAB.contents(disk), LAB.written_bytes(disk)
        run = LAB.write(test, LAB.path(disk), method, *parameters).ended()
        self.check(run, method)
        after = LAB.contents(disk)
        sectors = (slice(start, start + disk.sector_bytes) for start in range(0, disk.bytes, disk.sector_bytes))
        changed = [number for number, sector in enumerate(sectors) if before[sector] != after[sector]]
        return run, changed, LAB.written_bytes(disk) - written

    def check_preserved(self, kind, method):
        disk = LAB.disk_to_write(kind, "never")
        thresholds = ["ReadRateThreshold=0.001", "WriteRateThreshold=0.001"]
        for test, times, parameters in (("LinearPatternTest", 4 + 1, []), ("ReadWriteSpeedTest", 1 + 1, thresholds)):
            with self.subTest(test=test):
                run, changed, written = self.write(test, disk, method, *parameters)
                self.assertEqual((run.status, run.result()), (0, "PASS"), run.out)
                self.assertEqual((changed, written), ([], times * disk.bytes))

    def check_fault(self, kind, fault, method, patterns, expected):
        """Writes around the sector that cannot be written; gives it where its data is lost, which the status tells. No other
        may change."""
        disk = LAB.disk_to_write(kind, fault)
        run, changed, _ = self.write("LinearPatternTest", disk, method, "StartRange=120", "EndRange=240",
                                     f"NumberOfPatterns={patterns}", "RetryCount=0")
        told = [event for event in run.events() if event.split()[0] != "advancedError"]
        status = 9 if changed else 1
        self.assertEqual((run.status, run.result(), told), (status, "FAIL", expected), run.out)
        return changed

    WRITE_ERROR = f"writeSectorErr WriteSector={disks.FAULT_AT}"
    NOT_RESTORED = f"cannotRestoreData TestName=PatternTest TestSector={disks.FAULT_AT} EndSector=125"

    def check_faulty(self, kind, method):
        """The sector is named, but as it was never overwritten, it has kept its data too."""
        self.assertEqual(self.check_fault(kind, "always", method, 1, [self.WRITE_ERROR, self.NOT_RESTORED]), [])
        LAB.must("! ls /var/lib/drivetest/journal | grep .")

    def test_sector_fails_for_a_while(self):
        self.assertEqual(self.check_fault("nvme", "twice", NVME, 4, [self.WRITE_ERROR]), [])

    def test_sector_fails_when_it_is_restored(self):
        self.addCleanup(LAB.must, "rm /var/lib/drivetest/journal/*.journal")
        self.assertEqual(self.check_fault("nvme", "after 4", NVME, 4, [self.NOT_RESTORED]), [disks.FAULT_AT])
        status, said = LAB.guest.run("drivetest recover")
        self.assertEqual((status, f"{disks.FAULT_AT} could NOT be restored" in said), (9, True), said)


class Refused(LabTest):
    HEADERS = {"crypto_LUKS": b"LUKS\xBA\xBE\0\1",
               "BitLocker": (b"\xEB\x58\x90-FVE-FS-".ljust(177, b"\0") + b"\x10").ljust(4096, b"\0") + b"-FVE-FS-"}

    def setUp(self):
        super().setUp()
        self.disk = LAB.disk_to_write("nvme", "never")
        self.addCleanup(LAB.put, self.disk, LAB.contents(self.disk))

    def check_refused(self, test, result, reason):
        """Nothing is written, although it was confirmed."""
        disk, path = self.disk, LAB.path(self.disk)
        before, written = LAB.contents(disk), LAB.written_bytes(disk)
        run = LAB.write(test, path, None).ended()
        self.assertEqual(run.faults(), [], run.out)
        self.assertEqual((run.status, run.result()), result, run.out)
        self.assertIn(reason.format(path[5:]), run.out)
        self.assertEqual(LAB.written_bytes(disk), written)
        self.assertTrue(LAB.contents(disk) == before)

    def test_drives_in_use(self):
        LAB.must("modprobe -a crc32c_generic ext4 dm_mod")
        for take, free, reason in (
                ("mke2fs {0} && mkdir -p /mounted && mount -o ro -t ext2 {0} /mounted", "umount /mounted",
                 "{0} is mounted on /mounted"),
                ("mkswap {0} && swapon {0}", "swapoff {0}", "{0} is swap space"),
                ("dmsetup create vg --table '0 8 linear {0} 0'", "dmsetup remove vg", "{0} is part of dm-0 (vg)")):
            with self.subTest(reason=reason):
                path = LAB.path(self.disk)
                LAB.must(f"{take.format(path)} && sync")
                try:
                    self.check_refused("LinearPatternTest", (5, "DEVICEBUSY"), reason)
                finally:
                    LAB.must(free.format(path))

    def test_encrypted_drives(self):
        for name, header in self.HEADERS.items():
            with self.subTest(name=name):
                LAB.put(self.disk, header)
                self.check_refused("ReadWriteSpeedTest", (6, "CANNOTRUN"), f"{{0}} holds an encrypted volume ({name})")


def add_cases(test_class, name, methods, check, *arguments):
    """One test for each way to reach a drive."""
    for method in methods:
        def case(self, method=method):
            getattr(self, check)(*arguments, method)
        setattr(test_class, f"test_{name.replace('-', '_')}_as_{DRIVE_TYPES[method]}", case)


for _kind, _methods in METHODS.items():
    add_cases(Surface, _kind, _methods, "check_kind", _kind)
for _kind in disks.PULLED:
    add_cases(Pulled, _kind, set(METHODS[_kind]) - {BLOCK_AND_SCSI}, "check_kind", _kind)
for _kind in disks.WRITTEN:
    _methods = METHODS[_kind][0], METHODS[_kind][-1] if _kind in ("nvme", "ahci") else SCSI
    add_cases(Writing, f"preserved_on_{_kind}", _methods, "check_preserved", _kind)
    add_cases(Writing, f"bad_sector_of_{_kind}", _methods, "check_faulty", _kind)
add_cases(ScsiDebug, "write_protected", SCSI_METHODS, "check_write_protected")
add_cases(ScsiDebug, "pulled", SCSI_METHODS, "check_pulled")
add_cases(ScsiDebug, "sectors_of_512", SCSI_METHODS, "check_sectors", 512, range(0x1234, 0x123E))
add_cases(ScsiDebug, "sectors_of_4096", SCSI_METHODS, "check_sectors", 4096, (255, 256))
add_cases(ScsiDebug, "silent", (BLOCK, SCSI), "check_silent")


if __name__ == "__main__":
    unittest.main(verbosity=2)
