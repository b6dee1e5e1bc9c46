"""A Linux guest with real drivers in QEMU: starts it, runs scripts in it, and speaks QEMU's own protocol."""

import json
import os
import pathlib
import re
import shutil
import socket
import subprocess
import threading
import time

from kernel import checked, tool


class GuestError(Exception):
    """The guest did not do what it was asked; the text ends with its console."""


class Image:
    """The guest's file system in memory, as a cpio archive."""

    def __init__(self, folder, kernel, modules, later_modules=()):
        self.root, self.archive = folder / "root", folder / "initramfs"
        for name in kernel.modules_with_needed(["virtio_pci", "9pnet_virtio", "9p", *modules, *later_modules]):
            self.add(kernel.folder / name, name)
        self.add(tool("busybox", "busybox-static"), "bin/busybox")
        self.add(pathlib.Path(__file__).parent / "guest/init", "init")
        (self.root / "modules").write_text(" ".join(modules))

    def add(self, source, path):
        target = self.root / str(path).lstrip("/")
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(source, target)

    def add_program(self, program, folder="usr/bin", companions=()):
        """A program with its libraries; those beside it stay beside it."""
        program = pathlib.Path(program)
        libraries = re.findall(r"(?:=> |^\s*)(/\S+)", checked("ldd", program).decode(), re.MULTILINE)
        for file in {program, *map(pathlib.Path, libraries), *(program.parent / name for name in companions)}:
            place = f"{folder}/{file.name}" if file.parent == program.parent else str(file)
            self.add(file, place)
            if ".so" in file.name or file == program:
                # What debuggers need would take most of the guest's memory.
                checked("strip", "--strip-debug", self.root / place.lstrip("/"))

    def pack(self):
        names = "\n".join(str(path.relative_to(self.root)) for path in sorted(self.root.rglob("*")))
        cpio = [tool("busybox", "busybox-static"), "cpio", "-o", "-H", "newc"]
        self.archive.write_bytes(checked(*cpio, input=names.encode(), cwd=self.root))


class Job:
    """A script that runs in the guest."""

    def __init__(self, guest, number, script):
        self._guest, self._number, self._script = guest, number, script

    def running(self):
        return self._number not in self._guest.ended

    def wait(self, seconds=120):
        """Its exit status, and what it wrote."""
        self._guest.wait_until(lambda: not self.running(), seconds, f'the end of "{self._script}"')
        return self._guest.ended[self._number], self.output()

    def output(self):
        """What it has written so far."""
        path = self._guest.share / f"{self._number}.out"
        return path.read_text(errors="replace") if path.exists() else ""


class Guest:
    """A running guest. The host's folder "share" is the guest's /host."""

    def __init__(self, folder, kernel, image, arguments):
        self.share = folder / "share"
        self.share.mkdir(exist_ok=True)
        self.console = folder / "console"
        self.ended = {}  # number of a script -> exit status
        self._numbers = 0
        self._changed = threading.Condition()
        self._agent, agent = socket.socketpair()
        self._control, control = socket.socketpair()
        pipes = (agent.fileno(), control.fileno())
        # It must not outlive this process, however that ends. One processor: of two emulated side by side, one can
        # miss an interrupt for good, and the kernel then stands still.
        command = ["setpriv", "--pdeathsig", "KILL", tool("qemu-system-x86_64", "qemu-system-x86"),
                   *"-M q35 -accel tcg,thread=multi -smp 1 -m 1024 -nodefaults -display none -no-reboot".split(),
                   "-kernel", kernel.image, "-initrd", image, "-append", "console=ttyS0 quiet panic=-1 no_timer_check clocksource=tsc tsc=reliable",
                   "-serial", f"file:{self.console}", "-chardev", f"socket,id=agent,fd={pipes[0]}",
                   "-serial", "chardev:agent",
                   "-chardev", f"socket,id=qmp,fd={pipes[1]}", "-mon", "chardev=qmp,mode=control",
                   "-virtfs", f"local,path={self.share},mount_tag=host,security_model=none", *arguments]
        with (folder / "qemu.out").open("wb") as output:
            self._process = subprocess.Popen(command, pass_fds=pipes, stdin=subprocess.DEVNULL,
                                             stdout=output, stderr=output)
        agent.close()
        control.close()
        threading.Thread(target=self._listen, daemon=True).start()
        self._answers = self._control.makefile("r")
        try:
            self.wait_until(lambda: "ready" in self.ended, 120, "the start of the guest")
        except GuestError:
            self.close()
            raise
        self.qemu("qmp_capabilities")

    def alive(self):
        return self._process.poll() is None

    def close(self):
        self._process.kill()
        self._process.wait()
        for connection in (self._agent, self._control, self._answers):
            connection.close()

    def _listen(self):
        for line in self._agent.makefile("r", errors="replace"):
            number, status = line.split()
            with self._changed:
                self.ended[number] = int(status)
                self._changed.notify_all()

    def wait_until(self, reached, seconds, what):
        """Waits for what scripts and devices do, without a wait longer than needed."""
        limit = time.monotonic() + seconds
        with self._changed:
            while not reached():
                if not self.alive() or time.monotonic() > limit:
                    raise GuestError(f"waited in vain for {what}\n{self.console_tail()}")
                self._changed.wait(0.02)

    def console_tail(self, start=0):
        """What the guest's console and QEMU said last."""
        said = (self.console.parent / "qemu.out").read_text(errors="replace")[-1000:]
        text = self.console.read_text(errors="replace")[start:] if self.console.exists() else ""
        return f"QEMU said: {said}\nconsole of the guest:\n{text[-6000:]}"

    def start(self, script):
        self._numbers += 1
        number = str(self._numbers)
        (self.share / f"{number}.sh").write_text(script + "\n")
        self._agent.sendall(f"{number}\n".encode())
        return Job(self, number, script)

    def run(self, script, seconds=120):
        return self.start(script).wait(seconds)

    def qemu(self, execute, **arguments):
        """Has QEMU execute a command of its machine protocol; gives its answer."""
        self._control.sendall(json.dumps({"execute": execute, "arguments": arguments}).encode())
        for line in self._answers:
            answer = json.loads(line)
            if "error" in answer:
                raise GuestError(f"QEMU refused {execute}: {answer['error']['desc']}")
            if "return" in answer:
                return answer["return"]
