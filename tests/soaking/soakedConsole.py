"""One console that soaks: started, looked at from outside, ended."""

import os
import pathlib
import re
import signal
import subprocess
import time

HANG_SECONDS = 120  # ends a wait for something that will never happen
POLL_SECONDS = 0.05
SIZE = (400, 1600)  # pixels: some hundred rows
POINTS = 5
FRAMES_KEPT = 5

_CLOCK_TICKS = os.sysconf("SC_CLK_TCK")


class Hanging(Exception):
    pass


def waitUntil(condition, what):
    giveUp = time.monotonic() + HANG_SECONDS
    while not condition():
        if time.monotonic() > giveUp:
            raise Hanging(what)
        time.sleep(POLL_SECONDS)


class Display:
    """An X server of its own, whose number it chooses itself."""

    def __init__(self):
        readEnd, writeEnd = os.pipe()
        self._process = subprocess.Popen(
            ["Xvfb", "-displayfd", str(writeEnd), "-screen", "0", f"{SIZE[0]}x{SIZE[1]}x24",
             "-nolisten", "tcp"], pass_fds=[writeEnd], stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(writeEnd)
        with open(readEnd) as numbers:
            self.name = f":{numbers.readline().strip()}"

    def end(self):
        self._process.terminate()
        self._process.wait()


class SoakedConsole:
    def __init__(self, program, font, node, nodeKind, frames, log, display=None):
        self.node = node
        self._frames = pathlib.Path(frames)
        self._display = display
        size = f"{SIZE[0]}x{SIZE[1]}"
        environment = {**os.environ, "VELKARIS_NODE": node, "VELKARIS_NODE_KIND": nodeKind,
                       "VELKARIS_CAPTURE": str(frames), "VELKARIS_WINDOW": f"headless:{size}"}
        if display:
            environment.update(VELKARIS_WINDOW=f"x11:{size}", DISPLAY=display.name)
        self._process = subprocess.Popen([program, "-p", font, "-f", str(POINTS)], env=environment,
                                         stdin=subprocess.DEVNULL, stdout=log, stderr=log)
        self._firstTick = None

    def awaitStart(self, ctl):
        answers = [ctl, "--quiet", "--device", self.node, "wait", "--seconds", "1"]
        waitUntil(lambda: subprocess.run(answers).returncode == 0 or not self.isAlive(), "a start")
        self.awaitFrame(2)
        # The first one of the clock; by the clock that its timer goes by.
        self._firstTick = (2, self._frame(2).stat().st_mtime)

    def isAlive(self):
        return self._process.poll() is None

    def newestFrame(self):
        try:
            name = os.readlink(self._frames / "latest.png")
        except FileNotFoundError:
            return 0
        return int(re.fullmatch(r"frame-(\d+)\.png", name).group(1))

    def awaitFrame(self, number):
        waitUntil(lambda: self.newestFrame() >= number or not self.isAlive(), f"frame {number}")
        if not self.isAlive():
            raise Hanging("a console that has ended")

    def awaitNextFrame(self):
        """The file of a frame that shows all that was acknowledged before this call."""
        # The one that follows may have been drawn, though not yet kept, before that.
        number = self.newestFrame() + 2
        self.awaitFrame(number)
        return self._frame(number)

    def clock(self):
        """Ticks that were drawn, and seconds that passed, since the first one. Looking takes time of
        its own: of the seconds before and after it those that fit better count."""
        first, began = self._firstTick
        before = time.time() - began
        ticks = self.newestFrame() - first
        after = time.time() - began
        return {"ticks": ticks, "alive": round(min(max(ticks, before), after))}

    def awaitClock(self):
        """The clock once it has caught up."""
        seen = {}

        def hasCaughtUp():
            seen.update(self.clock())
            return seen["ticks"] >= seen["alive"] - 1

        waitUntil(hasCaughtUp, "ticks that were missed")
        return seen

    def dropOldFrames(self):
        newest = self.newestFrame()
        for path in self._frames.glob("frame-*.png"):
            if int(path.stem.split("-")[1]) <= newest - FRAMES_KEPT:
                path.unlink()

    def measure(self):
        status = self._proc("status")
        fields = self._proc("stat").rpartition(")")[2].split()
        return {
            **self.clock(),
            "resident_kB": int(re.search(r"VmRSS:\s*(\d+)", status).group(1)),
            "own_kB": int(re.search(r"RssAnon:\s*(\d+)", status).group(1)),
            "descriptors": len(os.listdir(f"/proc/{self._process.pid}/fd")),
            "cpu_seconds": (int(fields[11]) + int(fields[12])) / _CLOCK_TICKS,
        }

    def freeze(self, seconds):
        self._process.send_signal(signal.SIGSTOP)
        time.sleep(seconds)
        self._process.send_signal(signal.SIGCONT)

    def end(self, how):
        """By a signal's name, or by DISPLAY, whose end it shares: the exit status as Popen has
        it."""
        if how == "DISPLAY":
            self.endDisplay()
        else:
            self._process.send_signal(getattr(signal, f"SIG{how}"))
        try:
            return self._process.wait(HANG_SECONDS)
        except subprocess.TimeoutExpired:
            self._process.kill()
            self._process.wait()
            raise Hanging(f"an end by {how}") from None

    def endDisplay(self):
        if self._display:
            self._display.end()
            self._display = None

    def _frame(self, number):
        return self._frames / f"frame-{number:06}.png"

    def _proc(self, name):
        return pathlib.Path(f"/proc/{self._process.pid}/{name}").read_text()
