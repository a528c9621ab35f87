"""The console on a kernel that boots: its node is FUSE's, its display an emulated one of which this
test takes pictures from outside.

One boot serves all scenarios of a class. Each starts its own consoles and ends them; the order of
the lists at the end is the order in which they run.

    bootedConsoleTest.py CACHE PROGRAM CLIENT PIXEL-TESTS NODE-TESTS END-TO-END-TESTS C-CLIENT
        OTHER-DRIVER [SCENARIO]...

CACHE is a folder for what was downloaded and for what a failure leaves behind; without a SCENARIO
all of them run. Ends with 77, after the reason, where the machine cannot be made.
"""

import pathlib
import platform
import re
import shlex
import sys
import time
import unittest

from debianPackages import Unavailable, requireProgram
from guestConsole import GuestConsole, nearestFrame
from machine import FIRST_DISPLAY, SECOND_DISPLAY, SPARE_DISPLAYS, Machine
from machineImage import buildImage
from picture import readPixels, writePng

SKIPPED = 77
# The first has the size of most pixel cases; of the second it is wider and less high.
DISPLAY_SIZES = {FIRST_DISPLAY: (1280, 480), SECOND_DISPLAY: (1024, 600)}
SIZE_TEXT = "{}x{}".format(*DISPLAY_SIZES[FIRST_DISPLAY])
HEADLESS = f"headless:{SIZE_TEXT}"
CONSOLE_BACKGROUND = (0x6e, 0x3b, 0x3b)  # what the program draws on unless told otherwise


# Of <linux/capability.h>.
CAP_DAC_READ_SEARCH, CAP_SYS_PTRACE, CAP_SYS_ADMIN, CAP_SYS_TTY_CONFIG = 2, 19, 21, 26


def rights(*capabilities):
    """As the kernel writes a set of them."""
    return sum(1 << capability for capability in capabilities)


def playSession(console):
    """Lines and commands of every kind. One clock runs afterwards, that of the last item: with two
    of them no other session would show the same pair of times."""
    console.write("Boot loader 4.2 in slot A")
    console.write("Storage:\n  7456 MiB, no bad blocks\n  2 partitions")
    console.write("Fetching release 11; each package is verified before it is written, so that a "
                  "cut connection leaves the running system as it is, and the next attempt goes on "
                  "where this one ended")
    console.write("Font: !\"#$%&'()*+,-./0123456789:;<=>?@[\\]^_`{|}~")
    console.command("status", "Installing the system")
    console.command("add", "kernel", "Kernel image", "100")
    console.command("add", "rootfs", "Root file system", "37")


