"""The console on a kernel that boots: its node is FUSE's, its display an emulated one of which this
test takes pictures from outside.

One boot serves all scenarios. Each starts its own consoles and ends them; the order of the list at
the end is the order in which they run.

    bootedConsoleTest.py CACHE PROGRAM CLIENT

CACHE is a folder for what was downloaded and for what a failure leaves behind. Ends with 77, after
the reason, where the machine cannot be made.
"""

import pathlib
import platform
import sys
import unittest

from debianPackages import Unavailable, requireProgram
from guestConsole import GuestConsole, nearestFrame
from machine import Machine
from machineImage import buildImage
from picture import writePng

SKIPPED = 77
DISPLAY_SIZE = (800, 480)
HEADLESS = "headless:{}x{}".format(*DISPLAY_SIZE)


def playSession(console):
    """Lines and commands of every kind. One clock runs afterwards, that of the last item: with two
    of them no other session would show the same pair of times."""
    console.write("Bootloader found")
    console.write("two\nlines at once")
    console.write("a line that is wider than the display, and so it goes on in the next row " * 3)
    console.write("!\"#$%&'()*+,-./0123456789:;<=>?@[\\]^_`{|}~")
    console.command("status", "Installing the system")
    console.command("add", "kernel", "Kernel image", "100")
    console.command("add", "rootfs", "Root file system", "37")


class BootedConsole(unittest.TestCase):
    cache = image = machine = None

    @classmethod
    def setUpClass(cls):
        cls.machine = Machine(cls.image, cls.cache / "run", DISPLAY_SIZE)
        cls.addClassCleanup(cls.machine.close)
        cls.machine.run("modprobe fuse")

    def start(self, name, window, **where):
        console = GuestConsole(self.machine, name, window, **where)
        self.addCleanup(console.end)
        console.awaitStart()
        return console

    def assertAmongFrames(self, picture, console, first, last):
        difference, number = nearestFrame(picture, console, first, last)
        if difference != 0:
            self.keep("picture", picture)
            self.keep("frame", console.frame(number))
        self.assertEqual(difference, 0, f"nearest to the picture is frame {number}")

    def keep(self, what, picture):
        path = self.cache / f"{self._testMethodName}.{what}.png"
        path.write_bytes(writePng(picture))
        print(f"kept {path}")

    def testTwoConsolesDrawTheSameSessionAlike(self):
        console = self.start("one", HEADLESS)
        blank = console.frame(1)
        playSession(console)
        number = console.awaitNextFrame()
        picture = console.frame(number)
        self.assertNotEqual(picture.pixels, blank.pixels)

        other = self.start("other", HEADLESS, node="/dev/Other")
        first = other.newestFrame()
        playSession(other)
        # By then the other's clock has passed the time that the picture shows.
        self.assertAmongFrames(picture, other, first, first + number + 2)

        for each in [console, other]:
            print(f"{each.name}: {each.millisecondsToFirstPicture()} ms from exec to the first "
                  f"picture, {each.residentKilobytes()} kB resident")

    def testKilledConsoleComesBackWithoutHelp(self):
        killed = self.start("killed", HEADLESS)
        killed.write("a line that dies with it")
        self.assertEqual(killed.signal("KILL"), 128 + 9)
        successor = self.start("successor", HEADLESS)
        blank = successor.frame(1)
        successor.write("a line for the successor")
        number = successor.awaitNextFrame()
        self.assertNotEqual(successor.frame(number).pixels, blank.pixels)

    def testPowerOffIsNotHeldUp(self):
        self.start("last", HEADLESS)
        self.assertEqual(self.machine.powerOff(), "guest-shutdown")
        self.assertIn("reboot: Power down", self.machine.kernelLog.read_text())


# After the last one nothing runs any more.
SCENARIOS = [
    "testTwoConsolesDrawTheSameSessionAlike",
    "testKilledConsoleComesBackWithoutHelp",
    "testPowerOffIsNotHeldUp",
]


def load_tests(loader, tests, pattern):
    return unittest.TestSuite(BootedConsole(name) for name in SCENARIOS)


def main():
    cache, program, client = map(pathlib.Path, sys.argv[1:])
    BootedConsole.cache = cache
    try:
        if platform.machine() != "x86_64":
            raise Unavailable("the emulated machine runs the host's programs, and needs an x86_64")
        requireProgram("qemu-system-x86_64")
        BootedConsole.image = buildImage(cache, [program, client])
    except Unavailable as reason:
        print(f"skipped: {reason}")
        sys.exit(SKIPPED)
    unittest.main(argv=sys.argv[:1], verbosity=2)


if __name__ == "__main__":
    main()
