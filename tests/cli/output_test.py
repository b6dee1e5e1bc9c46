"""Where output may go, what becomes of it when nobody takes it, and what text of devices may do."""

import os
import resource
import signal
import socket
import subprocess
import threading
import time
import unittest

import program

MIB = 1 << 20
DRIVE = "sim:disk,sectors=1000"
HOSTILE = "a\x1b]0;b\x07\u202ec\x7f\u200bd"
HARMLESS = "a\\x1b]0;b\\x07\\u{202e}c\\x7f\\u{200b}d"


def full_pipe(test):
    """A pipe that takes no more: (the end to read, the end to write)."""
    reader, writer = os.pipe()
    test.addCleanup(os.close, reader)
    test.addCleanup(os.close, writer)
    # Another opening of it, so that the program's own end still waits.
    filler = os.open("/proc/self/fd/%d" % writer, os.O_WRONLY | os.O_NONBLOCK)
    try:
        while True:
            os.write(filler, b"." * 512)
    except BlockingIOError:
        os.close(filler)
    return reader, writer


class Refused(program.ImageTest):
    def refuse(self, sentence, device, *options, **streams):
        """A run that is refused leaves the drive, and the folder, as they were."""
        before = sorted(os.listdir(self.folder))
        streams.setdefault("stderr", subprocess.PIPE)
        process = subprocess.run(self.command("run", "LinearReadTest", device, *options), cwd=self.folder, check=False,
                                 stdin=subprocess.DEVNULL, timeout=60, text=True, **{"stdout": subprocess.PIPE, **streams})
        self.assertEqual(process.returncode, 2)
        self.assertIn(sentence, (process.stderr or "") + (process.stdout or ""))
        self.assertEqual(sorted(os.listdir(self.folder)), before)
        return process

    def drives(self):
        """Drives kept in one image, by all their names."""
        image = self.make_image(MIB)
        os.link(image, self.path("hard link"))
        os.symlink(image, self.path("link"))
        yield image
        yield "sim:disk,image=" + image
        if not program.WINDOWS:  # which has no files behind drives
            yield program.loop_device(self, image)

    def test_outputs_in_what_is_tested(self):
        for device in self.drives():
            sentence = "which is to be tested" if device.startswith("/dev") else "it is what is to be tested"
            for options in (["--events", "drive.img"], ["--log", "hard link"], ["--events", "link", "--force"]):
                with self.subTest(device=device, options=options):
                    self.refuse(sentence, device, *options)
                    self.assertEqual(self.changed(), [])

    @program.names_linux("deleted files behind loop devices")
    def test_the_file_behind_a_loop_device_that_lost_its_name(self):
        device = self.make_loop(MIB)
        os.link(self.image, self.path("kept"))
        os.remove(self.image)
        self.image = self.path("kept")
        self.refuse("it is the file behind " + device, device, "--events", "kept")
        self.assertEqual(self.changed(), [])

    def test_standard_streams_that_lead_into_what_is_tested(self):
        for device in self.drives():
            for streams in ({"stdout"}, {"stderr"}, {"stdout", "stderr"}):
                with self.subTest(device=device, streams=streams), open(self.image, "ab") as image:
                    sentence = "" if len(streams) == 2 else "standard " + ("output" if "stdout" in streams else "error")
                    self.refuse(sentence, device, **{stream: image for stream in streams})
                    self.assertEqual(self.changed(), [])

    def test_what_is_no_place_for_output(self):
        with socket.socket(socket.AF_UNIX) as listener:
            listener.bind(self.path("socket"))
            os.symlink("nothing", self.path("dangling"))
            with open(self.path("full"), "w", encoding="utf-8") as full:
                full.write("kept")
            os.link(full.name, self.path("the same"))
            with open(self.path("empty"), "w", encoding="utf-8") as empty:
                os.link(empty.name, self.path("empty too"))
            files_of_linux = [(["--log", "socket"], "it is a socket"), (["--events", "/dev/stdout"], "what is printed goes there too")]
            for options, sentence in (
                    *([] if program.WINDOWS else files_of_linux), (["--events", "."], "it is a folder"),
                    (["--log", "/dev/zero"], "it is a device other than a terminal"),
                    (["--events", "dangling"], "it is a link to a file that does not exist"),
                    (["--events", "full"], "it holds something already; name a new file, or give --force"),
                    (["--log", "new", "--events", "full"], "it holds something already"),
                    (["--log", "new", "--events", "./new"], "cannot both be written to"),
                    (["--log", "empty", "--events", "empty too"], "cannot both be written to"),
                    (["--log", "full", "--events", "the same", "--force"], "cannot both be written to")):
                with self.subTest(options=options):
                    self.refuse(sentence, DRIVE, *options)
            with open(self.path("full"), encoding="utf-8") as full:
                self.assertEqual(full.read(), "kept")

    def test_force_replaces_what_a_file_held(self):
        with open(self.record, "w", encoding="utf-8") as record:
            record.write("x" * 100000)
        process = self.start("run", "LinearReadTest", DRIVE, "--events", self.record, "--log", "NUL" if program.WINDOWS else os.devnull,
                             "--force")
        self.assertEqual((process.returncode, process.stderr), (0, ""))
        self.check_record(self.record)