class MachineTest(unittest.TestCase):
    """What all machines have in common; each class boots its own."""

    cache = image = machine = otherDriver = None
    kernelArguments = ""

    @classmethod
    def setUpClass(cls):
        cls.machine = Machine(cls.image, cls.cache / cls.__name__, DISPLAY_SIZES,
                              cls.kernelArguments)
        cls.addClassCleanup(cls.machine.close)
        cls.machine.run("modprobe fuse")
        # No driver of that name takes them when one for their kind is loaded.
        for address in SPARE_DISPLAYS:
            cls.machine.run(f"echo none >/sys/bus/pci/devices/{address}/driver_override")

    def setUp(self):
        self.addCleanup(self.printTime, time.monotonic())

    @staticmethod
    def printTime(start):
        print(f"{time.monotonic() - start:.1f} s", flush=True)

    def start(self, name, window, **where):
        console = GuestConsole(self.machine, name, window, **where)
        self.addCleanup(console.end)
        console.awaitStart()
        return console

    def startOnDisplay(self, name, window="kms", **where):
        self.machine.run("modprobe bochs")
        return self.start(name, window, **where)

    def startOnTerminal(self, name):
        self.machine.run("chvt 2")
        return self.startOnDisplay(name, terminal="/dev/tty2")

    # The name of the card that the driver has, like "card0".
    def cardOf(self, driver):
        return self.machine.run(f"basename /sys/bus/pci/drivers/{driver}/0000:*/drm/card*").strip()

    # The path of its card. The scenarios after this one do not have it.
    def plugInSpare(self, address):
        device, driver = f"/sys/bus/pci/devices/{address}", "/sys/bus/pci/drivers/bochs-drm"
        self.machine.run(f"echo bochs-drm >{device}/driver_override; echo {address} >{driver}/bind")
        self.addCleanup(self.machine.run, f"echo {address} >{driver}/unbind")
        return self.machine.run(f"echo /dev/dri/$(basename {device}/drm/card*)").strip()

    # The command that plugs it back in, which is done after the scenario in any case.
    def pullOutCard(self, driver):
        folder = f"/sys/bus/pci/drivers/{driver}"
        address = self.machine.run(f"cd {folder}; echo 0000:*").strip()
        plugBackIn = f"[ -e {folder}/{address} ] || echo {address} >{folder}/bind"
        self.addCleanup(self.machine.run, plugBackIn)
        self.machine.run(f"echo {address} >{folder}/unbind")
        return plugBackIn

    # A clock runs in every frame, so that each is told from the one before: the display has to show
    # what was presented just now.
    def assertShown(self, console, display=FIRST_DISPLAY, size=None, rotation=0):
        number = console.awaitNextFrame()
        picture = self.machine.displayPicture(display)
        self.assertEqual(picture.size(), size or DISPLAY_SIZES[display])
        self.assertFalse(picture.isOneColour())
        # The display may have the one that follows before it is kept.
        self.assertAmongFrames(picture, console, number - 1, console.newestFrame() + 1, rotation)
        return picture

    def assertKernelDrawsOn(self, terminal):
        before = self.machine.displayPicture()
        self.machine.run(f"echo one more line >/dev/{terminal}")
        # It draws when it finds the time.
        self.machine.awaitPicture(
            lambda picture: picture != before and not picture.hasColour(CONSOLE_BACKGROUND))

    def assertAmongFrames(self, picture, console, first, last, rotation=0):
        difference, number = nearestFrame(picture, console, first, last, rotation)
        if difference != 0:
            self.keep("picture", picture)
            self.keep("frame", console.frame(number))
        self.assertEqual(difference, 0, f"nearest to the picture is frame {number}")

    def keep(self, what, picture):
        path = self.cache / f"{self._testMethodName}.{what}.png"
        path.write_bytes(writePng(picture))
        print(f"kept {path}")


