// Mode, format and direction of a picture on displays of all kinds, and what is said of cards.
#include "window/kms/kmsChoice.h"

#include <drm_fourcc.h>
#include <gtest/gtest.h>

#include <cerrno>

namespace {

drmModeModeInfo mode(uint16_t width, uint16_t height, uint32_t refresh = 60, uint32_t type = 0) {
    drmModeModeInfo info{};
    info.hdisplay = width;
    info.vdisplay = height;
    info.vrefresh = refresh;
    info.clock = width * height * refresh / 1000;
    info.type = type;
    return info;
}

drmModeModeInfo preferred(uint16_t width, uint16_t height, uint32_t refresh = 60) {
    return mode(width, height, refresh, DRM_MODE_TYPE_PREFERRED);
}

using Modes = std::vector<drmModeModeInfo>;

// "WIDTHxHEIGHT@REFRESH", or "none".
std::string chosen(const Modes& modes, const drmModeModeInfo* running = nullptr,
                   std::optional<PixelSize> wanted = std::nullopt) {
    const auto info = chooseMode(modes, running, wanted);
    return info ? std::to_string(info->hdisplay) + "x" + std::to_string(info->vdisplay) + "@" +
                      std::to_string(info->vrefresh)
                : "none";
}

TEST(KmsMode, IsThePreferredOneOfADarkDisplay) {
    EXPECT_EQ(chosen({mode(640, 480), preferred(1920, 1080), mode(800, 600)}), "1920x1080@60");
}

TEST(KmsMode, IsTheFirstWhereNoneIsPreferred) {
    EXPECT_EQ(chosen({mode(640, 480), mode(800, 600)}), "640x480@60");
}

TEST(KmsMode, IsNoneOfADisplayWithoutModes) {
    const drmModeModeInfo running = mode(800, 600);
    EXPECT_EQ(chosen({}), "none");
    EXPECT_EQ(chosen({}, &running, PixelSize{800, 600}), "none");
}

TEST(KmsMode, IsTheRunningOneRatherThanThePreferred) {
    const drmModeModeInfo running = mode(800, 600);
    EXPECT_EQ(chosen({preferred(1920, 1080), mode(800, 600)}, &running), "800x600@60");
}

TEST(KmsMode, OfABootLoaderIsKeptToTheLastDigitOfItsClock) {
    drmModeModeInfo running = mode(800, 600);
    running.clock += 7;
    const auto info = chooseMode({preferred(1920, 1080), mode(800, 600)}, &running, std::nullopt);
    ASSERT_TRUE(info);
    EXPECT_TRUE(isSameTiming(*info, running));
}

TEST(KmsMode, ThatRunsButDoesNotFitTheDisplayIsLeft) {
    const Modes modes{preferred(1920, 1080), mode(800, 600)};
    drmModeModeInfo other = mode(1024, 768);
    EXPECT_EQ(chosen(modes, &other), "1920x1080@60");
    other = mode(800, 600, 75);
    EXPECT_EQ(chosen(modes, &other), "1920x1080@60");
    other = mode(800, 600);
    other.flags = DRM_MODE_FLAG_INTERLACE;
    EXPECT_EQ(chosen(modes, &other), "1920x1080@60");
}

TEST(KmsMode, OfTheWantedSizeGoesBeforeRunningAndPreferred) {
    const drmModeModeInfo running = mode(640, 480);
    const Modes modes{preferred(1920, 1080), mode(640, 480), mode(800, 600)};
    EXPECT_EQ(chosen(modes, &running, PixelSize{800, 600}), "800x600@60");
}

TEST(KmsMode, OfTheWantedSizeIsTheRunningOneOfThem) {
    const drmModeModeInfo running = mode(800, 600, 75);
    const Modes modes{preferred(800, 600, 60), mode(800, 600, 75)};
    EXPECT_EQ(chosen(modes, &running, PixelSize{800, 600}), "800x600@75");
    EXPECT_EQ(chosen(modes, nullptr, PixelSize{800, 600}), "800x600@60");
}

TEST(KmsMode, IsChosenAsEverWhereNoneHasTheWantedSize) {
    const Modes modes{mode(640, 480), preferred(1920, 1080), mode(600, 800)};
    EXPECT_EQ(chosen(modes, nullptr, PixelSize{800, 600}), "1920x1080@60");
}

TEST(KmsTiming, DiffersInEveryNumberThatTheDisplaySees) {
    const drmModeModeInfo one = mode(800, 600);
    drmModeModeInfo other = one;
    other.type = DRM_MODE_TYPE_PREFERRED;
    other.name[0] = 'x';
    EXPECT_TRUE(isSameTiming(one, other));
    for (uint16_t drmModeModeInfo::*number :
         {&drmModeModeInfo::hdisplay, &drmModeModeInfo::hsync_start, &drmModeModeInfo::hsync_end,
          &drmModeModeInfo::htotal, &drmModeModeInfo::hskew, &drmModeModeInfo::vdisplay,
          &drmModeModeInfo::vsync_start, &drmModeModeInfo::vsync_end, &drmModeModeInfo::vtotal,
          &drmModeModeInfo::vscan}) {
        other = one;
        ++(other.*number);
        EXPECT_FALSE(isSameTiming(one, other));
    }
    for (uint32_t drmModeModeInfo::*number : {&drmModeModeInfo::clock, &drmModeModeInfo::flags}) {
        other = one;
        ++(other.*number);
        EXPECT_FALSE(isSameTiming(one, other));
    }
}

TEST(KmsFormat, IgnoresAlphaWherePossible) {
    EXPECT_EQ(choosePlaneFormat({DRM_FORMAT_RGB565, DRM_FORMAT_ARGB8888, DRM_FORMAT_XRGB8888}),
              uint32_t{DRM_FORMAT_XRGB8888});
    EXPECT_EQ(choosePlaneFormat({DRM_FORMAT_XRGB8888}), uint32_t{DRM_FORMAT_XRGB8888});
}

TEST(KmsFormat, HasAlphaWhereThePlaneKnowsNothingElse) {
    EXPECT_EQ(choosePlaneFormat({DRM_FORMAT_RGB565, DRM_FORMAT_ARGB8888}),
              uint32_t{DRM_FORMAT_ARGB8888});
}

TEST(KmsFormat, HasSixteenBitsWhereThePlaneHasNoEightForEachColour) {
    EXPECT_EQ(choosePlaneFormat({DRM_FORMAT_XRGB2101010, DRM_FORMAT_RGB565}),
              uint32_t{DRM_FORMAT_RGB565});
}

TEST(KmsFormat, IsNoneOfAPlaneWithOtherColours) {
    EXPECT_EQ(choosePlaneFormat({}), 0u);
    EXPECT_EQ(choosePlaneFormat({DRM_FORMAT_XRGB2101010, DRM_FORMAT_XBGR8888}), 0u);
}

TEST(KmsFormat, SaysHowItsBuffersLook) {
    EXPECT_EQ(pixelFormatOf(DRM_FORMAT_XRGB8888).bytes, 4u);
    EXPECT_EQ(pixelFormatOf(DRM_FORMAT_ARGB8888).bytes, 4u);
    EXPECT_EQ(pixelFormatOf(DRM_FORMAT_RGB565).bytes, 2u);
    EXPECT_EQ(pixelFormatOf(DRM_FORMAT_RGB565).green.length, 6u);
}

TEST(KmsRotation, MakesThePictureUprightOnTurnedPanels) {
    EXPECT_EQ(rotationOfPanel("Normal"), Rotation::by0);
    EXPECT_EQ(rotationOfPanel("Right Side Up"), Rotation::by90);
    EXPECT_EQ(rotationOfPanel("Upside Down"), Rotation::by180);
    EXPECT_EQ(rotationOfPanel("Left Side Up"), Rotation::by270);
    EXPECT_EQ(rotationOfPanel(""), Rotation::by0);
}

TEST(KmsRotation, IsTheTextConsolesWhereItTellsAndThePanelsElsewhere) {
    EXPECT_EQ(rotationOfTextConsole(Rotation::by90, false, std::nullopt), Rotation::by90);
    EXPECT_EQ(rotationOfTextConsole(Rotation::by90, false, Rotation::by0), Rotation::by0);
    EXPECT_EQ(rotationOfTextConsole(Rotation::by0, false, Rotation::by270), Rotation::by270);
    EXPECT_EQ(rotationOfTextConsole(Rotation::by180, false, Rotation::by180), Rotation::by180);
}

TEST(KmsRotation, AddsWhatThePlaneTurnsForTheTextConsole) {
    EXPECT_EQ(rotationOfTextConsole(Rotation::by180, true, Rotation::by0), Rotation::by180);
    EXPECT_EQ(rotationOfTextConsole(Rotation::by180, true, std::nullopt), Rotation::by180);
    EXPECT_EQ(rotationOfTextConsole(Rotation::by180, true, Rotation::by90), Rotation::by270);
    // It is asked for no quarter turns.
    EXPECT_EQ(rotationOfTextConsole(Rotation::by90, true, Rotation::by90), Rotation::by90);
}

TEST(KmsCardError, NamesTheCardAndWhatIsTheMatter) {
    const std::string path = "/dev/dri/card7";
    EXPECT_EQ(describeCardError(path, ENOENT), "no graphics card /dev/dri/card7");
    EXPECT_EQ(describeCardError(path, EACCES), "no permission to open /dev/dri/card7");
    EXPECT_EQ(describeCardError(path, EOPNOTSUPP),
              "/dev/dri/card7 is no graphics card that drives displays");
    EXPECT_EQ(describeCardError(path, EBUSY),
              "/dev/dri/card7 is in use: another program is its DRM master");
    EXPECT_EQ(describeCardError(path, EMFILE), "can't open /dev/dri/card7: Too many open files");
}

}  // namespace
