"""Plans on shelves of drives that break: every drive gets its result, whatever becomes of the others."""

import os
import signal
import unittest

import mounts
import program
from shelves import MIB, REAL_TIME, ShelfTest, read, until
from silence import SilentFile

PATTERN = '[[test]]\ntest = "pattern"\nparameters = { NumberOfPatterns = 1 }\n'
READ = '[[test]]\ntest = "read"\n'
BAD = "+".join("%d-%d" % (at, at + 99) for at in range(0, 30000, 3000))


class PlannedTest(ShelfTest):
    def begin_plan(self, text):
        with open(self.path("plan.toml"), "w", encoding="utf-8") as file:
            file.write('folder = "%s"\n' % self.out + text)
        return self.begin("run", "--plan", "plan.toml")

    def run_plan(self, text):
        process, _ = self.begin_plan(text)
        return process.communicate(timeout=120)[0], process.returncode


class Night(PlannedTest):
    """Twelve drives of all kinds, each with a fate of its own."""

    def twelve(self):
        """Of each drive what names it, what becomes of it, and how the plan has it; a drive with contents has a file of its name."""
        names = ("CRASH", "HANG", "PULLED", "USED", "LOOP", "UNLISTED")
        self.images = {name: self.image_of(name, 3 * MIB) for name in names}
        self.before = {name: read(path) for name, path in self.images.items()}
        loops = {name: program.loop_device(self, self.images[name]) for name in ("USED", "LOOP", "UNLISTED")}
        program.loop_device(self, loops["USED"])
        simulated = {"ATA": "ata,sectors=40000", "SCSI": "scsi,sectors=40000,sector-size=4096", "NVME": "nvme,sectors=40000",
                     "FLOPPY": "floppy", "OPTICAL": "optical,media=dvdrom,sectors=4096",
                     "BAD": "ata,sectors=40000,bad=" + BAD, "PULLED": "scsi,gone-at=80,image=" + self.images["PULLED"],
                     **{name: "disk,image=%s,%s" % (self.images[name], REAL_TIME) for name in ("CRASH", "HANG")}}
        paths = {**{name: "sim:%s,serial=%s" % (keys, name) for name, keys in simulated.items()},
                 "USED": loops["USED"], "LOOP": loops["LOOP"]}
        fates = {"OPTICAL": "PASS", "CRASH": "crashed", "HANG": "hung", "PULLED": "FAIL", "BAD": "FAIL", "USED": "refused"}
        self.paths = paths
        plan = "".join('[[drive]]\npath = "%s"\n%s' % (path, 'tests = ["read"]\n' if name == "OPTICAL" else 'tests = ["pattern"]\n')
                       for name, path in paths.items())
        plan += '[[drive]]\nkind = "virtual"\nmodel = "%s"\ntests = ["pattern"]\n' % self.images["UNLISTED"]
        expected = {loops.get(name, name): fates.get(name, "PASS") for name in paths}
        expected[loops["UNLISTED"]] = "refused"
        confirmed = ['"%s"' % loops.get(name, name) for name in paths]
        return 'hang-time = "2s"\nconfirm = [%s]\n' % ", ".join(confirmed) + plan + PATTERN + READ, expected, loops

    def test_twelve_results(self):
        plan, expected, loops = self.twelve()
        process, children = self.begin_plan(plan)
        for name, fate in (("HANG", signal.SIGSTOP), ("CRASH", signal.SIGSEGV)):
            self.wait_for_test(name)
            until(lambda name=name: read(self.images[name]) != self.before[name])
            os.kill(children.of("serial=" + name), fate)
        output = process.communicate(timeout=120)[0]
        self.assertEqual(len(expected), 12)
        self.assertEqual(self.results(output), expected, output)
        self.assertEqual(process.returncode, 9, output)
        self.assertIn("12 drives: ", output)
        told = {name.split()[-1]: (result, remarks) for name, _, result, remarks in self.overview()}
        self.assertEqual({name: result for name, (result, _) in told.items()}, expected)
        for name, sentence in (("CRASH", "the process of the test crashed (SIGSEGV); this is no verdict on the drive"),
                               ("HANG", "it made no progress for 2 s and was ended"),
                               ("PULLED", "drivetest recover " + self.paths["PULLED"].split(",")[0]),
                               (loops["USED"], "is attached to"),
                               (loops["UNLISTED"], "has no serial number, so a plan that writes to it has to name it by its path")):
            self.assertIn(sentence, told[name][1])
            self.assertIn(sentence, output)
            self.assertRegex(output, r"(?m)^(\S+ )*%s: %s" % (name, expected[name]))  # when it ended
        self.check_records(("CRASH", "HANG"))
        self.put_back(untouched=("USED", "LOOP", "UNLISTED"))

    def put_back(self, untouched):
        for name in untouched:
            self.assertTrue(read(self.images[name]) == self.before[name], name)
        for name in set(self.images) - set(untouched):
            self.start("recover", self.paths[name].replace(",gone-at=80", "").replace("," + REAL_TIME, ""))
        for name, data in self.before.items():
            self.assertTrue(read(self.images[name]) == data, name)
        self.assertEqual([name for name in os.listdir(self.journals) if name.endswith(".journal")], [])


