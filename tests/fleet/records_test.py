"""What the controller makes of what hosts say: files that arrive in part, names that lead elsewhere, records that were changed, and
the table of all drives."""

import csv
import hashlib
import json
import os
import subprocess
import sys
import tempfile
import unittest
from unittest import mock

import ansible.plugins.loader  # which finds collections  # noqa: F401
from ansible.errors import AnsibleActionFail, AnsibleConnectionFailure
from ansible_collections.drivetest.drivetest.plugins.action import gather
from ansible_collections.drivetest.drivetest.plugins.module_utils import controller_folder, records, rest_plan

PROGRAM = os.environ["DRIVETEST"]
MODULES = "ansible_collections.drivetest.drivetest.plugins.modules."


class Folder(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        place = tempfile.TemporaryDirectory(prefix="drivetest-")
        self.addCleanup(place.cleanup)
        self.folder = place.name

    def put(self, name, text):
        path = os.path.join(self.folder, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as file:
            file.write(text.encode())
        return {"name": os.path.basename(name), "size": len(text.encode()), "sha256": hashlib.sha256(text.encode()).hexdigest()}


class Connection:
    """Gives what was asked for, a piece of it, or breaks off; in this order."""

    become = None

    def __init__(self, text, *pieces):
        self.text, self.pieces = text, list(pieces)

    def fetch_file(self, _path, here):
        piece = self.pieces.pop(0) if self.pieces else len(self.text)
        with open(here, "wb") as file:
            file.write(self.text[:abs(piece)])
        if piece < 0:
            raise AnsibleConnectionFailure("lost")


class Gather(Folder):
    text = b"a record\n" * 100

    def gather(self, host):
        action = gather.ActionModule(mock.Mock(args={"id": "one", "dest": self.folder}), Connection(*host), mock.Mock(check_mode=False),
                                     None, None, None)
        known = {"name": "r.jsonl", "path": "/r.jsonl", "size": len(self.text), "sha256": hashlib.sha256(self.text).hexdigest()}
        with mock.patch.object(gather.ActionModule, "_execute_module", return_value={"files": [known]}), \
                mock.patch("ansible.plugins.action.ActionBase.run", return_value={}):
            return action.run(task_vars={"inventory_hostname": "h"})

    def here(self):
        return {name: os.path.getsize(self.folder + "/one/h/" + name) for name in os.listdir(self.folder + "/one/h") if name[0] != "."}

    def test_a_file_has_its_name_only_when_it_is_whole(self):
        with self.assertRaises(AnsibleConnectionFailure):
            self.gather((self.text, -300))
        self.assertEqual(self.here(), {})
        with self.assertRaises(AnsibleActionFail):
            self.gather((self.text[:-1], 5, 0))
        self.assertEqual(self.here(), {})
        self.assertEqual(self.gather((self.text, 100))["fetched"], 1)
        self.assertEqual(self.here()["r.jsonl"], len(self.text))
        self.assertEqual(self.gather((b"",))["fetched"], 0)
        self.put("one/h/r.jsonl", "changed since")
        self.assertEqual(self.gather((self.text,))["fetched"], 1)

    def test_what_a_host_may_not_offer(self):
        good = {"name": "20261123T172608Z-A_B-read.jsonl", "path": "/x", "size": 1, "sha256": "0"}
        gather.ActionModule._verified(good)
        for part, value in (("name", "../x"), ("name", ".part-x"), ("name", "a/b"), ("name", "a\nb"), ("name", ""), ("name", None),
                            ("name", "-x"), ("name", "a" * 300), ("size", -1), ("size", 1 << 40), ("size", "1"), ("sha256", None)):
            with self.subTest(part, value=value), self.assertRaises(AnsibleActionFail):
                gather.ActionModule._verified({**good, part: value})

    def test_names_of_hosts_stay_in_their_folder(self):
        for host, name in (("node1", "node1"), ("..", "%2E."), ("a/../b", "a%2F..%2Fb"), ("ü", "%FC")):
            self.assertEqual(controller_folder.plain(host), name)


class Summary(Folder):
    def host(self, name, drives, run=True):
        """A host whose run has ended, with the records of its drives."""
        parent = "one/%s/" % name
        plan = {"onFailure": "go-on", "repeats": 1, "confirmed": [], "drives": []}
        files = []
        for drive in drives:
            serial = drive.partition("serial=")[2].partition(",")[0]
            tests = [{"label": "read", "test": "LinearReadTest", "runs": 1, "writes": False}]
            plan["drives"].append({"locator": drive, "serial": serial, "model": "", "confirm": serial, "tests": tests})
            if run:
                path = os.path.join(self.folder, "record.jsonl")
                subprocess.run([PROGRAM, "run", "read", drive, "--events", path, "--force", "--quiet"], capture_output=True, check=False)
                with open(path, encoding="utf-8") as file:
                    files.append(self.put(parent + "%s.jsonl" % len(files), file.read()))
        self.put(parent + "outcome.json", json.dumps({"state": "ended", "plan": plan}))
        self.put(parent + "manifest.json", json.dumps(files))

    def summary(self, hosts):
        given = {"ANSIBLE_MODULE_ARGS": {"id": "one", "dest": self.folder, "hosts": hosts}}
        done = subprocess.run([sys.executable, "-B", "-m", MODULES + "summary"], input=json.dumps(given), capture_output=True, text=True,
                              check=False)
        return json.loads(done.stdout)

    @staticmethod
    def told(answer):
        return [(row["host"], row["serial"], row.get("result") or row["reason"]) for row in answer["rows"]]

    def test_every_drive_has_one_row(self):
        self.host("a", ["sim:disk,sectors=900,serial=A1", "sim:disk,sectors=900,bad=7,serial=A2"])
        self.host("b", ["sim:disk,sectors=900,serial=B1"], run=False)
        self.put("one/c/outcome.json", json.dumps({"state": "lost", "reason": "the host has not answered for 60 s"}))
        self.put("one/d/outcome.json", '{"state": "run')  # its disk was full
        answer = self.summary({"a": ["A1", "A2", "A3"], "b": [], "c": ["C1", "C2"], "d": ["D1"], "e": []})
        unknown = "nothing is known of this host: it did not answer"
        self.assertEqual(self.told(answer), [
            ("a", "A1", "PASS"), ("a", "A2", "FAIL"), ("a", "A3", "the plan takes no drive with this serial number there"),
            ("b", "B1", "there is no record of it"), ("c", "C1", "the host has not answered for 60 s"),
            ("c", "C2", "the host has not answered for 60 s"), ("d", "D1", unknown), ("e", "", unknown)])
        self.assertEqual((answer["counts"], answer["problems"]), ({"PASS": 1, "FAIL": 1, "without": 6}, []))
        self.assertEqual(self.summary({"a": ["A1", "A2", "A3"], "b": [], "c": ["C1", "C2"], "d": ["D1"], "e": []})["changed"], False)

    def test_what_cannot_be_trusted_is_told(self):
        self.host("a", ["sim:disk,sectors=900,serial=S1"])
        self.host("b", ["sim:disk,sectors=900,serial=S1"])
        with open(os.path.join(self.folder, "one/a/0.jsonl"), "r+b") as file:
            lines = file.readlines()
            file.seek(0)
            file.truncate()
            file.writelines(lines[:5] + lines[6:])
        answer = self.summary({"a": [], "b": []})
        self.assertEqual(self.told(answer), [("a", "S1", "the run broke off"), ("b", "S1", "PASS")])
        self.assertEqual(answer["problems"], ["a: 0.jsonl is not as it was fetched: gather again",
                                              "the serial number S1 is told of by a sim:disk,sectors=900,serial=S1 and "
                                              "b sim:disk,sectors=900,serial=S1"])

    def test_the_table_holds_no_formulas(self):
        self.host("a", ["sim:disk,sectors=900,serial==cmd()"])
        self.summary({"a": ["+1", "@x"]})
        with open(os.path.join(self.folder, "one/summary.csv"), encoding="utf-8", newline="") as file:
            self.assertEqual([row["serial"] for row in csv.DictReader(file)], ["'=cmd()", "'+1", "'@x"])


class RestPlan(unittest.TestCase):
    def test_what_is_left_is_a_plan(self):
        text = ('folder = "/x"\nconfirm = ["S\\"1"]\nrepeats = 2\n[[drive]]\nserial = "D"\n[[drive]]\npath = "sim:disk,serial=E"\n'
                '[[test]]\ntest = "read"\nslow-ms = 5\nproperties = { "a.b" = "1" }\n'
                '[[test]]\ntest = "read"\nname = "again"\nrepeats = 3\n')
        tests = [{"label": "read", "test": "LinearReadTest", "runs": 1}, {"label": "again", "test": "LinearReadTest", "runs": 3}]
        drives = [{"locator": "/dev/sdx", "serial": "D", "tests": tests}, {"locator": "sim:disk,serial=E", "serial": "E", "tests": tests}]
        plan = {"onFailure": "go-on", "repeats": 2, "drives": drives}
        rest = rest_plan.rest_of(text, plan, [(drives[0], [tests[1], tests[0], tests[1]]), (drives[1], [tests[0]])])
        read = {"test": "read", "slow-ms": 5, "properties": {"a.b": "1"}, "repeats": 1, "name": "read (1)"}
        again = {"test": "read", "repeats": 1}
        self.assertEqual(rest_plan.tomllib.loads(rest), {
            "folder": "/x", "confirm": ['S"1'],
            "drive": [{"serial": "D", "tests": ["again (1)", "read (1)", "again (2)"]},
                      {"path": "sim:disk,serial=E", "tests": ["read (1)"]}],
            "test": [{**again, "name": "again (1)"}, read, {**again, "name": "again (2)"}]})

    def test_a_drive_is_known_by_its_serial_number(self):
        """Paths change over a reboot; a number that two have tells nothing."""
        record = mock.Mock(device="/dev/sdb", serial="S1")
        for drives, found in (([("/dev/sda", "S1")], [True]), ([("/dev/sdb", "S2")], [False]), ([("/dev/sdb", "")], [True]),
                              ([("/dev/sda", "S1"), ("/dev/sdb", "S1")], [False, True])):
            plan = [{"locator": path, "serial": serial} for path, serial in drives]
            self.assertEqual([records.is_of(record, drive, plan) for drive in plan], found)


if __name__ == "__main__":
    unittest.main()
