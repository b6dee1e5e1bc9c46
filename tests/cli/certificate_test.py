"""Certificates made from records, their signatures, and what is said of those that were tampered with."""

import html
import os
import re
import shutil
import signal
import subprocess
import unittest

import pdf
import program

GOOD = "sim:disk,sectors=100000,serial=C1"
FAULTY = "sim:disk,sectors=100000,bad=500-509+70000,serial=C2"


class Certificate(program.ProgramTest):
    def setUp(self):
        super().setUp()
        self.output = self.path("c.html")

    def record_of(self, device, name="run.jsonl"):
        self.record = self.path(name)
        self.run_test(device)
        return self.record

    def certify(self, record, *options, status=0, environment=None):
        before = sorted(os.listdir(self.folder))
        process = self.start("certificate", record, "-o", self.output, *options, environment=environment)
        self.assertEqual((process.returncode, process.stdout), (status, ""), process.stderr)
        self.assertEqual(len(process.stderr.splitlines()), 1 if status else 0, process.stderr)
        if status != 0:
            self.assertEqual(sorted(os.listdir(self.folder)), before)  # nothing half-written
        return process.stderr

    def verify(self, *arguments):
        process = self.start("verify", self.output, *arguments)
        said = process.stdout + process.stderr
        self.assertEqual(len(said.splitlines()), 1, said)
        return process.returncode, said

    def edit(self, path, old, new, to=None):
        with open(path, encoding="utf-8") as file:
            text = file.read()
        self.assertIn(old, text)
        with open(to or path, "w", encoding="utf-8") as file:
            file.write(text.replace(old, new))
        return to or path

    def facts(self):
        with open(self.output, encoding="utf-8") as file:
            page = file.read()
        pairs = re.findall("<dt>(.*?)</dt>\n<dd>(.*?)</dd>", page)
        return {html.unescape(name): html.unescape(value) for name, value in pairs}, html.unescape(page)

    def key(self, name, passphrase=""):
        if program.WINDOWS or shutil.which("ssh-keygen") is None:
            self.skipTest("needs ssh-keygen (openssh-client; Wine has none)")
        path = self.path(name)
        subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", passphrase, "-f", path], check=True)
        return path

    def test_says_what_the_record_says(self):
        record = self.record_of(GOOD)
        self.certify(record)
        facts, page = self.facts()
        self.assertEqual((facts["Serial number"], facts["Test"], facts["Range"], facts["Result"], facts["Bad sectors"]),
                         ("C1", "LinearReadTest", "all sectors", "PASS", "none found"))
        self.assertIn("each of the 100\u202f000 sectors was tested and is good", page)
        digest = subprocess.run(["sha256sum", record], capture_output=True, text=True, check=True).stdout.split()[0]
        self.assertIn("SHA-256 " + digest, page)
        self.assertEqual(self.verify(record)[0], 0)

    def test_of_a_faulty_drive(self):
        self.certify(self.record_of(FAULTY))
        facts, page = self.facts()
        self.assertEqual((facts["Result"], facts["Bad sectors"], facts["Errors"]), ("FAIL", "11: LBA 500-509, 70000", "11"))
        self.assertIn("11 sectors of the drive are bad", page)
        self.assertIn("faulty", page)

    def test_what_gets_none(self):
        record = self.record_of(FAULTY)
        with open(record, encoding="utf-8") as file:
            lines = file.readlines()
        cut = self.path("cut")
        with open(cut, "w", encoding="utf-8") as file:
            file.writelines(lines[:-1])
        for changed, sentence in (
                (cut, "breaks off before the end"),
                (self.edit(record, '"result":"FAIL","errors"', '"result":"USERABORTED","errors"', self.path("stopped")), "was stopped"),
                (self.edit(record, '"result":"FAIL","errors"', '"result":"TIMEOUT","errors"', self.path("late")), "carried out (TIMEOUT)"),
                (self.path("none"), "does not exist")):
            with self.subTest(sentence):
                self.assertIn(sentence, self.certify(changed, status=2))

    def test_what_was_tampered_with(self):
        record = self.record_of(FAULTY)
        self.certify(record)
        whole = self.path("whole.html")
        shutil.copy(self.output, whole)
        for old, new in (("FAIL", "PASS"), ("C2", "C1"), ('"language":"en"', '"language":"de"')):
            self.edit(whole, old, new, self.output)
            status, said = self.verify(record)
            self.assertEqual((status, "it was changed" in said), (1, True), said)
        shutil.copy(whole, self.output)
        changed = self.edit(record, '"serialNumber":"C2"', '"serialNumber":"C1"', self.path("changed.jsonl"))
        status, said = self.verify(changed)
        self.assertEqual((status, "is not the record it was made from" in said), (1, True), said)
        self.edit(whole, "certificate-data", "other-data", self.output)
        self.assertEqual(self.verify(record)[0], 2)

    def test_signature(self):
        record, key, other = self.record_of(GOOD), self.key("key"), self.key("other")
        self.certify(record, "--sign", key)
        allowed = self.path("allowed")
        with open(allowed, "w", encoding="utf-8") as file:
            for name, signer in (("alice", key), ("bob", other)):
                with open(signer + ".pub", encoding="utf-8") as public:
                    file.write(name + " " + public.read())
        alice = ("--allowed-signers", allowed, "--identity", "alice")
        bob = ("--allowed-signers", allowed, "--identity", "bob")
        for arguments, expected, sentence in (
                ((record, *alice), 0, "is good and that of alice"), ((), 0, "whose that is was not checked"),
                (bob, 1, "not one of bob"), (("--allowed-signers", self.path("none"), "--identity", "bob"), 2, "none does not exist")):
            status, said = self.verify(*arguments)
            self.assertEqual((status, sentence in said), (expected, True), said)
        self.edit(self.output, "PASS", "FAIL")
        self.assertIn("the signature is not of this certificate", self.verify()[1])
        self.assertIn("is the signature of another certificate", self.certify(record, "--force", status=2))
        self.certify(record, "--force", "--sign", other)
        self.assertEqual(self.verify(*bob)[0], 0)
        os.remove(self.output + ".sig")
        self.assertEqual((self.verify(*bob)[0], self.verify()[0]), (1, 2))  # not signed; nothing to check

    def test_keys_that_do_not_sign(self):
        record, public = self.record_of(GOOD), self.key("key") + ".pub"
        rubbish = self.path("rubbish")
        with open(rubbish, "w", encoding="utf-8") as file:
            file.write("no key\n")
        os.chmod(rubbish, 0o600)
        os.rename(self.path("key"), self.path("away"))
        for key, sentence in ((self.path("none"), "none does not exist"), (rubbish, "nothing can be signed with"),
                              (public, "nothing can be signed with"), (self.folder, "cannot be read")):
            with self.subTest(key):
                self.assertIn(sentence, self.certify(record, "--sign", key, status=2, environment={"SSH_AUTH_SOCK": ""}))

    def test_key_with_a_passphrase(self):
        record, key = self.record_of(GOOD), self.key("key", "secret")
        os.remove(key + ".pub")
        alone = {"SSH_AUTH_SOCK": "", "DISPLAY": "", "SSH_ASKPASS_REQUIRE": "never"}
        process = self.start("certificate", record, "-o", self.output, "--sign", key, environment=alone, start_new_session=True)
        self.assertEqual((process.returncode, "passphrase was not given, or is wrong" in process.stderr), (2, True), process.stderr)
        for typed, expected in (("wrong\n", 2), ("secret\n", 0)):
            status, seen = self.converse(["certificate", record, "-o", self.output, "--sign", key], [("assphrase", typed)])
            self.assertEqual((status, os.path.exists(self.output + ".sig")), (expected, expected == 0), seen)
        self.assertEqual(self.verify(record)[0], 0)

    def test_hostile_texts_stay_text(self):
        hostile = '</dd><img src=x><script id=\\"certificate-data\\">{}</script>' + "W" * 3000  # longer than a page
        record = self.edit(self.record_of(GOOD), '"serialNumber":"C1"', '"serialNumber":"%s"' % hostile)
        self.certify(record)
        with open(self.output, encoding="utf-8") as file:
            page = file.read()
        self.assertEqual((page.count("<script"), page.count("<img")), (1, 0))
        self.assertIn("&lt;img src=x&gt;", page)
        self.assertEqual(self.verify(record)[0], 0)
        for program_name in ("chromium", "weasyprint"):
            if shutil.which(program_name) and not program.WINDOWS:
                with self.subTest(program_name):
                    self.certify(record, "--force", "--pdf", self.path("c.pdf"), environment=self.only(program_name))
                    with open(self.path("c.pdf"), "rb") as file:
                        self.assertEqual(pdf.pages(file.read()), [pdf.A4])

    def only(self, name):
        """An environment in which this is the one program that makes a PDF."""
        folder = self.path("only-" + name)
        os.mkdir(folder)
        os.symlink(shutil.which(name), os.path.join(folder, name))
        return {"PATH": folder, "HOME": folder}

    def fake(self, script):
        """An environment in which this is the only browser."""
        folder = self.path("programs")
        os.makedirs(folder)
        with open(os.path.join(folder, "chromium"), "w", encoding="utf-8") as file:
            file.write("#!/bin/sh\n" + script)
        os.chmod(os.path.join(folder, "chromium"), 0o755)
        os.mkdir(self.path("temporary"))
        return {"PATH": folder, "TMPDIR": self.path("temporary")}

    @program.names_linux("scripts as programs")
    def test_browser_without_a_sandbox(self):
        environment = self.fake('[ "$1" = --no-sandbox ] || exit 1\n'
                                'for each; do case $each in --print-to-pdf=*) echo %PDF-1.4 >"${each#*=}";; esac; done\n')
        self.certify(self.record_of(GOOD), "--pdf", self.path("c.pdf"), environment=environment)
        self.assertEqual((os.path.getsize(self.path("c.pdf")), os.listdir(self.path("temporary"))), (9, []))

    @program.names_linux("scripts as programs")
    def test_stopped_while_a_browser_prints(self):
        record, life = self.record_of(GOOD), self.path("life")
        os.mkfifo(life)  # which the browser, and what it starts, keep open as long as they live
        environment = self.fake(f"exec 3>{life}\n: >\"$TMPDIR/left\"\necho started >&3\n/bin/sleep 1000 &\nwait\n")
        before = sorted(os.listdir(self.folder))
        process = subprocess.Popen(self.command("certificate", record, "-o", self.output, "--pdf", self.path("c.pdf")),
                                   env={**os.environ, **environment, "LC_ALL": "C.UTF-8"}, stderr=subprocess.PIPE, text=True)
        with open(life, encoding="utf-8") as alive:
            self.assertEqual(alive.readline(), "started\n")
            process.send_signal(signal.SIGINT)
            said = process.communicate(timeout=60)[1]
            self.assertEqual(alive.read(), "")
        self.assertEqual((process.returncode, said), (130, "drivetest: stopped; no certificate was made\n"))
        self.assertEqual((sorted(os.listdir(self.folder)), os.listdir(self.path("temporary"))), (before, []))

    @program.names_linux("PATH of its own")
    def test_pdf_needs_a_program(self):
        record = self.record_of(GOOD)
        self.assertIn("install one of them", self.certify(record, "--pdf", self.path("c.pdf"), status=2,
                                                          environment={"PATH": self.folder}))

    def test_language_is_the_certificates_own(self):
        record = self.record_of(GOOD)
        self.certify(record, "--lang", "de")
        self.assertIn("Zertifikat über einen Laufwerkstest", self.facts()[1])
        status, said = self.verify(record)  # in English
        self.assertEqual((status, "says what the record says" in said), (0, True), said)


if __name__ == "__main__":
    unittest.main()
