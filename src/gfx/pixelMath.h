// Small numeric steps between pixels, colours and what OpenGL wants.
#pragma once

#include <cstdint>

// One colour channel as a float: value / 255. The caller extracts the 8-bit channel first; a value
// above 255 gives more than 1.
float colorComponent(uint32_t value);

// The smallest power of two not below `value`, which may go up to 2^30. 0 and the least 32-bit
// value stay as they are, any other negative one gives 1.
int32_t nextPowerOfTwo(int32_t value);

// The transform of every draw into `matrix`, column by column: pixels of a `width` x `height`
// drawing area, origin at its bottom-left corner, y upwards, to clip coordinates.
void pixelToClip(uint32_t width, uint32_t height, float matrix[16]);
