"""The emulated machine in which one program after another is started, watched from outside, and
counted while it is idle.
"""

import re
import sys
import time

from figures import Sample, idleFigures, memoryFigures, readCounters
from machine import HANG_SECONDS, SPARE_DISPLAYS
from peers import TERMINAL
from picture import readPpm, writePng

SETTLE_SECONDS = 3  # from the last command until the counting begins
LOOK_AGAIN_SECONDS = 0.3


class MeasuredMachine:
    """Uses `machine` until its owner closes it. `folder` gets a picture of each kind: the first of
    a program, and the one while it was idle."""

    def __init__(self, machine, folder, idleSeconds):
        self._machine = machine
        self._folder = folder
        self._idleSeconds = idleSeconds
        self.lookSeconds = []  # how long each look at the display took
        self.mappedFiles = {}  # by title: size by path of each file mapped while idle

        # One display is left, with a text console of which nothing moves.
        for address in SPARE_DISPLAYS:
            machine.run(f"echo none >/sys/bus/pci/devices/{address}/driver_override")
        machine.run("modprobe fuse; modprobe bochs; echo 0 >/sys/class/graphics/fbcon/cursor_blink")
        machine.run("echo 0 >/proc/sys/kernel/printk")
        machine.run("mkdir -p /dev/pts; mount -t devpts devpts /dev/pts")

    def measure(self, contender):
        """Starts it, and ends it in any case: a Sample."""
        log = f"/tmp/{contender.process}.log"
        self._machine.run(contender.prepare)
        text = self._textPicture()
        try:
            seconds = self._secondsToPicture(contender, log, text)
            self._machine.run(f"{contender.makeIdle}; sleep {SETTLE_SECONDS}")
            return self._idleSample(contender, seconds)
        except Exception:
            print(f"{contender.title} has failed, after the output:",
                  self._machine.attempt(f"cat {log}")[1], sep="\n", file=sys.stderr)
            raise
        finally:
            self._end(contender.process)

    # What the text console shows once it has come to rest.
    def _textPicture(self):
        self._machine.run("chvt 2; chvt 1; "
                          f"printf '\\033c\\033[?25lready for the next\\n' >{TERMINAL}")
        giveUp = time.monotonic() + HANG_SECONDS
        last = None
        while time.monotonic() < giveUp:
            seen = self._machine.displayDump()
            if seen == last and not readPpm(seen).isOneColour():
                return seen
            last = seen
            time.sleep(LOOK_AGAIN_SECONDS)
        raise RuntimeError("the text console does not come to rest")

    # Until the end of the look that saw it, so never too early.
    def _secondsToPicture(self, contender, log, text):
        begin = time.monotonic()
        self._machine.run(f"{{ {contender.start}; }} <{TERMINAL} >{log} 2>&1 &")
        looked = time.monotonic()
        while looked - begin < HANG_SECONDS:
            seen, before = self._machine.displayDump(), looked
            looked = time.monotonic()
            self.lookSeconds.append(looked - before)
            # Programs that set a mode may show nothing in it at first.
            if seen != text and not _isBlack(seen):
                self._keep(contender, "first", seen)
                return looked - begin
        raise RuntimeError(f"{contender.title} shows nothing")

    def _idleSample(self, contender, seconds):
        process = f"/proc/{self._processOf(contender)}"
        counters = (f"cat /proc/uptime {process}/stat; "
                    f"grep -h ^voluntary_ctxt {process}/task/*/status")
        before, after = self._machine.run(
            f"{counters}; echo later; sleep {self._idleSeconds}; {counters}").split("later\n")
        memory = self._machine.run(f"cat {process}/smaps_rollup")
        self.mappedFiles[contender.title] = self._filesMappedBy(process)
        self._keep(contender, "idle", self._machine.displayDump())
        return Sample(seconds, *memoryFigures(memory),
                      *idleFigures(readCounters(before), readCounters(after)))

    def _processOf(self, contender):
        found = self._machine.run(f"pidof {contender.process}").split()
        if len(found) != 1:
            raise RuntimeError(f"{len(found)} processes are called {contender.process}")
        return found[0]

    def _filesMappedBy(self, process):
        listing = self._machine.run(
            rf"for file in $(sed -n 's|[^/]*\(/.*\)|\1|p' {process}/maps | sort -u); do "
            "[ ! -f $file ] || stat -c '%s %n' $file; done")
        return {path: int(size) for size, path in map(str.split, listing.splitlines())}

    def _end(self, process):
        if self._machine.isUp():
            self._machine.attempt(f"kill $(pidof {process})")
            self._machine.waitUntil(f"! pidof {process} >/dev/null")

    def _keep(self, contender, what, dump):
        path = self._folder / f"{re.sub(r'[^a-zA-Z0-9]+', '-', contender.title)}.{what}.png"
        if not path.exists():
            path.write_bytes(writePng(readPpm(dump)))


def _isBlack(dump):
    pixels = readPpm(dump).pixels
    return not any(pixels[:3]) and pixels.count(0) == len(pixels)
