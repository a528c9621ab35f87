// The prediction itself, on cases small enough to be worked out by hand.
#include "pixels/referenceRenderer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "pixels/referenceFont.h"

namespace {

constexpr Rgb kBlack = {0, 0, 0};
constexpr Rgb kRed = {255, 0, 0};
constexpr Rgb kGreen = {0, 255, 0};
constexpr Rgb kBlue = {0, 0, 255};

// One glyph 'x' of 2 by 2 texels in an atlas of 4 by 4, an advance of 3, lines 2 pixels high. Its
// coverage is full, none / half, full.
ReferenceFont tinyFont() {
    ReferenceFont font;
    font.lineHeight = 2;
    font.descender = 0;
    font.textureWidth = 4;
    font.textureHeight = 4;
    font.texels = {0, 0,   0,   0,  //
                   0, 255, 0,   0,  //
                   0, 128, 255, 0,  //
                   0, 0,   0,   0};
    font.glyphs['x'] = {1, 1, 2, 2, 0, 2, 3};
    return font;
}

// Black ground, blue band, red rows, green names; no character but 'x' has a glyph.
ReferenceScreen tinyScreen(int width, int height) {
    ReferenceScreen screen;
    screen.width = width;
    screen.height = height;
    screen.background = 0x000000;
    screen.statusBand = 0x0000ff;
    screen.foreground = 0xff0000;
    screen.itemName = 0x00ff00;
    return screen;
}

int countOf(const RgbImage& image, Rgb colour) {
    return static_cast<int>(std::count(image.pixels.begin(), image.pixels.end(), colour));
}

}  // namespace

TEST(ReferenceRenderer, LeavesTenPixelsBesideTheBand) {
    const RgbImage frame = predictFrame(tinyScreen(30, 8), tinyFont(), {});
    EXPECT_EQ(frame.at(9, 0), kBlack);
    EXPECT_EQ(frame.at(10, 0), kBlue);
    EXPECT_EQ(frame.at(19, 1), kBlue);
    EXPECT_EQ(frame.at(20, 1), kBlack);
    EXPECT_EQ(frame.at(10, 2), kBlack);
    EXPECT_EQ(countOf(frame, kBlue), 10 * 2);
}

TEST(ReferenceRenderer, MixesCoverageIntoWhatIsBelow) {
    ReferenceModel model;
    model.addLine("x");
    // Rows are 6 apart: the first has its bottom at 18 - 12 = 6, so it fills rows 10 and 11.
    const RgbImage frame = predictFrame(tinyScreen(40, 18), tinyFont(), model);
    EXPECT_EQ(frame.at(10, 10), kRed);
    EXPECT_EQ(frame.at(11, 10), kBlack);
    EXPECT_EQ(frame.at(10, 11), (Rgb{128, 0, 0}));
    EXPECT_EQ(frame.at(11, 11), kRed);
    EXPECT_EQ(countOf(frame, kRed), 2);
}

TEST(ReferenceRenderer, LiftsTheBaselineByTheDescender) {
    ReferenceFont font = tinyFont();
    font.descender = -3;
    ReferenceModel model;
    model.addLine("x");
    const RgbImage frame = predictFrame(tinyScreen(40, 18), font, model);
    EXPECT_EQ(frame.at(10, 7), kRed);
    EXPECT_EQ(frame.at(10, 10), kBlack);
}

TEST(ReferenceRenderer, PutsTheStatusTextTwoPixelsUpAndCutsItAtTheTop) {
    ReferenceModel model;
    model.status = "x";
    // The band's bottom is at 6, the text's at 8: above the surface.
    EXPECT_EQ(countOf(predictFrame(tinyScreen(60, 8), tinyFont(), model), {255, 255, 255}), 0);

    ReferenceFont font = tinyFont();
    font.descender = 2;
    EXPECT_EQ(predictFrame(tinyScreen(60, 8), font, model).at(20, 0), (Rgb{255, 255, 255}));
}

TEST(ReferenceRenderer, ShowsTheNewestRowsThatFit) {
    ReferenceModel model;
    for (const char* text : {"x", "", "xx"})
        model.addLine(text);
    // 18 / 6 - 1 rows fit.
    const RgbImage frame = predictFrame(tinyScreen(40, 18), tinyFont(), model);
    EXPECT_EQ(frame.at(10, 10), kBlack);
    EXPECT_EQ(frame.at(10, 16), kRed);
    EXPECT_EQ(frame.at(13, 16), kRed);
    EXPECT_EQ(countOf(frame, kRed), 4);
}

TEST(ReferenceRenderer, ShowsNoRowOnASurfaceOfLessThanTwoRows) {
    ReferenceModel model;
    model.addLine("x");
    EXPECT_EQ(countOf(predictFrame(tinyScreen(40, 11), tinyFont(), model), kRed), 0);
}

