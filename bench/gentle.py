"""What is read in the first hour of a drive with a million bad sectors, on each of which it tries for three seconds:
gently, by the plain test, by the plain test with a limit of time, and in the order of GNU ddrescue's copying phase, as
its manual describes it, with its defaults. Time is simulated."""

import json
import subprocess
import sys

SECTORS = 976773168  # 500 GB
RATE = 150  # MB/s of 1,048,576 bytes
TRY_MS = 3000
SEEK = 0.012  # s, for the modelled order
HOUR = 3600


def drives():
    """Names and bad regions."""
    tenth = SECTORS // 10
    yield "one region at a tenth of the drive", [(tenth, tenth + 999999)]
    yield "ten regions", [(i * tenth + 1000, i * tenth + 100999) for i in range(10)]
    part = SECTORS // 1000
    yield "a thousand regions", [(i * part + 1000, i * part + 1999) for i in range(1000)]


def device(bad):
    spans = ["%d-%d" % span for span in bad]
    return "sim:disk,sectors=%d,speed=%d,bad=%s,slow=%s" % (
        SECTORS, RATE, "+".join(spans), "+".join("%s:%d" % (span, TRY_MS) for span in spans))


def run(program, bad, *options):
    """Sectors that were read well."""
    command = [program, "run", "read", device(bad), "-q", "--no-prompt", "--events", "-", *options]
    output = subprocess.run(command, capture_output=True, text=True, check=False)
    covered = None
    for line in output.stdout.splitlines():
        extension = json.loads(line).get("testStepArtifact", {}).get("extension", {})
        if extension.get("name") == "coverage":
            covered = extension["content"]["tested"]
    if covered is None:
        raise AssertionError(output.stderr)
    return covered


class Model:
    """The drive, for an order that is only modelled."""

    def __init__(self, bad):
        self.bad, self.time, self.head, self.good = bad, 0.0, 0, 0

    def read(self, first, end):
        """Whether all of it is good."""
        if self.time > HOUR:
            raise TimeoutError
        self.time += SEEK * (first != self.head) + (end - first) * 512 / 1048576 / RATE
        self.head = end
        if any(first <= last and start < end for start, last in self.near(first, end)):
            self.time += TRY_MS / 1000
            return False
        self.good += end - first
        return True

    def near(self, first, end):
        """A region that a stretch touches, if any; they rise."""
        low, high = 0, len(self.bad)
        while low < high:
            middle = (low + high) // 2
            low, high = (middle + 1, high) if self.bad[middle][1] < first else (low, middle)
        return self.bad[low:low + 1]

    def clear_until(self, first):
        """Where the next bad region begins."""
        found = self.near(first, first)
        return found[0][0] if found else SECTORS


def ddrescue(bad):
    """Passes 1, 2 and 5; here slow areas are the bad ones, so 3 and 4 have nothing to do."""
    cluster, initial, most = 128, max(128, SECTORS // 100000), SECTORS // 100
    model = Model(bad)
    try:
        skipped = forwards(model, cluster, initial, most)
        skipped = backwards(model, skipped, cluster, initial, most)
        for first, end in skipped:
            for at in range(first, end, cluster):
                model.read(at, min(at + cluster, end))
    except TimeoutError:
        pass
    return model.good


def forwards(model, cluster, initial, most):
    at, skip, skipped = 0, initial, []
    while at < SECTORS:
        end = min(at + cluster, SECTORS)
        clear = model.clear_until(at)
        if clear > end + cluster:  # all at once what is good, but no more than the hour holds
            end = min(clear, SECTORS, at + int((HOUR - model.time + 1) * RATE * 2048)) if model.time < HOUR else end
        if model.read(at, end):
            at, skip = end, initial
            continue
        landing = min(end + skip, SECTORS)
        skipped.append((end, landing))
        at, skip = landing, min(2 * skip, most)
    return skipped


def backwards(model, blocks, cluster, initial, most):
    left = []
    skip = initial
    for first, last in reversed(blocks):
        at = last
        while at > first:
            begin = max(at - cluster, first)
            if model.read(begin, at):
                at, skip = begin, initial
                continue
            landing = max(begin - skip, first)
            left.append((landing, begin))
            at, skip = landing, min(2 * skip, most)
    return left[::-1]


def plain(program, bad):
    """The plain test does not get beyond what takes an hour: the first region of so many sectors, or several."""
    beyond = 0
    for first, last in bad:
        beyond += last - first + 1
        if beyond * TRY_MS / 1000 > HOUR:
            break
    reached = last - max(0, beyond - HOUR * 1000 // TRY_MS)
    output = subprocess.run([program, "run", "read", device(bad), "-q", "--no-prompt", "--no-record", "-p",
                             "EndRange=%d" % reached], capture_output=True, text=True, check=False).stdout
    read = next(line for line in output.splitlines() if line.startswith("  read "))
    return reached - HOUR * 1000 // TRY_MS, read.split(" in ")[1].split(",")[0]


def main():
    program = sys.argv[1]
    for name, bad in drives():
        good = SECTORS - sum(last - first + 1 for first, last in bad)
        reached, took = plain(program, bad)
        print("%s; 100 %% are %d good sectors, %.1f min at full rate" % (name, good, good / 2048 / RATE / 60))
        for order, share in (("gently", run(program, bad, "--gentle", "--max-time", "1h") / good),
                             ("GNU ddrescue's order, modelled", ddrescue(bad) / good),
                             ("plain with --max-time 1h", run(program, bad, "--max-time", "1h") / good),
                             ("plain (%s up to where an hour of tries alone ends)" % took, reached / good)):
            print("  %-70s %7.3f %%" % (order, 100 * share))


if __name__ == "__main__":
    main()
