// The splash image: loaded into the default texture and drawn once, centred at its own size. The
// glyph atlas later takes the same texture, so the logo cannot be drawn after it is built.
#pragma once

#include <cstdint>

struct LogoImage {
    int32_t width;          // pixels of the decoded image
    int32_t height;         // pixels of the decoded image
    int32_t textureWidth;   // texels, the next power of two
    int32_t textureHeight;  // texels, the next power of two
};

extern LogoImage logoImage;

// Loads the image at `path` into logoImage and the default texture. A logo that cannot be loaded
// is reported and ends the process with status -1.
void loadLogoTexture(const char* path);

// Draws the loaded logo on a cleared surface and presents the frame. An image larger than the
// drawing area is not seen at all.
void drawLogo();
