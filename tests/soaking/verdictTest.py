#!/usr/bin/env python3
"""That a soak can fail."""

import unittest

from verdict import CHECKS_TO_COMPARE, GROWTH_KILOBYTES, complaints

WELL = {"how": "TERM", "status": 0, "expected": 0, "left": ""}


def checksOf(count=9, **changed):
    """Rows without fault; `changed` gives a field's values, one for each row."""
    rows = [{"life": 1, "seconds": 10 * number, "alive": 10 * number, "ticks": 10 * number,
             "lost": 0, "own_kB": 800, "descriptors": 12} for number in range(count)]
    for field, values in changed.items():
        for row, value in zip(rows, values):
            row[field] = value
    return rows


class Verdict(unittest.TestCase):
    def assertOneComplaint(self, words, checks, ends=(WELL,)):
        found = complaints(checks, list(ends))
        self.assertEqual(len(found), 1, found)
        self.assertIn(words, found[0])

    def test_is_good_without_fault(self):
        self.assertEqual(complaints(checksOf(), [WELL]), [])

    def test_tells_a_lost_line(self):
        self.assertOneComplaint("lines lost: 1", checksOf(lost=[0, 0, 0, 0, 1]))

    def test_tells_ticks_that_are_missing_and_those_too_many(self):
        self.assertOneComplaint("8 ticks in 10 s", checksOf(ticks=[0, 8]))
        self.assertOneComplaint("12 ticks in 10 s", checksOf(ticks=[0, 12]))

    def test_allows_a_tick_between_two_looks(self):
        self.assertEqual(complaints(checksOf(ticks=[1, 11, 19]), [WELL]), [])

    def test_tells_memory_that_grows(self):
        slope = [800 + GROWTH_KILOBYTES // 5 * number for number in range(9)]
        self.assertOneComplaint("memory grew", checksOf(own_kB=slope))

    def test_allows_memory_that_goes_up_and_down(self):
        waves = [800 + 5000 * (number % 2) for number in range(12)]
        self.assertEqual(complaints(checksOf(12, own_kB=waves), [WELL]), [])

    def test_tells_descriptors_that_stay_open(self):
        self.assertOneComplaint("more descriptors: 1", checksOf(descriptors=[12] * 6 + [13] * 3))

    def test_allows_a_descriptor_that_comes_and_goes(self):
        seen = [12, 12, 12, 12, 12, 13, 13, 12, 13]
        self.assertEqual(complaints(checksOf(descriptors=seen), [WELL]), [])

    def test_tells_an_end_that_was_not_expected(self):
        self.assertOneComplaint("ended with -11", checksOf(), [{**WELL, "status": -11}])

    def test_tells_what_an_end_left(self):
        self.assertOneComplaint("left a mount", checksOf(), [{**WELL, "left": "a mount"}])

    def test_is_bad_when_nothing_could_be_compared(self):
        self.assertOneComplaint("too short", checksOf(CHECKS_TO_COMPARE - 1))


if __name__ == "__main__":
    unittest.main()
