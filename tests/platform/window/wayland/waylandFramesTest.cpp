// Frames on their way to the compositor: what of them is sent, when, and that nothing that a
// compositor does makes the console wait or show nonsense.
#include <signal.h>

#include <filesystem>
#include <iterator>

#include "platform/window/wayland/waylandFixture.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Not;
using testing::StartsWith;

TEST_F(WaylandWindow, DamagesOnlyTheRowsThatChanged) {
    startFullScreen();
    swap(10);
    EXPECT_THAT(reportsOfFrame("damage"), ElementsAre("damage 0 0 640 400"));
    fillRows(6, 4, 1);
    fillRows(350, 20, 2);
    swap();
    EXPECT_THAT(reportsOfFrame("damage"), ElementsAre("damage 0 6 640 4", "damage 0 350 640 20"));
    fillRows(6, 4, 3);
    swap();
    EXPECT_THAT(reportsOfFrame("damage"), ElementsAre("damage 0 6 640 4"));
    expectShownAsCaptured();
}

TEST_F(WaylandWindow, DamagesWhatChangedSinceTheLastFrameThatWentOut) {
    startFullScreen();
    swap(10);
    reportsUntil("frame 640x400");
    compositor->send("hold");
    reportsUntilNow();
    fillRows(0, 1, 1);
    swap();
    reportsUntil("frame 640x400");
    fillRows(10, 1, 2);
    swap();
    fillRows(20, 1, 3);
    swap();
    compositor->send("show");
    EXPECT_THAT(reportsOfFrame("damage"), ElementsAre("damage 0 10 640 1", "damage 0 20 640 1"));
    expectShownAsCaptured();
}

TEST_F(WaylandWindow, DamagesAllThatLiesBetweenVeryManyStretches) {
    startFullScreen();
    swap(10);
    reportsUntil("frame 640x400");
    for (int row = 1; row < 399; row += 2)
        fillRows(row, 1, 1);
    swap();
    EXPECT_THAT(reportsOfFrame("damage"), ElementsAre("damage 0 1 640 397"));
    expectShownAsCaptured();
}

TEST_F(WaylandWindow, DamagesWholeUnitsWhereTheCompositorKnowsNoPixels) {
    offer({"640", "400", "2", "0", "version3"}, "configure 320 200 fullscreen");
    launch("wayland");
    child->readLine();
    swap(10);
    EXPECT_THAT(reportsOfFrame("damage"), ElementsAre("damage in units 0 0 320 200"));
    fillRows(351, 3, 1);
    swap();
    EXPECT_THAT(reportsOfFrame("damage"), ElementsAre("damage in units 0 175 320 2"));
    expectShownAsCaptured();
}

TEST_F(WaylandWindow, SendsNothingForAFrameThatLooksLikeTheLast) {
    startFullScreen();
    swap(10);
    reportsUntil("frame 640x400");
    reportsUntilNow();
    swap();
    swap();
    EXPECT_THAT(reportsUntilNow(), ElementsAre(StartsWith("pong")));
}

TEST_F(WaylandWindow, KeepsBothBuffersCompleteWhenTheyTakeTurns) {
    startFullScreen();
    compositor->send("retain 1");
    reportsUntilNow();
    swap(10);
    Lines buffers = reportsOfFrame("buffer");
    // Some rows change in several frames running, some in every other one, some once.
    const int changedRows[] = {5, 5, 80, 5, 80, 80, 200, 5, 399, 5, 200, 80, 0, 0};
    for (size_t i = 0; i < std::size(changedRows); ++i) {
        fillRows(changedRows[i], 1, static_cast<int>(i));
        swap();
        const Lines reports = reportsUntil("frame 640x400");
        EXPECT_THAT(reports, Not(Contains("undamaged change")));
        const std::string buffer = reports.at(reports.size() - 2);
        EXPECT_THAT(buffer, StartsWith("buffer"));
        EXPECT_NE(buffer, buffers.back());
        buffers.push_back(buffer);
        expectShownAsCaptured();
    }
    for (size_t i = 2; i < buffers.size(); ++i)
        EXPECT_EQ(buffers[i], buffers[i - 2]);
}

TEST_F(WaylandWindow, NeedsOneBufferWhereItIsReleasedAtOnce) {
    startFullScreen();
    swap(10);
    const Lines first = reportsOfFrame("buffer");
    ASSERT_EQ(first.size(), 1u);
    for (int shade = 11; shade < 15; ++shade) {
        reportsUntilNow();
        swap(shade);
        EXPECT_EQ(reportsOfFrame("buffer"), first);
    }
}

TEST_F(WaylandWindow, WaitsForABufferAndThenShowsTheNewest) {
    startFullScreen();
    compositor->send("retain 2");
    for (const int shade : {1, 2}) {
        swap(shade);
        reportsUntil("frame 640x400");
    }
    for (int shade = 3; shade <= 30; ++shade)
        swap(shade);
    EXPECT_THAT(reportsUntilNow(), Not(Contains(StartsWith("frame"))));
    EXPECT_EQ(pixel(0, 0), "pixel 2 20 30");
    compositor->send("retain 0");
    reportsUntil("frame 640x400");
    expectShownAsCaptured();
    EXPECT_EQ(pixel(0, 0), "pixel 30 20 30");
}

TEST_F(WaylandWindow, OpensNoDescriptorsForFrames) {
    const auto descriptors = [](const ChildProcess& process) {
        const std::filesystem::directory_iterator all("/proc/" + std::to_string(process.id()) +
                                                      "/fd");
        return std::distance(begin(all), end(all));
    };
    startFullScreen();
    compositor->send("retain 1");
    swap(1);
    reportsUntil("frame 640x400");
    const auto ofConsole = descriptors(*child), ofCompositor = descriptors(*compositor);
    for (int shade = 2; shade <= 60; ++shade) {
        swap(shade);
        reportsUntil("frame 640x400");
    }
    EXPECT_EQ(descriptors(*child), ofConsole);
    EXPECT_EQ(descriptors(*compositor), ofCompositor);
}

TEST_F(WaylandWindow, DrawsOnWhileNothingIsShownAndThenShowsTheNewest) {
    startFullScreen();
    compositor->send("hold");
    compositor->send("ping 1");
    reportsUntil("pong 1");
    for (int shade = 1; shade <= 30; ++shade)
        swap(shade);
    compositor->send("show");
    // The first frame, which was held, and then only the last one.
    reportsUntil("frame 640x400");
    reportsUntil("frame 640x400");
    EXPECT_EQ(pixel(0, 0), "pixel 30 20 30");
}

TEST_F(WaylandWindow, DrawsOnWhileTheCompositorHangs) {
    startFullScreen();
    swap(1);
    reportsUntil("frame 640x400");
    compositor->kill(SIGSTOP);
    for (int shade = 2; shade <= 30; ++shade)
        swap(shade);
    compositor->kill(SIGCONT);
    std::string shown;
    do {
        shown = reportsUntil("frame 640x400").back();
    } while (!shown.empty() && pixel(0, 0) != "pixel 30 20 30");
}

}  // namespace
