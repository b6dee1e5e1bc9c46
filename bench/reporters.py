"""Processor time of runs: watched in a terminal, with a record and a report, and quiet, with nothing written.

reporters.py PROGRAM TEST DEVICE ROUNDS prints what the outputs take in percent of one core, and transfers a second."""

import fcntl
import json
import os
import pty
import struct
import sys
import tempfile
import termios
import time


def run(command):
    """Wall-clock time and processor time of one run in a terminal of 200 columns that shows all it is sent."""
    begun = time.monotonic()
    child, terminal = pty.fork()
    if child == 0:
        fcntl.ioctl(0, termios.TIOCSWINSZ, struct.pack("HHHH", 50, 200, 0, 0))
        os.execve(command[0], command, {**os.environ, "TERM": "xterm", "LC_ALL": "C.UTF-8"})
    said = b""
    while True:
        try:
            said += os.read(terminal, 65536)
        except OSError:  # it has ended
            break
    os.close(terminal)
    _, status, used = os.wait4(child, 0)
    if status != 0:
        sys.exit("\"%s\" failed; it said:\n%s" % (" ".join(command), said.decode("utf-8", "replace")[-2000:]))
    return time.monotonic() - begun, used.ru_utime + used.ru_stime


def transfers(record):
    with open(record, encoding="utf-8") as lines:
        for line in lines:
            extension = json.loads(line).get("testStepArtifact", {}).get("extension", {})
            if extension.get("name") == "transfers":
                return sum(of["firstTry"] for of in extension["content"]["operations"])
    sys.exit("the record does not tell of transfers")


def main():
    drivetest, test, device, rounds = sys.argv[1:]
    wall = watched = quiet = count = 0
    with tempfile.TemporaryDirectory() as folder:
        record, report = os.path.join(folder, "record.jsonl"), os.path.join(folder, "report.html")
        base = [drivetest, "run", test, device]
        for _ in range(int(rounds)):
            elapsed, used = run([*base, "--events", record, "--report", report, "--force"])
            wall, watched, count = wall + elapsed, watched + used, count + transfers(record)
            quiet += run([*base, "--quiet", "--no-record"])[1]
    print("%.2f %.0f %.1f %.1f" % ((watched - quiet) / wall * 100, count / wall, quiet / wall * 100, wall))


if __name__ == "__main__":
    main()
