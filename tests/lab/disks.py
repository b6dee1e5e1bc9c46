"""The disks that QEMU gives the guest: their kinds, their unreadable sectors, and their speed."""

import dataclasses
import json
import random
import shutil
import struct

KIB, MIB = 1 << 10, 1 << 20
NO_DATA, IO_ERROR = 61, 5  # the errno that makes QEMU's controllers report a medium error, as far as they can

# kind -> (sector bytes, errno of a read fault, size). Those with large sectors are large enough for the longest
# transfers; the others are small, because each bad sector makes the tests read many single ones.
KINDS = {
    "nvme": (512, NO_DATA, 4 * MIB), "nvme-4k": (4096, NO_DATA, 84 * MIB), "virtio-scsi": (4096, NO_DATA, 84 * MIB),
    "usb": (512, NO_DATA, 4 * MIB), "uas": (512, NO_DATA, 4 * MIB), "ahci": (512, IO_ERROR, 4 * MIB),
    "pata": (512, IO_ERROR, 2 * MIB),
}
PULLED = ["nvme", "virtio-scsi", "usb"]  # QEMU's UAS ends in an assertion when pulled while it works
WRITTEN = ["nvme", "ahci", "virtio-scsi", "usb"]
FAULT_AT = 122
# When writes to that sector of a disk fail -> rules for QEMU, whose state counts the first writes to the disk.
WRITE_FAULTS = {"never": [], "always": [{}], "twice": 2 * [{"once": True}],
                "after 4": [{"event": "pwritev", "state": 5}]}
COUNT_WRITES = [{"event": "pwritev", "state": n, "new_state": n + 1} for n in range(1, 5)]
# What all disks need, and a floppy disk of zeros, whose read faults would reach nobody.
COMMON = ["-device", "piix3-ide,id=pata", "-device", "virtio-scsi-pci,id=vs", "-device", "qemu-xhci,id=usb,p2=10,p3=10",
          "-blockdev", "driver=null-co,node-name=floppy,size=1474560,read-zeroes=on",
          "-device", "isa-fdc,id=fdc", "-device", "floppy,drive=floppy,bus=fdc.0,drive-type=144"]


