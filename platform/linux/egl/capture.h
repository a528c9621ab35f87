// Keeps what the console shows: every presented frame as frame-NNNNNN.png in a folder, and
// latest.png, a symbolic link to the newest. A file appears under its name complete or not at all.
// Nothing here ever ends or fails the drawing; trouble is one line on standard error.
#pragma once

#include <EGL/egl.h>

#include <cstdint>
#include <string>
#include <vector>

#include "egl/surfacePixels.h"

class FrameCapture {
public:
    explicit FrameCapture(std::string folder);

    // Takes over the pixels of `surface`, which is current on this thread, before it is swapped. GL
    // state stays as it is.
    void read(EGLDisplay display, EGLSurface surface);

    // Counts the frame and writes the pixels of the last read.
    void write();

    // As write(), for pixels from elsewhere: rows of R,G,B,A from the bottom row up. False after a
    // failure, which was printed if it was the first.
    bool writeFrame(const std::vector<uint8_t>& pixels, int32_t width, int32_t height);

private:
    bool writePicture(const std::string& path, const std::vector<uint8_t>& pixels, int32_t width,
                      int32_t height);
    bool publish(const std::string& temporary, const std::string& name);
    bool linkLatest(const std::string& name);
    bool fail(const std::string& path, const char* reason);

    std::string folder;
    std::string temporarySuffix;  // tells consoles apart that share a folder
    SurfacePixels pixels;         // of the last read; kept between frames for its allocation
    std::vector<uint8_t> rgb;     // the same without alpha
    uint32_t frameCount = 0;
    bool failureReported = false;
};

// The capture that the layer's settings ask for, null when they ask for none. Read once.
FrameCapture* configuredCapture();
