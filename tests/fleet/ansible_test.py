"""The collection for Ansible over twenty hosts with three simulated drives each: one loses its power in the middle and comes back, one
is rebooted in order (by systemd, which runs that one), one is cut off in the middle and stays away, and one never answers. On one
only a user who is not root may come in. Every drive must have one result, or a reason.

HOSTS=N takes fewer, FLEET_SECONDS=N shorter runs, which are begun anew after the reboot instead of resumed. Needs root, a network
namespace of its own, Ansible and sshd; scripts/check-fleet.sh has all that."""

import collections
import csv
import glob
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

import machines
from machines import until

ROOT = pathlib.Path(__file__).resolve().parents[2]
ARCHIVE = os.environ["DRIVETEST_ARCHIVE"]  # what the role installs
PACKAGE = os.environ.get("DRIVETEST_PACKAGE", "")
LAYERS = os.environ["FLEET_LAYERS"].split(":")
COUNT = int(os.environ.get("HOSTS", 20))
SILENT, CUT_OFF, REBOOTS, SHUTS_DOWN, NOT_ROOT = 1, 2, 3, 4, 5  # which host
SSHD = "/usr/sbin/sshd -D -e -f /etc/ssh/fleet_config"
RATE = 1  # MB/s
SECONDS = int(os.environ.get("FLEET_SECONDS", 100))  # of each run; what it proves is in its record once a minute
IS_RESUMED = SECONDS > 90  # or begun anew
RUN = "acceptance"

GROUP = {
    "ansible_user": "root", "ansible_python_interpreter": "/usr/bin/python3", "drivetest_id": RUN, "drivetest_poll": 10,
    "drivetest_wait": 900, "drivetest_lost_after": 60, "ansible_ssh_retries": 2,
    "drivetest_plan": """{% for drive in drives %}
[[drive]]
path = "{{ drive }}"
{% endfor %}
[[test]]
test = "read"
""",
}


def drives_of(number):
    """Three, of several kinds: some have bad sectors."""
    sectors = SECONDS * RATE * 2048
    common = "sectors=%d,speed=%d,real-time" % (sectors, RATE)
    bad = ",bad=%d+%d-%d" % (1000 + number, sectors - 40, sectors - 40 + number) if number % 3 == 0 else ""
    return ["sim:disk,%s,serial=H%02dA%s" % (common, number, bad), "sim:ata,%s,serial=H%02dB" % (common, number),
            "sim:nvme,%s,serial=H%02dC" % (common, number)]


def expected_result(serial):
    """As the drive was made."""
    return "FAIL" if serial.endswith("A") and int(serial[1:3]) % 3 == 0 else "PASS"