@dataclasses.dataclass(frozen=True)
class Disk:
    """A disk of its own size, by which it is found again in the guest."""
    kind: str
    bytes: int
    bad: tuple  # unreadable sectors
    speed: int  # bytes a second; 0: as fast as can be
    place: int  # number among the disks of its kind of bus
    write_fault: str = ""
    name: str = ""  # its serial number, as far as its kind has one
    forgetful: bool = False  # loses in a power cut what was not flushed
    plugged: bool = True  # from the start on; else there is only what it holds

    def __post_init__(self):
        object.__setattr__(self, "name", self.name or f"{self.kind}-{self.bytes // KIB}")
        object.__setattr__(self, "sector_bytes", KINDS[self.kind][0])
        object.__setattr__(self, "sectors", self.bytes // self.sector_bytes)

    def node(self):
        """A pattern of the guest's names for it, where its serial number is not enough."""
        return "."

    def serial(self):
        return self.name

    def arguments(self, folder):
        """QEMU's arguments for the disk; its image is made in the folder, unless it is there from an earlier start."""
        path = folder / f"{self.name}.img"
        if not path.exists():
            with path.open("wb") as image:
                image.write(random.Random(self.name).randbytes(4 * MIB))
                image.truncate(self.bytes)
        node = {"driver": "file", "filename": str(path)}
        if self.forgetful:
            shutil.copy(path, path.with_suffix(".start"))
            path.with_suffix(".log").write_bytes(b"")
            node = {"driver": "blklogwrites", "file": node, "log": {**node, "filename": str(path.with_suffix(".log"))}}
        rules = [self._fault("read", lba) for lba in self.bad] + [
            {**self._fault("write", FAULT_AT), **rule} for rule in WRITE_FAULTS.get(self.write_fault, [])]
        if rules:
            node = {"driver": "blkdebug", "image": node, "inject-error": rules, "set-state": COUNT_WRITES}
        group = []
        if self.speed:
            group = ["-object", f"throttle-group,id=slow-{self.name},x-bps-total={self.speed}"]
            node = {"driver": "throttle", "throttle-group": f"slow-{self.name}", "file": node}
        node = {"driver": "raw", "node-name": self.name, "file": node}
        devices = [word for device in self.devices() if self.plugged for word in ("-device", device)]
        return [*group, "-blockdev", json.dumps(node), *devices]

    def cut_power(self, folder, chance):
        """After QEMU was killed: of what was written since the last flush each 4 KiB are, by chance, lost. QEMU's log has
        before each piece of data a header of one sector: the first sector, how many, and flags, of which 1 is a flush."""
        log, image = ((folder / f"{self.name}.{end}").read_bytes() for end in ("log", "start"))
        image, written, flushes, at = bytearray(image), [], 0, 512
        while at < len(log):
            sector, count, flags = struct.unpack_from("<3Q", log, at)
            flushes += flags & 1
            data = log[at + 512:at + 512 * (1 + count)]
            written += [(512 * sector + n, data[n:n + 4096], flushes) for n in range(0, len(data), 4096)]
            at += 512 * (1 + count)
        for place, data, before in written:
            if before < flushes or chance.random() < 0.5:
                image[place:place + len(data)] = data
        (folder / f"{self.name}.img").write_bytes(image)

    def _fault(self, iotype, lba):
        per_sector = self.sector_bytes // 512
        return {"event": "none", "iotype": iotype, "errno": KINDS[self.kind][1], "immediately": False,
                "sector": lba * per_sector + per_sector // 2}

    def devices(self):
        """QEMU's arguments for the devices; the one that bears the disk's name is what is pulled out."""
        me, drive = f"id={self.name}", f"drive={self.name}"
        errors = "rerror=report,werror=report"
        size = f"logical_block_size={self.sector_bytes},physical_block_size={self.sector_bytes}"
        if self.kind.startswith("nvme"):
            port = f"port-{self.name}"
            return [f"pcie-root-port,id={port},chassis={self.place + 1},slot={self.place + 1}",
                    f"nvme,{drive},{me},bus={port},serial={self.name},{size}"]
        return {
            "ahci": [f"ide-hd,{drive},{me},{errors},bus=ide.{self.place},serial={self.name}"],
            "pata": [f"ide-hd,{drive},{me},{errors},bus=pata.{self.place}"],
            "virtio-scsi": [f"scsi-hd,{drive},{me},{errors},bus=vs.0,scsi-id={self.place},lun=0,{size}"],
            "usb": [f"usb-storage,{drive},{me},{errors},bus=usb.0"],
            "uas": [f"usb-uas,{me},bus=usb.0", f"scsi-hd,{drive},bus={self.name}.0,{errors}"],
        }[self.kind]


class Namespace(Disk):
    """One of several of an NVMe controller, which comes with the first; its place is its number."""

    def node(self):
        return f"n{self.place}$"

    def serial(self):
        return "namespaces"

    def devices(self):
        controller = ["pcie-root-port,id=port-controller,chassis=20,slot=20",
                      f"nvme,id=controller,bus=port-controller,serial={self.serial()}"] if self.place == 1 else []
        return [*controller, f"nvme-ns,drive={self.name},id={self.name},bus=controller,nsid={self.place}"]


def surface(sector_bytes, total):
    """Bad sectors: the first, the last, a single one, neighbours, and pairs across the borders of transfers, which are
    1 MiB, 8 MiB, or a tenth of the drive where that is less."""
    sectors, one = total // sector_bytes, MIB // sector_bytes
    borders = {min(one, sectors // 10), min(8 * one, sectors // 10)}
    return tuple(sorted({0, 77, 100, 101, sectors - 1, *borders, *(border - 1 for border in borders)}))


def make_disks():
    """For each kind a disk with bad sectors and one without; of those that can be pulled, two slow ones; to be written,
    small ones."""
    disks = []
    for row, (kind, (sector_bytes, _, size)) in enumerate(KINDS.items()):
        size += row * 128 * KIB
        disks.append(Disk(kind, size, surface(sector_bytes, size), speed=0, place=2 * row % 4))
        disks.append(Disk(kind, size + 64 * KIB, (), speed=0, place=2 * row % 4 + 1))
    slow = [Disk(kind, (64 + row) * MIB, (), speed=2 * MIB, place=10 + row) for row, kind in enumerate(2 * PULLED)]
    size = MIB
    for place, fault in enumerate(WRITE_FAULTS, 4):
        for kind in WRITTEN if fault in ("never", "always") else ["nvme"]:
            disks.append(Disk(kind, size, (), speed=0, place=place, write_fault=fault))
            size += 64 * KIB
    return disks + slow
