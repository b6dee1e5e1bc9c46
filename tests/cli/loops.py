"""Loop devices of tests that run beside each other: nobody takes a number that is only being moved, or detaches another's."""

import contextlib
import fcntl
import os
import subprocess
import time

_attached = set()


@contextlib.contextmanager
def _alone():
    """For one change of loop devices, against all tests on this machine."""
    control = os.open("/dev/loop-control", os.O_RDONLY | os.O_CLOEXEC)
    try:
        fcntl.flock(control, fcntl.LOCK_EX)
        yield
    finally:
        os.close(control)


def _losetup(*words):
    """Tried again while others look at the device for a moment."""
    for _ in range(50):
        ended = subprocess.run(["losetup", *words], check=False, capture_output=True, text=True)
        if ended.returncode == 0:
            return ended.stdout.strip()
        time.sleep(0.02)
    raise OSError("losetup %s: %s" % (" ".join(words), ended.stderr.strip()))


def attach(path, *options):
    """The loop device that stands for a file from now on."""
    with _alone():
        device = _losetup("--show", "-f", *options, path)
    _attached.add(device)
    return device


def move(device, path):
    """The same loop device, attached to another file; not while somebody has it open: OSError, and it is free when he ends."""
    with _alone():
        _losetup("-d", device)
        _attached.remove(device)
        _losetup(device, path)
        _attached.add(device)


def is_attached(device):
    return device in _attached


def detach(device):
    """Once: later calls leave alone what is another's by then."""
    if is_attached(device):
        _attached.remove(device)
        with _alone():
            _losetup("-d", device)
