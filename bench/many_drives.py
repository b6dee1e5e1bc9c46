"""The part of many_drives.sh that measures in a virtual machine: drives of null_blk and scsi_debug, read side by side.
Argument: the most drives."""

import os
import pathlib
import re
import shutil
import sys
import tempfile

sys.path.append(str(pathlib.Path(__file__).resolve().parent.parent / "tests/lab"))

import guest  # noqa: E402
import kernel  # noqa: E402

MODULES = ["sd_mod", "sg"]
LATER_MODULES = ["null_blk", "scsi_debug"]
MEBIBYTES = 1024  # of each drive, all of which are read; the programs' start is part of what is measured
ROUNDS = 3


class Bench:
    def __init__(self, folder):
        own_kernel = kernel.Kernel(os.environ["LAB_KERNEL"])
        image = guest.Image(folder, own_kernel, MODULES, LATER_MODULES)
        image.add_program(os.environ["DRIVETEST"], "drivetest", ["libDriveTest.so", "libDriveTest.qpk"])
        image.add_program(shutil.which("dd"), "bench")
        image.add_program(shutil.which("bash"), "bench")
        image.pack()
        self.guest = guest.Guest(folder, own_kernel, image.archive, [])

    def must(self, script):
        status, output = self.guest.run(script, 900)
        if status != 0:
            sys.exit(f"\"{script}\" ended with status {status}: {output}")
        return output

    def seconds(self, command, drives):
        """Processor seconds for a TiB of the command, of which each drive has a process."""
        reads = " ".join(f"{{ {command.replace('DRIVE', drive)} >/dev/null 2>&1 || echo {drive} failed; }} &" for drive in drives)
        said = self.must(f"/bench/bash -c '{reads} wait; times'")
        if "failed" in said:
            sys.exit(f"\"{command}\": {said}")
        children = said.split("\n")[1]
        spent = sum(int(minutes) * 60 + float(rest) for minutes, rest in re.findall(r"(\d+)m([\d.]+)s", children))
        return spent * 1048576 / (MEBIBYTES * len(drives))


def null_drives(bench, count):
    bench.must(f"modprobe null_blk nr_devices={count} gb=1")
    return [f"/dev/nullb{number}" for number in range(count)]


def scsi_drives(bench, count):
    bench.must(f"modprobe scsi_debug dev_size_mb=16 virtual_gb=1 delay=0 num_tgts={count}")
    disks = "ls -d /sys/block/sd* 2>/dev/null | cut -d/ -f4"  # the kernel looks for them on its own time
    names = bench.must(f"for i in $(seq 600); do [ $({disks} | wc -l) = {count} ] && break; sleep 0.1; done; {disks}")
    return ["/dev/" + name for name in names.split()]


def main():
    most = int(sys.argv[1])
    with tempfile.TemporaryDirectory(prefix="many-drives-") as name:
        bench = Bench(pathlib.Path(name))
        try:
            for kind, make in (("null_blk", null_drives), ("scsi_debug", scsi_drives)):
                drives = make(bench, most)
                print(f"{kind}, best of {ROUNDS} rounds, processor seconds of the virtual machine for a TiB")
                for count in (1, 8, most):
                    ways = {"dd": "/bench/dd if=DRIVE of=/dev/null bs=1M iflag=direct",
                            "drivetest": "drivetest run LinearReadTest DRIVE -q --no-record"}
                    best = {way: min(bench.seconds(command, drives[:count]) for _ in range(ROUNDS))
                            for way, command in ways.items()}
                    print(f"  {count:2} drives  dd {best['dd']:9.0f}  drivetest {best['drivetest']:9.0f}"
                          f"  ratio {best['drivetest'] / best['dd']:.2f}")
        finally:
            bench.guest.close()


if __name__ == "__main__":
    main()
