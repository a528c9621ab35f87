#!/usr/bin/env python3
"""Builds the service alone with parts left out, and reads back what it needs and what was looked
for.

usage: partsTest.py everything BUILD-FOLDER | partsTest.py VARIANT SOURCE-FOLDER BUILD-FOLDER
"""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

LANGUAGE = {"libc.so.6", "libm.so.6", "libstdc++.so.6", "libgcc_s.so.1"}
NODE = {"libfuse3.so.3"}
DISPLAY = {"libdrm.so.2"}
FONT = "/usr/share/fonts/truetype/dejavu/DejaVuSansMono.ttf"

# What each module may need besides the language's libraries.
MODULES = {
    "velkaris-png.so": {"libpng16.so.16"},
    "velkaris-jpeg.so": {"libturbojpeg.so.0"},
    "velkaris-wayland.so": {"libwayland-client.so.0"},
    "velkaris-x11.so": {"libxcb.so.1", "libxcb-shm.so.0"},
    "velkaris-gl.so": set(),
}

NOTHING = ["-DVELKARIS_WINDOWS=none", "-DVELKARIS_LOGOS=none", "-DVELKARIS_GL=OFF"]


def needed(path):
    """The libraries that the loader will load for a file, without the loader itself."""
    text = subprocess.run(["readelf", "--dynamic", "--wide", path], check=True, text=True,
                          stdout=subprocess.PIPE).stdout
    names = set(re.findall(r"\(NEEDED\).*\[(.*)\]", text))
    return {name for name in names if not name.startswith("ld-linux")}


def build(variant, options):
    """A fresh tree in which the service is compiled without optimisation: its libraries are the
    same."""
    source, folder = sys.argv[2], pathlib.Path(sys.argv[3]) / variant
    shutil.rmtree(folder, ignore_errors=True)
    for command in (["cmake", "-S", source, "-B", folder, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=None",
                     *options],
                    ["cmake", "--build", folder, "--target", "velkaris"]):
        done = subprocess.run(command, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        if done.returncode != 0:
            raise RuntimeError(done.stdout)
    return folder


def looked_for(folder):
    """The packages that the configuration asked pkg-config or CMake for."""
    cache = (folder / "CMakeCache.txt").read_text()
    names = set(re.findall(r"^__pkg_config_checked_(\w+):", cache, re.M))
    names |= set(re.findall(r"^FIND_PACKAGE_MESSAGE_DETAILS_(\w+):", cache, re.M))
    return names - {"PkgConfig", "Threads"}


class KmsOnly(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = build("kmsOnly", NOTHING + ["-DVELKARIS_WINDOWS=kms"])

    def test_the_program_needs_what_kms_and_the_node_need(self):
        self.assertEqual(needed(self.folder / "src/velkaris"), LANGUAGE | NODE | DISPLAY)

    def test_there_is_no_module(self):
        self.assertEqual(list(self.folder.glob("**/*.so")), [])

    def test_nothing_else_is_looked_for(self):
        self.assertEqual(looked_for(self.folder), {"Freetype", "FREETYPE2", "FUSE", "KMS"})


def run_console(program, **settings):
    """What a console says on standard error, and its node's path; it is ended once the node is
    there."""
    with tempfile.TemporaryDirectory() as scratch:
        node = os.path.join(scratch, "node")
        environment = {"VELKARIS_NODE": node, "VELKARIS_WINDOW": "headless", **settings}
        console = subprocess.Popen([program, "-p", FONT], env=environment, text=True,
                                   stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        said = ""
        for line in console.stderr:
            said += line
            if "served as a socket" in line:
                console.terminate()
        console.wait()
        return said, node


class SocketOnly(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = build("socketOnly", NOTHING + ["-DVELKARIS_FUSE=OFF"])
        cls.program = cls.folder / "src/velkaris"

    def test_the_program_needs_the_language_alone(self):
        self.assertEqual(needed(self.program), LANGUAGE)

    def test_there_is_no_module(self):
        self.assertEqual(list(self.folder.glob("**/*.so")), [])

    def test_nothing_else_is_looked_for(self):
        self.assertEqual(looked_for(self.folder), {"Freetype", "FREETYPE2"})

    def test_the_node_is_a_socket(self):
        said, node = run_console(self.program)
        self.assertEqual(said, f"velkaris: {node}: served as a socket; shell redirection to it "
                               "will not work, use velkarisctl\n")

    def test_a_file_that_is_insisted_on_is_refused(self):
        said, node = run_console(self.program, VELKARIS_NODE_KIND="fuse")
        self.assertIn(f"velkaris: {node}: cannot be served by fuse: Operation not supported\n", said)

    def test_a_capture_is_refused_in_one_line(self):
        said, node = run_console(self.program, VELKARIS_CAPTURE="/nonexistent")
        self.assertEqual(said.splitlines()[0],
                         "velkaris: VELKARIS_CAPTURE: this console was built without PNG")
        self.assertEqual(len(said.splitlines()), 2)

    def test_what_was_left_out_is_not_offered(self):
        said, _ = run_console(self.program, VELKARIS_WINDOW="x11")
        self.assertIn('no window "x11"; there are: auto, headless\n', said)
        said, _ = run_console(self.program, VELKARIS_RENDERER="gl")
        self.assertIn('no renderer "gl"; there are: auto, cpu\n', said)


class Everything(unittest.TestCase):
    tree = pathlib.Path(sys.argv[2])
    program = tree / "src/velkaris"

    def test_the_program_needs_what_a_console_on_a_device_needs(self):
        self.assertEqual(needed(self.program), LANGUAGE | NODE | DISPLAY)

    def test_each_module_needs_its_own_libraries(self):
        for name, libraries in MODULES.items():
            with self.subTest(name):
                self.assertEqual(needed(self.program.parent / name) - LANGUAGE, libraries)

    def test_an_installed_console_finds_its_modules_wherever_it_is(self):
        with tempfile.TemporaryDirectory() as scratch:
            first, moved = pathlib.Path(scratch, "first"), pathlib.Path(scratch, "moved")
            for part in ["src", "platform/linux"]:
                subprocess.run(["cmake", "--install", self.tree / part, "--prefix", first],
                               check=True, stdout=subprocess.DEVNULL)
            first.rename(moved)
            self.assertEqual({path.name for path in moved.glob("**/*.so")}, set(MODULES))
            run_console(moved / "sbin/velkaris", VELKARIS_NODE_KIND="socket",
                        VELKARIS_CAPTURE=f"{scratch}/frames")
            self.assertTrue(os.path.exists(f"{scratch}/frames/latest.png"))


VARIANTS = {"kmsOnly": KmsOnly, "socketOnly": SocketOnly, "everything": Everything}

if __name__ == "__main__":
    tests = unittest.defaultTestLoader.loadTestsFromTestCase(VARIANTS[sys.argv[1]])
    result = unittest.TextTestRunner(verbosity=2).run(tests)
    sys.exit(not result.wasSuccessful())
