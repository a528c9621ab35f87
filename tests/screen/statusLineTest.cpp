// The hh:mm:ss of clocks, and the band that shows one.
#include "screen/statusLine.h"

#include <gmock/gmock.h>

#include <cstring>

#include "support/callLog.h"
#include "support/drawnScreen.h"
#include "support/serviceTest.h"
#include "text/fontAtlas.h"

namespace {

using ::testing::ElementsAre;

struct Elapsed {
    int32_t seconds;
    const char* text;
};

constexpr Elapsed kElapsed[] = {
    {0, "00:00:00"},      {59, "00:00:59"},      {60, "00:01:00"},         {3599, "00:59:59"},
    {3600, "01:00:00"},   {86399, "23:59:59"},   {86400, "24:00:00"},      {90000, "25:00:00"},
    {359999, "99:59:59"}, {360000, "100:00:00"}, {3599999, "999:59:59"},   {3600000, "1000:00:0"},
    {-61, "00:-1:-1"},    {-3600, "-1:00:00"},   {INT32_MAX, "596523:14"},
};

TEST(FormatElapsed, WritesHoursMinutesAndSeconds) {
    for (const Elapsed& elapsed : kElapsed) {
        char text[kElapsedTextSize];
        formatElapsed(elapsed.seconds, text, sizeof(text));
        EXPECT_STREQ(text, elapsed.text) << elapsed.seconds;
    }
}

TEST(FormatElapsed, NeverWritesMoreThanItsRoom) {
    char text[12];
    memset(text, '#', sizeof(text));
    EXPECT_EQ(formatElapsed(3600000, text, 6), 10);
    EXPECT_EQ(std::string(text, sizeof(text)), std::string("1000:\0######", 12));
}

TEST(FormatElapsed, HasRoomForTenBytes) {
    EXPECT_EQ(kElapsedTextSize, 10u);
}

class StatusLine : public ServiceTest {
protected:
    void SetUp() override {
        ServiceTest::SetUp();
        useMonospacedAtlas();
        useArea(1280, 480);
    }
};

TEST_F(StatusLine, DrawsBandThenStatusThenTimeThenLabel) {
    drawStatusLine("status", "00:00:05", 0.2f, 0.4f, 0.6f);
    EXPECT_THAT(
        drawnScreen(),
        ElementsAre("bar 10..1270 464..480 336699", "text 20 466 ffffff status",
                    "text 1190 466 ffffff 00:00:05", "text 1050 466 ffffff Flashing Time "));
}

TEST_F(StatusLine, AnEmptyStatusLeavesBandTimeAndLabel) {
    drawStatusLine("", "00:00:00", 0, 0, 0);
    EXPECT_THAT(drawnScreen(), ElementsAre("bar 10..1270 464..480 000000", "text ffffff",
                                           "text 1190 466 ffffff 00:00:00",
                                           "text 1050 466 ffffff Flashing Time "));
}

TEST_F(StatusLine, AWiderTimeMovesLeftAndTheLabelWithIt) {
    drawStatusLine("", "100:00:00", 0, 0, 0);
    EXPECT_THAT(drawnScreen()[2], "text 1180 466 ffffff 100:00:00");
    EXPECT_THAT(drawnScreen()[3], "text 1040 466 ffffff Flashing Time ");
}

TEST_F(StatusLine, ALongStatusIsNeitherClippedNorShortened) {
    const std::string status(300, 's');
    drawStatusLine(status.c_str(), "00:00:00", 0, 0, 0);
    EXPECT_EQ(drawnScreen()[1], "text 20 466 ffffff " + status);
}

TEST_F(StatusLine, TheBandIsOneLineHighAtTheTopEdge) {
    fontAtlas.lineHeight = 23;
    useArea(640, 200);
    drawStatusLine("s", "t", 0, 0, 0);
    EXPECT_THAT(drawnScreen(),
                ElementsAre("bar 10..630 177..200 000000", "text 20 179 ffffff s",
                            "text 620 179 ffffff t", "text 480 179 ffffff Flashing Time "));
}

TEST_F(StatusLine, OnANarrowAreaGoesLeftOfTheEdge) {
    useArea(1, 1);
    drawStatusLine("", "00:00:00", 0, 0, 0);
    EXPECT_THAT(drawnScreen(),
                ElementsAre("bar 10..-9 -15..1 000000", "text ffffff",
                            "text -89 -13 ffffff 00:00:00", "text -229 -13 ffffff Flashing Time "));
}

TEST_F(StatusLine, BandColoursGoThroughExactly) {
    drawStatusLine("", "", 0.1f, 0.7f, 0.3f);
    EXPECT_EQ(callCount("glUniform4f(u_fColor, 0.100000001, 0.699999988, 0.300000012, 1)"), 1);
    EXPECT_EQ(callCount("glBlendColor(1, 1, 1, 1)"), 3);
}

}  // namespace
