"""Mounts that only a test and the processes that it starts see."""

import ctypes
import os

_NEW_MOUNTS, _PRIVATE, _RECURSIVE, _BIND = 0x20000, 1 << 18, 1 << 14, 1 << 12
_FORCE, _DETACH = 1, 2
_libc = ctypes.CDLL(None, use_errno=True)


def _call(result):
    if result != 0:
        raise OSError(ctypes.get_errno(), os.strerror(ctypes.get_errno()))


def abort(target):
    """Who waits for the file system gets an error, though it stays where it is used."""
    _libc.umount2(target.encode(), _FORCE)


def mount(test, source, target, kind=None, options=None):
    """For the length of a test; of no kind is a folder that is shown in another place, too. Skips the test where that cannot be."""
    words = [word.encode() if word else None for word in (source, target, kind)]
    try:
        _call(_libc.unshare(_NEW_MOUNTS))
        _call(_libc.mount(None, b"/", None, _PRIVATE | _RECURSIVE, None))
        _call(_libc.mount(*words, 0 if kind else _BIND, options.encode() if options else None))
    except OSError as error:
        test.skipTest("mounts of tests do not work here: %s" % error)
    # Who waits for a file system that does not answer gets an error.
    test.addCleanup(lambda: _call(_libc.umount2(target.encode(), _FORCE | _DETACH)))
