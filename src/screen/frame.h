// One whole frame of the console from the model: status line, the newest rows that fit, swap.
#pragma once

#include <cstdint>

// Draws and presents a frame. Colours are 0xRRGGBB, the top byte is ignored. Nothing is kept
// between calls; the list is only read.
void drawFrame(uint32_t background, uint32_t foreground, uint32_t statusColour,
               uint32_t progressNameColour);
