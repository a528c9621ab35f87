"""Kernel and busybox of the emulated machine: Debian packages, unpacked and not installed.

A package is fetched once into a cache folder and unpacked beside it; later runs need no network.
What cannot be had raises Unavailable with the reason, and the test skips with it.
"""

import pathlib
import shutil
import subprocess


class Unavailable(Exception):
    """The machine that runs the test lacks something; the text says what."""


def requireProgram(name):
    path = shutil.which(name)
    if not path:
        raise Unavailable(f"{name} is not installed")
    return path


def kernelPackage():
    """The name of the package that the kernel's meta package stands for at present."""
    requireProgram("apt-cache")
    listing = subprocess.run(["apt-cache", "depends", "linux-image-amd64"], text=True,
                             capture_output=True, check=False).stdout
    for line in listing.splitlines():
        word, _, name = line.strip().partition(": ")
        if word == "Depends" and name.startswith("linux-image-"):
            return name
    raise Unavailable("the package lists know no linux-image-amd64")


def unpackedPackage(package, cache):
    """The folder with the files of `package`, downloaded into `cache` if it is not there yet."""
    target = cache / package
    if target.is_dir():
        return target
    archive = _download(package, cache)
    # Unpacked under another name first: an interrupted run leaves no half of a package behind.
    unfinished = cache / (package + ".unfinished")
    shutil.rmtree(unfinished, ignore_errors=True)
    subprocess.run([requireProgram("dpkg-deb"), "-x", archive, unfinished], check=True)
    archive.unlink()
    unfinished.rename(target)
    return target


def newestUnpacked(prefix, cache):
    """The unpacked package of that prefix that an earlier run left, or None."""
    found = sorted(folder for folder in cache.glob(prefix + "*")
                   if folder.is_dir() and folder.suffix != ".unfinished")
    return found[-1] if found else None


def _download(package, cache):
    downloads = cache / (package + ".download")
    shutil.rmtree(downloads, ignore_errors=True)
    downloads.mkdir(parents=True)
    result = subprocess.run([requireProgram("apt-get"), "download", package], cwd=downloads,
                            text=True, capture_output=True, check=False)
    archives = list(downloads.glob("*.deb"))
    if result.returncode != 0 or len(archives) != 1:
        reason = (result.stderr.strip().splitlines() or ["no reason given"])[-1]
        raise Unavailable(f"package {package} cannot be downloaded: {reason}")
    archive = cache / pathlib.Path(archives[0].name)
    archives[0].replace(archive)
    downloads.rmdir()
    return archive
