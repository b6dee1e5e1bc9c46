"""How the program reaches a drive, and drives that it refuses."""

import unittest

import program

ORDER = "__libDriveTest_AccessOrder=DriveTestSearchOrder"


class Access(program.ProgramTest):
    def reach(self, device, *properties):
        """The run, its log, and the class of drive that the log names."""
        given = [word for value in properties for word in ("--property", value)]
        run = self.run_test(device, options=[*given, "--log", self.path("log"), "--log-priority", "1", "--force"])
        with open(self.path("log"), encoding="utf-8") as lines:
            log = lines.read()
        return run, log, [line.split()[-1] for line in log.splitlines() if "Created drive type: " in line]

    def test_the_order_picks_the_drive(self):
        for kind, order, expected in (("scsi", None, "OSScsiSBCDrive"), ("scsi", ":2", "ScsiSBCDrive"),
                                      ("scsi", ":6", "OSDrive"),
                                      ("ata", None, "OSDrive"), ("ata", ":1", "AtaDrive"),
                                      ("ata,emulated", ":1:2", "ScsiSBCDrive"), ("nvme", ":4:8", "NVMeDrive"),
                                      ("ufi", None, "UFIFloppyDrive")):
            with self.subTest(kind=kind, order=order):
                run, _, made = self.reach("sim:%s,sectors=2000,bad=7+1999" % kind, *([ORDER + order] if order else []))
                self.assertEqual((made, run.coverage()), ([expected], "2000 = 1998 + 2 + 0"))
                self.assertEqual(run.events(), ["readSectorErr ReadSector=7", "readSectorErr ReadSector=1999"])

    def test_refuses_what_cannot_be_reached_so(self):
        run, _, made = self.reach("sim:scsi", ORDER + ":8")
        self.assertEqual((run.events(), made), (["testNotSupported"], []))
        unlocking = "the computer's firmware" if program.WINDOWS else "hdparm --security-unlock"
        for device, given, sentence in (("sim:disk", "__libDriveTest_Disable=1", "not offered for sim:disk"),
                                        ("sim:ata,locked", ORDER + ":1", "is locked by its ATA password"),
                                        ("sim:ata,locked", ORDER + ":1", unlocking)):
            process = self.start("run", "LinearReadTest", device, "--property", given)
            self.assertNotEqual(process.returncode, 0)
            self.assertIn(sentence, process.stderr)


class Volumes(program.ProgramTest):
    def test_volumes_that_cannot_be_had_or_given_back(self):
        advice = "close the programs" if program.WINDOWS else "unmount it, switch swap off, stop what uses it"
        for state, status, result, events, said in (
                ("busy", 5, "DEVICEBUSY", ["cannotOpenAccessDenied"], "the simulated drive is in use; " + advice),
                ("stuck", 0, "PASS", [], "Unable to unlock one or more volumes")):
            drive = "sim:disk,sectors=100,volumes=" + state
            run = self.run_test(drive, test="LinearPatternTest", options=("--confirm", drive, "--log", self.path(state)))
            with open(self.path(state), encoding="utf-8") as log:
                self.assertIn(said, run.out + log.read())
            self.assertEqual((run.status, run.result(), run.events()), (status, result, events), run.out)


if __name__ == "__main__":
    unittest.main()
