// One whole frame of the console from the model: status line, the newest rows that fit, swap.
#pragma once

#include <cstdint>

// Rows that fit below the status line, which always takes one row's worth; none if not positive.
// Stays the same once the atlas is built.
int32_t visibleRowCount();

// Draws and presents a frame. Colours are 0xRRGGBB, the top byte is ignored. Nothing is kept
// between calls; the list is only read.
void drawFrame(uint32_t background, uint32_t foreground, uint32_t statusColour,
               uint32_t progressNameColour);
