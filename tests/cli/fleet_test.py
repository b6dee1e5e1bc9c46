"""What "drivetest metrics" and "drivetest overview" say of a folder of records."""

import html.parser
import os
import re
import resource
import shutil
import signal
import subprocess
import time
import unittest
import urllib.parse

import fleet_records
import program

BAD = "sim:ata,sectors=4000000,speed=200,hours=21000,serial=A1,bad=1234+5000-5003"
GOOD = "sim:ata,sectors=4000000,speed=200,serial=A2"
HOSTILE = "Alpha \"1\" \\n<img src=x onerror=alert(1)>\n"
SHOWN = HOSTILE.replace("\n", "\\n")
SAMPLE = re.compile(r'^(\w+)(?:\{((?:\w+="(?:[^"\\\n]|\\[\\"n])*",?)*)\})? (\S+)$')
LABEL = re.compile(r'(\w+)="((?:[^"\\]|\\.)*)"')
MEGABYTE = 1048576


def unescaped(value):
    return re.sub(r"\\(.)", lambda found: {"n": "\n"}.get(found[1], found[1]), value)


def samples_of(path):
    """{(name, {label: value} as a frozen set): value}, of a file in which each family stands together."""
    samples, families = {}, []
    with open(path, encoding="utf-8") as file:
        for line in file.read().split("\n")[:-1]:
            if line.startswith("# HELP "):
                families.append(line.split()[2])
            elif line.startswith("# TYPE "):
                assert line.split()[2:] == [families[-1], "gauge"], line
            else:
                name, labels, value = SAMPLE.match(line).groups()
                assert name == families[-1], line
                key = (name, frozenset((key, unescaped(text)) for key, text in LABEL.findall(labels or "")))
                assert key not in samples, line
                samples[key] = float(value)
    assert len(set(families)) == len(families)
    return samples


class Page(html.parser.HTMLParser):
    """The rows of the tables of a page by the section that they are in, and all links."""

    def __init__(self, path):
        super().__init__()
        self.rows, self.links, self.section, self.cell, self.text = {}, [], None, None, ""
        with open(path, encoding="utf-8") as file:
            self.feed(file.read())

    def handle_starttag(self, tag, attributes):
        attributes = dict(attributes)
        if tag == "section":
            self.section = attributes["id"]
        elif tag == "tr" and self.section:
            self.rows.setdefault(self.section, []).append([])
        elif tag in ("td", "th"):
            self.cell = ""
        elif tag == "a":
            self.links.append(urllib.parse.unquote(attributes["href"], errors="surrogateescape"))

    def handle_endtag(self, tag):
        if tag in ("td", "th") and self.section:
            self.rows[self.section][-1].append(self.cell.strip())
            self.cell = None

    def handle_data(self, data):
        self.text += data
        if self.cell is not None:
            self.cell += data.replace("\u202f", "")

    def body(self, section):
        return self.rows.get(section, [[]])[1:]


