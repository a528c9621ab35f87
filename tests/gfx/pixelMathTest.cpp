// The small numeric steps.
#include "gfx/pixelMath.h"

#include <gmock/gmock.h>

#include <climits>

namespace {

using ::testing::ElementsAre;

TEST(ColorComponent, IsAFractionOf255) {
    EXPECT_EQ(colorComponent(0), 0.0f);
    EXPECT_EQ(colorComponent(255), 1.0f);
    EXPECT_EQ(colorComponent(0x80), 128.0f / 255.0f);
    EXPECT_EQ(colorComponent(1), 1.0f / 255.0f);
}

TEST(ColorComponent, MasksNothing) {
    EXPECT_EQ(colorComponent(510), 2.0f);
    EXPECT_EQ(colorComponent(0xffffffff), 4294967295.0f / 255.0f);
}

struct Rounding {
    int32_t value;
    int32_t power;
};

TEST(NextPowerOfTwo, RoundsUpWithinItsDomain) {
    constexpr int32_t k2To30 = 1 << 30;
    for (const Rounding& rounding : {Rounding{0, 0},
                                     {1, 1},
                                     {2, 2},
                                     {3, 4},
                                     {4, 4},
                                     {5, 8},
                                     {640, 1024},
                                     {1023, 1024},
                                     {1024, 1024},
                                     {1025, 2048},
                                     {k2To30 - 1, k2To30},
                                     {k2To30, k2To30},
                                     {-1, 1},
                                     {-2, 1},
                                     {-5, 1},
                                     {INT32_MIN + 1, 1},
                                     {INT32_MIN, INT32_MIN}})
        EXPECT_EQ(nextPowerOfTwo(rounding.value), rounding.power) << rounding.value;
}

TEST(PixelToClip, IsColumnByColumn) {
    float matrix[16];
    pixelToClip(1280, 480, matrix);
    EXPECT_THAT(matrix,
                ElementsAre(2.0f / 1280, 0, 0, 0, 0, 2.0f / 480, 0, 0, 0, 0, 1, 0, -1, -1, 0, 1));
}

TEST(PixelToClip, MapsTheCornersOfTheAreaToThoseOfClipSpace) {
    float matrix[16];
    pixelToClip(1280, 480, matrix);
    const auto clipX = [&](float x, float y) { return matrix[0] * x + matrix[4] * y + matrix[12]; };
    const auto clipY = [&](float x, float y) { return matrix[1] * x + matrix[5] * y + matrix[13]; };
    EXPECT_FLOAT_EQ(clipX(0, 0), -1);
    EXPECT_FLOAT_EQ(clipY(0, 0), -1);
    EXPECT_FLOAT_EQ(clipX(1280, 480), 1);
    EXPECT_FLOAT_EQ(clipY(1280, 480), 1);
}

TEST(PixelToClip, TakesTheSizesAsUnsigned) {
    float matrix[16];
    pixelToClip(0xffffffff, 0x80000000, matrix);
    EXPECT_EQ(matrix[0], 2.0f / 4294967295.0f);
    EXPECT_EQ(matrix[5], 2.0f / 2147483648.0f);
}

}  // namespace
