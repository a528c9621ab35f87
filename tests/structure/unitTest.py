#!/usr/bin/env python3
"""Holds the unit of systemd to what is promised of it, by systemd's own judgement.

usage: unitTest.py UNIT
"""

import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

SKIPPED = 77
EXPOSURE_MAX = 2.0

unit = pathlib.Path(sys.argv[1])


def analyze(*arguments):
    return subprocess.run(["systemd-analyze", *arguments], text=True, capture_output=True,
                          check=False)


class Unit(unittest.TestCase):
    def testItsExposureIsLow(self):
        found = analyze("security", "--offline=true", unit)
        match = re.search(r"exposure level for \S+: ([\d.]+)", found.stdout)
        self.assertTrue(match, found.stdout + found.stderr)
        self.assertLessEqual(float(match.group(1)), EXPOSURE_MAX, found.stdout)

    def testSystemdTakesEveryLineOfIt(self):
        # The program and its pages are found once they are installed.
        text = re.sub(r"(?m)^Documentation=.*\n", "", unit.read_text())
        text = text.replace("ExecStart=velkaris", "ExecStart=/bin/true")
        with tempfile.TemporaryDirectory() as folder:
            copy = pathlib.Path(folder) / unit.name
            copy.write_text(text)
            found = analyze("verify", copy)
        self.assertEqual((found.returncode, found.stderr), (0, ""))


if __name__ == "__main__":
    if not shutil.which("systemd-analyze"):
        print("skipped: systemd-analyze is not installed")
        sys.exit(SKIPPED)
    unittest.main(argv=sys.argv[:1], verbosity=2)
