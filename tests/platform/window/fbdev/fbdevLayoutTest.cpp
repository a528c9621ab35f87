// Which framebuffers are drawn on, and how pictures lie in their memory.
#include "window/fbdev/fbdevLayout.h"

#include <gmock/gmock.h>

#include <functional>

namespace {

using testing::HasSubstr;

class FbdevLayoutTest : public testing::Test {
protected:
    FbdevLayoutTest() {
        fixed.type = FB_TYPE_PACKED_PIXELS;
        fixed.visual = FB_VISUAL_TRUECOLOR;
        fixed.line_length = 3328;
        fixed.smem_len = 3328 * 480;
        variable.xres = variable.xres_virtual = 800;
        variable.yres = variable.yres_virtual = 480;
        variable.bits_per_pixel = 32;
        variable.red = {16, 8, 0};
        variable.green = {8, 8, 0};
        variable.blue = {0, 8, 0};
    }

    std::optional<FbdevLayout> layout() { return layoutOf(fixed, variable, &reason); }
    void makeRoomForTwo() {
        fixed.ypanstep = 1;
        fixed.smem_len *= 2;
        variable.yres_virtual *= 2;
    }

    fb_fix_screeninfo fixed{};
    fb_var_screeninfo variable{};
    std::string reason;
};

TEST_F(FbdevLayoutTest, IsWhatTheKernelTells) {
    variable.transp = {24, 8, 0};
    const auto found = layout();
    ASSERT_TRUE(found);
    EXPECT_EQ(found->size, (PixelSize{800, 480}));
    EXPECT_EQ(found->stride, 3328u);
    EXPECT_EQ(found->format.bytes, 4u);
    EXPECT_EQ(found->format.red.offset, 16u);
    EXPECT_EQ(found->format.green.offset, 8u);
    EXPECT_EQ(found->format.blue.length, 8u);
    EXPECT_EQ(found->format.alpha.offset, 24u);
    EXPECT_EQ(found->shownStart, 0u);
    EXPECT_FALSE(found->hasSecondSide);
}

TEST_F(FbdevLayoutTest, OfSixteenAndOfTwentyFourBitsIsDrawnOn) {
    variable.bits_per_pixel = 24;
    ASSERT_TRUE(layout());
    EXPECT_EQ(layout()->format.bytes, 3u);
    variable.bits_per_pixel = 16;
    variable.red = {11, 5, 0};
    variable.green = {5, 6, 0};
    variable.blue = {0, 5, 0};
    ASSERT_TRUE(layout());
    EXPECT_EQ(layout()->format.bytes, 2u);
    EXPECT_EQ(layout()->format.green.length, 6u);
    EXPECT_EQ(layout()->format.alpha.length, 0u);
}

TEST_F(FbdevLayoutTest, OfOtherPixelsIsRefusedWithAReason) {
    const fb_fix_screeninfo goodFixed = fixed;
    const fb_var_screeninfo goodVariable = variable;
    const std::vector<std::function<void()>> spoilt{
        [&] { fixed.type = FB_TYPE_PLANES; },
        [&] { fixed.visual = FB_VISUAL_PSEUDOCOLOR; },
        [&] { fixed.visual = FB_VISUAL_DIRECTCOLOR; },
        [&] { variable.bits_per_pixel = 8; },
        [&] { variable.bits_per_pixel = 15; },
        [&] { variable.grayscale = 1; },
        [&] { variable.red.length = 0; },
        [&] { variable.green.length = 10; },
        [&] { variable.blue.msb_right = 1; },
        [&] { variable.red.offset = 25; },
    };
    for (size_t i = 0; i < spoilt.size(); ++i) {
        fixed = goodFixed;
        variable = goodVariable;
        reason.clear();
        spoilt[i]();
        EXPECT_FALSE(layout()) << i;
        EXPECT_THAT(reason, HasSubstr("bits a pixel of type")) << i;
    }
}

TEST_F(FbdevLayoutTest, WithoutMemoryForItsModeIsRefused) {
    for (const uint32_t bytes : {0u, 3328u * 479u + 3199u}) {
        fixed.smem_len = bytes;
        EXPECT_FALSE(layout());
        EXPECT_EQ(reason, "has less memory than its mode needs");
    }
    // Behind the last pixel nothing is needed.
    fixed.smem_len = 3328 * 479 + 3200;
    EXPECT_TRUE(layout());
    fixed.line_length = 3196;
    EXPECT_FALSE(layout());
}

TEST_F(FbdevLayoutTest, WithMoreThan32767PixelsASideIsRefused) {
    variable.xres = 32768;
    EXPECT_FALSE(layout());
    EXPECT_EQ(reason, "has a mode of more than 32767 pixels a side");
}

TEST_F(FbdevLayoutTest, StartsWhereTheDisplayIs) {
    variable.xres_virtual = 832;
    variable.xoffset = 10;
    variable.yoffset = 3;
    fixed.smem_len *= 2;
    ASSERT_TRUE(layout());
    EXPECT_EQ(layout()->shownStart, 3u * 3328 + 40);
}

TEST_F(FbdevLayoutTest, HasASecondSideWithRoomAndStepsThatLeadThere) {
    makeRoomForTwo();
    EXPECT_TRUE(layout()->hasSecondSide);
    fixed.ypanstep = 16;
    EXPECT_TRUE(layout()->hasSecondSide);
    fixed.ypanstep = 17;
    EXPECT_FALSE(layout()->hasSecondSide);
    fixed.ypanstep = 0;
    EXPECT_FALSE(layout()->hasSecondSide);
    fixed.ypanstep = 1;
    variable.yres_virtual = 959;
    EXPECT_FALSE(layout()->hasSecondSide);
    variable.yres_virtual = 960;
    fixed.smem_len -= 2;
    EXPECT_FALSE(layout()->hasSecondSide);
}

TEST_F(FbdevLayoutTest, IsOfAnotherModeWhenAnythingButThePlaceDiffers) {
    fb_var_screeninfo other = variable;
    other.yoffset = 7;
    other.activate = FB_ACTIVATE_VBL;
    EXPECT_TRUE(isSameMode(variable, other));
    for (uint32_t fb_var_screeninfo::*number :
         {&fb_var_screeninfo::xres, &fb_var_screeninfo::yres, &fb_var_screeninfo::xres_virtual,
          &fb_var_screeninfo::yres_virtual, &fb_var_screeninfo::bits_per_pixel}) {
        other = variable;
        ++(other.*number);
        EXPECT_FALSE(isSameMode(variable, other));
    }
    for (fb_bitfield fb_var_screeninfo::*field :
         {&fb_var_screeninfo::red, &fb_var_screeninfo::green, &fb_var_screeninfo::blue,
          &fb_var_screeninfo::transp}) {
        other = variable;
        ++(other.*field).offset;
        EXPECT_FALSE(isSameMode(variable, other));
    }
}

}  // namespace
