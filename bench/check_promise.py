"""How often what "drivetest check" promises is true: on simulated drives whose bad areas are few or many, lie alone
or in clusters. Prints, for each kind of drive, in how many runs the drive had as many bad areas as were excluded."""

import collections
import concurrent.futures
import json
import math
import random
import subprocess
import sys

AREA = 8192  # sectors of 4 MiB
AREAS = 8000
TIGHT = 115  # about as many as such a check excludes: there its promise is put to the test
CERTAINTY = 0.99
#: Mean length of a cluster in areas; 1 is the worst case, for what lies alone is missed most easily.
KINDS = {"alone": 1, "small clusters": 4, "large clusters": 40}


def bad_areas(generator, count, length):
    """So many areas, in clusters whose lengths are geometrically distributed."""
    areas = set()
    while len(areas) < count:
        first = generator.randrange(AREAS)
        for area in range(first, AREAS):
            areas.add(area)
            if len(areas) == count or generator.random() < 1 / length:
                break
    return sorted(areas)


def sectors_of(generator, areas):
    """In each of them from one bad sector to all of it."""
    spans = []
    for area in areas:
        first = generator.randrange(AREA)
        last = min(AREA - 1, first + int(2 ** generator.uniform(0, 13)) - 1)
        spans.append("%d-%d" % (area * AREA + first, area * AREA + last))
    return "+".join(spans)


def check(program, seed):
    """Gives the kind, the number of bad areas, the result, and how many were excluded."""
    generator = random.Random(seed)
    kind = generator.choice(list(KINDS))
    count = generator.choice([
        0, int(10 ** generator.uniform(0, math.log10(AREAS / 4))),
        int(TIGHT * generator.uniform(1, 1.2)), int(TIGHT * generator.uniform(1, 1.2))])
    areas = bad_areas(generator, count, KINDS[kind])
    device = "sim:disk,sectors=%d,speed=200" % (AREAS * AREA)
    if areas:
        device += ",bad=" + sectors_of(generator, areas)
    run = subprocess.run([program, "check", device, "--max-time", "8s", "-q", "--events", "-", "--no-prompt"],
                         capture_output=True, text=True, check=False)
    result, bound = None, None
    for line in run.stdout.splitlines():
        extension = json.loads(line).get("testStepArtifact", {}).get("extension", {})
        content = extension.get("content", {})
        if extension.get("name") == "result":
            result = content["result"]
        if extension.get("name") == "event" and content["key"] == "surveySample":
            bound = int(content["variables"]["Bound"])
    # A machine that does much else takes the time from the sample: no promise then.
    if result not in ("PASS", "FAIL") or (result == "FAIL" and bound is not None):
        raise AssertionError("seed %d: %s, %s\n%s" % (seed, result, bound, run.stderr))
    return kind, len(areas), result, bound


def main():
    program, drives = sys.argv[1], int(sys.argv[2])
    found = collections.defaultdict(list)
    with concurrent.futures.ThreadPoolExecutor(2) as pool:
        for kind, count, result, bound in pool.map(lambda seed: check(program, seed), range(drives)):
            found[kind].append((count, result, bound))
    for kind, runs in found.items():
        promised = [(count, bound) for count, _, bound in runs if bound]
        untrue = sum(count >= bound for count, bound in promised)
        false_alarms = sum(result == "FAIL" for count, result, _ in runs if count == 0)
        beyond = [result for count, result, _ in runs if count >= TIGHT]
        missed = sum(result == "PASS" for result in beyond)
        print("%-15s %5d drives, %d without a bad area of which %d failed; %d promises, %d of them untrue" % (
            kind, len(runs), sum(count == 0 for count, _, _ in runs), false_alarms, len(promised), untrue))
        print("%-15s of %d drives with %d or more bad areas %d passed: %.3f %%, at most %.3f %% may" % (
            "", len(beyond), TIGHT, missed, 100 * missed / max(len(beyond), 1), 100 * (1 - CERTAINTY)))


if __name__ == "__main__":
    main()
