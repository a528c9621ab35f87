// The band across the top of every frame, and the hh:mm:ss that it shares with the items.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr size_t kElapsedTextSize = 10;  // bytes; from 1000 hours on the last digits are cut

// Writes `seconds` as "hh:mm:ss" into the `size` bytes of `buffer`, NUL included; hours are not
// wrapped. Divisions cut toward zero: -61 gives "00:-1:-1". Returns what snprintf returns.
int formatElapsed(int32_t seconds, char* buffer, size_t size);

// Draws the top line-height pixels: the band in the given colour (0..1), the status text at its
// left, "Flashing Time " and the time at its right, in white. Nothing is clipped or shortened.
void drawStatusLine(const char* statusText, const char* timeText, float red, float green,
                    float blue);
