"""libvelkaris, as far as the clients of a soak use it."""

import ctypes
import os

TIME_LIMIT = 30000  # milliseconds
PASS_TEXT = 1       # VELKARIS_TEXT_PASS


class Library:
    def __init__(self, path):
        self._calls = ctypes.CDLL(path)
        self._calls.velkaris_write.argtypes = [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_size_t]
        for name in ["close", "check", "set_text_mode"]:
            getattr(self._calls, f"velkaris_{name}").argtypes = [ctypes.c_void_p]
        self._calls.velkaris_set_text_mode.argtypes = [ctypes.c_void_p, ctypes.c_int]

    def open(self, node):
        """A connection with write(), check() and close(). Raises OSError, as these do."""
        return Connection(self._calls, node)


class Connection:
    def __init__(self, calls, node):
        self._calls = calls
        self._console = ctypes.c_void_p()
        _raiseUnlessZero(calls.velkaris_open(ctypes.byref(self._console), node.encode(),
                                             TIME_LIMIT))
        calls.velkaris_set_text_mode(self._console, PASS_TEXT)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def write(self, data):
        _raiseUnlessZero(self._calls.velkaris_write(self._console, data, len(data)))

    def check(self):
        _raiseUnlessZero(self._calls.velkaris_check(self._console))

    def close(self):
        self._calls.velkaris_close(self._console)


def _raiseUnlessZero(error):
    if error != 0:
        raise OSError(error, os.strerror(error))
