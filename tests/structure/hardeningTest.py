#!/usr/bin/env python3
"""Reads back from what was built that it is hardened.

usage: hardeningTest.py BUILD-FOLDER PROGRAM-OR-LIBRARY...
"""

import json
import pathlib
import platform
import re
import subprocess
import sys
import unittest

WINGS = ["src", "platform/linux", "client"]
# What leaves no trace in the machine code that could be told from other code.
UNSEEN_FLAGS = ["-fstack-clash-protection", "-ftrivial-auto-var-init="]
BRANCH_MARKS = {"x86_64": "IBT, SHSTK", "aarch64": "BTI, PAC"}

tree = pathlib.Path(sys.argv[1])
binaries = list(map(pathlib.Path, sys.argv[2:]))


def readelf(option, path):
    return subprocess.run(["readelf", "--wide", option, path], check=True, text=True,
                          stdout=subprocess.PIPE).stdout


def isProgram(path):
    return ".so" not in path.name


def compiledFor(wing):
    """The compiler's commands of a wing with their objects, as far as these are built."""
    for entry in json.loads((tree / "compile_commands.json").read_text()):
        built = re.search(r" -o (\S+)", entry["command"]).group(1)
        if built.startswith(f"{wing}/") and (tree / built).exists():
            yield entry["command"], tree / built


class Linked(unittest.TestCase):
    def forEach(self, check):
        self.assertNotEqual(binaries, [])
        for path in binaries:
            with self.subTest(path.name):
                check(path)

    def test_every_symbol_is_bound_at_the_start(self):
        self.forEach(lambda path: self.assertRegex(readelf("--dynamic", path),
                                                   r"\(FLAGS\) .*BIND_NOW|\(BIND_NOW\)"))

    def test_what_is_bound_is_read_only_then(self):
        self.forEach(lambda path: self.assertIn("GNU_RELRO", readelf("--segments", path)))

    def test_the_stack_holds_no_code(self):
        self.forEach(lambda path: self.assertRegex(readelf("--segments", path),
                                                   r"GNU_STACK( +0x0+){5} +RW +"))

    def test_programs_lie_at_any_address(self):
        self.forEach(lambda path: self.assertRegex(readelf("--file-header", path), r"Type: +DYN"))
        programs = list(filter(isProgram, binaries))
        self.assertNotEqual(programs, [])
        for path in programs:
            self.assertRegex(readelf("--dynamic", path), r"\(FLAGS_1\).*PIE", path)


class Compiled(unittest.TestCase):
    """Our own objects: what is linked with them may be hardened more, or less."""

    def forEachWing(self, check):
        for wing in WINGS:
            with self.subTest(wing):
                compiled = list(compiledFor(wing))
                self.assertNotEqual(compiled, [])
                check(compiled)

    def assertCalls(self, function):
        def check(compiled):
            symbols = "".join(readelf("--symbols", built) for _, built in compiled)
            self.assertRegex(symbols, rf"\bUND {function}\b")
        self.forEachWing(check)

    def test_stacks_are_guarded(self):
        self.assertCalls("__stack_chk_fail")

    def test_calls_of_the_c_library_know_the_size_of_their_room(self):
        self.assertCalls(r"__\w+_chk")

    def test_containers_check_their_indexes(self):
        symbols = "".join(readelf("--symbols", built)
                          for wing in WINGS for _, built in compiledFor(wing))
        self.assertRegex(symbols, r"\bUND \w*__glibcxx_assert_fail")

    def test_every_branch_has_a_marked_target(self):
        mark = BRANCH_MARKS.get(platform.machine())
        if not mark:
            self.skipTest(f"{platform.machine()} has no such marks")

        def check(compiled):
            for _, built in compiled:
                self.assertIn(mark, readelf("--notes", built), built)
        self.forEachWing(check)

    def test_every_command_has_the_flags_that_leave_no_trace(self):
        def check(compiled):
            for command, built in compiled:
                for flag in UNSEEN_FLAGS:
                    self.assertIn(flag, command, built)
        self.forEachWing(check)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
