"""What the program tells of drives and tests."""

import json
import os
import pathlib
import re
import subprocess
import unittest

import program

FIELDS = ["locator", "model", "serial", "firmware", "bytes", "sectorSize", "capabilities", "inUseBy", "confirm"]


class Listings(program.ProgramTest):
    def listed(self, locator):
        devices = json.loads(self.start("devices", "--json").stdout)
        for device in devices:
            self.assertEqual(list(device), FIELDS)
        return next((d for d in devices if d["locator"] == locator), None)

    @program.names_linux("its list of loop devices, and mounts")
    def test_a_loop_device_and_who_uses_it(self):
        image = self.path("drive.img")
        with open(image, "wb") as file:
            file.truncate(8 << 20)
        subprocess.run(["/sbin/mkfs.ext4", "-q", image], check=True)
        loop = program.loop_device(self, image)
        device = self.listed(loop)
        self.assertEqual((device["bytes"], device["sectorSize"], device["confirm"]), (8 << 20, 512, loop))
        self.assertEqual((device["capabilities"], device["inUseBy"]), (["HardDrive"], []))
        self.assertIn(loop, self.start("devices").stdout)

        folder = self.path("mounted")
        os.mkdir(folder)
        subprocess.run(["mount", loop, folder], check=True)
        self.addCleanup(subprocess.run, ["umount", folder], check=False, stderr=subprocess.DEVNULL)
        used = self.listed(loop)["inUseBy"]
        subprocess.run(["umount", folder], check=True)
        self.assertEqual(used, ["%s is mounted on %s" % (os.path.basename(loop), folder)])

    def test_tests_and_their_parameters(self):
        self.assertTrue(self.start("tests").stdout.startswith("LinearReadTest "))
        text = self.start("tests", "LinearReadTest").stdout
        for words in ("DisplayAdvancedErrs", "BOOLEAN", "StartRange", "(default: MIN)", "SectorPercentToTest", "PERCENT"):
            self.assertIn(words, text)
        german = self.start("tests", "LinearReadTest", environment={"LC_ALL": "de_DE.UTF-8"}).stdout
        self.assertIn("Standard: MIN", german)


class Manual(program.ProgramTest):
    def test_it_knows_the_simulated_drives_of_the_program(self):
        told = self.start("run", "--help").stdout
        kinds, keys, optical, media = re.search(
            r"Kinds: (.*?)Keys: (.*?)Of optical ones: (.*?)Media \(.*?\): (.*?)\n\n", told, re.DOTALL).groups()
        manual = pathlib.Path(__file__).parents[2] / "docs" / "simulated-drives.md"
        sections = re.split(r"^## ", manual.read_text(encoding="utf-8"), flags=re.MULTILINE)[1:]
        for section, column, names in ((0, 1, kinds), (1, 1, keys + optical), (2, 2, media)):
            cells = [row.split("|")[column] for row in sections[section].splitlines() if row.startswith("| ")]
            named = {re.split("[=`]", name)[0] for cell in cells for name in re.findall("`([^`]+)`", cell)}
            self.assertEqual(named, {word.split("=")[0] for word in names.split()} - {"none"}, sections[section][:20])


if __name__ == "__main__":
    unittest.main()