class ClosedStreams(program.ImageTest):
    @program.names_linux("descriptors of standard streams")
    def test_nothing_printed_reaches_the_drive(self):
        """What is said while the drive is held must not go to the first file that was opened: the drive."""
        device = self.make_loop(20 * MIB)
        for closed in ((1,), (2,), (0, 1), (0, 1, 2)):
            for options in ([], ["--no-journal"]):
                with self.subTest(closed=closed, options=options):
                    process = subprocess.Popen(
                        self.command("run", "ReadWriteSpeedTest", device, "--confirm", device, *options), cwd=self.folder,
                        stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                        preexec_fn=lambda: [os.close(descriptor) for descriptor in closed])
                    self.assertEqual((process.wait(60), self.changed()), (0, []))


class NobodyReads(program.ImageTest):
    def popen(self, *arguments, **options):
        options = {"stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL, **options}
        process = subprocess.Popen(self.command("run", *arguments), stdin=subprocess.DEVNULL, cwd=self.folder, **options)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def test_a_blocked_reader_keeps_no_sector_overwritten(self):
        """Both streams take nothing: the test runs to its end, gives the drive back, and a signal ends the program."""
        image = self.make_image(20 * MIB, filler=b"\xa5")
        reader, writer = full_pipe(self)
        process = self.popen("LinearPatternTest", image, "--confirm", image, "--events", self.record,
                             stdout=writer, stderr=writer)
        self.wait_for(lambda: os.path.exists(self.record) and b"testRunEnd" in self.read(self.record))
        self.assertEqual(self.changed(), [])
        process.send_signal(program.STOP)
        self.assertEqual(process.wait(30), 0)
        self.check_record(self.record)

    @program.names_linux("FIFOs")
    def test_an_unread_record_is_told_to_be_incomplete(self):
        os.mkfifo(self.record)
        process = self.popen("LinearReadTest", "sim:disk,sectors=100000,bad=0-999", "-p", "MaxErrors=0",
                             "--events", self.record, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.stderr.close)
        with open(self.record, "rb"):
            for line in process.stdout:  # the drive was given back, and what it said is printed
                if ": FAIL - " in line:
                    break
            process.send_signal(signal.SIGTERM)
            self.assertEqual(process.wait(30), 1)
        self.assertIn("is incomplete: nobody took what was left of it", process.stderr.read())

    @program.names_linux("FIFOs")
    def test_a_fifo_waits_for_its_reader_or_a_stop(self):
        os.mkfifo(self.record)
        process = self.popen("LinearReadTest", DRIVE, "--events", self.record)
        with open(self.record, "rb") as fifo, open(self.path("copy"), "wb") as copy:
            copy.write(fifo.read())
        self.assertEqual(process.wait(30), 0)
        self.check_record(self.path("copy"))

        process = self.popen("LinearReadTest", DRIVE, "--events", self.record, "--log", self.path("log"))
        self.wait_for(lambda: os.path.exists(self.path("log")))
        process.send_signal(signal.SIGTERM)
        self.assertEqual(process.wait(30), 130)
        self.assertFalse(os.path.exists(self.path("log")))

    @program.names_linux("limits of processes")
    def test_output_that_cannot_be_written(self):
        """A limit on the size of files, and a reader that goes away, cost the record and nothing else."""
        image = self.make_image(20 * MIB)
        limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (1000, 1000))
        process = self.popen("LinearReadTest", image, "--events", self.record, stderr=subprocess.PIPE, preexec_fn=limit)
        self.assertIn(b"is incomplete: it could not be written", process.communicate(timeout=60)[1])
        self.assertEqual((process.returncode, os.path.getsize(self.record)), (8, 1000))

    @program.names_linux("/dev/full")
    def test_streams_that_take_nothing_end_the_program(self):
        """A full disk, and a reader that went away: the test stops and puts everything back."""
        image = self.make_image(20 * MIB)
        os.truncate(image, 1 << 40)  # its end is never reached
        reader, gone = os.pipe()
        os.close(reader)
        self.addCleanup(os.close, gone)
        with open("/dev/full", "wb") as full:
            for stream, reason in ((full, "No space left on device"), (gone, "Broken pipe")):
                for arguments in (["tests"], ["tests", "CacheTest"], ["devices"], ["devices", "--json"], ["--help"],
                                  ["run", "LinearReadTest", "sim:disk,bad=5,image=" + image],
                                  ["run", "LinearReadTest", image, "--events", "-"]):
                    with self.subTest(arguments=arguments, reason=reason):
                        process = subprocess.run(self.command(*arguments), stdin=subprocess.DEVNULL, stdout=stream,
                                                 stderr=subprocess.PIPE, text=True, timeout=60, check=False)
                        self.assertEqual(process.returncode, 8, process.stderr)
                        self.assertIn("standard output cannot be written to: " + reason, process.stderr)
                self.make_image(20 * MIB)
                process = self.popen("LinearPatternTest", image, "--confirm", image, stdout=stream)
                self.assertEqual((process.wait(60), self.changed()), (8, []))
                os.truncate(image, 1 << 40)

    @program.names_linux("terminals")
    def test_a_stopped_terminal_holds_nothing_up(self):
        terminal, its_end = os.openpty()
        self.addCleanup(os.close, terminal)
        os.write(terminal, b"\x13")  # Ctrl-S
        image = self.make_image(20 * MIB)
        process = self.popen("LinearPatternTest", image, "--confirm", image, "--events", self.record, stdout=its_end)
        os.close(its_end)
        self.wait_for(lambda: os.path.exists(self.record) and b"testRunEnd" in self.read(self.record))
        self.assertEqual((process.poll(), self.changed()), (None, []))
        os.write(terminal, b"\x11")  # Ctrl-Q
        seen = b""
        while b"PASS" not in seen:
            seen += os.read(terminal, 65536)
        self.assertEqual(process.wait(30), 0)

    def read(self, path):
        with open(path, "rb") as file:
            return file.read()

    def wait_for(self, happened):
        end = time.monotonic() + 60
        while not happened():
            self.assertLess(time.monotonic(), end)
            time.sleep(0.01)