class FleetTest(program.ProgramTest):
    def make_fleet(self):
        for name, device in (("bad", BAD), ("good", GOOD)):
            made = self.start("run", "LinearReadTest", device, "--events", self.path(name), "-q")
            self.assertIn(made.returncode, (0, 1), made.stderr)
        bad, good = fleet_records.Template(self.path("bad")), fleet_records.Template(self.path("good"))
        folder = self.path("records")
        for i in range(6):
            slow = {region: 0.5 for region in range(100, 120)}
            good.write(f"{folder}/a b/new{i}.jsonl", f"G{i}", model=HOSTILE, firmware="F1", days=i, rates=slow if i == 3 else None)
            good.write(f"{folder}/a b/old{i}.jsonl", f"G{i}", model=HOSTILE, firmware="F1", days=-10, hours=9000 + 3000 * i)
        for i in range(5):
            bad.write(f"{folder}/b/{i}.jsonl", f"T{i}", model="Beta", firmware=f"F{i % 2}", days=i, hours=9000 + 3000 * i,
                      rates=1.0 - i * 0.05)
        good.write(f"{folder}/b/before.jsonl", "T0", model="Beta", firmware="F0", days=-30)
        return folder

    def add_what_is_left_out(self, folder):
        """Names of files, with what is said of each."""
        with open(f"{folder}/b/0.jsonl", encoding="utf-8") as whole:
            lines = whole.readlines()
        shutil.copy(f"{folder}/b/0.jsonl", f"{folder}/copy.jsonl")  # no other run
        for name, kept in (("cut", lines[:6] + [lines[6][:20]]), ("gap", lines[:4] + lines[5:]), ("foreign", ['{"a":1}\n']),
                           ("damaged", [*lines[:-3], "{]\n", *lines[-3:]])):
            with open(f"{folder}/{name}.jsonl", "w", encoding="utf-8") as file:
                file.writelines(kept)
        with open(f"{folder}/zeros.jsonl", "wb") as file:
            file.truncate(300 << 20)
        with open(f"{folder}/long.jsonl", "w", encoding="utf-8") as file:
            file.writelines(lines[:4])
            file.write('{"testStepArtifact":{"x":[' + "[]," * (15 << 20))
        os.mkfifo(f"{folder}/pipe.jsonl")
        os.symlink(folder, f"{folder}/b/loop")
        os.symlink("nowhere", f"{folder}/link.jsonl")
        return {"gap": "missing here", "foreign": "no record", "damaged": "damaged", "zeros": "no record", "long": "longer than any",
                "pipe": "no file", "link": "no file"}

    def check_left_out(self, done, expected):
        told = dict(re.findall(r"^drivetest: left out: \S*?(\w+)\.jsonl(.*)$", done.stderr, re.MULTILINE))
        self.assertEqual(set(told), set(expected))
        for name, words in expected.items():
            self.assertIn(words, told[name])


