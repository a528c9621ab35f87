"""The console as a service of systemd, in a machine that boots with systemd as its first process:
the unit as it is packaged, its sandbox, and the picture of its display.

    systemdTest.py CACHE PROGRAM CLIENT [SCENARIO]...

CACHE is a folder for what was downloaded and for what a failure leaves behind. Ends with 77, after
the reason, where the machine cannot be made.
"""

import pathlib
import platform
import re
import shlex
import sys
import textwrap
import unittest

from bootedConsoleTest import (CAP_DAC_READ_SEARCH, CAP_SYS_PTRACE, CAP_SYS_TTY_CONFIG,
                               DISPLAY_SIZES, HEADLESS, SKIPPED, MachineTest, playSession, rights)
from debianPackages import Unavailable, requireProgram
from guestConsole import FONT_SIZE, GuestConsole
from machine import FIRST_DISPLAY
from machineImage import FONT, buildImage
from systemdImage import UNIT_FOLDER, addSystemd

SERVICE = "velkaris.service"
FRAMES = "/frames"
GROUP = 44
DEFAULTS = f"""\
# As an integrator writes it, with the frames kept for the test.
VELKARIS_FONT={FONT}
VELKARIS_OPTIONS=-f {FONT_SIZE}
VELKARIS_NODE_MODE=0660
VELKARIS_NODE_GROUP={GROUP}
VELKARIS_CAPTURE={FRAMES}
"""
# The driver would be in the kernel or its initramfs.
DROP_IN = f"""\
[Unit]
Wants=modprobe@bochs.service
After=modprobe@bochs.service
[Service]
ReadWritePaths={FRAMES}
"""


class ServiceConsole(GuestConsole):
    """The one that systemd runs."""

    def __init__(self, machine):
        self.machine = machine
        self.name = SERVICE
        self.node = "/dev/Velkaris"
        self.user = "root"
        self.frameFolder = FRAMES
        self.pid = int(self.property("MainPID"))

    def property(self, name):
        return self.machine.run(f"systemctl show --value -p {name} {SERVICE}").strip()

    def awaitFrame(self, number):
        path = self._framePath(number)
        self.machine.waitUntil(f"[ -e {path} ] || ! {self._alive()}")
        self.machine.run(f"[ -e {path} ] || {{ journalctl -u {SERVICE}; false; }}")

    def end(self):
        pass

    def _alive(self):
        return f"systemctl is-active --quiet {SERVICE}"


