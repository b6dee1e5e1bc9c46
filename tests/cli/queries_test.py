"""The queries of fleet/queries over a folder of records, against numbers that are computed here. SQLite is its command-line
tool; DuckDB is the npm package @duckdb/node-api, of which DUCKDB names the folder where it is installed ("npm install
@duckdb/node-api" there)."""

import json
import os
import pathlib
import shutil
import statistics
import subprocess
import unittest

import fleet_records
import program

QUERIES = pathlib.Path(__file__).resolve().parents[2] / "fleet/queries"
NAMES = ("bad-by-model", "rate-against-age", "worse", "deviating")
DUCKDB = os.environ.get("DUCKDB", "")
BAD = "sim:ata,sectors=4000000,speed=200,serial=A1,bad=1234+5000-5003"
GOOD = "sim:ata,sectors=4000000,speed=200,serial=A2"
HOSTILE = "Alpha \"1\"'; DROP TABLE run; --\n<b>"


def bad_by_model(runs):
    drives = {}
    for run in fleet_records.newest_of(runs).values():
        firmware, bad = drives.get(run.drive, ("", 0))
        drives[run.drive] = (max(firmware, run.firmware), max(bad, len(run.bad)))
    models = {}
    for drive, (firmware, bad) in drives.items():
        models.setdefault((drive[0], firmware), []).append(bad)
    return [dict(model=model, firmware=firmware, drives=len(bad), drives_with_bad=sum(each > 0 for each in bad), bad_sectors=sum(bad))
            for (model, firmware), bad in models.items()]


def rate_against_age(runs):
    groups = {}
    for run in fleet_records.newest_of(runs).values():
        if run.rate is not None and run.hours is not None:
            groups.setdefault((run.model, run.hours // 10000 * 10000), []).append(run.rate)
    return [dict(model=model, hours_from=hours, drives=len(rates), slowest=min(rates), mean=statistics.fmean(rates), fastest=max(rates))
            for (model, hours), rates in groups.items()]


def worse(runs):
    found = []
    for key, now in fleet_records.newest_of(runs).items():
        ended = [run for run in runs if (run.drive, run.test) == key and run.result is not None]
        if now.result is None or len(ended) < 2:
            continue
        before = ended[-2]
        slower = sum(rate < 0.8 * before.parts[part][1] for part, (_, rate) in now.parts.items() if part in before.parts)
        if now.bad - before.bad or slower:
            found.append(dict(drive=now.name, test=now.test, before=before.record, now=now.record,
                              new_bad_sectors=len(now.bad - before.bad), slower_regions=slower))
    return found


def deviating(runs):
    newest = {run.drive: run for run in fleet_records.newest_of(runs).values() if run.parts}
    found = []
    for run in newest.values():
        shares = []
        for part, (first, rate) in run.parts.items():
            same = [other.parts[part][1] for other in newest.values() if other.model == run.model and part in other.parts]
            if len(same) >= 4:
                shares.append((rate / statistics.median(same), first))
        if shares and min(shares)[0] < 0.8:
            found.append(dict(drive=run.name, record=run.record, first=min(shares)[1], share=min(shares)[0]))
    return found


def comparable(rows, keys):
    """Numbers to nine digits; engines give some as text, and name records from the folder on."""
    def plain(value):
        try:
            return float(f"{float(value):.9g}")
        except (TypeError, ValueError):
            return value.removeprefix("./") if isinstance(value, str) else value
    return sorted(tuple((key, plain(row[key])) for key in keys) for row in rows)


class Queries(program.ProgramTest):
    def make_fleet(self):
        """The runs of a folder in which there is something of everything."""
        for name, device in (("bad", BAD), ("good", GOOD)):
            self.start("run", "LinearReadTest", device, "--events", self.path(name), "-q")
        bad, good = fleet_records.Template(self.path("bad")), fleet_records.Template(self.path("good"))
        folder = self.path("records")
        for i in range(6):
            slow = {region: 0.5 for region in range(100, 120)}
            good.write(f"{folder}/a/new{i}.jsonl", f"G{i}", model=HOSTILE, firmware="F1", days=i, rates=slow if i == 3 else None)
            good.write(f"{folder}/a/old{i}.jsonl", f"G{i}", model=HOSTILE, firmware="F1", days=-10, hours=9000 + 3000 * i)
        for i in range(5):
            bad.write(f"{folder}/b/{i}.jsonl", f"T{i}", model="Beta", firmware=f"F{i % 2}", days=i, hours=9000 + 3000 * i,
                      rates=1.0 - i * 0.05)
        good.write(f"{folder}/b/before.jsonl", "T0", model="Beta", firmware="F0", days=-30)
        bad.write(f"{folder}/b/same.jsonl", "T1", model="Beta", firmware="F1", days=-30)
        runs = fleet_records.runs_of(folder)
        # None of these is another run.
        shutil.copy(f"{folder}/a/new1.jsonl", f"{folder}/copy.jsonl")
        with open(f"{folder}/a/new2.jsonl", encoding="utf-8") as whole:
            lines = whole.readlines()
        for name, kept in (("cut", lines[:6] + [lines[6][:20]]), ("gap", lines[:4] + lines[5:]), ("foreign", ['{"a":1}\n'])):
            with open(f"{folder}/{name}.jsonl", "w", encoding="utf-8") as file:
                file.writelines(kept)
        os.mkfifo(f"{folder}/pipe.txt")
        return folder, runs

    def check(self, rows, runs):
        """rows: of all queries, in the order of NAMES."""
        for name, found, expected in zip(NAMES, rows, (bad_by_model, rate_against_age, worse, deviating)):
            with self.subTest(name):
                wanted = expected(runs)
                self.assertTrue(wanted)
                self.assertEqual(comparable(found, wanted[0]), comparable(wanted, wanted[0]))

    @unittest.skipUnless(shutil.which("sqlite3"), "there is no sqlite3 here: scripts/setup.sh --dev installs it")
    def test_sqlite(self):
        folder, runs = self.make_fleet()
        database = self.path("fleet.db")

        def ask(name):
            with open(QUERIES / "sqlite" / f"{name}.sql", encoding="utf-8") as query:
                done = subprocess.run(["sqlite3", "-json", database], stdin=query, capture_output=True, text=True, cwd=folder,
                                      check=True, timeout=120)
            self.assertEqual(done.stderr, "")
            return json.loads(done.stdout or "[]")

        self.assertEqual(list(ask("load")[0].values()), [f"{len(runs)} runs, 2 files left out"])
        ask("load")  # once more, over its own tables
        self.check([ask(name) for name in NAMES], runs)

    @unittest.skipUnless(os.path.isdir(DUCKDB), "DuckDB is not here, DUCKDB does not name it")
    def test_duckdb(self):
        folder, runs = self.make_fleet()
        script = pathlib.Path(__file__).with_name("duckdb.mjs")
        files = [str(QUERIES / "duckdb" / f"{name}.sql") for name in ("load", *NAMES)]
        done = subprocess.run(["node", script, DUCKDB, folder, *files], capture_output=True, text=True, check=False, timeout=120)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        loaded, *rows = map(json.loads, done.stdout.splitlines())
        self.assertEqual(list(loaded[0].values()), [f"{len(runs)} runs, 2 files left out"])
        self.check(rows, runs)


if __name__ == "__main__":
    unittest.main()
