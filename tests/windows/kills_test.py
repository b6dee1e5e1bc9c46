"""Runs of the program for Windows that are ended in their midst (TerminateProcess, which is what Wine makes of a kill): every
byte is as it was after `drivetest recover`. DRIVETEST_KILLS says how many, those not counted that came too late."""

import os
import random
import subprocess
import time
import unittest

import program

MIB = 1 << 20
KILLS = int(os.environ.get("DRIVETEST_KILLS", "60"))
WRITERS = {"LinearPatternTest": 16 * MIB, "CacheTest": 35 * MIB, "ReadWriteSpeedTest": 12 * MIB}


class Kills(program.ImageTest):
    parent = "/dev/shm" if os.path.isdir("/dev/shm") else None  # other work of the disk would upset the moments

    def test_cost_no_byte(self):
        seed = random.randrange(1 << 32)
        moments, open_journals, with_patterns, killed = random.Random(seed), 0, 0, 0
        with self.subTest(seed=seed):
            for test, size in WRITERS.items():
                device = self.make_loop(size)
                duration = min(self.time(test, device) for _ in range(3))  # whatever else the machine does meanwhile
                wanted = killed + KILLS // len(WRITERS)
                for _ in range(10 * KILLS):
                    if killed == wanted:
                        break
                    killed += self.kill(test, device, moments.uniform(0.2, 1) * duration)
                    with_patterns += self.changed() != []
                    open_journals += bool(os.listdir(self.journals))
                    self.recover(device)
            self.assertEqual(killed, KILLS // len(WRITERS) * len(WRITERS))
            # Else the moments were not in the midst of runs.
            self.assertGreater(open_journals, KILLS // 6)
        print("%d killed, %d with an open journal, %d while the drive held patterns, seed %d" %
              (killed, open_journals, with_patterns, seed))

    def time(self, test, device):
        began = time.monotonic()
        self.assertEqual(self.write(test, device).status, 0)
        return time.monotonic() - began

    def kill(self, test, device, after):
        process = subprocess.Popen(self.command("run", test, device, "--confirm", device),
                                   **dict.fromkeys(("stdin", "stdout", "stderr"), subprocess.DEVNULL))
        time.sleep(after)
        process.kill()
        return process.wait(60) < 0

    def recover(self, device):
        """By the drive's name: nothing that lasts is known of one that Wine maps."""
        ended = self.start("recover", device)
        self.assertEqual((ended.returncode, self.changed(), os.listdir(self.journals)), (0, [], []), ended.stdout + ended.stderr)


if __name__ == "__main__":
    unittest.main()
