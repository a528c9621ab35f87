// One drawn rectangle as the record of a frame keeps it, and how a row of it is drawn.
#pragma once

#include <cstdint>

#include "renderer/cpu/texture.h"

enum class Fill : uint8_t {
    colour,       // `colour` replaces what is there
    texels,       // each texel that is not black replaces what is there
    mixedColour,  // as the two above, mixed with what is there by the blending equation: the
    mixedTexels,  // source times the constant colour, what is there times one minus the source
};

// A field wide enough for the largest surface, 32767 pixels a side.
struct Rectangle {
    int16_t left, top;      // the pixels that are drawn, counted from the top left corner
    int16_t right, bottom;  // behind the last column and row
    uint32_t colour;        // 0xffRRGGBB: of Fill::colour and mixedColour
    uint32_t constant;      // 0xffRRGGBB: the constant colour of what is mixed
    uint32_t texture;       // the number of its texture in the frame's record
    float texelX, texelY;   // what the centre of the top left pixel samples; may lie outside
    float stepX, stepY;     // from one pixel to the next
    Fill fill;
};

bool operator==(const Rectangle& left, const Rectangle& right);
inline bool operator!=(const Rectangle& left, const Rectangle& right) {
    return !(left == right);
}

// Draws the part of `rectangle` that lies in row `y` into `pixels`, which is that row of the whole
// surface, 0xffRRGGBB a pixel. `texture` is looked at where the fill says so.
void drawRectangleRow(const Rectangle& rectangle, const Texture& texture, int32_t y,
                      uint32_t* pixels);
