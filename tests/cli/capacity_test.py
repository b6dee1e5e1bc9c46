"""CapacityTest and address patterns on drives that lie: what is told, and that a killed run loses nothing."""

import os
import random
import signal
import subprocess
import time
import unittest

import program
from recover_test import MIB, RecoveryTest

SEED = int(os.environ.get("DRIVETEST_SEED", random.randrange(1 << 30)))
KILLS = int(os.environ.get("DRIVETEST_KILLS", 24))


class Capacity(RecoveryTest):
    def lying(self, how, real=5000):
        """A simulated drive over an image; sectors that are not real alias those that are, or lose what is written."""
        image = self.make_image(4 * MIB)
        return f"sim:disk,image={image},real-sectors={real},beyond={how}"

    def run_capacity(self, device, *parameters, **options):
        return self.run_test(device, "NumberOfAddresses=512", *parameters, test="CapacityTest",
                             options=["--confirm", device], **options)

    def test_an_honest_drive_passes_by_its_short_name(self):
        image = self.make_image(4 * MIB)
        process = self.start("run", "capacity", image, "--confirm", image, "--events", self.record)
        self.assertEqual(process.returncode, 0, process.stdout + process.stderr)
        self.assertIn("the drive has the capacity that it claims", process.stdout)
        self.assertEqual(self.changed(), [])

    def test_what_is_found_is_told_and_put_back(self):
        for how, key in (("wrap", "capacityRepeats sector=5000 other=0"), ("drop", "capacityLost sector=5000"),
                         ("zeros", "capacityLost sector=5000"), ("garbage", "capacityLost sector=5000")):
            for options in ((), ("PreserveData=yes",)):
                run = self.run_capacity(self.lying(how), *options)
                self.assertEqual((run.status, run.result()), (1, "FAIL"), run.out)
                self.assertEqual(run.events()[0], key + " sectors=8192 realMiB=2 MiB=4")
                self.assertEqual(self.changed(), [], how)
                self.assertEqual(os.listdir(self.journals), [])

    def test_malformed_locators_are_refused(self):
        for given, says in (("real-sectors=0", "a whole number from 1 on"), ("real-sectors=9,beyond=x", "wrap, zeros, drop or garbage"),
                            ("beyond=wrap", "needs \"real-sectors\""), ("sectors=5,real-sectors=6", "more real sectors")):
            process = self.start("run", "LinearReadTest", "sim:disk," + given)
            self.assertEqual(process.returncode, 2, process.stdout + process.stderr)
            self.assertIn(says, process.stderr)

    def test_the_scattered_sectors_of_a_journal_are_shown(self):
        device = self.lying("wrap")
        self.kill_when(device, lambda _: self.changed())
        self.recover(9, "--dry-run", says=["scattered sectors from 0 to 8191", "would be restored"])
        self.recover(0, device, says="all its data is on the drive again")
        self.assertEqual(self.changed(), [])

    def kill_when(self, device, is_time, test="CapacityTest", *parameters):
        process = self.spawn("run", test, device, "--confirm", device, *parameters)
        began = time.monotonic()
        while process.poll() is None and not is_time(time.monotonic() - began):
            pass
        process.send_signal(signal.SIGKILL)
        return process.wait() == -signal.SIGKILL

    def test_kills_at_random_moments_lose_nothing(self):
        """Through all of a run, and the more often where it has stamped."""
        chance, killed, stamped = random.Random(SEED), 0, 0
        cases = [("CapacityTest", how) for how in ("wrap", "drop", "zeros")] + [("LinearPatternTest", "nothing")]
        took = {}
        for n in range(KILLS):
            test, how = cases[n % len(cases)]
            device = self.make_image(4 * MIB) if how == "nothing" else self.lying(how)
            given = ["-p", "AddressPattern=yes"] if test == "LinearPatternTest" else []
            if (test, how) not in took:
                began = time.monotonic()
                subprocess.run(self.command("run", test, device, "--confirm", device, *given), check=False,
                               capture_output=True, stdin=subprocess.DEVNULL)
                took[test, how] = time.monotonic() - began
                self.assertEqual(self.changed(), [], (test, how))
            moment = chance.uniform(0, took[test, how])
            killed += self.kill_when(device, lambda t, m=moment: t > m, test, *given)
            stamped += bool(self.changed())
            self.recover(0, *([device] if os.listdir(self.journals) else []))
            self.assertEqual(self.changed(), [], f"seed {SEED}, kill {n} of {test} on {device}")
            self.assertEqual(os.listdir(self.journals), [])
        print(f"killed {killed} runs, of which {stamped} had stamps on the drive", flush=True)
        self.assertGreater(killed, 0)


class AddressPatterns(program.ImageTest):
    def test_an_address_behind_another_is_seen(self):
        """Within a chunk, where equal patterns see nothing."""
        device = "sim:disk,sectors=2000,real-sectors=20"
        for given, status in ((), 0), (("AddressPattern=yes",), 1):
            run = self.run_test(device, *given, test="LinearPatternTest", options=["--confirm", device])
            self.assertEqual(run.status, status, run.out)
        device = "sim:disk,sectors=2000,bad-write=77"
        run = self.run_test(device, "AddressPattern=yes", "NumberOfPatterns=1", test="LinearPatternTest",
                            options=["--confirm", device])
        self.assertEqual([each["ranges"] for each in run.extensions("badSectors")], [[[77, 77]]], run.out)

    def test_nothing_can_be_compared_with_the_addresses_of_another_run(self):
        process = self.start("run", "LinearPatternTest", "sim:disk", "-p", "AddressPattern=yes", "-p", "VerifyOnly=yes",
                             "-p", "OverridePattern=a5")
        self.assertEqual(process.returncode, 2, process.stdout + process.stderr)


if __name__ == "__main__":
    unittest.main()