class OnFailure(PlannedTest):
    """What follows when a drive fails, for itself and for the others."""

    def test_actions(self):
        drives = "".join('[[drive]]\npath = "sim:disk,sectors=%s"\n' % keys for keys in (
            "60000,serial=SLOW,%s" % REAL_TIME.replace("8", "20"), "60000,serial=BAD,bad=7", "60000,serial=LAST"))
        tests = READ + '[[test]]\ntest = "read"\nname = "rest"\nparameters = { StartRange = 1000 }\n'
        bad, good = ("BAD", "FAIL"), ("BAD", "PASS")
        left_out, others = ("BAD", "left out"), [("SLOW", "PASS"), ("SLOW", "PASS"), ("LAST", "PASS"), ("LAST", "PASS")]
        for action, jobs, expected in (
                ("go-on", 3, [bad, good, *others]), ("stop-drive", 3, [bad, left_out, *others]),
                ("stop-all", 2, [bad, left_out, ("SLOW", "USERABORTED"), ("SLOW", "left out")] + 2 * [("LAST", "left out")])):
            with self.subTest(action):
                self.out = self.path(action)
                output, status = self.run_plan('on-failure = "%s"\njobs = %d\n' % (action, jobs) + drives + tests)
                told = [(name.split()[-1], result) for name, _, result, _ in self.overview()]
                self.assertEqual((status, sorted(told)), (1, sorted(expected)), output)
                self.check_records()


@program.names_linux("FUSE")
class Silent(PlannedTest):
    """Drives of which nothing comes any more, so that the system ends no process that waits for them."""

    def assert_told(self, process, expected, *sentences):
        output = process.communicate(timeout=120)[0]
        self.assertEqual([(name.split()[-1], result) for name, _, result, _ in self.overview()], expected, output)
        self.assertEqual(process.returncode, 7, output)
        for sentence in sentences:
            self.assertIn(sentence, output)

    def test_a_drive_that_keeps_whoever_opens_it(self):
        silent = SilentFile(self, self.path("silent"), 8 * MIB, {SilentFile.OPEN})
        devices = [silent.path, "sim:disk,sectors=40000,serial=OK"]
        planned, _ = self.begin_plan("".join('[[drive]]\npath = "%s"\n' % device for device in devices) + READ)
        self.out, planned_out = self.path("given"), self.out
        given, _ = self.spawn("pattern", devices, "--confirm", "S1", "--confirm", "OK")
        for process, self.out in ((given, self.out), (planned, planned_out)):
            self.assert_told(process, [(silent.path, "refused"), ("OK", "PASS")],
                             "%s does not answer: for 30 s it has not said what it is" % silent.path)
            self.check_records()
        self.assertIn(SilentFile.OPEN, silent.asked)

    def test_a_read_that_never_ends(self):
        silent = SilentFile(self, self.path("silent"), 65536 * MIB)
        drives = '[[drive]]\npath = "%s"\n[[drive]]\npath = "sim:disk,sectors=40000,serial=OK"\n' % silent.path
        process, children = self.begin_plan('hang-time = "1s"\n' + drives + READ + READ + 'name = "again"\n')
        left = children.of(silent.path)
        self.wait_for_test("silent")
        silent.mute.add(SilentFile.READ)
        self.assert_told(process, [(silent.path, "hung"), (silent.path, "left out"), ("OK", "PASS"), ("OK", "PASS")],
                         "it made no progress for 1 s, and the system does not end its process %d" % left)
        self.assertTrue(os.path.exists("/proc/%d" % left))

    def test_one_drive_alone_lets_go_of_who_waits_for_it(self):
        silent = SilentFile(self, self.path("silent"), 65536 * MIB, {SilentFile.OPEN})
        process, _ = self.begin("run", "read", silent.path)
        until(lambda: SilentFile.OPEN in silent.asked)
        process.send_signal(signal.SIGINT)
        self.assertEqual((process.communicate(timeout=60)[0], process.returncode), ("drivetest: stopped before the end\n", 130))
        silent = SilentFile(self, self.path("falls-silent"), 65536 * MIB)
        process, _ = self.begin("run", "read", silent.path, "--events", self.path("record.jsonl"))
        self.addCleanup(mounts.abort, os.path.dirname(silent.path))  # else nothing ends the process
        until(lambda: SilentFile.READ in silent.asked)
        silent.mute.add(SilentFile.READ)
        silent.asked.clear()
        until(lambda: SilentFile.READ in silent.asked)
        # Said though the system keeps the process.
        program.signal_often(process.pid, 3)
        until(lambda: "ended at once" in process.stdout.readline())


if __name__ == "__main__":
    unittest.main()
