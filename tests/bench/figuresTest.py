"""The figures of a program are those in the kernel's texts, and medians and ratios of them."""

import pathlib
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "bench"))

from figures import Counters, Sample, figuresTable, idleFigures, memoryFigures, ratioTable, \
    readCounters

COUNTERS = """81.25 150.00
77 (a ) program) S 1 77 77 0 -1 4194304 900 0 0 0 120 30 7 9 20 0 2 0 5000 1000 200
voluntary_ctxt_switches:\t40
voluntary_ctxt_switches:\t2
"""

ROLLUP = """55d0c0000000-7ffd00000000 ---p 00000000 00:00 0 [rollup]
Rss:                4096 kB
Shared_Clean:       1024 kB
Private_Clean:      1536 kB
Private_Dirty:       512 kB
Anonymous:           256 kB
"""


def sample(**figures):
    return Sample(**{"firstPicture": 1, "resident": 1, "private": 1, "ofNoFile": 1, "cpu": 1,
                     "wakeUps": 1, **figures})


def row(text, title):
    line = next(line for line in text.splitlines() if line.startswith(f"| {title} |"))
    return [cell.strip() for cell in line.strip("|").split("|")]


class FiguresTest(unittest.TestCase):
    def testCountersAreReadBehindANameThatHoldsAnything(self):
        read = readCounters(COUNTERS)
        self.assertEqual((read.uptime, read.switches), (81.25, 42))
        self.assertAlmostEqual(read.cpuSeconds, 1.5)  # at 100 ticks a second

    def testIdleFiguresAreForTheTimeThatPassedInside(self):
        cpu, wakeUps = idleFigures(Counters(100, 1.0, 10), Counters(104, 1.5, 30))
        self.assertEqual((cpu, wakeUps), (12.5, 5))

    def testMemoryIsToldInMegabytes(self):
        self.assertEqual(memoryFigures(ROLLUP), [4, 2, 0.25])

    def testTableHoldsMedianAndSpread(self):
        rounds = [sample(firstPicture=seconds) for seconds in (9, 1, 2)]
        cells = row(figuresTable({"one": rounds}), "one")
        self.assertEqual(cells[1:3], ["2.00 (1.00 to 9.00)", "1.0"])

    def testRatioIsThatOfTheMedians(self):
        samples = {"one": [sample(resident=size) for size in (1, 2, 30)],
                   "other": [sample(resident=8, cpu=0)]}
        cells = row(ratioTable(samples, [("one", "other")]), "one / other")
        self.assertEqual(cells[1:3], ["1.00", "0.25"])
        self.assertIn("1.00 : 0", cells)


if __name__ == "__main__":
    unittest.main()
