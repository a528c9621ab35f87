"""An initramfs: files, folders and links collected by their path in the guest, and written as one
uncompressed cpio archive of the "newc" kind. Unpacking a compressed one costs an emulated processor
more than reading the larger one costs the host.
"""

import os
import stat

_HEADER_WORDS = 13


class Initramfs:
    def __init__(self):
        self._entries = {}  # path without leading slash: (mode, content or path of the host's file)

    def addFolder(self, path):
        path = path.strip("/")
        if not path or path in self._entries:
            return
        self._addParent(path)
        self._entries[path] = (stat.S_IFDIR | 0o755, b"")

    def addLink(self, path, target):
        self._add(path, stat.S_IFLNK | 0o777, target.encode())

    def addText(self, path, text, executable=False):
        self._add(path, stat.S_IFREG | (0o755 if executable else 0o644), text.encode())

    def addFile(self, path, source):
        """The host's file `source`, with its permissions; a link is followed."""
        self._add(path, stat.S_IFREG | stat.S_IMODE(os.stat(source).st_mode), os.fspath(source))

    def write(self, archive):
        """Writes all of it to the path `archive`, which appears complete or not at all."""
        unfinished = f"{archive}.unfinished"
        with open(unfinished, "wb") as out:
            for number, (path, (mode, content)) in enumerate(self._entries.items(), start=1):
                _writeEntry(out, number, path, mode, _bytesOf(content))
            _writeEntry(out, 0, "TRAILER!!!", 0, b"")
        os.replace(unfinished, archive)

    def _add(self, path, mode, content):
        path = path.strip("/")
        self._addParent(path)
        self._entries[path] = (mode, content)

    # The kernel unpacks in order and makes no folders by itself.
    def _addParent(self, path):
        parent, _, _ = path.rpartition("/")
        self.addFolder(parent)


def _bytesOf(content):
    if isinstance(content, bytes):
        return content
    with open(content, "rb") as source:
        return source.read()


def _writeEntry(out, number, path, mode, data):
    name = path.encode() + b"\0"
    links = 2 if stat.S_ISDIR(mode) else 1
    words = [number, mode, 0, 0, links, 0, len(data), 0, 0, 0, 0, len(name), 0]
    assert len(words) == _HEADER_WORDS
    out.write(b"070701" + b"".join(b"%08x" % word for word in words) + name)
    _pad(out)
    out.write(data)
    _pad(out)


def _pad(out):
    out.write(b"\0" * (-out.tell() % 4))
