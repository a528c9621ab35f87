// One item's row: bar, label, time and percentage.
#include "screen/progressItem.h"

#include <gmock/gmock.h>

#include <climits>

#include "support/callLog.h"
#include "support/drawnScreen.h"
#include "support/fakeGl.h"
#include "support/serviceTest.h"
#include "text/fontAtlas.h"

namespace {

using ::testing::ElementsAre;

// Advances such that a time is 60 pixels wide and "100% " is 40: the full bar is 1140 on 1280.
class ProgressItem : public ServiceTest {
protected:
    void SetUp() override {
        ServiceTest::SetUp();
        useMonospacedAtlas();
        useArea(1280, 480);
        for (const char digit : std::string("0123456789"))
            fontAtlas.glyphs[static_cast<int>(digit)].advance = 8;
        fontAtlas.glyphs[':'].advance = 6;
        fontAtlas.glyphs[' '].advance = 8;
        fontAtlas.glyphs['%'].advance = 8;
    }

    void draw(int32_t percent, int32_t elapsed = 0) {
        fakeGl.drawings.clear();
        drawProgressItem(100, "label", percent, elapsed, 1, 1, 1, 0, 0, 0);
    }

    std::string barAt(int32_t percent) {
        draw(percent);
        return drawnScreen().at(0);
    }

    std::string percentageAt(int32_t percent) {
        draw(percent);
        return drawnScreen().at(3);
    }
};

TEST_F(ProgressItem, DrawsBarThenLabelThenTimeThenPercentage) {
    drawProgressItem(100, "label", 42, 3661, 0.2f, 0.4f, 0.6f, 0.8f, 0.6f, 0.4f);
    EXPECT_THAT(drawnScreen(),
                ElementsAre("bar 10..488 100..116 336699", "text 20 100 cc9966 label",
                            "text 1210 100 336699 01:01:01", "text 1170 100 336699  42%"));
}

struct BarEdge {
    int32_t percent;
    const char* bar;
};

TEST_F(ProgressItem, TheBarFollowsThePercentCutTowardZero) {
    for (const BarEdge& edge : {BarEdge{0, "bar 10..10 100..116 ffffff"},
                                {1, "bar 10..21 100..116 ffffff"},
                                {42, "bar 10..488 100..116 ffffff"},
                                {99, "bar 10..1138 100..116 ffffff"},
                                {100, "bar 10..1150 100..116 ffffff"},
                                {150, "bar 10..1720 100..116 ffffff"},
                                {1000, "bar 10..11410 100..116 ffffff"},
                                {-1, "bar 10..-1 100..116 ffffff"},
                                {-5, "bar 10..-47 100..116 ffffff"},
                                {-100, "bar 10..-1130 100..116 ffffff"}})
        EXPECT_EQ(barAt(edge.percent), edge.bar) << edge.percent;
}

TEST_F(ProgressItem, TheBarIsReckonedInSinglePrecision) {
    useArea(240, 480);                                   // a full bar of 100 pixels
    EXPECT_EQ(barAt(29), "bar 10..39 100..116 ffffff");  // a double would be cut to 28
    EXPECT_EQ(barAt(53), "bar 10..62 100..116 ffffff");  // and 53 times 100 / 100 would stay 53
}

TEST_F(ProgressItem, ATimeBeyondTenBytesLosesItsEnd) {
    draw(0, 3600000);
    EXPECT_EQ(drawnScreen().at(2), "text 1202 100 ffffff 1000:00:0");
}

TEST_F(ProgressItem, TheFullBarEndsTwentyPixelsBeforeThePercentage) {
    EXPECT_EQ(barAt(100), "bar 10..1150 100..116 ffffff");
    EXPECT_EQ(percentageAt(100), "text 1170 100 ffffff 100%");
}

struct Percentage {
    int32_t percent;
    const char* text;
};

TEST_F(ProgressItem, ThePercentageIsFourCharactersAtMost) {
    for (const Percentage& percentage : {Percentage{0, "  0%"},
                                         {5, "  5%"},
                                         {42, " 42%"},
                                         {100, "100%"},
                                         {150, "150%"},
                                         {1000, "1000"},
                                         {12345, "1234"},
                                         {-5, " -5%"},
                                         {-99, "-99%"},
                                         {-100, "-100"},
                                         {INT32_MIN, "-214"}})
        EXPECT_EQ(percentageAt(percentage.percent),
                  std::string("text 1170 100 ffffff ") + percentage.text)
            << percentage.percent;
}

TEST_F(ProgressItem, ThePercentageColumnStaysWhateverItsValue) {
    fontAtlas.glyphs['1'].advance = 9;
    draw(5);
    EXPECT_EQ(drawnScreen().at(3), "text 1169 100 ffffff   5%");
}

TEST_F(ProgressItem, AWiderTimeShortensTheBarAndMovesThePercentage) {
    draw(100, 360000);
    EXPECT_THAT(drawnScreen(),
                ElementsAre("bar 10..1142 100..116 ffffff", "text 20 100 000000 label",
                            "text 1202 100 ffffff 100:00:00", "text 1162 100 ffffff 100%"));
}

TEST_F(ProgressItem, TheLabelStandsAtTwentyEvenBeyondItsBar) {
    draw(0);
    EXPECT_EQ(drawnScreen().at(1), "text 20 100 000000 label");
}

TEST_F(ProgressItem, OnAVeryNarrowAreaTheBarWrapsRoundToHugeAndSaturates) {
    useArea(100, 480);
    EXPECT_EQ(barAt(0), "bar 10..10 100..116 ffffff");
    // 100 - 60 - 40 - 40 is -40, as unsigned nearly 2^32: a hundredth of it still fits,
    // and the edge is summed as a float.
    EXPECT_EQ(barAt(1), "bar 10..42949680 100..116 ffffff");
    EXPECT_EQ(barAt(100), "bar 10..2.14748365e+09 100..116 ffffff");
    EXPECT_EQ(barAt(-100), "bar 10..-2.14748365e+09 100..116 ffffff");
}

TEST_F(ProgressItem, APercentBeyondThePixelRangeSaturates) {
    EXPECT_EQ(barAt(INT32_MAX), "bar 10..2.14748365e+09 100..116 ffffff");
    EXPECT_EQ(barAt(INT32_MIN), "bar 10..-2.14748365e+09 100..116 ffffff");
}

TEST_F(ProgressItem, ColoursGoThroughExactly) {
    drawProgressItem(0, "l", 0, 0, 0.1f, 0.7f, 0.3f, 0.6f, 0.9f, 0.8f);
    EXPECT_EQ(callCount("glUniform4f(u_fColor, 0.100000001, 0.699999988, 0.300000012, 1)"), 1);
    EXPECT_EQ(callCount("glBlendColor(0.600000024, 0.899999976, 0.800000012, 1)"), 1);
    EXPECT_EQ(callCount("glBlendColor(0.100000001, 0.699999988, 0.300000012, 1)"), 2);
}

}  // namespace