class ConsoleOfSystemd(MachineTest):
    kernelArguments = "systemd.show_status=false"

    def awaitService(self):
        self.machine.waitUntil(f"systemctl is-active --quiet {SERVICE} || "
                               f"systemctl is-failed --quiet {SERVICE}")
        self.machine.run(f"systemctl is-active --quiet {SERVICE} || "
                         f"{{ systemctl status {SERVICE}; journalctl; false; }}")
        return ServiceConsole(self.machine)

    # Frames are counted from each start.
    def startService(self, verb="start"):
        self.machine.run(f"rm -f {FRAMES}/*; systemctl {verb} {SERVICE}")
        return self.awaitService()

    def testBootStartsItAndTheDisplayShowsWhatHeadlessDraws(self):
        console = self.awaitService()
        width, height = DISPLAY_SIZES[FIRST_DISPLAY]
        self.assertEqual(console.property("StatusText"),
                         f"/dev/Velkaris (cuse), kms {width}x{height}")
        self.assertEqual(self.machine.run(f"stat -c '%F %a %g' {console.node}").strip(),
                         f"character special file 660 {GROUP}")
        playSession(console)
        picture = self.assertShown(console)
        self.keep("display", picture)

        twin = self.start("twin", HEADLESS, node="/dev/Twin")
        first = twin.newestFrame()
        playSession(twin)
        self.assertAmongFrames(picture, twin, first, first + console.newestFrame() + 2)

    def testSandboxHolds(self):
        console = self.awaitService()
        report = self.machine.run(f"systemd-analyze security {SERVICE}")
        print(report.splitlines()[-1])
        self.assertLessEqual(float(re.search(r"exposure level.*: ([\d.]+)", report).group(1)), 2.0)

        process = f"/proc/{console.pid}"
        status = self.machine.run(f"cat {process}/status")
        expected = rights(CAP_SYS_TTY_CONFIG, CAP_SYS_PTRACE, CAP_DAC_READ_SEARCH)
        for field in ["CapPrm", "CapEff"]:
            self.assertEqual(int(re.search(rf"(?m)^{field}:\s*(\w+)$", status).group(1), 16),
                             expected, field)
        self.assertRegex(status, r"(?m)^NoNewPrivs:\s*1$")
        self.assertRegex(status, r"(?m)^Seccomp:\s*2$")
        for kind in ["net", "mnt", "ipc"]:
            spaces = [self.machine.run(f"readlink {each}/ns/{kind}") for each in [process, "/proc/1"]]
            self.assertNotEqual(*spaces)
        for path in ["/etc", "/usr/bin", "/tmp", "/var/tmp", "/sys/class"]:
            status, output = self.machine.attempt(f"touch {process}/root{path}/mark")
            self.assertNotEqual(status, 0, path)
            self.assertIn("Read-only file system", output)
        for home in ["/root"]:
            self.assertEqual(self.machine.run(f"ls -A {process}/root{home}"), "", home)

    # A drop-in of the running machine, after the other one, gone after the scenario.
    def addDropIn(self, text):
        folder = f"/run/systemd/system/{SERVICE}.d"
        lines = " ".join(map(shlex.quote, text.splitlines()))
        self.addCleanup(self.machine.run, f"rm -r {folder}; systemctl daemon-reload; "
                                          f"systemctl stop {SERVICE}")
        self.machine.run(f"mkdir -p {folder}; printf '%s\\n' {lines} >{folder}/to-the-end.conf; "
                         "systemctl daemon-reload")

    def testTerminalIsGivenAndTakenBack(self):
        console = self.awaitService()
        self.machine.run("chvt 3")
        self.assertKernelDrawsOn("tty3")
        self.machine.run("chvt 1")
        playSession(console)
        self.assertShown(console)

    def testDisplayThatIsPluggedInIsFound(self):
        console = self.awaitService()
        connector = f"/sys/class/drm/{self.cardOf('bochs-drm')}-Virtual-1/status"
        self.machine.run(f"echo off >{connector}")
        console.write("served without a display")
        console.awaitNextFrame()
        self.machine.run(f"echo detect >{connector}")
        playSession(console)
        self.assertShown(console)

    # What it does to tell where a client's write ends, by a program in the same sandbox.
    def testSandboxLetsItLookAtClientsOfOtherUsers(self):
        client = "start-stop-daemon -S -b -m -p /run/client -c guest -x /bin/sleep -- 1000"
        self.machine.run(client)
        self.machine.waitUntil("[ -s /run/client ]")
        pid = self.machine.run("cat /run/client").strip()
        self.addCleanup(self.machine.run, f"kill {pid}")
        changes = (f"s,^ExecStart=.*,ExecStart=cat /proc/{pid}/syscall /proc/{pid}/io,; "
                   "s/^Type=.*/Type=oneshot/; /^Watchdog/d; /^Restart/d; /^RuntimeD/d")
        self.machine.run(f"sed {shlex.quote(changes)} {UNIT_FOLDER}/{SERVICE} "
                         ">/run/systemd/system/look.service; systemctl start look")
        seen = self.machine.run("journalctl -o cat -u look")
        self.assertRegex(seen, r"(?m)^(running|\d+ 0x)")
        self.assertIn("syscw:", seen)

    def testOtherNodesAreSeenByAll(self):
        document = (pathlib.Path(__file__).resolve().parents[2] / "docs/systemd.md").read_text()
        forFile = textwrap.dedent(re.search(r"(?m)(^    \[Service\]\n(^    .*\n)+)", document)[0])
        # Frames are kept without it there.
        forFile += "ReadWritePaths=\n"
        forSocket = "[Service]\nEnvironment=VELKARIS_NODE_KIND=socket\n"
        for kind, dropIn, file in [("fuse", forFile, "regular empty file"),
                                   ("socket", forSocket, "socket")]:
            with self.subTest(kind=kind):
                self.addDropIn(dropIn)
                console = self.startService("restart")
                self.assertIn(f"({kind})", console.property("StatusText"))
                self.assertEqual(self.machine.run(f"stat -c '%F %a %g' {console.node}").strip(),
                                 f"{file} 660 {GROUP}")
                console.command("status", "seen from outside")
                console.command("add", "item", "An item", "37")
                self.assertShown(console)
                self.doCleanups()
                self.machine.run(f"! [ -e {console.node} ]")

    def testWatchdogIsFedAndEndsAConsoleThatHangs(self):
        console = self.awaitService()
        before = console.property("WatchdogTimestampMonotonic")
        self.machine.waitUntil(f"[ $(systemctl show --value -p WatchdogTimestampMonotonic "
                               f"{SERVICE}) -gt {before} ]")
        restarts = int(console.property("NRestarts"))
        self.machine.run(f"rm -f {FRAMES}/*; kill -STOP {console.pid}")
        self.machine.waitUntil(f"[ $(systemctl show --value -p NRestarts {SERVICE}) "
                               f"-gt {restarts} ]")
        self.assertIn("Watchdog timeout", self.machine.run(f"journalctl -u {SERVICE}"))
        successor = self.awaitService()
        self.assertNotEqual(successor.pid, console.pid)
        playSession(successor)
        self.assertShown(successor)

    def testRestartShowsTheNextConsole(self):
        first = self.awaitService()
        second = self.startService("restart")
        self.assertNotEqual(second.pid, first.pid)
        playSession(second)
        self.assertShown(second)

    def testLinesOfTheLayerHaveAPriority(self):
        self.machine.run("cp /etc/default/velkaris /tmp/defaults; "
                         "echo VELKARIS_NODE_MODE=open >>/etc/default/velkaris")
        self.addCleanup(self.machine.run, "cp /tmp/defaults /etc/default/velkaris; "
                                          f"systemctl reset-failed {SERVICE}")
        self.assertNotEqual(self.machine.attempt(f"systemctl restart {SERVICE}")[0], 0)
        self.machine.run(f"systemctl stop {SERVICE}")
        errors = self.machine.run(f"journalctl -o cat -p err _COMM=velkaris")
        self.assertIn('velkaris: VELKARIS_NODE_MODE is "open"', errors)
        self.assertNotIn("Unable to attach name", errors)  # the service's own line has none
        self.assertIn("Unable to attach name",
                      self.machine.run("journalctl -o cat _COMM=velkaris"))

    def testStopLeavesNothing(self):
        console = self.startService()
        playSession(console)
        self.assertShown(console)
        self.machine.run(f"systemctl stop {SERVICE}")
        self.assertEqual(console.property("Result"), "success")
        self.assertEqual(console.property("ActiveState"), "inactive")
        self.machine.run(f"! [ -e {console.node} ]; ! [ -e /proc/{console.pid} ]")
        self.machine.run("! [ -e /run/velkaris/%2fdev%2fVelkaris ]")  # its lock
        self.assertKernelDrawsOn("tty1")

    def testPowerOffEndsIt(self):
        console = self.startService()
        playSession(console)
        self.assertShown(console)
        self.assertEqual(self.machine.powerOff("systemctl poweroff"), "guest-shutdown")
        self.assertIn("reboot: Power down", self.machine.kernelLog.read_text())


