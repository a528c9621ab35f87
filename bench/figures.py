"""What is measured of a program, read from the kernel's texts, and the tables made of it."""

import dataclasses
import os
import re
import statistics

MEGABYTE = 1 << 20

_TICKS_A_SECOND = os.sysconf("SC_CLK_TCK")  # the same on every Linux that the machine boots
# Fields of /proc/PID/stat, counted from the one after the name, which may hold anything.
_USER_TIME, _SYSTEM_TIME = 11, 12


@dataclasses.dataclass
class Sample:
    """One program in one round."""

    firstPicture: float  # seconds
    resident: float      # megabytes, as the next two
    private: float       # mapped by this process alone
    ofNoFile: float
    cpu: float           # percent of one processor while idle
    wakeUps: float       # a second, of all threads, while idle
    others: float = 0    # percent of the processors around the machine, taken by other processes


# Heading, field and decimals.
COLUMNS = [
    ("first picture, s", "firstPicture", 2),
    ("resident, MB", "resident", 1),
    ("private, MB", "private", 1),
    ("of no file, MB", "ofNoFile", 1),
    ("idle CPU, %", "cpu", 2),
    ("wake-ups, /s", "wakeUps", 1),
]


@dataclasses.dataclass
class Counters:
    """What a process has used at one moment."""

    uptime: float  # seconds, the machine's
    cpuSeconds: float
    switches: int


def readCounters(text):
    """From /proc/uptime, /proc/PID/stat, and voluntary_ctxt_switches of each thread."""
    uptime, stat, *switches = text.strip().splitlines()
    return Counters(float(uptime.split()[0]), cpuTicks(stat) / _TICKS_A_SECOND,
                    sum(int(line.split()[1]) for line in switches))


def cpuTicks(stat):
    """User and system time of all threads, from /proc/PID/stat."""
    fields = stat.rpartition(")")[2].split()
    return int(fields[_USER_TIME]) + int(fields[_SYSTEM_TIME])


def idleFigures(before, after):
    """Percent of a processor, and wake-ups a second, between two moments."""
    seconds = after.uptime - before.uptime
    return (100 * (after.cpuSeconds - before.cpuSeconds) / seconds,
            (after.switches - before.switches) / seconds)


def memoryFigures(text):
    """Megabytes that are resident, private, and of no file, from /proc/PID/smaps_rollup: the
    figures in /proc/PID/status may be some pages behind."""
    kilobytes = {field: int(value) for field, value in
                 re.findall(r"^(\w+):\s*(\d+) kB", text, re.MULTILINE)}
    return [sum(kilobytes[field] for field in fields) * 1024 / MEGABYTE
            for fields in (["Rss"], ["Private_Clean", "Private_Dirty"], ["Anonymous"])]


def figuresTable(samples):
    """Medians, with the least and the most of all rounds. `samples`: by title, one a round."""
    rows = [(title, *(_spread([getattr(sample, field) for sample in rounds], decimals)
                      for _, field, decimals in COLUMNS))
            for title, rounds in samples.items()]
    return table(["", *(heading for heading, _, _ in COLUMNS)], rows)


def ratioTable(samples, pairs):
    """The ratios of the medians for (title, title of what it is measured against)."""
    rows = [(f"{title} / {other}", *(_ratio(samples[title], samples[other], field)
                                     for _, field, _ in COLUMNS))
            for title, other in pairs]
    return table(["", *(heading.split(",")[0] for heading, _, _ in COLUMNS)], rows)


def table(heading, rows):
    lines = [heading, ["---"] * len(heading), *rows]
    return "\n".join("| " + " | ".join(line) + " |" for line in lines)


def _spread(values, decimals):
    middle, least, most = (f"{value:.{decimals}f}" for value in
                           (statistics.median(values), min(values), max(values)))
    return middle if least == most else f"{middle} ({least} to {most})"


def _ratio(rounds, others, field):
    value, other = (statistics.median(getattr(sample, field) for sample in side)
                    for side in (rounds, others))
    return f"{value / other:.2f}" if other > 0 else f"{value:.2f} : 0"
