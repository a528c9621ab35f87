"""The emulated machine: one QEMU process with a display that nobody but the test looks at.

The second serial port carries commands and their output, the first one the kernel's messages into a
log; QEMU's monitor takes pictures of the display and tells how the machine ended. Both channels are
sockets handed to the process, so that nothing has to be found or waited for by name.
"""

import base64
import gzip
import json
import pathlib
import shlex
import socket
import subprocess
import tempfile
import time

from debianPackages import requireProgram
from picture import readPpm

# End a wait for something that will never happen; no result depends on them. The machine gives up
# first, so that a hanging scenario does not take the others with it.
HANG_SECONDS = 300
HANG_TURNS = 1200
TURN_MICROSECONDS = 50000

MEMORY = "2G"

# The displays of the machine, by what the monitor calls them. The driver of the first is bochs, of
# the second virtio_gpu.
FIRST_DISPLAY = "first"
SECOND_DISPLAY = "second"
# More of the first kind, by their places on the bus, with memory for displays of any size.
SPARE_DISPLAYS = [f"0000:00:{slot:02x}.0" for slot in range(0x10, 0x14)]


class CommandFailed(Exception):
    pass


class Machine:
    """Boots on creation, with displays of those sizes by their names and with more arguments for
    the kernel; usable once it answers. close() ends it, whatever its state."""

    def __init__(self, image, folder, displaySizes, kernelArguments=""):
        self._folder = pathlib.Path(folder)
        self._folder.mkdir(parents=True, exist_ok=True)
        self.kernelLog = self._folder / "kernel.log"
        self._commands, commandsFar = socket.socketpair()
        self._monitor, monitorFar = socket.socketpair()
        self._process = _startEmulator(image, self.kernelLog, displaySizes, kernelArguments,
                                       commandsFar, monitorFar)
        for near, far in [(self._commands, commandsFar), (self._monitor, monitorFar)]:
            far.close()
            near.settimeout(HANG_SECONDS)
        self._commandLines = self._commands.makefile("rb")
        self._monitorLines = self._monitor.makefile("rb")
        self._events = []

        self._nextMonitorMessage()  # the greeting
        self.askMonitor("qmp_capabilities")
        self._readUntil(b"machine is up")

    def processId(self):
        """The emulator's."""
        return self._process.pid

    def isUp(self):
        return self._process.poll() is None

    def attempt(self, command):
        """Runs one line of shell in the machine: its exit status and what it printed."""
        assert "\n" not in command
        self._commands.sendall(command.encode() + b"\n")
        output, status = self._readUntil(b"command ended: ")
        # The line feed before the last line belongs to the channel.
        return int(status), output[:-1].decode(errors="replace")

    def run(self, command):
        """As attempt(), for a command that has to succeed: what it printed."""
        status, output = self.attempt(command)
        if status != 0:
            raise CommandFailed(f"{command}\nended with {status} and printed:\n{output}")
        return output

    def waitUntil(self, condition):
        """Returns once the shell condition holds in the machine."""
        self.run(f"turns=0; until {condition}; do turns=$((turns + 1)); "
                 f"[ $turns -lt {HANG_TURNS} ] || break; usleep {TURN_MICROSECONDS}; done; "
                 f"{condition}")

    def fetch(self, path):
        """The bytes of a file in the machine."""
        return base64.b64decode(self.run(f"base64 {shlex.quote(path)}"))

    def fetchMemory(self, path):
        """As fetch(), of a device whose bytes are much alike."""
        packed = base64.b64decode(self.run(f"gzip -c <{shlex.quote(path)} | base64"))
        return gzip.decompress(packed)

    def fetchText(self, path):
        return self.fetch(path).decode(errors="replace")

    def displayPicture(self, device=FIRST_DISPLAY):
        """What that display shows, taken from outside of the machine."""
        return readPpm(self.displayDump(device))

    def displayDump(self, device=FIRST_DISPLAY):
        """The same as the bytes of a PPM, which are equal where the pictures are."""
        with tempfile.NamedTemporaryFile(dir=self._folder, suffix=".ppm") as file:
            self.askMonitor("screendump", filename=file.name, device=device)
            return pathlib.Path(file.name).read_bytes()

    def awaitPicture(self, isExpected, device=FIRST_DISPLAY):
        """The first picture that is as expected."""
        giveUp = time.monotonic() + HANG_SECONDS
        while time.monotonic() < giveUp:
            picture = self.displayPicture(device)
            if isExpected(picture):
                return picture
        raise CommandFailed(f"display {device} never looked as expected; it showed {picture}")

    def askMonitor(self, command, **arguments):
        request = {"execute": command, "arguments": arguments}
        self._monitor.sendall(json.dumps(request).encode() + b"\n")
        while True:
            message = self._nextMonitorMessage()
            if "error" in message:
                raise CommandFailed(f"monitor: {message['error']['desc']}")
            if "return" in message:
                return message["return"]

    def powerOff(self, command="poweroff"):
        """Asks the machine's init to power off and waits for it: the reason that QEMU gives."""
        self._commands.sendall(command.encode() + b"\n")
        while not any(event["event"] == "SHUTDOWN" for event in self._events):
            self._nextMonitorMessage()
        self._process.wait(HANG_SECONDS)
        return next(e["data"]["reason"] for e in self._events if e["event"] == "SHUTDOWN")

    def close(self):
        if self.isUp():
            self._process.kill()
        self._process.wait()
        for channel in [self._commandLines, self._monitorLines, self._commands, self._monitor]:
            channel.close()

    # The lines before the one that starts with `marker`, and what follows the marker in it.
    def _readUntil(self, marker):
        output = b""
        for line in self._commandLines:
            if line.startswith(marker):
                return output, line[len(marker):]
            output += line
        raise CommandFailed(f"the machine ended; its last words are in {self.kernelLog}")

    def _nextMonitorMessage(self):
        line = self._monitorLines.readline()
        if not line:
            raise CommandFailed("the emulator ended")
        message = json.loads(line)
        if "event" in message:
            self._events.append(message)
        return message


