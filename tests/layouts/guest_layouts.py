"""Layouts of faults that a kernel makes, in the laboratory's guest, and what a test must say of each."""

import dataclasses

from layouts import Layout, listed

RAM, RAM_SECTORS = "/dev/ram0", 40960
ATA, SCSI, BLOCK, BLOCK_AND_SCSI, NVME = 1, 2, 6, 7, 8
QEMU_BAD = (0, 77, 100, 101, 2048, 8191)  # of QEMU's disks, which have 8192 sectors or some more
SEVERAL = "0+77+100-101+2048+8191"
FAULTS = {"error": "error", "wrong": "flakey {0} {1} 0 1 5 corrupt_bio_byte 1 r 165 0",
          "unwritable": "flakey {0} {1} 0 1 1 error_writes", "slow": "delay {0} {1} 200"}
SCSI_DEBUG = "ls /sys/bus/pseudo/devices/adapter0/host*/target*/*/block"


@dataclasses.dataclass(frozen=True)
class GuestLayout(Layout):
    """The drive is the name of one of QEMU's disks, or a script tells the name of one that another script makes."""
    make: str = ""
    find: str = ""
    free: str = ""
    method: int = BLOCK
    pulled: bool = False  # out, while it is read


def mapping(faults):
    """The table of a mapping over the RAM disk: all is well but for pieces (kind, first sector, how many)."""
    lines, at = [], 0
    for kind, first, count in [*faults, ("", RAM_SECTORS, 0)]:
        if first > at:
            lines.append(f"{at} {first - at} linear {RAM} {at}")
        if count:
            lines.append(f"{first} {count} {FAULTS[kind].format(RAM, first)}")
        at = first + count
    return "\\n".join(lines)


def mapped(name, *faults, **expected):
    return GuestLayout(name, "", RAM_SECTORS, make=f"printf '{mapping(faults)}\\n' | dmsetup create faulty && dmsetup mknodes",
                       find="echo mapper/faulty", free="dmsetup remove --retry faulty", **expected)


def pattern_on_mapped(name, *faults, area="0-399", **expected):
    """400 sectors in chunks of 20."""
    first, end = area.split("-")
    parameters = ("NumberOfPatterns=1", f"StartRange={first}", f"EndRange={int(end) + 1}", *expected.pop("parameters", ()))
    return mapped(name, *faults, test="LinearPatternTest", area=area, parameters=parameters, **expected)


def null_blk(name, **expected):
    return GuestLayout(name, "", 32768, find="echo nullb0", free="rmdir /sys/kernel/config/nullb/nullb0; rmmod null_blk",
                       make="modprobe null_blk nr_devices=0; cd /sys/kernel/config/nullb && mkdir nullb0 && cd nullb0 && "
                            "echo 16 >size && echo 1 >memory_backed && echo +4660-4661 >badblocks && echo 1 >power", **expected)


def scsi_debug(name, options, sectors=32768, then="true", **expected):
    return GuestLayout(name, "", sectors, make=f"modprobe scsi_debug dev_size_mb=16 delay=0 {options}; {then}",
                       find=SCSI_DEBUG, free="rmmod scsi_debug", **expected)


def around_the_fault(name, disk, sectors, patterns, **expected):
    """120 sectors in chunks of 6, of which the first has a sector that fails when it is written."""
    parameters = ("StartRange=120", "EndRange=240", f"NumberOfPatterns={patterns}", "RetryCount=0")
    return GuestLayout(name, disk, sectors, test="LinearPatternTest", parameters=parameters, area="120-239", method=NVME,
                       verdict="FAIL", bad={"unwritable": "122"}, **expected)


def unreadable(text):
    return {"verdict": "FAIL", "bad": {"unreadable": text}}


SCATTERED = range(100, 40000, 1999)
RECOVERED = "echo 8 >/sys/bus/pseudo/drivers/scsi_debug/opts; echo -1 >/sys/bus/pseudo/drivers/scsi_debug/every_nth"
WRONG = {"verdict": "FAIL", "bad": {"wrongData": "205"}}

