// One progress item in one list row: a bar as long as its percent says, the label over it, and
// percentage and elapsed time at the right.
#pragma once

#include <cstdint>

// Draws the row whose bottom is at `y` (pixels, y upwards). `percent` is used as it stands: above
// 100 the bar runs under the texts and off the edge, below 0 it goes leftwards off the surface.
// Colours are 0..1: the foreground for bar, percentage and time, the name colour for the label.
void drawProgressItem(int32_t y, const char* label, int32_t percent, int32_t elapsedSeconds,
                      float fgRed, float fgGreen, float fgBlue, float nameRed, float nameGreen,
                      float nameBlue);
