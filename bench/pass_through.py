"""The measuring part of pass_through.sh. Arguments: size of the drives in MiB, rounds."""

import collections
import os
import pathlib
import re
import shutil
import statistics
import sys
import tempfile

sys.path.append(str(pathlib.Path(__file__).resolve().parent.parent / "tests/lab"))

import guest  # noqa: E402
import kernel  # noqa: E402

MODULES = ["nvme", "virtio_scsi", "ahci", "sd_mod", "sg"]
MOST_FAILED = 3
ATA, SCSI, BLOCK, BLOCK_AND_SCSI, NVME = 1, 2, 6, 7, 8


class Bench:
    def __init__(self, folder, mebibytes):
        self.mebibytes = mebibytes
        self.failed = collections.Counter()
        image = guest.Image(folder, own_kernel := kernel.Kernel(os.environ["LAB_KERNEL"]), MODULES, ["scsi_debug"])
        image.add_program(os.environ["DRIVETEST"], "drivetest", ["libDriveTest.so", "libDriveTest.qpk"])
        image.add_program(os.environ["SINGLE_COMMANDS"])
        image.add_program(shutil.which("sg_dd"))
        image.pack()
        self.guest = guest.Guest(folder, own_kernel, image.archive, self._devices(folder))
        # It lives in the guest's memory.
        self.must(f"modprobe scsi_debug dev_size_mb={min(mebibytes, 256)} delay=0")

    def _devices(self, folder):
        arguments = ["-device", "virtio-scsi-pci,id=vs"]
        for name, device in (("nvme", "nvme,serial=bench"), ("scsi", "scsi-hd,bus=vs.0"),
                             ("ahci", "ide-hd,bus=ide.0")):
            path = folder / f"{name}.img"
            with path.open("wb") as image:
                image.truncate(self.mebibytes << 20)
            arguments += ["-blockdev", f"driver=raw,node-name={name},file.driver=file,file.filename={path}",
                          "-device", f"{device},drive={name}"]
        return arguments

    def must(self, script):
        status, output = self.guest.run(script, 600)
        if status != 0:
            sys.exit(f"\"{script}\" ended with status {status}: {output}")
        return output

    def drivetest(self, path, method):
        """MiB/s from the first transfer's start to the last one's end: the other programs leave their start out, too."""
        command = (f"drivetest run LinearReadTest {path} "
                   f"--property __libDriveTest_AccessOrder=DriveTestSearchOrder:{method}")
        status, said = self.guest.run(command, 600)
        if status != 0:
            # QEMU loses a command now and then, which the guest's driver gives up after 30 s.
            self.failed[path, method] += 1
            if self.failed[path, method] > MOST_FAILED:
                sys.exit(f"\"{command}\" ended with status {status}: {said}")
            return self.drivetest(path, method)
        return float(re.search(r"read .* ([0-9.]+) MB/s", said)[1])

    def single(self, kind, path, size):
        return float(self.must(f"single_commands {kind} {path} {size}"))

    def sg_dd(self, path, size):
        said = self.must(f"sg_dd if={path} of=/dev/null bs=512 bpt={size // 512} blk_sgio=1 time=1 2>&1")
        return float(re.search(r"([0-9.]+) MB/sec", said)[1]) / 1.048576

    def transfer_bytes(self, path):
        """What the kernel takes as one command, wherever its memory lies; 512-byte sectors."""
        name = os.path.basename(path)
        limits = [int(self.must(f"cat /sys/block/{name}/queue/{limit}")) for limit in ("max_hw_sectors_kb", "max_segments")]
        return min(limits[0] * 1024, (limits[1] - 1) * 4096, 1 << 20)


def ways_of(bench):
    """Of each drive, its path and the ways to read it."""
    scsi = "/dev/" + bench.must("basename $(ls -d /sys/bus/virtio/devices/*/host*/target*/*/block/*)").strip()
    debug = "/dev/" + bench.must("ls /sys/bus/pseudo/devices/adapter0/host*/target*/*/block").strip()
    ahci = "/dev/" + bench.must("basename $(ls -d /sys/bus/pci/devices/*/ata*/host*/target*/*/block/*)").strip()
    nvme = "/dev/nvme0n1"

    def scsi_ways(path):
        size = bench.transfer_bytes(path)
        return {"7 block and SCSI": lambda: bench.drivetest(path, BLOCK_AND_SCSI),
                "6 block": lambda: bench.drivetest(path, BLOCK),
                "2 SCSI": lambda: bench.drivetest(path, SCSI),
                "single commands": lambda: bench.single("scsi", path, size),
                "sg_dd": lambda: bench.sg_dd(path, size)}

    size = bench.transfer_bytes(nvme)
    return {"virtio-scsi": (scsi, scsi_ways(scsi)),
            "scsi_debug": (debug, scsi_ways(debug)),
            "ahci": (ahci, {"1 ATA": lambda: bench.drivetest(ahci, ATA),
                            "6 block": lambda: bench.drivetest(ahci, BLOCK)}),
            "nvme": (nvme, {"8 NVMe": lambda: bench.drivetest(nvme, NVME),
                            "6 block": lambda: bench.drivetest(nvme, BLOCK),
                            "single commands": lambda: bench.single("nvme", nvme, size)})}


def measure(bench, rounds):
    """(drive, way) -> its rates, a round each."""
    drives = ways_of(bench)
    rates = collections.defaultdict(list)
    for turn in range(rounds):
        for drive, (path, ways) in drives.items():
            # Whoever comes first must not pay for cold caches, nor always be the first.
            bench.must(f"dd if={path} of=/dev/null bs=1M 2>/dev/null")
            for label in ways if turn % 2 else reversed(ways):
                rates[drive, label].append(ways[label]())
    return rates


RATIOS = [("virtio-scsi", "7 block and SCSI", "6 block"), ("scsi_debug", "7 block and SCSI", "6 block"),
          ("virtio-scsi", "2 SCSI", "single commands"), ("virtio-scsi", "2 SCSI", "sg_dd"),
          ("scsi_debug", "2 SCSI", "single commands"), ("scsi_debug", "2 SCSI", "sg_dd"),
          ("nvme", "8 NVMe", "single commands"), ("nvme", "8 NVMe", "6 block"),
          ("ahci", "1 ATA", "6 block")]


def main():
    mebibytes, rounds = int(sys.argv[1]), int(sys.argv[2])
    with tempfile.TemporaryDirectory(prefix="pass-through-") as name:
        bench = Bench(pathlib.Path(name), mebibytes)
        try:
            rates = measure(bench, rounds)
        finally:
            bench.guest.close()
    print(f"median of {rounds} rounds over {mebibytes} MiB (scsi_debug: at most 256), MiB/s")
    for (drive, label), measured in rates.items():
        print(f"  {drive:12} {label:18} {statistics.median(measured):9.1f}")
    for (path, method), count in bench.failed.items():
        print(f"  {path} by method {method}: {count} runs ended with an error, and were repeated")
    print("ratios: median of those of each round, and the least and greatest of them")
    for drive, ours, theirs in RATIOS:
        pairs = sorted(our / their for our, their in zip(rates[drive, ours], rates[drive, theirs]))
        print(f"  {drive:12} {ours} / {theirs}: {statistics.median(pairs):.2f} ({pairs[0]:.2f} to {pairs[-1]:.2f})")


if __name__ == "__main__":
    main()
