// What one pulse does to the clocks, and whether it draws. The pulse is the test's to send.
#include "console/clockTick.h"

#include <gmock/gmock.h>

#include "app/settings.h"
#include "console/consoleModel.h"
#include "support/callLog.h"
#include "support/drawnScreen.h"
#include "support/serviceTest.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;

class ClockTickTest : public ServiceTest {
protected:
    void SetUp() override {
        ServiceTest::SetUp();
        useMonospacedAtlas();
        useArea(1280, 480);
    }

    void tick(int count = 1) {
        for (int i = 0; i < count; ++i)
            EXPECT_EQ(ClockTick(nullptr, 0, 0, nullptr), 0);
    }
};

int framesDrawn() {
    return callCount("eglSwapBuffers");
}

TEST_F(ClockTickTest, CountsTheSecondsSinceStart) {
    tick(3);
    EXPECT_EQ(secondsSinceStart, 3);
}

TEST_F(ClockTickTest, TheOverallClockStandsStillUntilAPercentArrives) {
    tick(5);
    EXPECT_EQ(consoleStatus.overallElapsed, 0);
}

TEST_F(ClockTickTest, TheOverallClockRunsAtAnyPercentButZero) {
    int32_t expected = 0;
    for (const int32_t percent : {1, 42, 99, 100, 150, -1, INT32_MIN}) {
        consoleStatus.overallPercent = percent;
        tick();
        EXPECT_EQ(consoleStatus.overallElapsed, ++expected) << percent;
    }
}

TEST_F(ClockTickTest, TheOverallClockResumesFromWhereItStoodStill) {
    consoleStatus.overallPercent = 100;
    tick(3);
    consoleStatus.overallPercent = 0;
    tick(4);
    EXPECT_EQ(consoleStatus.overallElapsed, 3);
    consoleStatus.overallPercent = 42;
    tick();
    EXPECT_EQ(consoleStatus.overallElapsed, 4);
}

TEST_F(ClockTickTest, AnItemsClockRunsUpTo99Percent) {
    for (const int32_t percent : {0, 1, 98, 99, -1, INT32_MIN}) {
        clearConsole();
        addItem("a", "label", percent);
        tick(2);
        EXPECT_EQ(consoleList->entry->elapsedSeconds, 2) << percent;
    }
}

TEST_F(ClockTickTest, AnItemsClockStandsStillFrom100PercentOn) {
    for (const int32_t percent : {100, 101, 1000, INT32_MAX}) {
        clearConsole();
        addItem("a", "label", percent);
        tick(2);
        EXPECT_EQ(consoleList->entry->elapsedSeconds, 0) << percent;
    }
}

TEST_F(ClockTickTest, AnItemThatGoesBackBelow100CountsOn) {
    addItem("a", "label", 99);
    tick(2);
    consoleList->entry->percent = 100;
    tick(3);
    EXPECT_EQ(consoleList->entry->elapsedSeconds, 2);
    consoleList->entry->percent = 50;
    tick();
    EXPECT_EQ(consoleList->entry->elapsedSeconds, 3);
}

TEST_F(ClockTickTest, AdvancesEveryRunningItemAndLeavesTextLinesAlone) {
    addItem("a", "first", 0, 7);
    addLine("line");
    consoleList->next->entry->percent = -5;
    addItem("b", "done", 100, 7);
    addItem("", "no name", 50, 7);
    tick();
    EXPECT_THAT(consoleRows(), ElementsAre("a|first|0|8", "line", "b|done|100|7", "|no name|50|8"));
    EXPECT_EQ(consoleList->next->entry->elapsedSeconds, 0);
}

TEST_F(ClockTickTest, TextLinesAloneChangeNothingButTheSecondsSinceStart) {
    addLine("line");
    tick(2);
    EXPECT_THAT(consoleRows(), ElementsAre("line"));
    EXPECT_EQ(consoleStatus.overallElapsed, 0);
    EXPECT_EQ(secondsSinceStart, 2);
    EXPECT_EQ(framesDrawn(), 2);
}

TEST_F(ClockTickTest, WithoutALogoEveryTickDrawsWhateverTheLogoTime) {
    for (const int32_t logoTime : {5, 0, 1000000, -3}) {
        clearCalls();
        appSettings.logoTime = logoTime;
        tick(2);
        EXPECT_EQ(framesDrawn(), 2) << logoTime;
    }
}

struct LogoTime {
    int32_t seconds;
    int firstDrawingTick;
};

TEST_F(ClockTickTest, WithALogoDrawingStartsAtTheTickOfItsTime) {
    for (const LogoTime& logo : {LogoTime{3, 3}, {5, 5}, {1, 1}, {0, 1}, {-7, 1}}) {
        secondsSinceStart = 0;
        appSettings.logoPath = "logo.png";
        appSettings.logoTime = logo.seconds;
        for (int count = 1; count <= 7; ++count) {
            clearCalls();
            tick();
            EXPECT_EQ(framesDrawn(), count >= logo.firstDrawingTick ? 1 : 0)
                << logo.seconds << " at tick " << count;
        }
    }
}

TEST_F(ClockTickTest, ClocksRunWhileTheLogoShows) {
    appSettings.logoPath = "logo.png";
    consoleStatus.overallPercent = 1;
    addItem("a", "label", 0);
    tick(2);
    EXPECT_EQ(framesDrawn(), 0);
    EXPECT_EQ(consoleStatus.overallElapsed, 2);
    EXPECT_THAT(consoleRows(), ElementsAre("a|label|0|2"));
}

TEST_F(ClockTickTest, TheFrameShowsTheCountersOfItsOwnTick) {
    addItem("a", "label", 0);
    consoleStatus.overallPercent = 1;
    tick();
    EXPECT_THAT(drawnScreen(), Contains("text 1190 466 ffffff 00:00:01"));
    EXPECT_THAT(drawnScreen(), Contains("text 1190 440 ffffff 00:00:01"));
}

TEST_F(ClockTickTest, DrawsInTheColoursOfTheSettings) {
    appSettings.backgroundColour = 0x010203;
    appSettings.foregroundColour = 0x040506;
    appSettings.statusColour = 0x070809;
    appSettings.progressNameColour = 0x0a0b0c;
    addItem("a", "label", 0);
    tick();
    EXPECT_EQ(callCount("glClearColor(0.00392156886, 0.00784313772, 0.0117647061, 1)"), 1);
    EXPECT_THAT(drawnScreen(), Contains("bar 10..1270 464..480 070809"));
    EXPECT_THAT(drawnScreen(), Contains("bar 10..10 440..456 040506"));
    EXPECT_THAT(drawnScreen(), Contains("text 20 440 0a0b0c label"));
}

}  // namespace
