"""What every page must do in a browser. Without a Chromium all its tests are skipped; so is the check of accessibility without
axe-core: AXE_CORE names its axe.min.js ("npm pack axe-core" fetches it; Debian has no package of it)."""

import os
import shutil
import unittest

import browser
import program

WIDTHS = (360, 800, 1600)
LANGUAGES = ("en", "de", "fr", "es", "ja", "zh")
HOSTILE = "<img src=x onerror=alert(1)>'\"\u202e" + "W" * 150
AXE = os.environ.get("AXE_CORE", "")
needs_axe = unittest.skipUnless(os.path.isfile(AXE), "axe-core is not here, AXE_CORE does not name it")
OVERFLOWING = """[...document.querySelectorAll("body *")].filter(each => !each.closest(".scroll, pre") &&
  each.getBoundingClientRect().right > document.documentElement.clientWidth + 1).map(each => each.outerHTML.slice(0, 100))"""


@unittest.skipUnless(browser.PROGRAM, "there is no Chromium here: scripts/setup.sh --dev installs it")
class PageTest(program.ProgramTest):
    @classmethod
    def setUpClass(cls):
        cls.profile = program.tempfile.mkdtemp(prefix="drivetest-browser-")
        cls.browser = browser.Browser(cls.profile)

    @classmethod
    def tearDownClass(cls):
        cls.browser.close()
        shutil.rmtree(cls.profile, ignore_errors=True)

    def make(self, command, *names, language="en", **options):
        """The path of the page that a command of the program makes of these records."""
        path = self.path(command + ".html")
        process = self.start(command, *names, "-o", path, "--force", "--lang", language, **options)
        self.assertEqual((process.returncode, process.stderr), (0, ""))
        return path

    def page(self, path, **options):
        page = browser.Page(self.browser, **options).open(path)
        self.addCleanup(page.close)
        return page

    def check_widths(self, page, name):
        for width in WIDTHS:
            page.resize(width)
            with self.subTest(name, width=width):
                self.assertLessEqual(page.value("document.documentElement.scrollWidth"), width)
                self.assertEqual(page.value(OVERFLOWING), [])

    def check_accessibility(self, page, name):
        with open(AXE, encoding="utf-8") as file:
            axe = file.read()
        for scheme in ("light", "dark"):
            page.look(scheme)
            page.value(axe + "; 0")
            passed, found = page.value("axe.run().then(result => [result.passes.length, result.violations.map("
                                       "each => [each.id, each.impact, each.nodes[0].html.slice(0, 120)])])")
            with self.subTest(name, scheme=scheme):
                self.assertEqual(found, [])
                self.assertGreater(passed, 10)
