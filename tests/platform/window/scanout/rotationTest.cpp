// What the setting of the rotation asks for, and how rotations add up.
#include "window/scanout/rotation.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "window/scanout/displayArgument.h"

namespace {

class RotationSetting : public testing::Test {
protected:
    ~RotationSetting() override { unsetenv("VELKARIS_ROTATION"); }

    // Degrees; -1: automatic, -2: refused.
    static int read(const char* setting) {
        setenv("VELKARIS_ROTATION", setting, 1);
        std::optional<Rotation> rotation;
        if (!readRotation(&rotation))
            return -2;
        return rotation ? degrees(*rotation) : -1;
    }
};

TEST_F(RotationSetting, IsANumberOfDegreesOrAutomatic) {
    EXPECT_EQ(read("0"), 0);
    EXPECT_EQ(read("90"), 90);
    EXPECT_EQ(read("180"), 180);
    EXPECT_EQ(read("270"), 270);
    EXPECT_EQ(read("auto"), -1);
    EXPECT_EQ(read(""), -1);
}

TEST_F(RotationSetting, IsRefusedWithOneLineWhereItIsNone) {
    for (const std::string setting : {"45", "-90", "360", "90 ", "left", "090"}) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(read(setting.c_str()), -2);
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  "velkaris: VELKARIS_ROTATION: \"" + setting +
                      "\" is no rotation; write auto, 0, 90, 180 or 270\n");
    }
}

TEST(Rotation, AddsUpToLessThanAWholeTurn) {
    EXPECT_EQ(Rotation::by90 + Rotation::by90, Rotation::by180);
    EXPECT_EQ(Rotation::by270 + Rotation::by180, Rotation::by90);
    EXPECT_EQ(Rotation::by180 + Rotation::by0, Rotation::by180);
}

TEST(Rotation, ByAQuarterSwapsWidthAndHeight) {
    const PixelSize size{3, 2};
    EXPECT_EQ(turned(size, Rotation::by0), size);
    EXPECT_EQ(turned(size, Rotation::by90), (PixelSize{2, 3}));
    EXPECT_EQ(turned(size, Rotation::by180), size);
    EXPECT_EQ(turned(size, Rotation::by270), (PixelSize{2, 3}));
}

TEST(TextConsole, OfAFramebufferThatIsNotThereIsNotTurned) {
    EXPECT_FALSE(textConsoleRotation(-1));
    EXPECT_FALSE(textConsoleRotation(31));
}

TEST(DisplayArgument, IsADeviceOrASizeOrBoth) {
    const std::string byPlace = "/dev/dri/by-path/pci-0000:00:02.0-card";
    const struct {
        std::string argument, device;
        PixelSize size;
    } cases[] = {
        {"", "", {0, 0}},
        {"800x480", "", {800, 480}},
        {"/dev/dri/card1", "/dev/dri/card1", {0, 0}},
        {"/dev/fb1:800x480", "/dev/fb1", {800, 480}},
        {"/dev/dri/card1:800", "/dev/dri/card1:800", {0, 0}},
        {byPlace, byPlace, {0, 0}},
        {byPlace + ":800x480", byPlace, {800, 480}},
    };
    for (const auto& each : cases) {
        const std::optional<DisplayArgument> parsed = parseDisplayArgument(each.argument);
        ASSERT_TRUE(parsed) << each.argument;
        EXPECT_EQ(parsed->device, each.device);
        EXPECT_EQ(parsed->size.value_or(PixelSize{0, 0}), each.size) << each.argument;
    }
}

TEST(DisplayArgument, IsNothingElse) {
    for (const std::string argument : {"1280", "card0", "card0:8x8", ":8x8", "8x8:", "fb0"})
        EXPECT_FALSE(parseDisplayArgument(argument)) << argument;
}

}  // namespace
