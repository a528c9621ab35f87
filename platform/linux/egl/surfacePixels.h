// The pixels that were drawn to a surface, as they would be presented.
#pragma once

#include <EGL/egl.h>

#include <cstdint>
#include <vector>

// Rows of R,G,B,A from the bottom row up; reuses the vector's memory.
struct SurfacePixels {
    std::vector<uint8_t> rgba;
    int32_t width = 0;
    int32_t height = 0;
};

// Reads `surface`, which is current on this thread, before it is swapped: that leaves it undefined.
// GL state stays as it is.
void readSurfacePixels(EGLDisplay display, EGLSurface surface, SurfacePixels* pixels);