# The boot has started it; after the last one nothing runs any more.
SCENARIOS = [
    "testBootStartsItAndTheDisplayShowsWhatHeadlessDraws",
    "testSandboxHolds",
    "testSandboxLetsItLookAtClientsOfOtherUsers",
    "testTerminalIsGivenAndTakenBack",
    "testDisplayThatIsPluggedInIsFound",
    "testRestartShowsTheNextConsole",
    "testWatchdogIsFedAndEndsAConsoleThatHangs",
    "testLinesOfTheLayerHaveAPriority",
    "testOtherNodesAreSeenByAll",
    "testStopLeavesNothing",
    "testPowerOffEndsIt",
]


def load_tests(loader, tests, pattern):
    return unittest.TestSuite(map(ConsoleOfSystemd, sys.argv[4:] or SCENARIOS))


def addMore(image):
    image.addFolder(FRAMES)
    addSystemd(image, DEFAULTS, DROP_IN)


def main():
    cache, *programs = map(pathlib.Path, sys.argv[1:4])
    MachineTest.cache = cache
    try:
        if platform.machine() != "x86_64":
            raise Unavailable("the emulated machine runs the host's programs, and needs an x86_64")
        requireProgram("qemu-system-x86_64")
        MachineTest.image = buildImage(cache, programs, addMore, "systemd")
    except Unavailable as reason:
        print(f"skipped: {reason}")
        sys.exit(SKIPPED)
    unittest.main(argv=sys.argv[:1], verbosity=2)


if __name__ == "__main__":
    main()
