"""What a console adds to an initramfs that has libc and busybox: the program, its libraries, one
font. Files are told apart by name, because a program has other paths in the machine.
"""

import pathlib
import re

from figures import MEGABYTE, table
from machineImage import FONT, librariesOf

# Of libc6.
_LIBC = re.compile(r"(ld-linux.*|lib(c|m|mvec|dl|pthread|rt|resolv|util|anl|nss_\w+))\.so.*")


def linkedFiles(program):
    """Sizes by path, of what is known without running the program."""
    files = [pathlib.Path(path) for path in (program, *librariesOf(program), FONT)]
    return {str(file): file.stat().st_size for file in files if not _LIBC.fullmatch(file.name)}


def loadedBesides(linked, mapped):
    """Of the files that a running console had mapped, with their sizes: those that nothing of
    linkedFiles() is."""
    known = {pathlib.Path(path).name for path in linked}
    return {path: size for path, size in mapped.items()
            if pathlib.Path(path).name not in known
            and not _LIBC.fullmatch(pathlib.Path(path).name)}


def filesTable(linked, besides):
    """`besides`: what loadedBesides() gives, by the title of the console."""
    rows = [_row("program, linked libraries, one font", linked)]
    rows += [_row(f"{title}: loaded besides while it runs", files)
             for title, files in besides.items()]
    return table(["", "files", "bytes", "MB"], rows)


def filesList(files):
    lines = [f"{size:>10} {path}" for path, size in
             sorted(files.items(), key=lambda item: item[1], reverse=True)]
    return "\n".join([*lines, f"{sum(files.values()):>10} in all"])


def _row(title, files):
    total = sum(files.values())
    return [title, str(len(files)), str(total), f"{total / MEGABYTE:.1f}"]
