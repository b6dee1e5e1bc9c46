"""A file system that stops answering, as a drive does of which nothing comes any more: who waits for it cannot be killed."""

import os
import struct
import threading

import mounts

_LOOKUP, _FORGET, _GETATTR, _OPEN, _READ, _INIT = 1, 2, 3, 14, 15, 26
_ROOT, _FILE = 1, 2


class SilentFile:
    """A file of zeros that answers until it falls silent: `mute` are the requests to which nothing comes any more (linux/fuse.h)."""
    OPEN, READ = _OPEN, _READ

    def __init__(self, test, folder, size, mute=()):
        """For the length of a test, and for its processes alone; skips it where that cannot be done."""
        self.size, self.mute, self.asked = size, set(mute), set()
        self.path = os.path.join(folder, "drive.img")
        os.makedirs(folder)
        try:
            self.device = os.open("/dev/fuse", os.O_RDWR | os.O_CLOEXEC)
        except OSError as error:
            test.skipTest("file systems of tests do not work here: %s" % error)
        mounts.mount(test, "silence", folder, "fuse", "fd=%d,rootmode=40000,user_id=0,group_id=0" % self.device)
        threading.Thread(target=self._serve, daemon=True).start()

    def _serve(self):
        while True:
            try:
                request = os.read(self.device, 1 << 20)
            except OSError:  # unmounted
                os.close(self.device)
                return
            _, opcode, unique, node = struct.unpack("IIQQ", request[:24])
            self.asked.add(opcode)
            if opcode == _FORGET or opcode in self.mute:
                continue
            answer = self._answer(opcode, node, request[40:])
            error, body = (0, answer) if isinstance(answer, bytes) else (-answer, b"")
            os.write(self.device, struct.pack("IiQ", 16 + len(body), error, unique) + body)

    def _answer(self, opcode, node, body):
        """What is asked for, or an errno."""
        if opcode == _INIT:
            return struct.pack("IIIIHHI", 7, 31, 0, 0, 0, 0, 1 << 17) + bytes(40)
        if opcode == _LOOKUP:
            return struct.pack("QQQQII", _FILE, 0, 0, 0, 0, 0) + self._attributes(_FILE) if body == b"drive.img\0" else 2
        if opcode == _GETATTR:
            return struct.pack("QII", 0, 0, 0) + self._attributes(node)
        if opcode == _OPEN:
            return struct.pack("QII", 1, 0, 0)
        if opcode == _READ:
            return bytes(struct.unpack("QQI", body[:20])[2])
        return 38

    def _attributes(self, node):
        mode, size = (0o40755, 0) if node == _ROOT else (0o100644, self.size)
        return struct.pack("QQQQQQIIIIIIIIII", node, size, size // 512, 0, 0, 0, 0, 0, 0, mode, 1, 0, 0, 0, 4096, 0)