class BootedConsole(MachineTest):
    def testDisplayThatAppearsLaterIsLit(self):
        console = self.start("early", "kms")
        playSession(console)
        console.awaitNextFrame()
        self.machine.run("modprobe bochs")
        self.assertShown(console)

    def testDisplayShowsTheSessionAsHeadlessDrawsIt(self):
        console = self.startOnDisplay("session", window="")  # what the machine has
        blank = self.machine.displayPicture()
        playSession(console)
        picture = self.assertShown(console)
        self.assertNotEqual(picture, blank)

        twin = self.start("twin", HEADLESS, node="/dev/Twin")
        first = twin.newestFrame()
        playSession(twin)
        # By then the twin's clock has passed the time that the picture shows.
        self.assertAmongFrames(picture, twin, first, first + console.newestFrame() + 2)

        self.keep("display", picture)
        for each in [console, twin]:
            resident, own = each.residentKilobytes()
            print(f"{each.name}: {each.millisecondsToFirstPicture()} ms from exec to the first "
                  f"picture, {resident} kB resident, {own} kB of it no file's")

    def testPixelCasesHoldOnTheDisplay(self):
        self.machine.run("modprobe bochs")
        cards = list(map(self.plugInSpare, SPARE_DISPLAYS))
        # One half waits for its ticks while the other starts its consoles.
        halves = [cards[0::2], cards[1::2]]
        started = " ".join(f"VELKARIS_PIXEL_CARDS={','.join(half)} GTEST_TOTAL_SHARDS=2 "
                           f"GTEST_SHARD_INDEX={number} velkaris_pixel_tests "
                           f"--gtest_filter='ConsolePictures.*' >/tmp/half{number}.log 2>&1 & "
                           f"half{number}=$!;"
                           for number, half in enumerate(halves))
        status, _ = self.machine.attempt(f"{started} wait $half0; first=$?; wait $half1 && "
                                         "[ $first -eq 0 ]")
        report = self.machine.fetchText("/tmp/half0.log") + self.machine.fetchText("/tmp/half1.log")
        print(report)
        self.assertEqual(status, 0)
        self.assertEqual(report.count("[  PASSED  ]"), 2)
        self.assertNotIn("SKIPPED", report)

    def testConsoleOfItsOwnSizeGetsAModeOrTheMiddle(self):
        for size in [(800, 600), (701, 301), (1400, 500)]:
            with self.subTest(size=size):
                console = self.startOnDisplay("sized", "kms:{}x{}".format(*size))
                playSession(console)
                self.assertShown(console, size=size if size == (800, 600) else None)
                console.end()

    def testHeadlessConsoleLeavesTheDisplayToOthers(self):
        self.machine.run("modprobe virtio_pci; modprobe virtio_gpu")
        card = f"/dev/dri/{self.cardOf('virtio-pci')}"
        headless = self.start("headless", HEADLESS, node="/dev/Headless")
        self.assertNotIn(card, self.machine.run(f"ls -l /proc/{headless.pid}/fd"))
        self.assertShown(self.start("after", f"kms:{card}"), SECOND_DISPLAY)

    def testSecondConsoleIsRefusedTheDisplay(self):
        self.startOnDisplay("owner")
        second = GuestConsole(self.machine, "second", "kms", node="/dev/Second")
        self.assertEqual(second.exitStatus(), 1)
        self.assertRegex(second.log(), r"kms: .*master")

    def testMissingCardIsNamed(self):
        console = GuestConsole(self.machine, "cardless", "kms:/dev/dri/card7")
        self.assertEqual(console.exitStatus(), 1)
        self.assertIn("/dev/dri/card7", console.log())

    def testKilledConsoleComesBackWithoutHelp(self):
        killed = self.startOnDisplay("killed")
        playSession(killed)
        self.assertEqual(killed.signal("KILL"), 128 + 9)
        successor = self.startOnDisplay("successor")
        playSession(successor)
        self.assertShown(successor)

    def testTerminalIsGivenAndTakenBack(self):
        console = self.startOnTerminal("switched")
        playSession(console)
        self.machine.run("echo the kernel does not draw this >/dev/tty2")
        self.assertShown(console)

        self.machine.run("chvt 3")
        self.assertKernelDrawsOn("tty3")
        console.write("served while away")
        self.machine.run("chvt 2")
        self.assertShown(console)

        console.signal("TERM")
        self.assertKernelDrawsOn("tty2")

    # The kernel lets a program have the card that has held it before, and others by right alone.
    def testCardIsTakenOverFromTheConsoleOfAnotherTerminal(self):
        self.machine.run("chvt 3")
        first = self.startOnDisplay("seen", terminal="/dev/tty3")
        # Its node takes no right that the display takes too.
        second = self.startOnDisplay("hidden", terminal="/dev/tty2", node="/dev/Second",
                                     variables="VELKARIS_NODE_KIND=socket")
        second.command("add", "kernel", "Kernel image", "37")
        playSession(first)
        self.assertShown(first)
        self.machine.run("chvt 2")
        self.assertShown(second)
        self.machine.run("chvt 3")
        self.assertShown(first)
        self.assertEqual(first.signal("TERM"), 0)
        self.assertKernelDrawsOn("tty3")

    # Started from elsewhere than the terminal that it takes.
    def testTerminalThatDoesNotControlItIsGivenBack(self):
        self.machine.run("chvt 4")
        console = self.startOnDisplay("detached")
        playSession(console)
        self.machine.run("chvt 3")
        self.assertKernelDrawsOn("tty3")
        self.machine.run("chvt 4")
        self.assertShown(console)
        self.assertEqual(console.signal("TERM"), 0)
        self.assertKernelDrawsOn("tty4")

    def testServingConsoleHasTheRightsOfItsNodeAndItsDisplay(self):
        self.machine.run("modprobe cuse")
        ofDevice = rights(CAP_SYS_PTRACE, CAP_DAC_READ_SEARCH)
        for window, ofDisplay in [("kms", rights(CAP_SYS_ADMIN, CAP_SYS_TTY_CONFIG)),
                                  ("fbdev", rights(CAP_SYS_TTY_CONFIG)), (HEADLESS, 0)]:
            for kind, ofNode in [("cuse", ofDevice), ("fuse", ofDevice | rights(CAP_SYS_ADMIN)),
                                 ("socket", 0)]:
                with self.subTest(window=window, kind=kind):
                    console = self.startOnDisplay("rights", window,
                                                  variables=f"VELKARIS_NODE_KIND={kind}")
                    status = self.machine.run(f"cat /proc/{console.pid}/status")
                    for field in ["CapPrm", "CapEff", "CapBnd"]:
                        found = re.search(rf"^{field}:\s*(\w+)$", status, re.M).group(1)
                        self.assertEqual(int(found, 16), ofDisplay | ofNode, field)
                    self.assertRegex(status, r"(?m)^NoNewPrivs:\s*1$")
                    self.assertEqual(console.signal("TERM"), 0)
                    self.machine.run(f"! [ -e {console.node} ]; ! grep {console.node} /proc/mounts")

    def testUnpluggedDisplayIsLitWhenItReturns(self):
        console = self.startOnTerminal("unplugged")
        playSession(console)
        self.assertShown(console)
        connector = f"/sys/class/drm/{self.cardOf('bochs-drm')}-Virtual-1/status"

        self.machine.run(f"echo off >{connector}")
        console.write("served without a display")
        console.awaitNextFrame()
        self.machine.run(f"echo detect >{connector}")
        self.assertShown(console)

        console.signal("INT")
        self.assertKernelDrawsOn("tty2")

    def testVanishedCardIsLitWhenItReturns(self):
        console = self.startOnDisplay("bereft")
        playSession(console)
        self.assertShown(console)

        plugBackIn = self.pullOutCard("bochs-drm")
        console.write("served without a card")
        console.awaitNextFrame()
        self.machine.run(plugBackIn)
        self.assertShown(console)

    def testDisplayOfAnotherSizeShowsTheMiddle(self):
        console = self.startOnDisplay("moved")
        playSession(console)
        self.machine.run("modprobe virtio_pci; modprobe virtio_gpu")
        self.pullOutCard("bochs-drm")
        self.assertShown(console, SECOND_DISPLAY)

    def testCardIsTakenByItsName(self):
        self.machine.run("modprobe virtio_pci; modprobe virtio_gpu")
        console = self.start("named", f"kms:/dev/dri/{self.cardOf('virtio-pci')}")
        playSession(console)
        self.assertShown(console, SECOND_DISPLAY)

    def testOlderDriverShowsTheSameFrames(self):
        console = self.startOnDisplay(
            "other", variables=f"LD_PRELOAD=/usr/bin/{self.otherDriver} VELKARIS_TEST_DRIVER=older")
        playSession(console)
        self.assertShown(console)
        self.assertEqual(re.findall(r"other driver: (\w+)", console.log()), ["drmModePageFlip"])

    def testPictureIsTurnedClockwise(self):
        width, height = DISPLAY_SIZES[FIRST_DISPLAY]
        for rotation, size in [(90, (height, width)), (180, (width, height)),
                               (270, (height, width))]:
            with self.subTest(rotation=rotation):
                console = self.startOnDisplay("turned", "kms",
                                              variables=f"VELKARIS_ROTATION={rotation}")
                playSession(console)
                self.assertShown(console, rotation=rotation)
                self.assertEqual(console.frame(1).size(), size)
                console.end()

    def testTurnedConsoleOfItsOwnSizeGetsAModeOrTheMiddle(self):
        for size, shown in [((600, 800), (800, 600)), ((301, 701), None)]:
            with self.subTest(size=size):
                console = self.startOnDisplay("sized", "kms:{}x{}".format(*size),
                                              variables="VELKARIS_ROTATION=270")
                playSession(console)
                self.assertShown(console, size=shown, rotation=270)
                self.assertEqual(console.frame(1).size(), size)
                console.end()

    def testFramebufferShowsTheSession(self):
        self.machine.run("chvt 2")
        for rotation in [0, 90]:
            with self.subTest(rotation=rotation):
                console = self.startOnDisplay("framebuffer", "fbdev", terminal="/dev/tty2",
                                              variables=f"VELKARIS_ROTATION={rotation}")
                playSession(console)
                self.assertShown(console, rotation=rotation)

                self.machine.run("chvt 3")
                self.assertKernelDrawsOn("tty3")
                console.write("served while away")
                self.machine.run("chvt 2")
                self.assertShown(console, rotation=rotation)

                console.signal("TERM")
                self.assertKernelDrawsOn("tty2")

    # Where they begin in a pixel and how many bits they have, of R, G and B. The module keeps a bit
    # for alpha in 16 bits when it had alpha in the mode before.
    FRAMEBUFFER_PIXELS = [
        (24, [(0, 8), (8, 8), (16, 8)]),
        (16, [(0, 5), (5, 6), (11, 5)]),
        (32, [(0, 8), (8, 8), (16, 8)]),
        (16, [(0, 5), (5, 5), (10, 5)]),
    ]

    def testFramebufferOfEveryDepthShowsTheFrames(self):
        size = (320, 240)
        self.machine.run("modprobe bochs; modprobe vfb vfb_enable=1 mode_option=320x240-8")
        self.addCleanup(self.machine.run, "rmmod vfb")
        name = self.machine.run("basename /sys/devices/platform/vfb.0/graphics/fb*").strip()
        for pictures in [1, 2]:
            for bits, channels in self.FRAMEBUFFER_PIXELS:
                with self.subTest(bits=bits, channels=channels, pictures=pictures):
                    self.machine.run(f"cd /sys/class/graphics/{name}; echo {bits} >bits_per_pixel; "
                                     f"echo {size[0]},{size[1] * pictures} >virtual_size; cd /")
                    self.assertFramebufferShows(name, size, bits // 8, channels)

    def testFramebufferOfOtherPixelsIsRefused(self):
        self.machine.run("modprobe vfb vfb_enable=1")
        self.addCleanup(self.machine.run, "rmmod vfb")
        name = self.machine.run("basename /sys/devices/platform/vfb.0/graphics/fb*").strip()
        console = GuestConsole(self.machine, "refused", f"fbdev:/dev/{name}")
        self.assertEqual(console.exitStatus(), 1)
        self.assertIn("8 bits a pixel", console.log())

    def assertFramebufferShows(self, name, size, bytesPerPixel, channels):
        folder = f"/sys/class/graphics/{name}"
        console = self.start("depth", f"fbdev:/dev/{name}")
        # No clock runs: the picture stays while it is read.
        console.write("A first line\nand a second one")
        console.awaitNextFrame()
        console.write("a last one, on the other side where there are two")
        frame = console.frame(console.awaitNextFrame())
        self.assertFalse(frame.isOneColour())
        stride = int(self.machine.run(f"cat {folder}/stride"))
        row = int(self.machine.run(f"cat {folder}/pan").split(",")[1])
        memory = self.machine.fetchMemory(f"/dev/{name}")[row * stride:]
        picture = readPixels(memory, size, stride, bytesPerPixel, channels)
        expected = frame.withBits([bits for _, bits in channels])
        if picture != expected:
            self.keep("picture", picture)
            self.keep("frame", expected)
        self.assertEqual(picture, expected)
        console.end()

    # By their own words, and none of them skipped. They run in two halves, since they wait a lot.
    def assertTestsPass(self, program, selection):
        logs = [f"/tmp/{program}{half}.log" for half in range(2)]
        for half, log in enumerate(logs):
            run = (f"GTEST_TOTAL_SHARDS=2 GTEST_SHARD_INDEX={half} {program} "
                   f"--gtest_filter={selection} >{log} 2>&1; touch {log}.end")
            # Not by the shell's "&", which would have it ignore SIGINT.
            self.machine.run(f"start-stop-daemon -S -b -p {log}.none -x /bin/sh -- "
                             f"-c {shlex.quote(run)}")
        for log in logs:
            while self.machine.attempt(f"[ -e {log}.end ]")[0] != 0:
                progress = f"wc -c <{log}"
                before = self.machine.run(progress).strip()
                # One test may take long here, but not that long.
                self.machine.waitUntil(f"[ -e {log}.end ] || [ $({progress}) -ne {before} ]")
            report = self.machine.fetchText(log)
            print(report)
            self.assertRegex(report, r"\[  PASSED  \] [1-9]\d* test")
            self.assertNotIn("FAILED", report)
            self.assertNotIn("SKIPPED", report)

    def testNodeIsADevice(self):
        self.machine.run("modprobe cuse")
        self.assertTestsPass("nodeTest", "*/cuse:CuseNode*")

    def testDeviceServesClientsOfEveryKind(self):
        self.machine.run("modprobe cuse")
        # But for those that draw or write so much that the emulation takes minutes.
        self.assertTestsPass("velkaris_e2e_tests", "*/cuse:-*SixtyFour*:*Mebibyte*:*EveryLength*:"
                                                   "*TwentyClients*:*Thousand*")

    def testUserWithoutRightsServesANode(self):
        self.machine.run("chmod 666 /dev/fuse; mkdir -p /run/guest; chown guest /run/guest")
        where = {"node": "/run/guest/Velkaris", "user": "guest"}
        killed = self.start("guest", HEADLESS, **where)
        self.assertIn("user_allow_other is not set", killed.log())
        self.assertRegex(self.machine.run("cat /proc/mounts"),
                         r"Velkaris fuse\.velkaris .*user_id=1000")
        self.assertRegex(self.machine.run(f"cat /proc/{killed.pid}/status"),
                         r"(?m)^NoNewPrivs:\s*0$")  # the mount helper has to unmount it
        blank = killed.frame(killed.newestFrame())
        killed.write("from the same user")
        self.assertNotEqual(killed.frame(killed.awaitNextFrame()), blank)
        self.assertNotEqual(self.machine.attempt(f"echo from another >{killed.node}")[0], 0)
        killed.signal("KILL")

        self.machine.run("echo user_allow_other >/etc/fuse.conf")
        successor = self.start("guest", HEADLESS, **where)
        self.assertNotIn("user_allow_other", successor.log())
        self.machine.run(f"echo from another >{successor.node}")
        self.assertNotEqual(successor.frame(successor.awaitNextFrame()), blank)
        self.assertEqual(successor.signal("INT"), 0)
        self.machine.run(f"! grep {successor.node} /proc/mounts")

    def testPowerOffIsNotHeldUp(self):
        console = self.startOnDisplay("last", f"kms:/dev/dri/{self.cardOf('bochs-drm')}")
        playSession(console)
        self.assertShown(console)
        self.assertEqual(self.machine.powerOff(), "guest-shutdown")
        self.assertIn("reboot: Power down", self.machine.kernelLog.read_text())


class TurnedPanels(MachineTest):
    """Displays that the kernel is told are mounted turned."""

    kernelArguments = ("video=Virtual-1:panel_orientation=right_side_up "
                       "video=Virtual-2:panel_orientation=left_side_up")

    TEXT_SIZE = (8 * 20, 16)  # of the text below

    def textPicture(self):
        self.machine.run(r"printf '\033[2J\033[H\033[?25l' >/dev/tty1")
        self.machine.awaitPicture(lambda picture: picture.isOneColour())
        # By one write, and so drawn at once.
        self.machine.run("printf 'L 7 F, text of a row' >/dev/tty1")
        return self.machine.awaitPicture(lambda picture: not picture.isOneColour())

    # Clockwise: of the text console as it is turned now, against one that is not.
    def textRotation(self):
        setting = "/sys/class/graphics/fbcon/rotate_all"
        picture = self.textPicture()
        rotate = self.machine.run("cat /sys/class/graphics/fbcon/rotate").strip()
        self.machine.run(f"echo 0 >{setting}")
        upright = self.textPicture().topLeft(*self.TEXT_SIZE)
        self.machine.run(f"echo {rotate} >{setting}")
        self.assertFalse(upright.isOneColour())
        fitting = [degrees for degrees in [0, 90, 180, 270]
                   if picture.turned(-degrees % 360).topLeft(*self.TEXT_SIZE) == upright]
        self.assertEqual(len(fitting), 1)
        return fitting[0]

    def assertTurnedLikeTheText(self, window):
        rotation = self.textRotation()
        console = self.startOnDisplay("like", window)
        playSession(console)
        self.assertShown(console, rotation=rotation)
        console.signal("TERM")  # which gives the terminal back to the text
        return rotation

    def testConsoleIsTurnedLikeTheTextConsole(self):
        self.machine.run("modprobe bochs; chvt 1")
        self.assertEqual(self.assertTurnedLikeTheText("kms"), 90)
        self.assertEqual(self.assertTurnedLikeTheText("fbdev"), 90)
        for rotate, degrees in [(2, 180), (3, 270), (0, 0)]:
            self.machine.run(f"echo {rotate} >/sys/class/graphics/fbcon/rotate_all")
            self.assertEqual(self.assertTurnedLikeTheText("kms"), degrees)

    def testDisplayWithoutATextConsoleIsTurnedByItsPanel(self):
        self.machine.run("modprobe bochs; modprobe virtio_pci; modprobe virtio_gpu")
        console = self.start("panel", f"kms:/dev/dri/{self.cardOf('virtio-pci')}")
        playSession(console)
        self.assertShown(console, SECOND_DISPLAY, rotation=270)


# The driver is not loaded at first, and after the last one nothing runs any more.
SCENARIOS = [
    "testDisplayThatAppearsLaterIsLit",
    "testDisplayShowsTheSessionAsHeadlessDrawsIt",
    "testPixelCasesHoldOnTheDisplay",
    "testConsoleOfItsOwnSizeGetsAModeOrTheMiddle",
    "testSecondConsoleIsRefusedTheDisplay",
    "testMissingCardIsNamed",
    "testKilledConsoleComesBackWithoutHelp",
    "testTerminalIsGivenAndTakenBack",
    "testTerminalThatDoesNotControlItIsGivenBack",
    "testCardIsTakenOverFromTheConsoleOfAnotherTerminal",
    "testServingConsoleHasTheRightsOfItsNodeAndItsDisplay",
    "testUnpluggedDisplayIsLitWhenItReturns",
    "testVanishedCardIsLitWhenItReturns",
    "testDisplayOfAnotherSizeShowsTheMiddle",
    "testCardIsTakenByItsName",
    "testHeadlessConsoleLeavesTheDisplayToOthers",
    "testOlderDriverShowsTheSameFrames",
    "testPictureIsTurnedClockwise",
    "testTurnedConsoleOfItsOwnSizeGetsAModeOrTheMiddle",
    "testFramebufferShowsTheSession",
    "testFramebufferOfEveryDepthShowsTheFrames",
    "testFramebufferOfOtherPixelsIsRefused",
    "testNodeIsADevice",
    "testDeviceServesClientsOfEveryKind",
    "testUserWithoutRightsServesANode",
    "testPowerOffIsNotHeldUp",
]
TURNED_SCENARIOS = [
    "testConsoleIsTurnedLikeTheTextConsole",
    "testDisplayWithoutATextConsoleIsTurnedByItsPanel",
]


def load_tests(loader, tests, pattern):
    wanted = sys.argv[9:] or SCENARIOS + TURNED_SCENARIOS
    return unittest.TestSuite((TurnedPanels if name in TURNED_SCENARIOS else BootedConsole)(name)
                              for name in wanted)


def main():
    cache, *programs = map(pathlib.Path, sys.argv[1:9])
    MachineTest.cache = cache
    try:
        if platform.machine() != "x86_64":
            raise Unavailable("the emulated machine runs the host's programs, and needs an x86_64")
        requireProgram("qemu-system-x86_64")
        MachineTest.otherDriver = programs[-1].name
        MachineTest.image = buildImage(cache, programs)
    except Unavailable as reason:
        print(f"skipped: {reason}")
        sys.exit(SKIPPED)
    unittest.main(argv=sys.argv[:1], verbosity=2)


if __name__ == "__main__":
    main()
