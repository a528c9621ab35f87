"""Samples that other processes of this machine disturb little. What they take of the processors is
the only thing by which a sample is kept or taken anew; its figures do not matter.
"""

import sys
import time

from figures import cpuTicks

CALM_PERCENT = 10  # of all processors, taken by others
LOOK_SECONDS = 1


class QuietTurns:
    """Measures by `measuredMachine`; `processes` are those whose own work is no disturbance.
    `patience`: seconds that waiting and samples taken in vain may cost over all turns."""

    def __init__(self, measuredMachine, processes, patience):
        self._machine = measuredMachine
        self._processes = processes
        self._patience = patience

    def measure(self, contender):
        """The first sample that is hardly disturbed, or with no patience left the one that is
        disturbed least."""
        taken = []
        while True:
            self._awaitCalm()
            begin = time.monotonic()
            before = self._times()
            sample = self._machine.measure(contender)
            sample.others = self._othersSince(before)
            print(f"{contender.title}: {sample}", file=sys.stderr, flush=True)
            taken.append(sample)
            if sample.others <= CALM_PERCENT or self._patience <= 0:
                return min(taken, key=lambda each: each.others)
            self._patience -= time.monotonic() - begin

    def _awaitCalm(self):
        while self._patience > 0:
            before = self._times()
            time.sleep(LOOK_SECONDS)
            if self._othersSince(before) <= CALM_PERCENT:
                return
            self._patience -= LOOK_SECONDS

    # Percent of all processors.
    def _othersSince(self, before):
        whole, busy, own = (now - then for now, then in zip(self._times(), before))
        return 100 * max(busy - own, 0) / whole

    # Ticks of all processors, of all that was done, and of what our processes did.
    def _times(self):
        with open("/proc/stat", encoding="ascii") as file:
            # user, nice, system, idle, iowait, irq, softirq, steal; the rest is in user as well
            ticks = list(map(int, file.readline().split()[1:9]))
        whole = sum(ticks)
        return whole, whole - ticks[3] - ticks[4], sum(map(_ticksOf, self._processes))


def _ticksOf(process):
    with open(f"/proc/{process}/stat", encoding="utf-8") as file:
        return cpuTicks(file.read())