GUEST = [
    mapped("mapped, nothing bad"),
    mapped("mapped, first and last", ("error", 0, 1), ("error", 40959, 1), **unreadable("0+40959")),
    mapped("mapped, 100 in a row", ("error", 1000, 100), **unreadable("1000-1099")),
    mapped("mapped, scattered", *(("error", n, 1) for n in SCATTERED), **unreadable(listed(SCATTERED))),
    mapped("mapped, beyond the range", ("error", 20000, 8), parameters=("EndRange=20000",), area="0-19999"),
    mapped("mapped, slow", ("slow", 500, 100)),
    mapped("mapped, wrong each time alike", ("wrong", 205, 1), test="LinearReadCompareTest"),
    mapped("mapped, compared", ("error", 205, 2), test="LinearReadCompareTest", **unreadable("205-206")),
    mapped("mapped, sought by reading", ("error", 205, 1), test="LinearSeekTest", verdict="FAIL", bad={"unreachable": "205"},
           parameters=("SeekMethod=read", "EndRange=400"), area="0-399", positions=(400, 1, 0)),
    mapped("mapped, the cache", ("wrong", 8448, 1), test="CacheTest", area="8192-40959", verdict="FAIL",
           bad={"wrongData": "8448"}),
    pattern_on_mapped("mapped, written", ("error", 400, 1)),
    pattern_on_mapped("mapped, reads back wrong", ("wrong", 205, 1), **WRONG),
    pattern_on_mapped("mapped, reads back wrong, no journal", ("wrong", 205, 1), options=("--no-journal",), **WRONG),
    pattern_on_mapped("mapped, cannot be saved", ("error", 205, 1), skipped="200-204+206-219", **unreadable("205")),
    pattern_on_mapped("mapped, wrong and unreadable", ("wrong", 205, 1), ("error", 309, 1), verdict="FAIL",
                      bad={"unreadable": "309", "wrongData": "205"}, skipped="300-308+310-319"),
    pattern_on_mapped("mapped, cannot be saved near the start", ("error", 9, 1), skipped="0-8+10-19", **unreadable("9")),
    pattern_on_mapped("mapped, unwritable but readable", ("unwritable", 205, 1), verdict="FAIL", bad={"unwritable": "205"},
                      skipped="220-399"),
    pattern_on_mapped("mapped, unwritable, no copy", ("unwritable", 205, 1), verdict="FAIL", bad={"unwritable": "205"},
                      parameters=("PreserveData=false",)),
    null_blk("null_blk, bad blocks", **unreadable("4660-4661")),
    null_blk("null_blk, cannot be saved", test="LinearPatternTest", area="4600-4799",
             parameters=("StartRange=4600", "EndRange=4800"), skipped="4662-4669", **unreadable("4660-4661")),
    scsi_debug("SCSI, medium errors", "opts=2", method=BLOCK_AND_SCSI, **unreadable("4660-4669")),
    scsi_debug("SCSI, sectors of 4096 bytes", "opts=2 sector_size=4096 medium_error_start=255 medium_error_count=2", 4096,
               method=SCSI, **unreadable("255-256")),
    scsi_debug("SCSI, corrected", "", then=RECOVERED, method=SCSI, verdict="WARN"),
    scsi_debug("SCSI, write-protected", "wp=1", method=SCSI),
    GuestLayout("NVMe", "nvme-bad", 8192, method=NVME, **unreadable(SEVERAL)),
    GuestLayout("NVMe as block device", "nvme-bad", 8192, **unreadable(SEVERAL)),
    GuestLayout("NVMe, a passing error", "nvme-once", 8704, method=NVME, verdict="WARN"),
    GuestLayout("USB", "usb-bad", 8832, method=SCSI, **unreadable(SEVERAL)),
    GuestLayout("AHCI", "ahci-bad", 8320, parameters=("RetryCount=0",), **unreadable(SEVERAL)),
    around_the_fault("NVMe, unwritable", "nvme-always", 9216, 1, skipped="126-239"),
    around_the_fault("NVMe, unwritable for a while", "nvme-twice", 9344, 4),
    around_the_fault("NVMe, fails only when it is put back", "nvme-after", 9472, 4, unrestored=True, skipped="126-239"),
    GuestLayout("NVMe, pulled out", "nvme-pulled", 131072, pulled=True, verdict="CANNOTRUN", skipped="rest"),
]
