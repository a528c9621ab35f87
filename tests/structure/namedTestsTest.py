#!/usr/bin/env python3
"""Each test that docs/security.md names is there: a file, or a test of that suite and name; a star
stands for any ending.

    namedTestsTest.py SOURCE-TREE
"""

import pathlib
import re
import sys
import unittest


class NamedTests(unittest.TestCase):
    tree = None

    def testAreThere(self):
        tests = "\n".join(path.read_text() for path in (self.tree / "tests").rglob("*.cpp"))
        defined = {".".join(found)
                   for found in re.findall(r"^TEST(?:_[FP])?\((\w+),\s*(\w+)\)", tests, re.M)}
        page = (self.tree / "docs/security.md").read_text()
        rows = [line for line in page.splitlines() if line.startswith("|")]
        names = set(re.findall(r"`([A-Z]\w+\.(?:\w+\*?|\*))`", "\n".join(rows)))
        files = set(re.findall(r"`(tests/[\w./]+)`", page))
        self.assertGreater(len(names), 10)
        for name in names:
            with self.subTest(name=name):
                start = name.rstrip("*")
                self.assertTrue(any(test == name or name.endswith("*") and test.startswith(start)
                                    for test in defined))
        for file in files:
            with self.subTest(file=file):
                self.assertTrue((self.tree / file).exists())


if __name__ == "__main__":
    NamedTests.tree = pathlib.Path(sys.argv.pop(1))
    unittest.main()
