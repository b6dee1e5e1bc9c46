"""What a case tests: the same bytes of one image, reached as a drive by one name and then by another."""

import os
import pathlib
import subprocess
import sys
import time

sys.path.append(str(pathlib.Path(__file__).resolve().parent.parent / "cli"))

import loops  # noqa: E402

MIB = 1 << 20
START = MIB  # of a partition, in bytes


def call(*words, attempts=1):
    """The output of a command; what others take or look at only for a moment is tried again."""
    for _ in range(attempts - 1):
        ended = subprocess.run(words, check=False, capture_output=True, text=True)
        if ended.returncode == 0:
            return ended.stdout.strip()
        time.sleep(0.02)
    return subprocess.run(words, check=True, capture_output=True, text=True).stdout.strip()


class Image:
    """An image file; its other name is a hard link."""

    sector_bytes, start = 512, 0

    def __init__(self, folder, data):
        self.files = [os.path.join(folder, "drive.img"), os.path.join(folder, "link.img")]
        self.original, self.bytes = data, len(data) - self.start
        with open(self.files[0], "wb") as file:
            file.write(data)
        os.link(*self.files)
        self.attach(self.files[0])

    def attach(self, file):
        self.path = self.confirm = file

    def detach(self):
        pass

    def rename(self):
        """From now on it is reached by another name."""
        self.detach()
        self.files.reverse()
        self.attach(self.files[0])

    def relative(self):
        """Another name of it, or of what shares storage with it, once it was renamed."""
        return self.path

    def contents(self):
        with open(self.files[0], "rb") as file:
            return file.read()

    def write(self, offset, data):
        """As somebody else does, who uses the drive now."""
        with open(self.node(), "r+b", buffering=0) as file:
            file.seek(offset)
            file.write(data)
            os.fsync(file.fileno())

    def node(self):
        return self.files[0]


class HardLink(Image):
    """The link is tested, and then the file goes by its first name."""

    def attach(self, file):
        super().attach(self.files[1] if file == self.files[0] else self.files[0])


class Simulated(Image):
    def attach(self, file):
        self.path, self.confirm = "sim:disk,serial=S1,image=" + file, "S1"

    def relative(self):
        return self.files[0]


class Simulated520(Simulated):
    """A drive as storage arrays have them."""

    sector_bytes = 520

    def __init__(self, folder, data):
        super().__init__(folder, data[:len(data) // 520 * 520])

    def attach(self, file):
        self.path, self.confirm = "sim:scsi,sector-size=520,serial=S1,image=" + file, "S1"


class Loop(Image):
    """A loop device; its other name is one that is attached to a hard link of the image."""

    def attach(self, file):
        self.disk = loops.attach(file, "-P", "-b", str(self.sector_bytes))
        self.path = self.confirm = self.disk

    def detach(self):
        loops.detach(self.disk)

    def node(self):
        return self.path


class Loop4096(Loop):
    sector_bytes = 4096


class Partition(Loop):
    """A partition of a loop device; later it has another number, and its relative is the whole disk."""

    start, number = START, 1

    def attach(self, file):
        super().attach(file)
        self.number = 3 - self.number
        call("addpart", self.disk, str(self.number), str(START // 512), str(self.bytes // 512), attempts=9)
        self.path = self.confirm = "%sp%d" % (self.disk, self.number)
        end = time.monotonic() + 5
        while not os.path.exists(self.path) and time.monotonic() < end:
            pass

    def relative(self):
        return self.disk

    def detach(self):
        call("delpart", self.disk, str(self.number), attempts=50)
        super().detach()


class Partition4096(Partition):
    sector_bytes = 4096


class Mapping(Loop):
    """A linear mapping of a loop device; later it is made again by another name."""

    name = ""

    def attach(self, file):
        super().attach(file)
        self.name = "drivetest-%d-%s" % (os.getpid(), "b" if self.name.endswith("a") else "a")
        call("dmsetup", "create", self.name, "--table", "0 %d linear %s 0" % (self.bytes // 512, self.disk))
        self.path = self.confirm = "/dev/mapper/" + self.name

    def detach(self):
        call("dmsetup", "remove", "--retry", self.name)
        super().detach()


def usable(folder):
    """The kinds that work here, and the names of those that do not."""
    works, fails = [], []
    for kind in (Image, HardLink, Simulated, Simulated520, Loop, Loop4096, Partition, Partition4096, Mapping):
        (works if does_work(kind, folder) else fails).append(kind)
    return works, [kind.__name__ for kind in fails]


def does_work(kind, folder):
    if kind is Mapping and subprocess.run(["dmsetup", "targets"], check=False, capture_output=True).returncode != 0:
        return False
    place = os.path.join(folder, "probe-" + kind.__name__)
    os.makedirs(place)
    try:
        kind(place, bytes(4 * MIB)).detach()
    except (OSError, subprocess.CalledProcessError):
        return False
    return True
