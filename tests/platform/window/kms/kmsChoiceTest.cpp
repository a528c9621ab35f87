// Mode, format and place of a picture on displays of all kinds, and what is said of cards.
#include "kd/windows/kmsChoice.h"

#include <drm_fourcc.h>
#include <gtest/gtest.h>

#include <array>
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
                   std::optional<DisplaySize> wanted = std::nullopt) {
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
    EXPECT_EQ(chosen({}, &running, DisplaySize{800, 600}), "none");
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
    EXPECT_EQ(chosen(modes, &running, DisplaySize{800, 600}), "800x600@60");
}

TEST(KmsMode, OfTheWantedSizeIsTheRunningOneOfThem) {
    const drmModeModeInfo running = mode(800, 600, 75);
    const Modes modes{preferred(800, 600, 60), mode(800, 600, 75)};
    EXPECT_EQ(chosen(modes, &running, DisplaySize{800, 600}), "800x600@75");
    EXPECT_EQ(chosen(modes, nullptr, DisplaySize{800, 600}), "800x600@60");
}

TEST(KmsMode, IsChosenAsEverWhereNoneHasTheWantedSize) {
    const Modes modes{mode(640, 480), preferred(1920, 1080), mode(600, 800)};
    EXPECT_EQ(chosen(modes, nullptr, DisplaySize{800, 600}), "1920x1080@60");
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

TEST(KmsFormat, IsNoneOfAPlaneWithoutEightBits) {
    EXPECT_EQ(choosePlaneFormat({}), 0u);
    EXPECT_EQ(choosePlaneFormat({DRM_FORMAT_RGB565, DRM_FORMAT_XRGB2101010, DRM_FORMAT_XBGR8888}),
              0u);
}

std::array<int32_t, 6> placed(DisplaySize picture, DisplaySize display) {
    const Placement p = placeCentred(picture, display);
    return {p.fromX, p.fromY, p.toX, p.toY, p.width, p.height};
}

TEST(KmsPlacement, OfTheSameSizeIsTheWhole) {
    EXPECT_EQ(placed({80, 60}, {80, 60}), (std::array<int32_t, 6>{0, 0, 0, 0, 80, 60}));
}

TEST(KmsPlacement, IsInTheMiddleOfALargerDisplay) {
    EXPECT_EQ(placed({80, 60}, {100, 91}), (std::array<int32_t, 6>{0, 0, 10, 15, 80, 60}));
}

TEST(KmsPlacement, ShowsTheMiddleOnASmallerDisplay) {
    EXPECT_EQ(placed({100, 91}, {80, 60}), (std::array<int32_t, 6>{10, 15, 0, 0, 80, 60}));
}

TEST(KmsPlacement, TreatsWidthAndHeightEachOnItsOwn) {
    EXPECT_EQ(placed({100, 50}, {60, 80}), (std::array<int32_t, 6>{20, 0, 0, 15, 60, 50}));
}

using Bytes = std::vector<uint8_t>;

// 2x2 pixels as GL reads them: the bottom row first.
const Bytes kPicture{
    1,  2,  3,  4,  5,  6,  7,  8,   // bottom
    11, 12, 13, 14, 15, 16, 17, 18,  // top
};

TEST(KmsCopy, TurnsRowsAndColours) {
    Bytes buffer(16, 0);
    copyPlaced(kPicture.data(), {2, 2}, placeCentred({2, 2}, {2, 2}), buffer.data(), 8);
    EXPECT_EQ(buffer, (Bytes{13, 12, 11, 255, 17, 16, 15, 255, 3, 2, 1, 255, 7, 6, 5, 255}));
}

TEST(KmsCopy, LeavesTheRestOfALargerDisplayAlone) {
    Bytes buffer(4 * 20, 9);
    copyPlaced(kPicture.data(), {2, 2}, placeCentred({2, 2}, {4, 4}), buffer.data(), 20);
    Bytes expected(4 * 20, 9);
    const Bytes top{13, 12, 11, 255, 17, 16, 15, 255}, bottom{3, 2, 1, 255, 7, 6, 5, 255};
    std::copy(top.begin(), top.end(), expected.begin() + 20 + 4);
    std::copy(bottom.begin(), bottom.end(), expected.begin() + 40 + 4);
    EXPECT_EQ(buffer, expected);
}

TEST(KmsCopy, ClipsToASmallerDisplay) {
    Bytes buffer(4, 0);
    copyPlaced(kPicture.data(), {2, 2}, {1, 1, 0, 0, 1, 1}, buffer.data(), 4);
    EXPECT_EQ(buffer, (Bytes{7, 6, 5, 255}));
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
