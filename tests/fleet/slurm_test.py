"""A job array on a cluster of Slurm: a controller and three nodes, each a machine of its own. One node lacks a drive of the plan, and
one loses its power in the middle.

FLEET_SECONDS=N takes shorter runs, and no node loses its power. Needs root, a network namespace of its own, and Slurm;
scripts/check-fleet.sh has all that."""

import glob
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

import machines
from machines import until

ROOT = pathlib.Path(__file__).resolve().parents[2]
ARCHIVE = os.environ["DRIVETEST_ARCHIVE"]
LAYERS = os.environ["FLEET_LAYERS"].split(":")
NODES = 3
LACKS, REBOOTS = 2, 3  # the node that lacks a drive of the plan, and the one that loses its power
RUN = "scrub"
SECONDS = int(os.environ.get("FLEET_SECONDS", 80))  # of each run; what it proves is in its record once a minute
HAS_REBOOT = SECONDS > 70
MUNGED = "install -d -o munge -m 755 /run/munge && exec runuser -u munge -- munged --foreground"
AFTER_MUNGE = "while [ ! -S /run/munge/munge.socket.2 ]; do sleep 0.1; done; install -d /var/spool/slurm; exec "
CONFIGURATION = """
ClusterName=fleet
SlurmctldHost=control
SlurmUser=root
AuthType=auth/munge
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
MpiDefault=none
SelectType=select/linear
SchedulerType=sched/backfill
StateSaveLocation=/var/spool/slurm/controller
SlurmdSpoolDir=/var/spool/slurm/node
SlurmctldPidFile=/run/slurmctld.pid
SlurmdPidFile=/run/slurmd.pid
SlurmctldTimeout=30
SlurmdTimeout=20
ReturnToService=2
SlurmdParameters=config_overrides
SchedulerParameters=batch_sched_delay=1,sched_interval=5,bf_interval=5,requeue_setup_env_fail
NodeName=node[1-%(nodes)d] CPUs=1 State=UNKNOWN
PartitionName=drives Nodes=ALL Default=YES MaxTime=INFINITE State=UP OverSubscribe=EXCLUSIVE
"""


DRIVE = '[[drive]]\npath = "%s"\n'
READ = '[[test]]\ntest = "read"\n'
PLANS = {"plan.toml": DRIVE % "/drives/a" + DRIVE % ("sim:disk,sectors=%d,speed=1,real-time,serial=S1" % (SECONDS * 2048)) + READ,
         "bad.toml": DRIVE % "sim:disk,sectors=9000,bad=5,serial=S2" + READ}


