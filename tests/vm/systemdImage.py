"""What makes the emulated machine one that systemd runs: this host's own systemd as the first
process, with the journal and the few units of its own that a boot takes, and the console's unit.
"""

import pathlib

from machineImage import GUEST_FILES, addProgram

UNIT_FOLDER = "/usr/lib/systemd/system"
UNIT = pathlib.Path(__file__).resolve().parents[2] / "packaging/systemd/velkaris.service"

PROGRAMS = ["/usr/lib/systemd/systemd", "/usr/lib/systemd/systemd-journald",
            "/usr/lib/systemd/systemd-shutdown", "/usr/bin/systemctl", "/usr/bin/journalctl",
            "/usr/bin/systemd-analyze"]
UNITS = ["sysinit.target", "local-fs.target", "sockets.target", "shutdown.target", "umount.target",
         "final.target", "poweroff.target", "systemd-poweroff.service", "modprobe@.service",
         "systemd-journald.service", "systemd-journald.socket", "systemd-journald-dev-log.socket"]


def addSystemd(image, defaults, dropIn):
    """`defaults` is what the unit reads as /etc/default/velkaris, `dropIn` what is added to it."""
    for program in PROGRAMS:
        addProgram(image, pathlib.Path(program), program)
    for unit in UNITS:
        image.addFile(f"{UNIT_FOLDER}/{unit}", f"{UNIT_FOLDER}/{unit}")
    journal = "systemd-journald.service"
    image.addLink(f"{UNIT_FOLDER}/sysinit.target.wants/{journal}", f"../{journal}")
    image.addLink("init", "usr/lib/systemd/systemd")
    image.addText("etc/machine-id", "0123456789abcdef0123456789abcdef\n")  # no first boot
    image.addText("etc/os-release", "ID=test\n")
    image.addFolder("var/tmp")
    image.addLink("var/run", "/run")
    image.addFile("etc/systemd/system/default.target", GUEST_FILES / "default.target")
    image.addFile("etc/systemd/system/commandChannel.service",
                  GUEST_FILES / "commandChannel.service")

    image.addFile(f"{UNIT_FOLDER}/{UNIT.name}", UNIT)
    image.addLink(f"etc/systemd/system/sysinit.target.wants/{UNIT.name}",
                  f"{UNIT_FOLDER}/{UNIT.name}")  # as "systemctl enable" makes it
    image.addText(f"etc/systemd/system/{UNIT.name}.d/test.conf", dropIn)
    image.addText("etc/default/velkaris", defaults)