TEST(ReferenceRenderer, DrawsBarsOfTheirPercent) {
    // No digit has a width, so a bar of 100 % is 140 - 40 pixels long.
    const std::pair<int, int> kPercentAndPixels[] = {
        {0, 0}, {1, 1}, {42, 42}, {100, 100}, {150, 130}, {-5, 5}, {-50, 10},
    };
    for (const auto& [percent, pixels] : kPercentAndPixels) {
        ReferenceModel model;
        model.addItem("", percent, 0);
        const RgbImage frame = predictFrame(tinyScreen(140, 12), tinyFont(), model);
        EXPECT_EQ(countOf(frame, kRed), 2 * pixels) << percent;
    }
}

TEST(ReferenceRenderer, DrawsTheLabelOverTheBar) {
    ReferenceModel model;
    model.addItem("x", 100, 0);
    const RgbImage frame = predictFrame(tinyScreen(140, 12), tinyFont(), model);
    EXPECT_EQ(frame.at(20, 10), kGreen);
    EXPECT_EQ(frame.at(21, 10), kRed);
    EXPECT_EQ(frame.at(20, 11), (Rgb{127, 128, 0}));
}

TEST(ReferenceRenderer, FillsANarrowRowBecauseTheBarWrapsRound) {
    ReferenceModel model;
    model.addItem("", 1, 0);
    EXPECT_EQ(countOf(predictFrame(tinyScreen(39, 12), tinyFont(), model), kRed), 2 * 29);
    EXPECT_EQ(countOf(predictFrame(tinyScreen(40, 12), tinyFont(), model), kRed), 0);
}

TEST(ReferenceRenderer, KeepsToTheLeftHalf) {
    ReferenceScreen screen = tinyScreen(61, 8);
    screen.halfWidth = true;
    const RgbImage frame = predictFrame(screen, tinyFont(), {});
    EXPECT_EQ(frame.at(19, 0), kBlue);
    EXPECT_EQ(frame.at(20, 0), kBlack);
    EXPECT_EQ(countOf(frame, kBlue), 10 * 2);
}

TEST(ReferenceRenderer, CentresTheLogoUnlessItIsLarger) {
    const RgbImage logo(2, 2, kRed);
    const RgbImage frame = predictLogo(tinyScreen(6, 4), logo);
    EXPECT_EQ(frame.at(2, 1), kRed);
    EXPECT_EQ(frame.at(3, 2), kRed);
    EXPECT_EQ(countOf(frame, kRed), 4);
    EXPECT_EQ(countOf(predictLogo(tinyScreen(1, 4), logo), kRed), 0);
    EXPECT_EQ(countOf(predictLogo(tinyScreen(4, 1), logo), kRed), 0);
}

TEST(ReferenceFont, LooksBytesUpAsSignedNumbers) {
    ReferenceFont font = tinyFont();
    font.glyphs[0xe4].advance = 7;
    EXPECT_EQ(referenceWidth(font, "x\xe4x"), 6);
}

TEST(ReferenceFont, SamplesARepeatingTexture) {
    const ReferenceFont font = tinyFont();
    EXPECT_EQ(font.coverageAt(5, 1), 255);
    EXPECT_EQ(font.coverageAt(1, 6), 128);
}

TEST(ReferenceFont, CutsRowsAtSpacesAndNewlines) {
    ReferenceFont font;
    for (ReferenceGlyph& glyph : font.glyphs)
        glyph.advance = 10;
    using Lines = std::vector<std::string>;
    const std::pair<std::string, Lines> kCases[] = {
        {"hello world", {"hello", "world"}},
        {"abcdefghijklmnop", {"abcdefghi", "jklmnop"}},
        {"ab cd\nef", {"ab cd", "ef"}},
        {"line\n", {"line"}},
        {"line\n\n", {"line", ""}},
        {"\n", {""}},
        {"", {}},
        {"aaaa  bbbbbbb", {"aaaa ", "bbbbbbb"}},
        {"abcdefghi", {"abcdefghi"}},
        {std::string("ab\0cd", 5), {"ab"}},
    };
    for (const auto& [text, lines] : kCases)
        EXPECT_EQ(referenceLines(font, 120, text), lines) << text;
}

TEST(ReferenceFont, HasTwentyPixelCellsAtTwelvePoints) {
    const ReferenceFont font = loadReferenceFont(VELKARIS_TEST_FONT, 12);
    ASSERT_GT(font.lineHeight, 0) << "no font at " << VELKARIS_TEST_FONT;
    EXPECT_EQ(font.textureWidth, 512);
    EXPECT_EQ(font.glyphs['A'].atlasX, 20);
    EXPECT_EQ(font.glyphs['A'].atlasY, 80);
    EXPECT_LT(font.descender, 0);
    EXPECT_EQ(loadReferenceFont(VELKARIS_TEST_FONT, 6).textureWidth, 256);
    EXPECT_EQ(loadReferenceFont(VELKARIS_TEST_FONT, 5).textureWidth, 128);
}

TEST(ReferenceFont, IsEmptyWithoutAFile) {
    EXPECT_EQ(loadReferenceFont("/nowhere.ttf", 12).lineHeight, 0);
}
