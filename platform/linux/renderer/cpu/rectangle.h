// One drawn rectangle as the record of a frame keeps it, and how a row of it is drawn.
#pragma once

#include <cstdint>

#include "renderer/cpu/texture.h"

// What a rectangle is filled with: a colour, or the texels of an image, of which those that are
// black are left out. Either replaces what is there, or is mixed with it by the blending equation:
// the source times a constant colour, plus what is there times one minus the source.
struct Paint {
    uint32_t texture;  // the number of its image in the frame's record; 0: the colour
    uint32_t colour;   // 0xffRRGGBB
    bool isMixed;
    uint32_t constant;  // 0xffRRGGBB, of what is mixed
};

bool operator==(const Paint& left, const Paint& right);
inline bool operator!=(const Paint& left, const Paint& right) {
    return !(left == right);
}

// Its pixels lie on the surface, kLargestPicture a side at most.
struct Rectangle {
    int16_t left, top;      // counted from the top left corner
    int16_t right, bottom;  // behind the last column and row
    float texelX, texelY;   // what the centre of the top left pixel samples; may lie outside
    float stepX, stepY;     // from one pixel to the next
};

bool operator==(const Rectangle& left, const Rectangle& right);
inline bool operator!=(const Rectangle& left, const Rectangle& right) {
    return !(left == right);
}

// Draws the part of `rectangle` that lies in row `y`, which it crosses, into `pixels`, which is
// that row of the whole surface, 0xffRRGGBB a pixel. `texture` is the paint's, null for a colour.
void drawRectangleRow(const Paint& paint, const Rectangle& rectangle, const Texture* texture,
                      int32_t y, uint32_t* pixels);
