"""Boots a system of the distribution, with systemd and the package, in a virtual machine with several drives, and has
service_guest.sh look at what the weekly scrub does there. Arguments: the folder of the system, with the package in it; a
folder for what is made. Ends with 0 only if all was as it should be."""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import time

from kernel import Kernel, Unavailable, checked, tool

MIB = 1 << 20
DRIVES = ["ahci", "sd_mod", "nvme", "virtio_scsi", "virtio_blk", "crc32c_generic", "ext4", "sg"]
SECONDS = 1800  # that the machine may take
# Makes the system's disk the root, and starts its systemd.
INIT = """#!/bin/busybox sh
/bin/busybox mkdir -p /proc /sys /dev /sbin /new
/bin/busybox --install -s /bin
mount -t devtmpfs dev /dev
mount -t proc proc /proc
mount -t sysfs sys /sys
/bin/modprobe -a $(cat /modules)
until [ -b /dev/vda ]; do sleep 0.1; done
mount -t ext4 /dev/vda /new
umount /proc /sys
mount --move /dev /new/dev
exec switch_root /new /sbin/init
"""
UNIT = """[Unit]
After=multi-user.target systemd-udev-settle.service
Wants=systemd-udev-settle.service
[Service]
ExecStart=/bin/bash /service_guest.sh
StandardOutput=tty
StandardError=tty
TTYPath=/dev/ttyS0
[Install]
WantedBy=multi-user.target
"""


def make_initramfs(folder, kernel):
    """With the drivers that the system's own disk and the others want."""
    root = folder / "initramfs.d"
    for name in kernel.modules_with_needed(["virtio_pci", *DRIVES]):
        (root / name).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(kernel.folder / name, root / name)
    (root / "bin").mkdir()
    shutil.copy(tool("busybox", "busybox-static"), root / "bin/busybox")
    (root / "init").write_text(INIT)
    (root / "init").chmod(0o755)
    (root / "modules").write_text(" ".join(["virtio_pci", *DRIVES]))
    names = "\n".join(str(path.relative_to(root)) for path in sorted(root.rglob("*")))
    archive = folder / "initramfs"
    archive.write_bytes(checked(tool("busybox", "busybox-static"), "cpio", "-o", "-H", "newc", input=names.encode(), cwd=root))
    return archive


def make_disk(folder, system):
    """The system's disk: with the package installed, and the script to be run."""
    package = next(system.glob("drivetest_*.deb"))
    checked("chroot", system, "dpkg", "-i", package.name)
    shutil.copy(pathlib.Path(__file__).with_name("service_guest.sh"), system)
    (system / "etc/systemd/system/check.service").write_text(UNIT)
    checked("systemctl", f"--root={system}", "enable", "check.service")
    checked("systemctl", f"--root={system}", "mask", "serial-getty@ttyS0.service", "getty@tty1.service", "apt-daily.timer",
            "apt-daily-upgrade.timer", "systemd-networkd.service")
    disk = folder / "system.img"
    checked(tool("mke2fs", "e2fsprogs"), "-q", "-t", "ext4", "-d", system, disk, "1200M")
    return disk


def drive_arguments(folder):
    """Four drives of each kind that is reached in its own way, one that is slow, and one that others will keep busy."""
    arguments = ["-device", "virtio-scsi-pci,id=vs", "-device", "ich9-ahci,id=sata"]
    for number, (name, device, size, rate) in enumerate((
            ("ata", "ide-hd,bus=sata.0,drive=ata,serial=ATA1", 32 * MIB, 0),
            ("scsi", "scsi-hd,bus=vs.0,scsi-id=1,drive=scsi,serial=SCSI1", 32 * MIB, 0),
            ("nvme", "nvme,drive=nvme,serial=NVME1", 32 * MIB, 0),
            ("slow", "ide-hd,bus=sata.1,drive=slow,serial=SLOW1", 100 * MIB, MIB),
            ("busy", "scsi-hd,bus=vs.0,scsi-id=2,drive=busy,serial=BUSY1", 32 * MIB, 4 * MIB))):
        image = folder / f"{name}.img"
        with image.open("wb") as file:
            file.write(bytes([number + 1]) * MIB)
            file.truncate(size)
        limit = f",throttling.bps-read={rate}" if rate else ""
        arguments += ["-drive", f"if=none,id={name},file={image},format=raw{limit}", "-device", device]
    return arguments


def boot(folder, kernel, disk, initramfs):
    """Until it turns itself off; gives what its console said."""
    console = folder / "console"
    command = ["setpriv", "--pdeathsig", "KILL", tool("qemu-system-x86_64", "qemu-system-x86"),
               *"-M q35 -accel tcg -smp 1 -m 1024 -nodefaults -display none -no-reboot".split(),
               "-kernel", kernel.image, "-initrd", initramfs, "-serial", f"file:{console}", "-monitor", "none",
               "-append", "console=ttyS0 quiet panic=-1 no_timer_check clocksource=tsc tsc=reliable "
                          "systemd.show_status=no systemd.unified_cgroup_hierarchy=1",
               "-drive", f"if=none,id=root,file={disk},format=raw", "-device", "virtio-blk-pci,drive=root",
               *drive_arguments(folder)]
    started = time.monotonic()
    with (folder / "qemu.out").open("wb") as output:
        try:
            subprocess.run(command, stdin=subprocess.DEVNULL, stdout=output, stderr=output, timeout=SECONDS, check=False)
        except subprocess.TimeoutExpired:
            print(f"the virtual machine did not end within {SECONDS} s", file=sys.stderr)
    said = console.read_text(errors="replace") if console.exists() else (folder / "qemu.out").read_text()
    return said, time.monotonic() - started


def main():
    system, folder = (pathlib.Path(each).resolve() for each in sys.argv[1:3])
    try:
        kernel = Kernel(os.environ["LAB_KERNEL"])
        said, seconds = boot(folder, kernel, make_disk(folder, system), make_initramfs(folder, kernel))
    except (Unavailable, subprocess.CalledProcessError) as error:
        print(f"{error} {getattr(error, 'stderr', b'') or b''}", file=sys.stderr)
        return 1
    lines = re.findall(r"^CHECK (.*?)\r?$", said, re.MULTILINE)
    print("\n".join("-- " + line for line in lines))
    if "CHECK all went well" not in said.replace("\r", ""):
        print(said[-8000:], file=sys.stderr)
        return 1
    print(f"the virtual machine ran for {seconds:.0f} s")
    return 0


if __name__ == "__main__":
    sys.exit(main())
