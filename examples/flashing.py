#!/usr/bin/env python3
"""Drives a console from Python through libvelkaris; nothing but ctypes is needed.

    flashing.py [NODE]
"""

import ctypes
import sys

DEFAULT_TIME_LIMIT = 10000  # milliseconds


class VelkarisError(OSError):
    """A command that the console did not take."""


class Console:
    """One console. Every method raises VelkarisError if its command was not taken."""

    def __init__(self, node=None, library="libvelkaris.so.0"):
        self._library = ctypes.CDLL(library)
        self._library.velkaris_error_text.restype = ctypes.c_char_p
        self._library.velkaris_close.restype = None
        self._library.velkaris_close.argtypes = [ctypes.c_void_p]
        self._handle = ctypes.c_void_p()
        path = node.encode() if node else None
        self._check(self._library.velkaris_open(
            ctypes.byref(self._handle), path, ctypes.c_uint(DEFAULT_TIME_LIMIT)))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        self._library.velkaris_close(self._handle)
        self._handle = ctypes.c_void_p()

    def write(self, text):
        data = text.encode()
        self._check(self._library.velkaris_write(
            self._handle, data, ctypes.c_size_t(len(data))))

    def set_status(self, text):
        self._check(self._library.velkaris_set_status(self._handle, text.encode()))

    def set_percent(self, percent):
        self._check(self._library.velkaris_set_percent(self._handle, ctypes.c_int32(percent)))

    def put_item(self, name, label, percent):
        self._check(self._library.velkaris_put_item(
            self._handle, name.encode(), label.encode(), ctypes.c_int32(percent)))

    def _check(self, error):
        if error:
            text = self._library.velkaris_error_text(error)
            raise VelkarisError(error, text.decode())


def main():
    with Console(sys.argv[1] if len(sys.argv) > 1 else None) as console:
        console.set_status("Flashing - do not switch off")
        console.write("Writing the firmware image\n")
        for percent in range(0, 101, 25):
            console.put_item("firmware", "Firmware", percent)
            console.set_percent(percent)
        console.set_status("Done")


if __name__ == "__main__":
    try:
        main()
    except VelkarisError as failure:
        sys.exit(f"flashing: {failure.strerror}")
