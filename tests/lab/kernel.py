"""The distribution's kernel and its modules, unpacked from their package without being installed."""

import lzma
import pathlib
import re
import shutil
import subprocess


class Unavailable(Exception):
    """The laboratory cannot be had on this machine; the text says why and what to do."""


def tool(name, package):
    found = shutil.which(name, path="/usr/sbin:/usr/bin:/sbin:/bin")
    if found is None:
        raise Unavailable(f"{name} was not found: install the package {package}, as scripts/setup.sh --dev does")
    return found


def checked(*command, **options):
    return subprocess.run(command, check=True, capture_output=True, timeout=300, **options).stdout


class Kernel:
    """A kernel image that QEMU starts at once, and the modules that belong to it; kept in a folder."""

    def __init__(self, folder):
        self.folder = pathlib.Path(folder).resolve()
        self.image = self.folder / "vmlinux"
        if not self.image.exists():
            self._fetch()
        self.version = next((self.folder / "lib/modules").iterdir()).name

    def modules_with_needed(self, names):
        """The files of these modules and of those they need, relative to the folder, and the lists that find them."""
        files = {f"lib/modules/{self.version}/modules.{part}" for part in ("dep", "alias", "symbols", "builtin")}
        for name in names:
            shown = checked(tool("modprobe", "kmod"), "-S", self.version, "-d", self.folder, "--show-depends", name)
            paths = re.findall(r"^insmod (\S+)", shown.decode(), re.MULTILINE)
            files.update(str(pathlib.Path(path).relative_to(self.folder)) for path in paths)
        return sorted(files)

    def _fetch(self):
        shutil.rmtree(self.folder, ignore_errors=True)
        self.folder.mkdir(parents=True)
        try:
            try:
                self._unpack(self._download())
            except (subprocess.SubprocessError, StopIteration):
                # No package lists, or old ones: fetch them to a place of our own, which needs no root.
                state = self.folder / "apt"
                (state / "lists/partial").mkdir(parents=True)
                own = ["-o", f"Dir::State::lists={state}/lists", "-o", f"Dir::Cache={state}"]
                checked("apt-get", *own, "update")
                self._unpack(self._download(*own))
        except (subprocess.SubprocessError, StopIteration) as error:
            said = (getattr(error, "stderr", None) or b"").decode()
            raise Unavailable(f"the kernel's package cannot be fetched: {error} {said[-300:]}") from error

    def _download(self, *options):
        needed = checked("apt-cache", *options, "depends", "linux-image-amd64").decode()
        name = next(iter(re.findall(r"Depends: (linux-image-[0-9]\S+)", needed)))
        checked("apt-get", *options, "download", name, cwd=self.folder)
        return next(self.folder.glob("linux-image-*.deb"))

    def _unpack(self, package):
        excluded = [f"--exclude=*/drivers/{name}" for name in ("net", "gpu", "media")]  # the largest
        archive = subprocess.run(["dpkg-deb", "--fsys-tarfile", package], check=True, capture_output=True).stdout
        checked("tar", "-x", "-C", self.folder, *excluded, input=archive)
        version = next((self.folder / "lib/modules").iterdir()).name
        checked(tool("depmod", "kmod"), "-b", self.folder, version)
        packed = (self.folder / f"boot/vmlinuz-{version}").read_bytes()
        start = packed.find(b"\xfd7zXZ\0")  # unpacked, it starts three times as fast
        plain = packed if start < 0 else lzma.LZMADecompressor().decompress(packed[start:])
        unfinished = self.image.with_suffix(".new")
        unfinished.write_bytes(plain)
        unfinished.rename(self.image)
        package.unlink()
