"""Makes a folder of records for bench/overview.sh: real runs on simulated drives, of different sizes, ages and faults, and from
these as many more with other serial numbers, times, ages and rates. Arguments: the program, the folder, how many real runs, how
many records."""

import os
import pathlib
import random
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tests/cli"))
import fleet_records  # noqa: E402

MODELS = [("Alpha 4T", "A1", 190), ("Alpha 4T", "A2", 190), ("Beta 8T", "B1", 240), ("Gamma 2T", "G7", 120), ("Delta 16T", "D1", 260)]


def real_runs(program, folder, count, chance):
    """(path, model) of each."""
    for number in range(count):
        model = MODELS[number % len(MODELS)]
        sectors = 200000 * (1 + number % 10)
        device = f"sim:ata,sectors={sectors},speed={model[2]},hours={chance.randrange(100, 60000)},serial=R{number}"
        if number % 20 == 0:  # some have many bad sectors, most have none
            bad = sorted(chance.sample(range(0, sectors, 7), 200 if number % 100 == 0 else 5))
            device += ",bad=" + "+".join(map(str, bad))
        path = os.path.join(folder, f"real{number}")
        subprocess.run([program, "run", "LinearReadTest" if number % 4 else "SurveyReadTest", device, "--events", path, "--quiet"],
                       stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False)
        yield path, model


def main(program, folder, real, count):
    chance = random.Random(1)
    records = os.path.join(folder, "records")
    written = 0
    for index, (path, model) in enumerate(list(real_runs(program, folder, real, chance))):
        template = fleet_records.Template(path)
        for copy in range(count * (index + 1) // real - written):
            drive, run = divmod(copy, 3)  # three runs of each drive, a month apart
            name = os.path.join(records, f"host{chance.randrange(200)}", f"{index}-{copy}.jsonl")
            template.write(name, f"{index}-{drive}", model=model[0], firmware=model[1], days=30 * run + chance.random(),
                           hours=chance.randrange(100, 60000) + 720 * run, rates=chance.uniform(0.7, 1.0))
            written += 1


main(sys.argv[1], sys.argv[2], int(sys.argv[3]), int(sys.argv[4]))
