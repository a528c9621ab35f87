// The one solid primitive: a horizontal band, one text line high, 10 pixels from the left edge.
#pragma once

#include <cstdint>

constexpr int32_t kBarLeft = 10;  // pixels from the left edge of the drawing area

// Fills x = kBarLeft .. kBarLeft + width, y .. y + the font's line height, in pixels with y
// upwards. A negative width goes leftwards. Colours are 0..1. Leaves vertex array 0 disabled;
// viewport, blending and clear state are not touched.
void drawSolidBar(int32_t y, int32_t width, float red, float green, float blue);
