// Which renderer a test program draws with, its own or that of the consoles it starts: the one that
// VELKARIS_RENDERER names, as for every console.
#pragma once

#include <dlfcn.h>

#include <cstdlib>
#include <string>

inline bool drawsWithGl() {
    const char* const renderer = std::getenv("VELKARIS_RENDERER");
    return renderer && std::string(renderer) == "gl";
}

// Why this machine has no OpenGL; empty if it has.
inline std::string whyNoGl() {
    for (const char* library : {"libEGL.so.1", "libGLESv2.so.2"}) {
        if (!dlopen(library, RTLD_NOW | RTLD_LOCAL))
            return dlerror();
    }
    return "";
}

// Why this machine cannot draw with that renderer; empty if it can.
inline std::string whyNoRenderer() {
    return drawsWithGl() ? whyNoGl() : "";
}
