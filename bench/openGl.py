"""What the renderer gl takes from a machine, for the image of the measured one: the console's module
for it, and Mesa's software renderer.
"""

import pathlib

from debianPackages import Unavailable
from machineImage import guestPath, librariesOf

_FOLDER = pathlib.Path("/usr/lib/x86_64-linux-gnu")
_LIBRARIES = ["libEGL.so.1", "libGLESv2.so.2", "libEGL_mesa.so.0", "dri/swrast_dri.so"]
_VENDOR_FILE = pathlib.Path("/usr/share/glvnd/egl_vendor.d/50_mesa.json")


def addOpenGl(image, program):
    module = program.parent / "velkaris-gl.so"
    _add(image, module, f"usr/bin/{module.name}")
    for name in _LIBRARIES:
        _add(image, _FOLDER / name, str(_FOLDER / name))
    # One file under both names: which of them is asked for depends on the EGL platform.
    image.addLink(f"{_FOLDER}/dri/kms_swrast_dri.so", "swrast_dri.so")
    image.addFile(str(_VENDOR_FILE), _VENDOR_FILE)


def _add(image, library, place):
    if not library.exists():
        raise Unavailable(f"{library} is not installed")
    image.addFile(place, library)
    for path in librariesOf(library):
        image.addFile(guestPath(path), path)