class Metrics(FleetTest):
    def setUp(self):
        super().setUp()
        os.mkdir(self.path("out"))
        self.file = self.path("out/drivetest.prom")

    def metrics(self, *records, **options):
        return self.start("metrics", *records, "-o", "out", **options)

    def test_newest_runs_with_what_their_records_say(self):
        folder = self.make_fleet()
        expected = fleet_records.newest_of(fleet_records.runs_of(folder))
        left_out = self.add_what_is_left_out(folder)
        done = self.metrics("records")
        self.assertEqual(done.returncode, 3)
        self.check_left_out(done, left_out)
        self.assertRegex(done.stdout, r"drives 11, runs 11; older runs 7, left out 7")
        samples = samples_of(self.file)
        for run in expected.values():
            labels = {("serial", run.serial), ("model", run.model.replace("\n", "\\n")), ("firmware", run.firmware), ("test", run.test)}

            def value(name, *more):
                return samples[("drivetest_" + name, frozenset(labels | set(more)))]
            with self.subTest(run.name):
                self.assertEqual(value("bad_sectors"), len(run.bad))
                self.assertAlmostEqual(value("read_bytes_per_second"), run.rate * MEGABYTE, delta=1)
                self.assertEqual(value("drive_size_bytes"), 4000000 * 512)
                self.assertEqual(value("health_power_on_seconds"), run.hours * 3600)
                self.assertEqual(value("tested_ratio"), 1)
                ended = fleet_records.datetime.datetime.fromisoformat(run.ended.replace("Z", "+00:00"))
                self.assertAlmostEqual(value("run_end_timestamp_seconds"), ended.timestamp(), delta=0.002)
                results = {name: value("run_result", ("result", name)) for name in ("PASS", "WARN", "FAIL", "UNFINISHED")}
                self.assertEqual([name for name, holds in results.items() if holds], [run.result])
        self.assertEqual(os.listdir(self.path("out")), ["drivetest.prom"])
        if shutil.which("promtool"):
            self.check_by_promtool()

    def check_by_promtool(self):
        with open(self.file, "rb") as file:
            checked = subprocess.run(["promtool", "check", "metrics"], stdin=file, capture_output=True, text=True, check=False, timeout=60)
        self.assertEqual((checked.returncode, checked.stdout, checked.stderr), (0, "", ""))

    @unittest.skipUnless(shutil.which("promtool"), "there is no promtool here (Debian's package prometheus)")
    def test_promtool_has_no_complaint(self):
        made = self.start("run", "LinearReadTest", BAD + ",temperature=40", "--events", "one.jsonl", "--grade", "default", "-q")
        self.assertEqual(made.returncode, 1, made.stderr)
        self.assertEqual(self.metrics("one.jsonl").returncode, 0)
        self.check_by_promtool()

    def test_a_drive_without_serial_number_and_a_run_without_end(self):
        for name in ("ended", "cut"):
            self.start("run", "LinearReadTest", "sim:disk,sectors=2000" + (",bad=3" if name == "cut" else ""), "--events", name, "-q")
        with open(self.path("cut"), "r+b") as record:
            record.truncate(sum(map(len, record.readlines()[:5])))
        self.assertEqual(self.metrics("ended", "cut").returncode, 0)
        samples = samples_of(self.file)
        names = {name for name, labels in samples if ("device", "sim:disk,sectors=2000,bad=3") in labels}
        self.assertIn("drivetest_run_start_timestamp_seconds", names)
        self.assertFalse(names & {"drivetest_run_end_timestamp_seconds", "drivetest_bad_sectors", "drivetest_errors"})
        self.assertEqual([value for (name, labels), value in samples.items()
                          if name == "drivetest_run_result" and ("result", "UNFINISHED") in labels], [0, 1])

    def test_the_file_stays_where_nothing_can_take_its_place(self):
        with open(self.file, "w", encoding="utf-8") as file:
            file.write("before\n")
        self.start("run", "LinearReadTest", "sim:disk,sectors=2000", "--events", "good.jsonl", "-q")
        with open(self.path("bad.jsonl"), "w", encoding="utf-8") as file:
            file.write("{}\n")
        os.mkdir(self.path("empty"))

        def full():
            resource.setrlimit(resource.RLIMIT_FSIZE, (100, 100))
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
        for arguments, options, sentence in (
                (("bad.jsonl",), {}, "there is no record to tell of: out/drivetest.prom is left as it is"),
                (("empty",), {}, "there is no record to tell of"),
                (("none.jsonl",), {}, "none.jsonl does not exist"),
                (("good.jsonl",), {"preexec_fn": full}, "out/drivetest.prom cannot be written: the disk is full")):
            with self.subTest(sentence):
                done = self.metrics(*arguments, **options)
                self.assertEqual(done.returncode, 2)
                self.assertIn("drivetest: " + sentence, done.stderr)
                with open(self.file, encoding="utf-8") as file:
                    self.assertEqual(file.read(), "before\n")
                self.assertEqual(os.listdir(self.path("out")), ["drivetest.prom"])
        done = self.start("metrics", "good.jsonl", "-o", "good.jsonl")
        self.assertEqual((done.returncode, done.stderr), (2, "drivetest: good.jsonl is no folder\n"))

    def test_what_killed_runs_left_is_cleared_away(self):
        self.start("run", "LinearReadTest", "sim:disk,sectors=2000", "--events", "good.jsonl", "-q")
        for name, age in (("drivetest.prom.0a.part", 7200), ("drivetest.prom.0b.part", 0), ("other.prom.part", 7200)):
            with open(self.path("out/" + name), "wb"):
                pass
            os.utime(self.path("out/" + name), (time.time() - age,) * 2)
        self.assertEqual(self.metrics("good.jsonl").returncode, 0)
        self.assertEqual(sorted(os.listdir(self.path("out"))), ["drivetest.prom", "drivetest.prom.0b.part", "other.prom.part"])