class Fleet(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        place = tempfile.TemporaryDirectory(prefix="fleet-")
        cls.addClassCleanup(place.cleanup)
        cls.folder = place.name
        cls.keys, cls.network = machines.Keys(cls.folder), machines.Network()
        cls.hosts = {}
        for number in range(1, COUNT + 1):
            name = "host%02d" % number
            host = machines.Machine(number, name, os.path.join(cls.folder, name), LAYERS, [SSHD],
                                    has_systemd=number == SHUTS_DOWN)
            if number == NOT_ROOT:
                host.add_user("tester")
                host.let_in(cls.keys, "tester")
            else:
                host.let_in(cls.keys)
            cls.hosts[number] = host
        for number, host in cls.hosts.items():
            if number != SILENT:
                host.power_on()
                cls.addClassCleanup(cls.end, host)
        cls.network.swallow(cls.hosts[SILENT].address)
        cls.install_collection()
        cls.write_inventory()

    @staticmethod
    def end(host):
        if host.process.poll() is None:
            host.lose_power()
        machines.run("umount", "-l", os.path.join(host.folder, "root")) if os.path.ismount(os.path.join(host.folder, "root")) else None

    @classmethod
    def install_collection(cls):
        """As it is built, not as it lies here."""
        built = subprocess.run(["ansible-galaxy", "collection", "build", "--output-path", cls.folder, str(ROOT / "fleet/ansible")],
                               check=True, capture_output=True, text=True)
        archive = glob.glob(cls.folder + "/drivetest-drivetest-*.tar.gz")
        assert len(archive) == 1, built.stdout
        subprocess.run(["ansible-galaxy", "collection", "install", "--offline", "-p", cls.folder + "/collections", archive[0]], check=True,
                       capture_output=True, text=True)

    @classmethod
    def write_inventory(cls):
        hosts = {host.name: {"ansible_host": host.address, "drives": drives_of(number),
                             "drivetest_expected": ["H%02d%s" % (number, drive) for drive in "ABC"]}
                 for number, host in cls.hosts.items()}
        if NOT_ROOT in cls.hosts:
            hosts[cls.hosts[NOT_ROOT].name].update(ansible_user="tester", ansible_become=True)
        for number, host in cls.hosts.items():  # both ways where there are both
            hosts[host.name].update({"drivetest_package": PACKAGE} if PACKAGE and number % 2 == 0 else {"drivetest_archive": ARCHIVE})
        keep_alive = "-o ServerAliveInterval=5 -o ServerAliveCountMax=3"
        group = {**GROUP, "drivetest_dest": cls.folder + "/records", "ansible_ssh_private_key_file": cls.keys.client,
                 "ansible_ssh_common_args": "-o UserKnownHostsFile=%s %s" % (cls.keys.known, keep_alive)}
        inventory = {"all": {"hosts": hosts, "vars": group}}
        cls.inventory = os.path.join(cls.folder, "inventory.json")
        with open(cls.inventory, "w", encoding="utf-8") as file:
            json.dump(inventory, file)
        cls.environment = {**os.environ, "ANSIBLE_COLLECTIONS_PATH": cls.folder + "/collections", "ANSIBLE_FORKS": "20",
                           "ANSIBLE_PIPELINING": "True", "ANSIBLE_SSH_CONTROL_PATH_DIR": cls.folder + "/cp", "ANSIBLE_NOCOLOR": "1",
                           "ANSIBLE_HOME": cls.folder + "/ansible", "ANSIBLE_LOCALHOST_WARNING": "False", "ANSIBLE_TIMEOUT": "10",
                           "ANSIBLE_INVENTORY_UNPARSED_WARNING": "False", "LC_ALL": "C.UTF-8", "HOME": cls.folder}

    def play(self, *options):
        log = open(os.path.join(self.folder, "play.log"), "ab")
        self.addCleanup(log.close)
        process = subprocess.Popen(["ansible-playbook", "-i", self.inventory, "drivetest.drivetest.test_drives", *options],
                                   stdin=subprocess.DEVNULL, stdout=log, stderr=subprocess.STDOUT, env=self.environment)
        self.addCleanup(process.kill)
        return process

    def said(self):
        with open(os.path.join(self.folder, "play.log"), encoding="utf-8", errors="replace") as log:
            return log.read()

    def records_of(self, number):
        return sorted(glob.glob(self.hosts[number].files + "/var/lib/drivetest/fleet/%s/records/*.jsonl" % RUN))

    def proves_something(self, path):
        with open(path, "rb") as file:
            return b'"name":"progress"' in file.read()

    def rows(self):
        with open(os.path.join(self.folder, "records", RUN, "summary.json"), encoding="utf-8") as file:
            return json.load(file)

    def test_sixty_results_or_reasons(self):
        began = time.monotonic()
        play = self.play()
        self.disturb(began)
        time.sleep(8)  # they are away for a while, as machines that boot are
        for number in (REBOOTS, SHUTS_DOWN):
            self.hosts[number].power_on()
            print("after %3.0f s  host%02d is back" % (time.monotonic() - began, number), flush=True)
        play.wait(timeout=600)
        print("after %3.0f s  the play has ended with status %d" % (time.monotonic() - began, play.returncode), flush=True)
        self.check_rows(self.rows())
        self.check_resumed()
        self.check_records()
        self.check_table()
        self.check_again()
        self.check_mode()

    def is_testing(self, number):
        """All of its drives, and one that is to be resumed has something to resume."""
        records = self.records_of(number)
        return len(records) == 3 and (number != REBOOTS or not IS_RESUMED or all(self.proves_something(path) for path in records))

    def disturb(self, began):
        """Each as soon as it tests."""
        deeds = {CUT_OFF: ("is cut off", machines.Machine.cut_off), REBOOTS: ("has lost its power", machines.Machine.lose_power),
                 SHUTS_DOWN: ("is shut down", self.shut_down)}
        while deeds:
            number = until(lambda: next((number for number in deeds if self.is_testing(number)), None), 300, "the start of the runs")
            what, deed = deeds.pop(number)
            deed(self.hosts[number])
            print("after %3.0f s  host%02d %s" % (time.monotonic() - began, number, what), flush=True)

    def shut_down(self, host):
        self.assertEqual(host.inside("systemctl", "is-active", "drivetest-" + RUN).stdout, "active\n")
        host.shut_down()

    def check_rows(self, rows):
        self.assertEqual(len(rows), 3 * COUNT, self.said()[-9000:])
        self.assertEqual(len({(row["host"], row["serial"]) for row in rows}), 3 * COUNT)
        told = collections.Counter()
        for row in rows:
            number = int(row["host"][4:])
            if number in (SILENT, CUT_OFF):
                self.assertNotIn("result", row)
                self.assertIn("not answer", row["reason"])
                told["reasons"] += 1
            else:
                self.assertEqual((row["serial"], row.get("result")), (row["serial"], expected_result(row["serial"])),
                                 (row, self.said()[-9000:]))
                self.assertEqual(row["requested"], SECONDS * RATE * 2048)
                self.assertEqual(row["failed"], number + 2 if row["result"] == "FAIL" else 0, row)
                told["results"] += 1
        self.assertEqual(told, {"results": 3 * (COUNT - 2), "reasons": 6})
        print("%d results, %d reasons" % (told["results"], told["reasons"]), flush=True)

    def check_resumed(self):
        """What had been read before the power was lost was not read again."""
        self.assertEqual(self.attempts("host%02d" % SHUTS_DOWN), 2)
        mine = [row for row in self.rows() if row["host"] == "host%02d" % REBOOTS]
        for row in mine:
            path = os.path.join(self.folder, "records", RUN, row["host"], row["record"])
            with open(path, encoding="utf-8") as file:
                resumed = [line for line in file if '"name":"resumed"' in line]
            self.assertEqual(len(resumed), IS_RESUMED, row)
            self.assertEqual(self.attempts(row["host"]), 2)

    def attempts(self, host):
        with open(os.path.join(self.folder, "records", RUN, host, "outcome.json"), encoding="utf-8") as file:
            return json.load(file)["attempt"]

    def check_records(self):
        """Each is whole, and as the host has it."""
        for row in self.rows():
            if "record" not in row:
                continue
            path = os.path.join(self.folder, "records", RUN, row["host"], row["record"])
            done = subprocess.run([sys.executable, "-B", str(ROOT / "tests/record/check_record.py"), path], capture_output=True,
                                  text=True, check=False)
            self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
            with open(path, "rb") as here, open(self.hosts[int(row["host"][4:])].files + "/var/lib/drivetest/fleet/%s/records/%s" % (
                    RUN, row["record"]), "rb") as there:
                self.assertEqual(here.read(), there.read())
        self.assertEqual(glob.glob(self.folder + "/records/**/.part-*", recursive=True), [])

    def check_table(self):
        with open(os.path.join(self.folder, "records", RUN, "summary.csv"), encoding="utf-8", newline="") as file:
            self.assertEqual(len(list(csv.DictReader(file))), 3 * COUNT)

    def check_again(self):
        """The whole play once more, with the hosts that are there: nothing is begun, and nothing changes."""
        before = {number: self.records_of(number) for number in self.hosts}
        rows = self.rows()
        gone = "host%02d,host%02d" % (SILENT, CUT_OFF)
        again = self.play("--limit", "all,localhost,!" + gone.replace(",", ",!"), "-e", "drivetest_wait=60")
        again.wait(timeout=400)
        self.assertEqual(again.returncode, 0, self.said())
        self.assertEqual({number: self.records_of(number) for number in self.hosts}, before)
        self.assertEqual(self.rows(), rows)

    def check_mode(self):
        """Says what would be run, and leaves nothing, neither there nor here."""
        last = self.hosts[COUNT]
        check = self.play("--check", "--limit", last.name + ",localhost", "-e", "drivetest_id=other")
        check.wait(timeout=200)
        said = self.said()[-60000:]
        self.assertEqual(check.returncode, 0, said)
        for drive in drives_of(COUNT):
            self.assertIn('"locator": "%s"' % drive, said)
        self.assertEqual(sorted(os.listdir(last.files + "/var/lib/drivetest/fleet")), [".lock", RUN])
        self.assertEqual(os.listdir(os.path.join(self.folder, "records")), [RUN])

    def test_the_modules_are_documented(self):
        for name in ("run_plan", "drive_facts", "gather", "summary", "keep_reason"):
            done = subprocess.run(["ansible-doc", "-t", "module", "drivetest.drivetest." + name], env=self.environment, capture_output=True,
                                  text=True, check=False)
            self.assertEqual(done.returncode, 0, done.stderr)
            self.assertIn("EXAMPLES:", done.stdout)


if __name__ == "__main__":
    if os.geteuid() != 0 or not shutil.which("ansible-playbook"):
        sys.exit("needs root, and ansible-playbook: start scripts/check-fleet.sh")
    unittest.main()
