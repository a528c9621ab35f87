"""One console in the emulated machine, with its node, its log and the frames that it presented."""

import re
import shlex

from machineImage import FONT
from picture import differenceOf, readPng

FONT_SIZE = 10


class GuestConsole:
    """Started on creation; awaitStart() waits until clients find it. `name` tells its files apart.

    A node other than the program's own keeps a second console out of the first one's way.
    `variables` are more of its environment, as a shell takes them. `user` runs it, and sends what
    it is sent.
    """

    def __init__(self, machine, name, window, node="/dev/Velkaris", terminal="/dev/null",
                 variables="", user="root"):
        self.machine = machine
        self.name = name
        self.node = node
        self.user = user
        self.frameFolder = f"/tmp/{name}.frames"
        self.logFile = f"/tmp/{name}.log"
        self._startFile = f"/tmp/{name}.start"  # holds the process id; as old as the process
        self._endFile = f"/tmp/{name}.end"  # holds the exit status, once there is one

        # Not by the shell's "&", which would have it ignore SIGINT.
        machine.run(f"rm -rf {self.frameFolder} {self._startFile} {self._endFile}; "
                    f"VELKARIS_WINDOW={window} VELKARIS_NODE={node} {variables} "
                    f"VELKARIS_CAPTURE={self.frameFolder} "
                    f"start-stop-daemon -S -b -c {user} -p /tmp/{name}.none -x /bin/runConsole -- "
                    f"{name} {terminal} velkaris -p {FONT} -f {FONT_SIZE}")
        machine.waitUntil(f"[ -s {self._startFile} ]")
        self.pid = int(machine.run(f"cat {self._startFile}"))

    def awaitStart(self):
        """Waits until it answers at its node, which appears after the first picture."""
        answers = self._byUser(f"velkarisctl --quiet --device {self.node} wait --seconds 1")
        self.machine.waitUntil(f"{answers} || ! {self._alive()}")
        self.machine.run(f"{self._alive()} || {{ cat {self.logFile}; false; }}")

    def isAlive(self):
        return self.machine.attempt(self._alive())[0] == 0

    def log(self):
        return self.machine.fetchText(self.logFile)

    def write(self, text):
        """As scripts do: by redirecting to the node."""
        escaped = text.replace("\\", "\\\\").replace("\n", "\\n")
        self.machine.run(self._byUser(f"printf '%b\\n' {shlex.quote(escaped)} >{self.node}"))

    def command(self, *arguments):
        """One velkarisctl command for this console."""
        words = ["velkarisctl", "--device", self.node, *arguments]
        self.machine.run(self._byUser(" ".join(shlex.quote(word) for word in words)))

    def signal(self, name):
        """Sends a signal and waits for the end: the exit status as a shell sees it."""
        self.machine.run(f"kill -{name} {self.pid}")
        return self.exitStatus()

    def exitStatus(self):
        """Waits for the end of the process."""
        self.machine.waitUntil(f"[ -s {self._endFile} ]")
        return int(self.machine.run(f"cat {self._endFile}"))

    def end(self):
        """Whatever its state, and the machine's; also a second time."""
        if self.machine.isUp() and self.isAlive():
            self.signal("KILL")

    def newestFrame(self):
        """The number of the frame that was presented last; 0 before the first."""
        target = self.machine.attempt(f"readlink {self.frameFolder}/latest.png")[1].strip()
        return int(re.fullmatch(r"frame-(\d+)\.png", target).group(1)) if target else 0

    def awaitFrame(self, number):
        """Waits until frame `number` has been presented: that many ticks have been seen."""
        path = self._framePath(number)
        self.machine.waitUntil(f"[ -e {path} ] || ! {self._alive()}")
        self.machine.run(f"[ -e {path} ] || {{ cat {self.logFile}; false; }}")

    def awaitNextFrame(self):
        """Waits for a frame that shows everything sent before this call."""
        # The one that follows may have been drawn, though not yet kept, before the last command.
        number = self.newestFrame() + 2
        self.awaitFrame(number)
        return number

    def frame(self, number):
        return readPng(self.machine.fetch(self._framePath(number)))

    def millisecondsToFirstPicture(self):
        times = [self.machine.run(f"stat -c %y {path}")
                 for path in (self._startFile, self._framePath(1))]
        hours, minutes, seconds = zip(*(map(float, time.split()[1].split(":")) for time in times))
        day = (hours[1] - hours[0]) * 3600 + (minutes[1] - minutes[0]) * 60
        return round((day + seconds[1] - seconds[0]) * 1000) % (24 * 3600 * 1000)

    def residentKilobytes(self):
        """All of it, and what of that is no file's."""
        status = self.machine.run(f"cat /proc/{self.pid}/status")
        return [int(re.search(rf"{field}:\s*(\d+) kB", status).group(1))
                for field in ("VmRSS", "RssAnon")]

    def _byUser(self, command):
        return command if self.user == "root" else f"su {self.user} -c {shlex.quote(command)}"

    def _framePath(self, number):
        return f"{self.frameFolder}/frame-{number:06}.png"

    def _alive(self):
        return f"[ ! -e {self._endFile} ]"


def nearestFrame(picture, console, first, last, rotation=0):
    """The least difference between the picture of a display and any of the console's frames
    first..last, which are waited for and turned clockwise by so many degrees, and the frame's
    number. Stops at one that is equal."""
    nearest = (257, None)
    for number in range(first, last + 1):
        console.awaitFrame(number)
        seen = console.frame(number).turned(rotation).centredOn(*picture.size())
        nearest = min(nearest, (differenceOf(picture, seen), number))
        if nearest[0] == 0:
            break
    return nearest