def _display(kind, name, sizes):
    width, height = sizes[name]
    return f"{kind},id={name},xres={width},yres={height}"


def _spareDisplays():
    for address in SPARE_DISPLAYS:
        slot = address.split(":")[2].split(".")[0]
        yield from ["-device", f"bochs-display,addr=0x{slot},vgamem=64M"]


def _startEmulator(image, kernelLog, displaySizes, kernelArguments, commands, monitor):
    arguments = [
        # Ends with the test, also when the test is killed.
        requireProgram("setpriv"), "--pdeathsig", "KILL",
        requireProgram("qemu-system-x86_64"),
        "-nodefaults", "-no-user-config", "-no-reboot",
        "-accel", "tcg", "-smp", "2", "-m", MEMORY,
        "-display", "none", "-vga", "none",
        "-device", _display("bochs-display", FIRST_DISPLAY, displaySizes),
        "-device", _display("virtio-gpu-pci", SECOND_DISPLAY, displaySizes),
        *_spareDisplays(),
        "-kernel", image.kernel, "-initrd", image.initramfs,
        # Under emulation a busy host can make the kernel believe that the timer does not work.
        "-append", f"console=ttyS0 panic=-1 no_timer_check {kernelArguments}",
        "-serial", f"file:{kernelLog}",
        "-chardev", f"socket,id=commands,fd={commands.fileno()}", "-serial", "chardev:commands",
        "-chardev", f"socket,id=monitor,fd={monitor.fileno()}", "-mon", "monitor,mode=control",
    ]
    return subprocess.Popen(arguments, stdin=subprocess.DEVNULL,
                            pass_fds=[commands.fileno(), monitor.fileno()])
