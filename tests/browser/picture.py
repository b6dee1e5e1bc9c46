#!/usr/bin/python3
"""Makes the picture of a report that the README shows. Arguments: the program, the picture's file."""

import os
import subprocess
import sys
import tempfile

import browser

DRIVE = ("sim:disk,sectors=4000000,speed=180,bad=234567+2840000-2840099,transient=620000:1+3200000:1,"
         "slow=1800000-1812000:40,real-time,serial=S4EVNX0N")
WIDTH = 1200
# It shows the page down to the end of the curve.
END = "Math.ceil(document.getElementById('curve').getBoundingClientRect().bottom + scrollY + 16)"


def main():
    program, picture = map(os.path.abspath, sys.argv[1:])
    with tempfile.TemporaryDirectory(prefix="drivetest-picture-") as folder:
        report = os.path.join(folder, "report.html")
        subprocess.run([program, "run", "LinearReadTest", DRIVE, "--no-record", "--report", report], check=False, cwd=folder,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                       env={**os.environ, "LC_ALL": "C.UTF-8", "DRIVETEST_STATE": folder})
        shown = browser.Browser(os.path.join(folder, "profile"))
        page = browser.Page(shown, width=WIDTH).open(report)
        page.picture(picture, page.value(END))
        shown.close()


if __name__ == "__main__":
    main()
