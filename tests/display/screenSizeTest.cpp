// What the screen service is asked, and what becomes of its failures.
#include "display/displayable.h"

#include <gmock/gmock.h>

#include <utility>

#include "display/displayableFixture.h"
#include "support/callLog.h"
#include "support/fakeDisplay.h"
#include "support/linkWraps.h"

namespace {

using ::testing::ElementsAre;

using ScreenSize = Displayable;

TEST_F(ScreenSize, ComesFromTheFirstDisplay) {
    fakeScreen.displayCount = 3;
    fakeScreen.width = 1920;
    fakeScreen.height = 720;
    output = outputOf([&] { displayable.fetchScreenSize(); });
    EXPECT_EQ(displayable.getWidth(), 1920u);
    EXPECT_EQ(displayable.getHeight(), 720u);
    EXPECT_EQ(output.out, "[Velkaris] screen resolution fetched: [1920x720]\n");
    EXPECT_EQ(output.err, "");
    EXPECT_THAT(calls(), ElementsAre("screen_create_context(0)",
                                     "screen_get_context_property_iv(screen, 59)",
                                     "screen_get_context_property_pv(screen, 60)",
                                     "screen_get_display_property_iv(first display, 40)",
                                     "screen_destroy_context(screen)"));
}

TEST_F(ScreenSize, ThatIsKnownIsNotAskedFor) {
    displayable.evtWindowResized(0, 0, 0, 0, 0, 640, 480);
    output = outputOf([&] { displayable.fetchScreenSize(); });
    EXPECT_THAT(calls(), ElementsAre());
    EXPECT_EQ(output.out + output.err, "");
    EXPECT_EQ(displayable.getWidth(), 640u);
}

TEST_F(ScreenSize, ThatIsHalfKnownIsAskedFor) {
    for (const auto& [width, height] : {std::pair<int, int>{640, 0}, {0, 480}}) {
        displayable.evtWindowResized(0, 0, 0, 0, 0, width, height);
        outputOf([&] { displayable.fetchScreenSize(); });
        EXPECT_EQ(displayable.getWidth(), 1280u);
        EXPECT_EQ(displayable.getHeight(), 480u);
    }
}

struct ScreenFailure {
    FakeScreen script;
    const char* error;
    int width;
    int height;
    bool destroys;
};

FakeScreen screenWith(int FakeScreen::*field, int value) {
    FakeScreen screen;
    screen.*field = value;
    return screen;
}

TEST_F(ScreenSize, EachFailureIsPrintedAndTheContextDestroyed) {
    const ScreenFailure failures[] = {
        {screenWith(&FakeScreen::createResult, -1), "screen_create_context", 0, 0, false},
        {screenWith(&FakeScreen::countResult, -1), "SCREEN_PROPERTY_DISPLAY_COUNT", 0, 0, true},
        {screenWith(&FakeScreen::displayCount, 0), "SCREEN_PROPERTY_DISPLAY_COUNT", 0, 0, true},
        {screenWith(&FakeScreen::displayCount, 17), "SCREEN_PROPERTY_DISPLAY_COUNT", 0, 0, true},
        {screenWith(&FakeScreen::displayCount, -1), "cant allocate mem for displays", 0, 0, true},
        {screenWith(&FakeScreen::displaysResult, -1), "SCREEN_PROPERTY_DISPLAYS", 0, 0, true},
        {screenWith(&FakeScreen::sizeResult, -1), "SCREEN_PROPERTY_SIZE", 1280, 480, true},
    };
    for (const ScreenFailure& failure : failures) {
        fakeScreen = failure.script;
        displayable.evtWindowResized(0, 0, 0, 0, 0, 0, 0);
        clearCalls();
        const HeapWatch heap;
        output = outputOf([&] { displayable.fetchScreenSize(); });
        EXPECT_EQ(output.err, std::string("[Velkaris] ERROR: ") + failure.error + "\n");
        EXPECT_EQ(output.out, "");
        EXPECT_EQ(displayable.width, failure.width) << failure.error;
        EXPECT_EQ(displayable.height, failure.height) << failure.error;
        EXPECT_EQ(callCount("screen_destroy_context(screen)"), failure.destroys ? 1 : 0);
        EXPECT_EQ(heap.kept(), 0);
    }
}

TEST_F(ScreenSize, OneAndSixteenDisplaysAreAccepted) {
    for (const int count : {1, 16}) {
        fakeScreen.displayCount = count;
        displayable.evtWindowResized(0, 0, 0, 0, 0, 0, 0);
        output = outputOf([&] { displayable.fetchScreenSize(); });
        EXPECT_EQ(output.err, "");
        EXPECT_EQ(displayable.getWidth(), 1280u);
    }
}

TEST_F(ScreenSize, AFailedSizeReadAsksForAWindowOfTheFallbackSize) {
    fakeScreen.sizeResult = -1;
    init(1);
    EXPECT_EQ(callCount("kdSetWindowPropertyiv(window, 66, {1280, 480})"), 1);
}

TEST_F(ScreenSize, KeepsNoMemory) {
    const HeapWatch heap;
    outputOf([&] { displayable.fetchScreenSize(); });
    EXPECT_EQ(heap.kept(), 0);
}

}  // namespace
