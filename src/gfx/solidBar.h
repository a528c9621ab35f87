// The one solid primitive: a horizontal band, one text line high, from the left margin on.
#pragma once

#include <cstdint>

constexpr int32_t kSideMargin = 10;  // free pixels at both sides of bars, text lines and times

// Fills x = kSideMargin .. kSideMargin + width, y .. y + the font's line height, in pixels with y
// upwards. A negative width goes leftwards. Colours are 0..1. Leaves vertex array 0 disabled;
// viewport, blending and clear state are not touched.
void drawSolidBar(int32_t y, int32_t width, float red, float green, float blue);
