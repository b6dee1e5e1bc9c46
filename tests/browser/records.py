"""Records of runs that no simulated drive makes in the time of a test."""

import json

START = {"name": "drivetest", "version": "0.1.0", "commandLine": "drivetest run LinearReadTest /dev/sdb", "parameters": {},
         "dutInfo": {"name": "/dev/sdb", "hardwareInfos": [{"name": "Big Disk", "serialNumber": "B1"}]}}


def extension(name, content):
    return {"testStepArtifact": {"testStepId": "0", "extension": {"name": name, "content": content}}}


def noise(index):
    """Numbers in which no two neighbours are alike."""
    return (index * 2654435761 >> 7) % 100000


def surface(cells, failed):
    """Of a drive each of whose cells took another time."""
    outcomes, at = [], 0
    for cell in failed:
        outcomes += [[1, cell - at], [2, 1]]
        at = cell + 1
    outcomes.append([1, cells - at])
    return {"sectorsPerCell": 2048, "cells": cells, "outcomes": outcomes,
            "slowestUs": [[1000 + noise(cell), 1] for cell in range(cells)],
            "cellsPerValue": {"outcomes": 1, "slowestUs": 1}}


def event(sector):
    return extension("event", {"key": "readSectorErr", "type": "ERR", "message": f"Sector {sector} cannot be read.",
                               "variables": {"ReadSector": sector}, "cause": "sense 3/11/00, unrecovered read error"})


def diagnosis(sector):
    return {"testStepArtifact": {"testStepId": "0", "diagnosis": {
        "verdict": "readSectorErr", "type": "FAIL", "message": f"Sector {sector} cannot be read.", "hardwareInfoId": "drive"}}}


def large(cells, events, failed):
    """The lines of a record of so many cells and events."""
    yield {"schemaVersion": {"major": 2, "minor": 0}}
    yield {"testRunArtifact": {"testRunStart": START}}
    yield {"testStepArtifact": {"testStepId": "0", "testStepStart": {"name": "LinearReadTest"}}}
    yield extension("drive", {"method": "block", "sectors": cells * 2048, "sectorBytes": 512})
    for number in range(events):
        yield event(number)
        yield diagnosis(number)
    yield extension("surface", surface(cells, failed))
    yield extension("regions", {"sectorsPerRegion": cells * 2, "regions": 1024, "read": {
        "bytes": [cells * 1024] * 1024, "us": [cells * (5 + region // 200) + noise(region) for region in range(1024)]}})
    yield extension("badSectors", {"fault": "unreadable", "words": "", "ranges": [[cell * 2048, cell * 2048] for cell in failed]})
    yield extension("coverage", {"unit": "sectors", "requested": cells * 2048, "tested": cells * 2048 - len(failed),
                                 "failed": len(failed), "skipped": 0})
    yield extension("result", {"result": "FAIL", "errors": events, "warnings": 0})
    yield {"testRunArtifact": {"testRunEnd": {"status": "COMPLETE", "result": "FAIL"}}}


def write(path, lines):
    with open(path, "w", encoding="utf-8") as file:
        for number, line in enumerate(lines):
            stamp = {"sequenceNumber": number, "timestamp": "2026-11-23T04:00:00.000Z"}
            file.write(json.dumps({**line, **stamp}, separators=(",", ":")) + "\n")
