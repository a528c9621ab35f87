// Measuring and drawing of single-byte text from the font atlas: one byte is one character, without
// kerning, shaping or clipping. Bytes 0x80 to 0xFF draw nothing and advance by 0.
#pragma once

#include <cstdint>

// Whether a character is drawn at all or moves those behind it.
bool leavesTrace(char character);

// Number of leading characters of `text` whose advances add up to less than `maxWidth` pixels,
// 0..strlen(text), stopping before a '\n'. One that exactly fills the width does not fit.
int32_t fitCharCount(const char* text, uint32_t maxWidth);

// Sum of the advances of all of `text`, a '\n' counted like any other, in pixels.
int32_t textWidth(const char* text);

// Draws `text` from x on, in pixels of the drawing area with y upwards; y is the bottom of the line
// box, so the baseline lies at y - descender. Colours are 0..1. Every byte is drawn as its glyph,
// control codes too. Leaves blending and vertex arrays 0 and 2 disabled.
void drawText(int32_t x, int32_t y, const char* text, float red, float green, float blue);