class Cluster(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        place = tempfile.TemporaryDirectory(prefix="slurm-")
        cls.addClassCleanup(place.cleanup)
        cls.folder, cls.shared = place.name, os.path.join(place.name, "shared")
        os.makedirs(cls.shared)
        shutil.copytree(ROOT / "fleet", cls.shared + "/fleet")
        for name, text in PLANS.items():
            with open(os.path.join(cls.shared, name), "w", encoding="utf-8") as plan:
                plan.write(text)
        machines.Network()
        cls.key = os.urandom(1024)
        cls.control = cls.machine(10, "control", "slurmctld -D")
        cls.nodes = {number: cls.machine(10 + number, "node%d" % number, "slurmd -D -N node%d" % number) for number in range(1, NODES + 1)}

    @classmethod
    def machine(cls, address, name, daemon):
        made = machines.Machine(address, name, os.path.join(cls.folder, name), LAYERS, [MUNGED, AFTER_MUNGE + daemon], cls.shared)
        hosts = "127.0.0.1 localhost\n%s10 control\n" % machines.NETWORK
        hosts += "".join("%s%d node%d\n" % (machines.NETWORK, 10 + number, number) for number in range(1, NODES + 1))
        made.put("/etc/hosts", hosts)
        made.put("/etc/slurm/slurm.conf", CONFIGURATION % {"nodes": NODES})
        made.put("/etc/slurm/cgroup.conf", "CgroupPlugin=cgroup/v1\nCgroupAutomount=no\n")  # which nothing of it uses
        made.put("/etc/munge/munge.key", "")
        with open(made.files + "/etc/munge/munge.key", "wb") as key:
            key.write(cls.key)
        shutil.chown(made.files + "/etc/munge/munge.key", "munge", "munge")
        shutil.chown(made.files + "/etc/munge", "munge", "munge")
        os.chmod(made.files + "/etc/munge", 0o700)
        os.chmod(made.files + "/etc/munge/munge.key", 0o600)
        os.makedirs(made.files + "/usr/local")
        subprocess.run(["tar", "-C", made.files + "/usr/local", "-xzf", ARCHIVE], check=True)
        os.makedirs(made.files + "/drives")
        if name != "node%d" % LACKS:
            with open(made.files + "/drives/a", "wb") as image:
                image.truncate(1 << 20)
        made.power_on()
        cls.addClassCleanup(lambda: made.process.poll() is not None or made.lose_power())
        return made

    def slurm(self, *words):
        done = self.control.inside(*words)
        self.assertEqual(done.returncode, 0, (words, done.stdout, done.stderr, self.consoles()))
        return done.stdout

    def consoles(self):
        text = ""
        for path in glob.glob(self.folder + "/*/console"):
            with open(path, encoding="utf-8", errors="replace") as file:
                text += "\n%s\n%s" % (path, file.read()[-1500:])
        return text

    def idle(self):
        return self.control.inside("sinfo", "--noheader", "--Node", "--format", "%N %t").stdout.split().count("idle")

    def tasks(self, job):
        """What Slurm says of each task."""
        found = {}
        for text in self.slurm("scontrol", "show", "job", str(job), "--oneliner").splitlines():
            fields = dict(re.findall(r"(\w+)=(\S*)", text))
            found[fields["ArrayTaskId"]] = fields
        return found

    def records(self, node):
        return sorted(glob.glob("%s/records/%s/node%d/records/*.jsonl" % (self.shared, RUN, node)))

    def submit(self, *options, run=RUN, plan="plan.toml"):
        return int(self.slurm("/srv/fleet/slurm/submit", "--id", run, "--plan", "/srv/" + plan, "--records", "/srv/records", *options))

    def ended(self, job, seconds, count=NODES):
        def all_over():
            tasks = self.tasks(job)
            return len(tasks) == count and all(task["JobState"] in ("COMPLETED", "FAILED", "TIMEOUT", "CANCELLED")
                                               for task in tasks.values()) and tasks
        return until(all_over, seconds, "the end of the job: %s" % self.consoles)

    def test_a_job_array_over_all_nodes(self):
        until(lambda: self.idle() == NODES, 60, "a cluster with %d idle nodes" % NODES)
        began = time.monotonic()
        job = self.submit()
        until(lambda: all(len(self.records(node)) == 2 for node in self.nodes if node != LACKS), 60, "the start of all runs")
        print("after %3.0f s  all nodes are testing" % (time.monotonic() - began), flush=True)
        if HAS_REBOOT:
            until(lambda: self.proves_something(REBOOTS), 120, "a line of progress")
            self.nodes[REBOOTS].lose_power()
            print("after %3.0f s  node%d has lost its power" % (time.monotonic() - began, REBOOTS), flush=True)
            time.sleep(5)  # it is away for a while, as a machine that boots is
            self.nodes[REBOOTS].power_on()
        tasks = self.ended(job, 300)
        print("after %3.0f s  %s" % (time.monotonic() - began, ", ".join(
            "task %s on %s: %s, exit status %s, restarts %s" % (
                number, task["NodeList"], task["JobState"], task["ExitCode"], task["Restarts"])
            for number, task in sorted(tasks.items()))), flush=True)
        self.check(tasks)
        before = [self.records(node) for node in self.nodes]
        again = self.ended(self.submit(), 60)
        self.assertEqual(sorted(task["ExitCode"] for task in again.values()), ["0:0", "0:0", "2:0"])
        self.assertEqual([self.records(node) for node in self.nodes], before)
        bad = self.ended(self.submit("--nodes", "node1", run="bad", plan="bad.toml"), 60, count=1)
        self.assertEqual([task["ExitCode"] for task in bad.values()], ["1:0"])
        self.assertIn("node1 S2 LinearReadTest: FAIL", self.logs("bad"))

    def proves_something(self, number):
        return any(self.holds(path, b'"name":"progress"') for path in self.records(number))

    @staticmethod
    def holds(path, words):
        with open(path, "rb") as file:
            return words in file.read()

    def check(self, tasks):
        self.assertEqual({task["NodeList"] for task in tasks.values()}, {"node%d" % number for number in self.nodes})
        for task in tasks.values():
            number = int(task["NodeList"][4:])
            status = 2 if number == LACKS else 0
            self.assertEqual((task["JobState"], task["ExitCode"]), ("FAILED" if status else "COMPLETED", "%d:0" % status), task)
            self.assertEqual(int(task["Restarts"]), 1 if HAS_REBOOT and number == REBOOTS else 0)
        said = self.logs(RUN)
        self.assertIn("/drives/a does not exist", said)
        self.assertEqual(len(re.findall(r"^node[13] S1 LinearReadTest: PASS$", said, re.MULTILINE)), 2, said)
        resumed = [path for path in self.records(REBOOTS) if self.holds(path, b'"name":"resumed"')]
        self.assertEqual(len(resumed), HAS_REBOOT)
        for path in [*self.records(1), *resumed]:
            done = subprocess.run([sys.executable, "-B", str(ROOT / "tests/record/check_record.py"), path], capture_output=True, text=True,
                                  check=False)
            self.assertEqual(done.returncode, 0, done.stdout)

    def logs(self, run):
        text = ""
        for path in glob.glob("%s/records/%s/slurm-*.log" % (self.shared, run)):
            with open(path, encoding="utf-8") as file:
                text += file.read()
        return text


if __name__ == "__main__":
    unittest.main()
