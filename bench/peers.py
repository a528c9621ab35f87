"""The programs that the console is measured against, each with what it takes to bring its picture
on the first terminal of the emulated machine. They are Debian's, unpacked and not installed.
"""

import dataclasses
import gzip
import os
import re
import subprocess

from debianPackages import requireProgram, unpackedPackage
from machineImage import guestPath, librariesOf

TERMINAL = "/dev/tty1"
LIBRARY_FOLDER = "usr/lib/x86_64-linux-gnu"


@dataclasses.dataclass
class Contender:
    """A program that shows something, by the name of its process and lines of shell: what is done
    before, what is run in the background and timed, what is done once a picture was seen."""

    title: str
    process: str
    start: str
    prepare: str = ":"
    makeIdle: str = ":"


@dataclasses.dataclass
class Peer:
    """A contender that comes in packages: the first is the program's own, of `folders` everything
    goes into the machine, and besides each of `texts` by its path."""

    contender: Contender
    packages: list
    folders: list
    texts: dict


# What draws its texts, and is not found under any other name.
PLYMOUTH_LABEL = f"/{LIBRARY_FOLDER}/plymouth/label.so"


def plymouth(title, prepare):
    return Contender(
        title=title,
        process="plymouthd",
        prepare=prepare,
        start=f"mkdir -p /run/plymouth; /usr/sbin/plymouthd --mode=updates --tty={TERMINAL} "
              "--kernel-command-line='splash quiet plymouth.ignore-serial-consoles "
              "plymouth.ignore-udev'; plymouth show-splash",
        makeIdle="plymouth change-mode --updates; plymouth system-update --progress=40")


PLYMOUTH = Peer(
    plymouth("Plymouth, update mode", f"mv {PLYMOUTH_LABEL} {PLYMOUTH_LABEL}.off"),
    packages=["plymouth", "plymouth-themes"],
    folders=["usr/sbin/plymouthd", "usr/bin/plymouth", f"{LIBRARY_FOLDER}/plymouth",
             "usr/share/plymouth"],
    texts={"etc/plymouth/plymouthd.conf": "[Daemon]\nTheme=spinner\nShowDelay=0\n"})

# Follows the one above in every round.
PLYMOUTH_WITH_TEXT = Peer(
    plymouth("Plymouth with its texts", f"mv {PLYMOUTH_LABEL}.off {PLYMOUTH_LABEL}"),
    packages=["plymouth-label", "fontconfig-config", "fonts-cantarell"],
    folders=[PLYMOUTH_LABEL[1:], "etc/fonts", "usr/share/fontconfig", "usr/share/fonts"],
    texts={})

KMSCON = Peer(
    Contender(
        title="kmscon",
        process="kmscon",
        start=f"/usr/libexec/kmscon/kmscon --vt={TERMINAL} --no-switchvt --login -- "
              "/bin/sh -c 'echo hello; sleep 1000'"),
    packages=["kmscon", "xkb-data", "fontconfig-config"],
    folders=["usr/libexec/kmscon", f"{LIBRARY_FOLDER}/kmscon", "usr/share/X11/xkb", "etc/fonts",
             "usr/share/fontconfig"],
    texts={})

PEERS = [PLYMOUTH, PLYMOUTH_WITH_TEXT, KMSCON]


def addPeer(image, peer, cache):
    """Unpacks its packages in `cache`, and those of libraries that this machine lacks. The version
    of the first."""
    packages = [unpackedPackage(name, cache) for name in peer.packages]
    libraries = [unpackedPackage(name, cache) for name in _missingLibraries(peer.packages)]
    libraryFolders = [folder / LIBRARY_FOLDER for folder in packages + libraries]
    libraryFolders += [folder / "lib/x86_64-linux-gnu" for folder in packages + libraries]
    for package in packages:
        for path in peer.folders:
            for file in _filesBelow(package / path):
                _addFile(image, package, file, libraryFolders)
    for path, text in peer.texts.items():
        image.addText(path, text)
    return _versionOf(peer.packages[0], packages[0])


def _addFile(image, package, file, libraryFolders):
    path = str(file.relative_to(package))
    if file.is_symlink():
        image.addLink(path, os.readlink(file))
        return
    image.addFile(path, file)
    if file.read_bytes()[:4] != b"\x7fELF":
        return
    for library in librariesOf(file, libraryFolders):
        image.addFile(guestPath(_pathInPackage(library, libraryFolders)), library)


# Where a library of an unpacked package would be if the package were installed.
def _pathInPackage(library, libraryFolders):
    for folder in libraryFolders:
        if library.startswith(f"{folder}/"):
            return f"/{LIBRARY_FOLDER}/{library[len(str(folder)) + 1:]}"
    return library


def _filesBelow(path):
    if path.is_dir() and not path.is_symlink():
        return sorted(file for file in path.rglob("*") if file.is_symlink() or file.is_file())
    return [path] if path.exists() else []


# The library packages that these need, directly or not, and that this machine does not have.
def _missingLibraries(packages):
    missing = []
    pending = list(packages)
    while pending:
        for name in _libraryPackagesOf(pending.pop()):
            if name not in missing and not _isInstalled(name):
                missing.append(name)
                pending.append(name)
    return missing


def _libraryPackagesOf(package):
    shown = subprocess.run([requireProgram("apt-cache"), "show", "--no-all-versions", package],
                           text=True, capture_output=True, check=True).stdout
    needs = re.search(r"^Depends: (.*)$", shown, re.MULTILINE)
    # Of alternatives the first, without the version that it must have.
    names = [need.split("|")[0].split("(")[0].strip()
             for need in (needs.group(1).split(",") if needs else [])]
    return [name for name in names if name.startswith("lib")]


def _isInstalled(package):
    status = subprocess.run([requireProgram("dpkg-query"), "-W", "-f", "${db:Status-Status}",
                             package], text=True, capture_output=True, check=False).stdout
    return status == "installed"


def _versionOf(name, package):
    changes = gzip.decompress((package / f"usr/share/doc/{name}/changelog.Debian.gz").read_bytes())
    return changes.decode().split("(", 1)[1].split(")", 1)[0]