class Overview(FleetTest):
    def overview(self, *options, status=0):
        done = self.start("overview", "records", "-o", "page.html", "--force", *options)
        self.assertEqual(done.returncode, status, done.stderr)
        return done

    def test_page_says_what_the_records_say(self):
        folder = self.make_fleet()
        with open(f"{folder}/b/1.html", "w", encoding="utf-8"):
            pass
        left_out = self.add_what_is_left_out(folder)
        done = self.overview(status=3)
        self.check_left_out(done, left_out)
        page = Page(self.path("page.html"))
        self.assertEqual(page.body("results"), [["FAIL", "5"], ["PASS", "6"]])
        self.assertEqual([row[:5] for row in page.body("models")],
                         [["Beta", "F0", "3", "3", "15"], ["Beta", "F1", "2", "2", "10"], [SHOWN, "F1", "6", "0", "0"]])
        self.assertEqual([row[:3] for row in page.body("worse")],
                         [["Beta T0", "LinearReadTest", "5"], [SHOWN + " G3", "LinearReadTest", "0"]])
        self.assertGreater(int(page.body("worse")[1][3]), 0)  # regions
        [slow] = page.body("slow")
        self.assertEqual(slow[0], SHOWN + " G3")
        first, last = map(int, slow[1].split("-"))
        per_region = 4096
        self.assertTrue(first < 120 * per_region and last >= 100 * per_region, slow)
        self.assertEqual(page.body("oldest")[0][:2], ["Beta T4", "21000\u00a0h".replace("\u00a0", page.body("oldest")[0][1][5])])
        self.assertEqual(len(page.body("drives")), 11)
        self.assertEqual([row[3] for row in page.body("drives")], ["FAIL"] * 5 + ["PASS"] * 6)
        self.assertIn("records/b/1.html", page.links)
        for link in page.links:
            self.assertTrue(os.path.isfile(self.path(link)), link)
        for name in left_out:
            self.assertIn(name + ".jsonl", page.text)

    def test_memory_and_page_stay_small(self):
        self.start("run", "LinearReadTest", "sim:ata,sectors=2000,serial=S1,bad=7", "--events", "one", "-q")
        template = fleet_records.Template(self.path("one"))
        for number in range(2100):
            template.write(self.path(f"records/{number}.jsonl"), f"N{number}", model="M%d" % (number % 700))
        self.overview()
        page = Page(self.path("page.html"))
        self.assertEqual((len(page.body("drives")), len(page.body("models"))), (2000, 500))
        self.assertIn("100 more rows are left out.", page.text)
        self.assertIn("200 more rows are left out.", page.text)
        self.assertLess(os.path.getsize(self.path("page.html")), 4 << 20)

    def test_no_file_takes_much_memory(self):
        folder = self.make_fleet()
        self.add_what_is_left_out(folder)
        child = subprocess.Popen(self.command("overview", "records", "-o", "page.html"), cwd=self.folder, stderr=subprocess.DEVNULL,
                                 stdout=subprocess.DEVNULL)
        _, status, usage = os.wait4(child.pid, 0)
        child.returncode = os.waitstatus_to_exitcode(status)
        self.assertEqual(child.returncode, 3)
        self.assertLess(usage.ru_maxrss, 200 << 10)

    def test_refusals(self):
        os.mkdir(self.path("empty"))
        os.mkdir(self.path("records"))
        self.start("run", "LinearReadTest", "sim:disk,sectors=2000", "--events", "records/a.jsonl", "-q")
        for arguments, sentence in ((("none", "-o", "page.html"), "none does not exist"),
                                    (("records", "-o", "records/a.jsonl", "--force"), "records/a.jsonl is the record itself"),
                                    (("empty", "-o", "page.html"), "empty holds no record to tell of"),
                                    (("empty",), "--output is missing")):
            with self.subTest(sentence):
                done = self.start("overview", *arguments)
                self.assertEqual((done.returncode, done.stdout), (2, ""))
                self.assertRegex(done.stderr, "^drivetest: %s.*\n$" % sentence)
                self.assertFalse(os.path.exists(self.path("page.html")))


if __name__ == "__main__":
    unittest.main()
