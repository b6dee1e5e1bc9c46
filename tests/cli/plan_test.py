"""Plans: what is checked before anything starts, what would be run, what is refused, and the plans that are installed."""

import os
import pathlib
import subprocess
import unittest

import program

PLANS = pathlib.Path(__file__).resolve().parents[2] / "drivetest/plan/plans"
READ = '[[test]]\ntest = "read"\n'
PATTERN = '[[test]]\ntest = "pattern"\n'
SMALL = "sim:disk,sectors=80000"
SERIAL = SMALL + ",serial=S1"


def drives(*paths, more=""):
    return "".join('[[drive]]\npath = "%s"\n%s' % (path.replace("\\", "\\\\"), more) for path in paths)


class Plans(program.ImageTest):
    def plan(self, text):
        with open(self.path("plan.toml"), "w", encoding="utf-8") as file:
            file.write(text)
        return "plan.toml"

    def check(self, text, status=0):
        """What "plan check" says of a plan, a line each; it leaves nothing behind."""
        self.plan(text)
        before = sorted(os.listdir(self.folder))
        done = self.start("plan", "check", "plan.toml")
        self.assertEqual(done.returncode, status, done.stdout + done.stderr)
        self.assertEqual(sorted(os.listdir(self.folder)), before)
        return (done.stderr if status == 2 else done.stdout).splitlines()

    def faults(self, text):
        """Each without the program's and the file's name; "run" says the same, and starts nothing."""
        lines = self.check(text, status=2)
        ran = self.start("run", "--plan", "plan.toml")
        self.assertEqual((ran.returncode, ran.stdout, ran.stderr.splitlines()), (2, "", lines))
        self.assertTrue(all(line.startswith("drivetest: plan.toml:") for line in lines), lines)
        return [line.removeprefix("drivetest: plan.toml:") for line in lines]

    def rows(self, lines):
        """Of the table, by columns."""
        return [[cell.strip() for cell in line.split("  ") if cell.strip()] for line in lines[1:lines.index("")]]

    def test_shows_what_would_be_run(self):
        lines = self.check('repeats = 2\nconfirm = ["S1", "%s", "S9"]\n' % SMALL + drives(SERIAL, SMALL) +
                           drives("sim:nvme,sectors=4000000000,serial=N1", more='tests = ["read", "survey"]\n') +
                           '[[test]]\ntest = "read"\nmax-time = "1h"\n' + PATTERN + "repeats = 3\n" +
                           'parameters = { PreserveData = false }\n[[test]]\ntest = "survey"\n')
        self.assertEqual(lines[0].split("  ")[0], "DRIVE")
        written = "writes: WHAT IT HOLDS WILL BE LOST"
        first = ["DriveTst Simulated disk S1 (%s)" % SERIAL, "39.1 MiB", "LinearReadTest", "2", "about 0.20 s", "nothing"]
        self.assertEqual(self.rows(lines)[:4], [
            first, ["LinearPatternTest", "6", "about 1.64 s", written], ["SurveyReadTest", "2", "about 0.20 s", "nothing"],
            [SMALL, *first[1:]]])
        self.assertEqual(self.rows(lines)[6:], [
            ["DriveTst Simulated NVMe N1 (sim:nvme,sectors=4000000000,serial=N1)", "1.9 TiB", "LinearReadTest", "2",
             "about 0:17:04", "nothing"], ["SurveyReadTest", "2", "about 0:17:04", "nothing"]])
        self.assertIn('"S9" is confirmed, and no drive of the plan has it', lines)
        self.assertIn("Drives to be tested: 3, refused: 0. After a test that fails, the next one is run all the same.", lines)
        self.assertTrue(lines[-1].startswith("The drive that takes longest: about 1:08:16. Times are reckoned"), lines[-1])

    def test_limits_of_time_and_sizes_count(self):
        large = "sim:disk,sectors=39000000000"
        for test, time in (('test = "read"', "about 27:44:00"), ('test = "read"\nmax-time = "7h"', "at most 7:00:00"),
                           ('test = "read"\nparameters = { SectorPercentToTest = 10 }', "about 2:46:24"),
                           ('test = "compare"\nparameters = { EndRange = "1%" }', "about 0:33:16"),
                           ('test = "seek"\nparameters = { NumberOfSeeks = 10000 }', "about 0:01:40"),
                           ('test = "read"\ngentle = true\nmax-time = "1h"', "at most 1:00:00")):
            with self.subTest(test):
                self.assertEqual(self.rows(self.check(drives(large) + "[[test]]\n" + test))[0][-2], time)

    def test_faults_of_tests_and_drives_are_told_at_once(self):
        faults = self.faults(
            drives("/dev/none", SMALL, "sim:tape") + '[[drive]]\nserial = "none"\n[[drive]]\nmodel = "no such*"\n' +
            drives(self.folder) + '[[test]]\ntest = "reed"\n' + PATTERN + "gentle = true\n" + PATTERN +
            'parameters = { NumberOfPatterns = "many", Patterns = 1, PreserveData = "maybe" }\n[[test]]\ntest = "seek"\n' +
            'max-time = 5\nproperties = { Serial = "S1", __libDriveTest_AccessOrder = "x" }\n' +
            f'grade = "{program.ROOT}none.toml"\n')
        listed = ' "drivetest devices" lists the drives'
        expected = ["2:8: /dev/none does not exist:" + listed + " of this machine",
                    '6:8: the simulated drive "sim:tape" cannot be made: there is no kind "tape"; known are disk',
                    '8:10: no drive here has the serial number "none":' + listed, "10:9: no drive here is like that:" + listed,
                    "12:8: %s cannot be used: it is a directory" % self.folder,
                    '14:8: there is no test "reed"; is it "read"? there are: LinearReadTest',
                    "17:10: LinearPatternTest cannot be done gently",
                    '20:35: "many" is no value for NumberOfPatterns: give a whole number',
                    '20:43: LinearPatternTest has no parameter "Patterns"; it has: Disp',
                    '20:72: "maybe" is no value for PreserveData: give true or false',
                    "23:12: RandomSeekTest has no limit of time", "24:25: the property Serial says which drive it is",
                    '24:60: "x" is no access order', f"25:9: {program.ROOT}none.toml does not exist"]
        self.assertEqual([fault[:len(start)] for fault, start in zip(faults, expected)], expected)
        self.assertEqual(len(faults), len(expected), faults)

    def test_a_test_that_is_not_for_a_drive_is_a_fault(self):
        self.assertEqual(self.faults(drives(SMALL) + '[[test]]\ntest = "ReadPerformanceTest"\n'),
                         ['4:8: ReadPerformanceTest tests optical drives, and %s is none: "drivetest devices" lists the drives '
                          'of this machine' % SMALL])
        for test, values, place, refused in (
                ("read", 'StartRange = "50%", EndRange = "40%"', "5:29", "StartRange:50%, EndRange:40%"),
                ("read", "SectorPercentToTest = 101", "5:38", "SectorPercentToTest:101"),
                ("read", 'EndRange = "1x"', "5:27", "EndRange:1x"),
                ("speed", 'StartRange = "90000"', "5:29", "StartRange:90000, EndRange:MAX"),
                ("pattern", "NumberOfPatterns = 19", "5:35", "NumberOfPatterns:19"),
                ("pattern", "VerifyOnly = true", "5:29", "OverridePattern:, VerifyOnly:true"),
                ("capacity", "NumberOfAddresses = 1", "5:36", "NumberOfAddresses:1"),
                ("cache", 'StartRange = "60000"', "5:29", "StartRange:60000, EndRange:MAX"),
                ("ReadWriteSpeedTest", 'WriteEndRange = "MIN"', "5:32", "WriteStartRange:MIN, WriteEndRange:MIN")):
            with self.subTest(values):
                text = drives(SMALL) + '[[test]]\ntest = "%s"\nparameters = { %s }\n' % (test, values)
                self.assertEqual([fault.partition(" ")[0] for fault in self.faults(text)], [place + ":"])
                self.assertTrue(self.faults(text)[0].endswith(" refuses this for %s: %s" % (SMALL, refused)), self.faults(text))

    def test_two_names_of_one_drive_are_a_fault(self):
        image = self.make_image(1 << 20)
        os.link(image, self.path("hard.img"))
        with open(self.path("other.img"), "wb") as other:
            other.truncate(1 << 20)
        names = [self.path("hard.img"), "drive.img", "sim:disk,image=drive.img"]
        if not program.WINDOWS:
            os.symlink("drive.img", self.path("soft.img"))
            names.append("soft.img")
        for name in names:
            self.assertEqual(self.faults(drives(image, "other.img", name) + READ),
                             ["6:8: %s is %s by another name, which line 2 names" % (name, image)])
        self.assertEqual(self.faults(drives(SMALL, SERIAL, SMALL) + READ),
                         ["6:8: %s is named twice: line 2 names it, too" % SMALL])
        self.check(drives(image, "other.img") + READ)

    @program.names_linux("loop devices")
    def test_a_loop_device_is_its_file(self):
        device = self.make_loop(1 << 20)
        os.symlink(device, self.path("link"))
        for first, second, common in ((device, "link", "is %s by another name, which line 2 names"),
                                      (self.image, device, "is %s by another name, which line 2 names")):
            self.assertEqual(self.faults(drives(first, second) + READ), ["4:8: %s %s" % (second, common % first)])
        # By a match, too.
        match = '[[drive]]\nkind = "virtual"\nmodel = "*%s"\n' % os.path.basename(self.folder + "/drive.img")
        self.assertEqual(self.faults(drives("link") + match.replace("*", self.folder + "/") + READ),
                         ["3:1: %s is link by another name, which line 2 names" % device])

    def test_only_what_is_confirmed_is_written_to(self):
        image = self.make_image(1 << 20)
        for confirmed, device, refusal in (("S1", SERIAL, None), (SERIAL, SERIAL, "S1"), ("s1", SERIAL, "S1"), ("S1 ", SERIAL, "S1"),
                                           (SMALL, SMALL, None), ("", SMALL, SMALL), (image, image, None),
                                           ("drive.img", image, image)):
            with self.subTest(confirmed):
                text = ('confirm = ["%s"]\n' % confirmed if confirmed else "").replace("\\", "\\\\") + drives(device) + PATTERN
                lines = self.check(text, status=3 if refusal else 0)
                refused = ['refused: %s would be written to: confirm that with "%s" below "confirm" in the plan' % (device, refusal)]
                self.assertEqual([line for line in lines if line.startswith("refused:")], refused if refusal else [])
        # What only reads needs none.
        self.check(drives(SERIAL) + READ)
        self.check(drives(SERIAL, more='tests = ["read"]\n') + READ + PATTERN)

    @program.names_linux("loop devices")
    def test_a_match_writes_to_nothing_without_a_serial_number(self):
        device = self.make_loop(1 << 20)
        text = 'confirm = ["%s"]\n[[drive]]\nkind = "virtual"\nmodel = "%s"\n' % (device, self.image)
        self.assertIn("refused: %s has no serial number, so a plan that writes to it has to name it by its path" % device,
                      self.check(text + PATTERN, status=3))
        self.check(text + READ)

    @program.names_linux("mounts")
    def test_a_drive_in_use_is_refused_and_the_others_are_not(self):
        subprocess.run(["mkfs.ext4", "-q", self.make_image(4 << 20)], check=True)
        device, folder = program.loop_device(self, self.image), self.path("mounted")
        os.mkdir(folder)
        subprocess.run(["mount", device, folder], check=True)
        self.addCleanup(subprocess.run, ["umount", folder], check=True)
        user = "%s is mounted on %s" % (os.path.basename(device), folder)
        lines = self.check('confirm = ["%s", "S1"]\n' % device + drives(device, SERIAL) + PATTERN, status=3)
        self.assertEqual([row[2] for row in self.rows(lines)], ["refused, see below", "LinearPatternTest"])
        self.assertTrue(any(line.startswith("refused: %s; " % user) for line in lines), lines)
        self.assertIn("Drives to be tested: 1, refused: 1.", "\n".join(lines))
        self.assertIn(user + "; reading does no harm, but rates may be lower", self.check(drives(device) + READ))

    def test_plans_of_the_program_are_those_that_are_installed(self):
        names = {path.stem for path in PLANS.glob("*.toml")}
        self.assertEqual(names, {"new-drive", "used-drive", "weekly-scrub"})
        for name in names:
            printed = self.start("plan", "--print", name)
            self.assertEqual((printed.returncode, printed.stdout), (0, (PLANS / (name + ".toml")).read_text(encoding="utf-8")))
            # Of another drive than those of this machine, and confirmed.
            head, _, rest = printed.stdout.partition('kind = ["hdd", "ssd", "nvme"]\n')
            lines = self.check(head.replace("confirm = []", 'confirm = ["S1"]') + 'path = "sim:ata,sectors=8000000,serial=S1"\n' + rest)
            writes = [row[-1] for row in self.rows(lines) if row[-1] != "nothing"]
            self.assertEqual(bool(writes), name == "new-drive")
            self.assertLessEqual(set(writes), {"writes, and puts everything back"})

    def test_wrong_usage(self):
        self.plan(drives(SMALL) + READ)
        with open(self.path("large.toml"), "wb") as file:
            file.truncate(1 << 20)
        for arguments, sentence in (
                (("plan",), 'name a plan, as in "drivetest plan check FILE", or give --print; "drivetest plan --help" tells what '
                            "the command takes"),
                (("plan", "check", "none.toml"), "none.toml does not exist"),
                (("plan", "check", "weekly-scrub"), "weekly-scrub does not exist; the plan of that name is built in: "
                 '"drivetest plan --print weekly-scrub > weekly-scrub.toml" makes a file of it'),
                (("plan", "check", "large.toml"), "large.toml is larger than any file of settings"),
                (("plan", "chekc", "plan.toml"), 'ACTION: there is no "chekc"; there are: check'),
                (("plan", "--print", "old-drive"), '--print: there is no "old-drive"; there are: new-drive, used-drive, weekly-scrub'),
                (("run", "--plan", "none.toml"), "none.toml does not exist"),
                (("run", "read", SMALL, "--plan", "plan.toml"), "TEST: plan.toml says that itself: leave it out"),
                (("run", "--plan", "plan.toml", "--confirm", "S1"), "--confirm: plan.toml says that itself: leave it out"),
                (("run", "--plan", "plan.toml", "--force"), "--force: plan.toml says that itself: leave it out"),
                (("run", "--plan", "plan.toml", "--no-journal"), "--no-journal: plan.toml says that itself: leave it out"),
                (("run", "--plan", "plan.toml", "-p", "MaxErrors=1"), "--param: plan.toml says that itself: leave it out"),
                (("run", "read"), 'DEVICE is missing; "drivetest run --help" tells what the command takes')):
            with self.subTest(arguments):
                done = self.start(*arguments)
                self.assertEqual((done.returncode, done.stdout, done.stderr), (2, "", "drivetest: %s\n" % sentence))


if __name__ == "__main__":
    unittest.main()
