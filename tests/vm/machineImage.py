"""What the emulated machine boots: Debian's kernel and an initramfs made of busybox, the display
and FUSE drivers as modules, the program with every library that it loads, and fonts.

The image holds no more than that, since each megabyte costs boot time under emulation.
"""

import os
import pathlib
import re
import subprocess

from debianPackages import Unavailable, kernelPackage, newestUnpacked, unpackedPackage
from initramfs import Initramfs

GUEST_FILES = pathlib.Path(__file__).resolve().parent / "guest"

# At the same paths in the guest as here.
FONT = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf"
FONTS = [FONT, "/usr/share/fonts/truetype/dejavu/DejaVuSansMono.ttf"]

# With what each of them needs, they go into the image; the scenarios load them.
DRIVERS = ["bochs", "virtio_gpu", "virtio_pci", "vfb", "fuse", "cuse"]

# By which a user without rights mounts a node.
MOUNT_HELPER = pathlib.Path("/usr/bin/fusermount3")
USERS = "root:x:0:0::/root:/bin/sh\nguest:x:1000:1000::/tmp:/bin/sh\n"


class MachineImage:
    """Kernel and initramfs, as paths."""

    def __init__(self, kernel, initramfs):
        self.kernel = kernel
        self.initramfs = initramfs


def buildImage(cache, programs, addMore=None, name="initramfs"):
    """Makes the image of that name in the folder `cache`. `programs` are in the guest's /bin, and also found
    under the paths that they have here, by which tests know them. `addMore` gets the image before
    it is written."""
    cache.mkdir(parents=True, exist_ok=True)
    kernelFiles = _kernelFiles(cache)
    busybox = newestUnpacked("busybox-static", cache) or unpackedPackage("busybox-static", cache)

    image = Initramfs()
    _addSystem(image, busybox / "bin/busybox")
    _addModules(image, kernelFiles)
    _addPrograms(image, [*programs, _present(MOUNT_HELPER)])
    for font in FONTS:
        image.addFile(font, _present(font))
    if addMore:
        addMore(image)

    archive = cache / f"{name}.cpio"
    image.write(archive)
    return MachineImage(next((kernelFiles / "boot").glob("vmlinuz-*")), archive)


def librariesOf(binary, folders=()):
    """The paths of the libraries that the loader finds for `binary`, in `folders` first."""
    search = {"LD_LIBRARY_PATH": ":".join(map(str, folders))} if folders else {}
    listing = subprocess.run(["ldd", binary], text=True, capture_output=True, check=True,
                             env={**os.environ, **search}).stdout
    missing = re.findall(r"(\S+) => not found", listing)
    if missing:
        raise Unavailable(f"{binary} needs {', '.join(missing)}")
    return re.findall(r"(/\S+) \(0x", listing)


def guestPath(path):
    """/lib is a link to /usr/lib, in the guest as on the host."""
    return re.sub(r"^/lib(64)?/", "/usr/lib/", str(path))


def _kernelFiles(cache):
    # The newest that is there serves: the test is about the console, not about this week's kernel.
    return newestUnpacked("linux-image-", cache) or unpackedPackage(kernelPackage(), cache)


def _present(path):
    path = pathlib.Path(path)
    if not path.exists():
        raise Unavailable(f"{path} is not installed")
    return path


def _addSystem(image, busybox):
    for folder in ["dev", "proc", "sys", "tmp", "run", "etc", "root", "usr/bin", "usr/lib"]:
        image.addFolder(folder)
    for folder in ["bin", "lib"]:
        image.addLink(folder, "usr/" + folder)
    image.addLink("lib64", "usr/lib")
    image.addLink("sbin", "usr/bin")

    image.addFile("usr/bin/busybox", busybox)
    applets = subprocess.run([busybox, "--list"], text=True, capture_output=True, check=True).stdout
    for applet in applets.split():
        if applet != "busybox":
            image.addLink(f"usr/bin/{applet}", "busybox")

    image.addLink("init", "bin/busybox")
    image.addFile("etc/inittab", GUEST_FILES / "inittab")
    image.addText("etc/passwd", USERS)
    image.addLink("etc/mtab", "/proc/self/mounts")  # where the helper looks for what it unmounts
    image.addFile("etc/init.rc", GUEST_FILES / "init.rc")
    for script in ["commandChannel", "runConsole"]:
        image.addFile(f"usr/bin/{script}", GUEST_FILES / script)


def _addModules(image, kernelFiles):
    root = next((kernelFiles / "lib/modules").iterdir())
    byName = {_moduleName(path): path for path in root.rglob("*.ko")}
    lines = []
    pending = list(DRIVERS)
    added = set()
    while pending:
        name = pending.pop()
        if name in added:
            continue
        added.add(name)
        needed = _moduleNeeds(byName[name])
        pending += needed
        image.addFile(f"usr/lib/modules/{root.name}/{name}.ko", byName[name])
        files = [f"{other}.ko" for other in _withNeeds(needed, byName)]
        lines.append(f"{name}.ko: {' '.join(files)}")
    image.addText(f"usr/lib/modules/{root.name}/modules.dep", "\n".join(lines) + "\n")


def _moduleName(path):
    return path.stem.replace("-", "_")


def _moduleNeeds(path):
    """The names that the module itself says it needs, in the section that modinfo reads."""
    found = re.search(rb"\0depends=([^\0]*)\0", path.read_bytes())
    return [name.replace("-", "_") for name in found.group(1).decode().split(",") if name]


def _withNeeds(names, byName):
    """Each name followed by what it needs, as modules.dep wants it: the first needed comes last."""
    ordered = []
    for name in names:
        for other in [name, *_withNeeds(_moduleNeeds(byName[name]), byName)]:
            if other in ordered:
                ordered.remove(other)
            ordered.append(other)
    return ordered


def _addPrograms(image, programs):
    for program in programs:
        image.addFile(f"usr/bin/{program.name}", _present(program))
        # What the console loads for logos and captured frames, from its own folder.
        for codec in ["png", "jpeg"] if program.name == "velkaris" else []:
            module = _present(program.parent / f"velkaris-{codec}.so")
            image.addFile(f"usr/bin/{module.name}", module)
            _addLibraries(image, module)
        if program.parent != pathlib.Path("/usr/bin"):
            image.addLink(str(program.resolve()), f"/usr/bin/{program.name}")
        _addLibraries(image, program)


def addProgram(image, program, path):
    """With its libraries; `path` is the guest's."""
    image.addFile(path, _present(program))
    _addLibraries(image, program)


def _addLibraries(image, binary):
    for path in librariesOf(binary):
        image.addFile(guestPath(path), path)
