// The record of a frame by itself: what is left of a frame that there was no memory for.
#include "renderer/cpu/frameRecord.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

constexpr PixelSize kSize{4, 2};

std::vector<uint32_t> row(const FrameRecord& record, int32_t y) {
    std::vector<uint32_t> pixels(static_cast<size_t>(kSize.width));
    record.drawRow(y, pixels.data());
    return pixels;
}

TEST(FrameRecord, ThatWasGivenUpIsWholeAgainOnceItIsCleared) {
    FrameRecord record(kSize);
    EXPECT_TRUE(record.isWhole());
    record.giveUp();
    EXPECT_FALSE(record.isWhole());
    record.giveUp();
    EXPECT_FALSE(record.isWhole());
    record.clear(0xff102030);
    EXPECT_TRUE(record.isWhole());
    EXPECT_EQ(row(record, 1), std::vector<uint32_t>(4, 0xff102030));
}

TEST(FrameRecord, ThatWasGivenUpHoldsNoRectangle) {
    FrameRecord record(kSize);
    Paint paint{};
    paint.colour = 0xffffffff;
    Rectangle rectangle{};
    rectangle.right = 4;
    rectangle.bottom = 2;
    record.add(paint, rectangle, nullptr);
    ASSERT_EQ(row(record, 0), std::vector<uint32_t>(4, 0xffffffff));
    record.giveUp();
    EXPECT_EQ(row(record, 0), std::vector<uint32_t>(4, 0xff000000));
}

}  // namespace
