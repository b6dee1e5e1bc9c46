"""Processor time that a run spends beside its test, on threads of their own: watched in a terminal, with a record and a
report, and quiet, with nothing written. That of the test itself varies by more than all of that takes.

reporters.py PROGRAM DEVICE prints what the outputs take in percent of one core, transfers a second, and seconds."""

import fcntl
import glob
import json
import os
import pty
import select
import struct
import sys
import tempfile
import termios
import time

SAMPLES = 0.05  # seconds between two


def sample(process, threads):
    """The nanoseconds of each thread but the first, and the kernel's; those that have ended keep theirs."""
    for path in glob.glob("/proc/%d/task/*/" % process):
        try:
            with open(path + "comm", encoding="ascii") as name, open(path + "schedstat", encoding="ascii") as figures:
                if not name.read().startswith("iou-"):
                    threads[path] = int(figures.read().split()[0])
        except (OSError, IndexError):  # it has ended meanwhile
            pass
    threads.pop("/proc/%d/task/%d/" % (process, process), None)


def run(command):
    """Seconds, and those that other threads than the test's were at work, in a terminal of 200 columns."""
    begun = time.monotonic()
    process, terminal = pty.fork()
    if process == 0:
        fcntl.ioctl(0, termios.TIOCSWINSZ, struct.pack("HHHH", 50, 200, 0, 0))
        os.execve(command[0], command, {**os.environ, "TERM": "xterm", "LC_ALL": "C.UTF-8"})
    said, threads = b"", {}
    while True:
        sample(process, threads)
        if not select.select([terminal], [], [], SAMPLES)[0]:
            continue
        try:
            said += os.read(terminal, 65536)
        except OSError:  # it has ended
            break
    os.close(terminal)
    if os.waitpid(process, 0)[1] != 0:
        sys.exit("\"%s\" failed; it said:\n%s" % (" ".join(command), said.decode("utf-8", "replace")[-2000:]))
    return time.monotonic() - begun, sum(threads.values()) / 1e9


def transfers(record):
    with open(record, encoding="utf-8") as lines:
        for line in lines:
            extension = json.loads(line).get("testStepArtifact", {}).get("extension", {})
            if extension.get("name") == "transfers":
                return sum(of["firstTry"] for of in extension["content"]["operations"])
    sys.exit("the record does not tell of transfers")


def main():
    drivetest, device = sys.argv[1:]
    base = [drivetest, "run", "LinearReadTest", device]
    with tempfile.TemporaryDirectory() as folder:
        record, report = os.path.join(folder, "record.jsonl"), os.path.join(folder, "report.html")
        quiet, beside = run([*base, "--quiet", "--no-record"])
        watched, busy = run([*base, "--events", record, "--report", report])
        print("%.3f %.0f %.1f" % ((busy / watched - beside / quiet) * 100, transfers(record) / watched, watched))


if __name__ == "__main__":
    main()
