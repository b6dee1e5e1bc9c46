"""The certificate, as a browser shows and prints it."""

import json
import unittest

import pages
import pdf

FAULTY = "sim:disk,sectors=100000,bad=1234+70000-70003,slow=50000-50010:300,serial=F1"
MANY = "sim:disk,sectors=100000,bad=" + "+".join(str(lba) for lba in range(500, 99000, 1500)) + ",serial=F2"


class CertificateTest(pages.PageTest):
    def hostile(self, record):
        """A record whose drive calls itself what nobody should be called, and tells of everything at once."""
        lines = []
        with open(record, encoding="utf-8") as file:
            for line in map(json.loads, file):
                start = line.get("testRunArtifact", {}).get("testRunStart")
                if start:
                    start["dutInfo"]["name"] = pages.HOSTILE * 9
                    names = start["dutInfo"]["hardwareInfos"][0]
                    names.update({key: pages.HOSTILE * 9 for key in ("name", "manufacturer", "serialNumber", "revision")})
                    start["parameters"].update(StartRange=pages.HOSTILE, EndRange=pages.HOSTILE)
                lines.append(line)
        unrestored = {"name": "unrestored", "content": {"ranges": [{"sector": 0, "lastSector": 7}], "journal": pages.HOSTILE * 9}}
        lines[-3:-3] = [{"testStepArtifact": {"testStepId": "0", "extension": unrestored}, "timestamp": lines[-1]["timestamp"]}]
        path = self.path("hostile.jsonl")
        with open(path, "w", encoding="utf-8") as file:
            for number, line in enumerate(lines):
                file.write(json.dumps({**line, "sequenceNumber": number}) + "\n")
        return path

    def certificates(self):
        """One of each kind: (name, path)."""
        self.run_test(FAULTY)
        hostile = self.hostile(self.record)
        for language in pages.LANGUAGES:
            yield language, self.make("certificate", self.record, language=language)
            yield language + ", hostile", self.make("certificate", hostile, language=language)
        self.run_test(MANY)
        yield "many", self.make("certificate", self.record)
        self.run_test("sim:disk,sectors=100000", "SectorPercentToTest=5")
        yield "a part", self.make("certificate", self.record)

    def test_fits_every_width_and_one_page(self):
        for name, path in self.certificates():
            page = self.page(path)
            self.check_widths(page, name)
            with self.subTest(name, medium="print"):
                printed = page.pdf()
                self.assertEqual(pdf.pages(printed), [pdf.A4])
                # What tells which record it was made from is not pushed off it.
                page.look("light", "print")
                page.resize(672)  # what the margins leave of it
                self.assertLess(page.value("document.querySelector('#origin').getBoundingClientRect().bottom"), 1030)
                self.assertEqual(page.complaints(), [])
            self.assertEqual(page.value("document.querySelectorAll('img, script:not([type])').length"), 0)
            record = self.path("hostile.jsonl") if "hostile" in name else self.record
            self.assertEqual(self.start("verify", path, record).returncode, 0)

    @pages.needs_axe
    def test_accessibility(self):
        for name, path in self.certificates():
            self.check_accessibility(self.page(path), name)


if __name__ == "__main__":
    unittest.main()
