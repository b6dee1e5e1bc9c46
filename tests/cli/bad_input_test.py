"""Wrong input: one clear sentence, status 2, nothing else done."""

import os
import unittest

import program

DRIVE = "sim:disk,sectors=1000"
ORDER = "__libDriveTest_AccessOrder"


class BadInput(program.ProgramTest):
    CASES = [  # arguments, what the sentence must say
        (["run", "NoSuchTest", DRIVE], 'there is no test "NoSuchTest"; there are: LinearReadTest'),
        (["tests", "NoSuchTest"], 'there is no test "NoSuchTest"'),
        (["frobnicate"], 'there is no command "frobnicate"'),
        (["run", "LinearReadTest", DRIVE, "-p", "Nonsense=1"], 'has no parameter "Nonsense"; it has: '),
        (["run", "LinearReadTest", DRIVE, "-p", "MaxErrors"], '"MaxErrors" is no parameter: write NAME=VALUE'),
        (["run", "LinearReadTest", DRIVE, "-p", "MaxErrors=many"], '"many" is no value for MaxErrors: give a whole number'),
        (["run", "LinearReadTest", DRIVE, "-p", "SectorPercentToTest=-5"], '"-5" is no value for SectorPercentToTest'),
        (["run", "LinearReadTest", DRIVE, "-p", "XferSizeHinting=maybe"], "give true or false"),
        (["run", "LinearSeekTest", DRIVE, "-p", "SeekMethod=raed"], '"raed" is no value for SeekMethod: give seek or read'),
        (["run", "LinearReadTest", DRIVE, "--property", "x"], '"x" is no device property'),
        (["run", "LinearReadTest", DRIVE, "--property", ORDER + "=1:2"], '"1:2" is no access order: give DriveTestSearchOrder:N'),
        (["run", "LinearReadTest", DRIVE, "--property", ORDER + "=DriveTestSearchOrder:6:x"], "6 block device"),
        (["run", "LinearReadTest", DRIVE, "--property", ORDER + "=DriveTestSearchOrder:9"], "8 NVMe"),
        (["recover", "/no/such/drive"], '/no/such/drive does not exist: "drivetest devices" lists'),
        (["recover", "sim:toaster"], 'there is no kind "toaster"'),
        (["run", "LinearReadTest", DRIVE + ",colour=red"], 'it does not know "colour"'),
        (["run", "LinearReadTest", DRIVE + ",bad=5-3"], '"5-3" is no value for "bad"'),
        (["run", "LinearReadTest", DRIVE + ",bad=1000"], "sector 1000 lies beyond its end"),
        (["run", "LinearReadTest", "sim:toaster"], 'there is no kind "toaster"'),
        (["run", "LinearReadTest", DRIVE, "--module", "/no/such.so"], "the test module /no/such.so does not exist"),
        (["run", "LinearReadTest", DRIVE, "--module", __file__], "cannot be loaded"),
        (["run", "LinearReadTest", DRIVE, "--events", "/no/such/folder/r"], "the record cannot be written to /no/such/folder/r: "),
        (["run", "LinearReadTest", DRIVE, "--log", "-", "--events", "-"], "cannot both be written to -"),
        (["run", "LinearReadTest", DRIVE, "--log", "/no/such/folder/l"], "the log cannot be written to /no/such/folder/l: "),
    ]

    def test_one_sentence_and_status_2(self):
        for arguments, sentence in self.CASES:
            with self.subTest(arguments=arguments):
                process = self.start(*arguments)
                self.assertEqual(process.returncode, 2)
                self.assertEqual(process.stdout, "")
                self.assertEqual(process.stderr.count("\n"), 1, process.stderr)
                self.assertIn(sentence, process.stderr)
        self.assertEqual(os.listdir(self.folder), [])

    def test_usage_errors_name_the_argument(self):
        read = ["run", "LinearReadTest"]
        for arguments, sentence in (
                ([], 'name a command; "drivetest --help" lists them'), (read, "DEVICE is missing"),
                (["dance", "--high"], 'no command "dance"'), (["run", "--frob"], 'no option "--frob"'),
                (["--frob", *read, DRIVE], 'no option "--frob"; "drivetest --help"'),
                (["health", DRIVE, "extra"], '"extra" is more than the command takes; "drivetest health --help"'),
                (["verify", "a", "--identity"], "--identity needs a value: --identity NAME"),
                ([*read, DRIVE, "--quiet=x"], "--quiet takes no value"),
                ([*read, DRIVE, "--log", "a", "--log", "b"], "--log is given more than once"),
                ([*read, DRIVE, "--log-priority", "9"], '--log-priority: "9" is no whole number from 0 to 4'),
                (["verify", "a", "--identity", "b"], "--identity is only of use with --allowed-signers")):
            with self.subTest(arguments=arguments):
                process = self.start(*arguments)
                self.assertEqual(process.returncode, 2)
                self.assertEqual(process.stderr.count("\n"), 1, process.stderr)
                self.assertIn(sentence, process.stderr)

    def test_ranges_and_shares_that_the_test_refuses(self):
        for parameters, item in ((["StartRange=min"], "StartRange:min"), (["EndRange=100%"], "EndRange:100%"),
                                 (["StartRange=1000"], "StartRange:1000, EndRange:MAX"),
                                 (["SectorPercentToTest=150"], "SectorPercentToTest:150"),
                                 (["SectorPercentToTest=0.01"], "StartRange:MIN, EndRange:MAX, NumberOfSeeks:0, SectorPercentToTest:0.01"),
                                 (["StartRange=" + "9" * 10000], "StartRange:999")):
            with self.subTest(parameters=parameters):
                run = self.run_test(DRIVE, *parameters)
                self.assertEqual((run.status, run.result(), run.end()), (2, "BADPARAMS", "ERROR/NOT_APPLICABLE"))
                self.assertEqual([e["symptom"] for e in run.steps("error")], ["invalidParameters"])
                self.assertIn(item, run.out)
                lines = run.out.splitlines()  # the sentence, what is valid for each, and where the record lies
                self.assertEqual([line.split(":")[0].strip() for line in lines[1:-1]],
                                 [each.split(":")[0] for each in item.split(", ")])
                for line in lines[1:-1]:
                    if "Range" in line:
                        self.assertRegex(line, r"number.*10MB.*2\^30 bytes|10MB, 50%, MIN, MAX, MIN\+\.\.\., MAX-\.\.\..*2\^30 bytes")

    def test_a_drive_is_no_place_for_output(self):
        image = self.path("drive.img")
        with open(image, "wb") as file:
            file.write(b"data" * 1024)
        device = program.loop_device(self, image)
        process = self.start("run", "LinearReadTest", DRIVE, "--events", device)
        self.assertEqual((process.returncode, "it is a drive" in process.stderr), (2, True))

    def test_a_device_that_is_excluded(self):
        with open(self.record, "w", encoding="utf-8") as record:
            record.write("an earlier record")
        process = self.start("run", "LinearReadTest", DRIVE, "--property", "__libDriveTest_Disable=", "--events", self.record)
        self.assertEqual((process.returncode, os.path.getsize(self.record)), (6, len("an earlier record")))
        self.assertIn("is not offered for " + DRIVE, process.stderr)


if __name__ == "__main__":
    unittest.main()