class HostileText(program.ImageTest):
    def assert_harmless(self, text, *parts):
        for part in parts:
            self.assertIn(part, text)
        bad = [c for c in text if c in "\u202e\u200b\x7f" or (c < " " and c != "\n") or "\x80" <= c < "\xa0"]
        self.assertEqual(bad, [])

    @program.names_linux("names with control characters")
    def test_names_and_labels(self):
        image = self.make_image(4 * MIB)
        subprocess.run(["/sbin/mkfs.ext4", "-Fq", "-L", "x\x1b[2Jy\rz", image], check=True)
        hostile = self.path(HOSTILE + "\nrest")
        os.rename(image, hostile)
        process = self.start("run", "LinearPatternTest", hostile, "--confirm", hostile)
        self.assertEqual(process.returncode, 0)
        self.assert_harmless(process.stdout, HARMLESS + "\\nrest", 'ext4 "x\\x1b[2Jy\\x0dz"')
        self.start("run", "LinearReadTest", "sim:disk,bad=9,image=" + hostile, "--log", "log", "--log-priority", "0")
        with open(self.path("log"), encoding="utf-8") as log:
            text = log.read()
        self.assert_harmless(text, HARMLESS)
        self.assertRegex(text, r"\A([0-4] [^\n]*\n)+\Z")
        for arguments in (["run", "LinearReadTest", "/no/" + HOSTILE], ["run", "LinearReadTest", DRIVE, "--x" + HOSTILE],
                          [HOSTILE], ["run", HOSTILE, DRIVE]):
            process = self.start(*arguments)
            self.assert_harmless(process.stdout + process.stderr, HARMLESS)
        process = subprocess.run([program.PROGRAM, "run", b"no\xff\xc2test", DRIVE], capture_output=True, check=False)
        process.stderr.decode()

    @program.names_linux("mounts")
    def test_mount_points(self):
        device = self.make_loop(4 * MIB)
        subprocess.run(["/sbin/mkfs.ext4", "-Fq", device], check=True)
        folder = self.path(HOSTILE + "\tmounted")
        os.mkdir(folder)
        subprocess.run(["mount", device, folder], check=True)
        self.addCleanup(subprocess.run, ["umount", folder], check=False, stderr=subprocess.DEVNULL)
        table = self.start("devices").stdout
        listed = self.start("devices", "--json").stdout
        refusal = self.start("run", "LinearPatternTest", device, "--confirm", device)
        subprocess.run(["umount", folder], check=True)
        for text in (table, refusal.stdout + refusal.stderr):
            self.assert_harmless(text, "is mounted on ", HARMLESS + "\\tmounted")
        self.assert_harmless(listed, "\\u001b]0;b\\u0007\\u202ec\\u007f\\u200bd\\tmounted")


if __name__ == "__main__":
    unittest.main()
