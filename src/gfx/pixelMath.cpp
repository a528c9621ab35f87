#include "gfx/pixelMath.h"

#include <cstring>

float colorComponent(uint32_t value) {
    return static_cast<float>(value) / 255.0f;
}

int32_t nextPowerOfTwo(int32_t value) {
    const uint32_t bits = static_cast<uint32_t>(value);
    if ((bits & (bits - 1)) == 0)
        return value;
    if (value < 2)
        return 1;

    int32_t power = 1;
    while (value > power)
        power *= 2;
    return power;
}

void pixelToClip(uint32_t width, uint32_t height, float matrix[16]) {
    const float xScale = 2.0f / static_cast<float>(width);
    const float yScale = 2.0f / static_cast<float>(height);
    const float columns[16] = {
        xScale, 0,      0, 0,  //
        0,      yScale, 0, 0,  //
        0,      0,      1, 0,  //
        -1,     -1,     0, 1,
    };
    memcpy(matrix, columns, sizeof(columns));
}
