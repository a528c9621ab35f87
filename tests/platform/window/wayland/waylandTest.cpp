// The window and its compositor: what the console asks of it, how it answers, and how it ends.
#include <signal.h>

#include "platform/window/wayland/waylandFixture.h"

namespace {

using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

TEST_F(WaylandWindow, AsksForTheWholeScreenWithoutASize) {
    startFullScreen();
    swap(10);
    const Lines asked = reportsUntil("frame 640x400");
    EXPECT_THAT(asked, Contains("full screen"));
    EXPECT_THAT(asked, Not(Contains(StartsWith("least"))));
}

TEST_F(WaylandWindow, AsksForAFixedSizeWithOne) {
    offer({"640", "400", "1", "0"}, "configure 0 0");
    launch("wayland:321x123");
    EXPECT_EQ(child->readLine(), "screen 321x123, drawing 321x123");
    swap(10);
    const Lines asked = reportsUntil("frame 321x123");
    EXPECT_THAT(asked, AllOf(Contains("least 321 123"), Contains("most 321 123"),
                             Not(Contains("full screen"))));
}

TEST_F(WaylandWindow, KeepsItsFixedSizeWhateverTheCompositorProposes) {
    offer({"640", "400", "1", "0"}, "configure 500 300");
    launch("wayland:321x123");
    EXPECT_EQ(child->readLine(), "screen 321x123, drawing 321x123");
}

TEST_F(WaylandWindow, LetsACompositorMaximizeItAtTheStart) {
    offer({"640", "400", "1", "0"}, "configure 640 400 maximized");
    launch("wayland:321x123");
    EXPECT_EQ(child->readLine(), "screen 321x123, drawing 640x400");
}

TEST_F(WaylandWindow, TakesTheSizeThatTheCompositorGives) {
    offer({"640", "400", "1", "0"}, "configure 600 350 fullscreen");
    launch("wayland");
    EXPECT_EQ(child->readLine(), "screen 640x400, drawing 600x350");
}

TEST_F(WaylandWindow, TakesTheDisplaysSizeWhenTheCompositorGivesNone) {
    offer({"640", "400", "1", "0"}, "configure 0 0");
    launch("wayland");
    EXPECT_EQ(child->readLine(), "screen 640x400, drawing 640x400");
}

TEST_F(WaylandWindow, DrawsInThePixelsOfAFineDisplay) {
    offer({"640", "400", "2", "0"}, "configure 320 200 fullscreen");
    launch("wayland");
    EXPECT_EQ(child->readLine(), "screen 640x400, drawing 640x400");
    swap(10);
    EXPECT_THAT(reportsUntil("frame 640x400"), Contains("scale 2"));
}

TEST_F(WaylandWindow, SeesADisplayThatStandsOnItsSideAsItIsSeen) {
    const std::string quarterTurn = "1";
    offer({"640", "400", "1", quarterTurn}, "configure 0 0");
    launch("wayland");
    EXPECT_EQ(child->readLine(), "screen 400x640, drawing 400x640");
}

TEST_F(WaylandWindow, StartsWithoutADisplayAndSaysSo) {
    offer({"0", "0", "1", "0"}, "configure 0 0");
    launch("wayland");
    EXPECT_EQ(child->readLine(), "screen 1280x480, drawing 1280x480");
    EXPECT_EQ(child->errors(),
              "velkaris: wayland: the compositor has no display yet; "
              "taking it for 1280x480\n");
}

TEST_F(WaylandWindow, LetsNothingShineThrough) {
    startFullScreen();
    swap(10);
    EXPECT_THAT(reportsUntil("frame 640x400"), Not(Contains("not opaque")));
}

TEST_F(WaylandWindow, CarriesItsNames) {
    startFullScreen();
    swap(10);
    EXPECT_THAT(reportsUntil("frame 640x400"),
                AllOf(Contains("title 16"), Contains("app velkaris")));
}

TEST_F(WaylandWindow, HidesThePointer) {
    startFullScreen();
    swap(10);
    reportsUntil("pointer hidden");
}

TEST_F(WaylandWindow, IsConfiguredBeforeItHasAPicture) {
    startFullScreen();
    swap(10);
    EXPECT_THAT(reportsUntil("frame 640x400"), Contains("acknowledged"));
}

TEST_F(WaylandWindow, ShowsExactlyWhatIsDrawn) {
    startFullScreen();
    child->send("fill 0 0 50 20 200 100 50 255");
    child->send("fill 50 0 590 400 10 20 30 255");
    child->send("swap");
    reportsUntil("frame 640x400");
    EXPECT_EQ(pixel(0, 399), "pixel 200 100 50");
    EXPECT_EQ(pixel(49, 380), "pixel 200 100 50");
    EXPECT_EQ(pixel(50, 380), "pixel 10 20 30");
    EXPECT_EQ(pixel(639, 0), "pixel 10 20 30");
}

TEST_F(WaylandWindow, AnswersPingsWhileNothingIsDrawn) {
    startFullScreen();
    swap(10);
    reportsUntil("frame 640x400");
    for (const std::string serial : {"7", "8", "9"}) {
        compositor->send("ping " + serial);
        reportsUntil("pong " + serial);
    }
}

TEST_F(WaylandWindow, IsClippedOnAScreenThatGrowsSmaller) {
    startFullScreen();
    swap(1);
    reportsUntil("frame 640x400");
    compositor->send("configure 600 350 fullscreen");
    EXPECT_THAT(reportsUntil("geometry 0 0 600 350"), Contains("acknowledged"));
    swap(2);
    reportsUntil("frame 640x400");
}

TEST_F(WaylandWindow, TakesToANewScreenBeforeTheNextFrame) {
    startFullScreen();
    swap(1);
    reportsUntil("frame 640x400");
    compositor->send("configure 600 350 fullscreen");
    EXPECT_THAT(reportsUntilNow(), AllOf(Contains("geometry 0 0 600 350"), Contains("committed")));
}

TEST_F(WaylandWindow, StaysAsItIsOnAScreenThatGrowsLarger) {
    startFullScreen();
    swap(1);
    reportsUntil("frame 640x400");
    compositor->send("configure 800 600 fullscreen");
    EXPECT_THAT(reportsUntil("geometry 0 0 640 400"), Contains("acknowledged"));
    swap(2);
    reportsUntil("frame 640x400");
}

TEST_F(WaylandWindow, DoesNotPromiseToFitWhenItIsMaximizedLater) {
    startFullScreen();
    swap(1);
    reportsUntil("frame 640x400");
    compositor->send("configure 800 600 maximized");
    compositor->send("ping 1");
    EXPECT_THAT(reportsUntil("pong 1"), Not(Contains("acknowledged")));
}

TEST_F(WaylandWindow, EndsWellWhenItsUserClosesIt) {
    startFullScreen();
    swap(1);
    compositor->send("close");
    expectEnd(0, "");
}

TEST_F(WaylandWindow, EndsWellWhenItIsClosedBeforeTheFirstFrame) {
    startFullScreen();
    compositor->send("close");
    expectEnd(0, "");
}

TEST_F(WaylandWindow, FailsWhenTheCompositorDiesBetweenTwoFrames) {
    startFullScreen();
    swap(1);
    child->kill(SIGSTOP);
    compositor->kill(SIGKILL);
    compositor->wait();
    child->send("fill 0 0 9999 9999 40 50 60 255");
    child->send("swap");
    child->kill(SIGCONT);
    while (child->readLine() == "swapped") {
    }
    EXPECT_EQ(child->wait(), 1);
    EXPECT_EQ(child->errors(), "velkaris: wayland: the connection to the compositor is lost\n");
}

TEST_F(WaylandWindow, FailsWithTheCompositorsWordsWhenItRefusesSomething) {
    startFullScreen();
    swap(1);
    compositor->send("refuse");
    EXPECT_EQ(child->readLine(), "exit handlers ran");
    EXPECT_EQ(child->wait(), 1);
    EXPECT_THAT(child->errors(),
                testing::MatchesRegex("velkaris: wayland: the compositor refused a request: "
                                      "[^\n]*for a test\n"));
}

TEST_F(WaylandWindow, GivesUpOnACompositorThatNeverShowsIt) {
    offer({"640", "400", "1", "0"}, "configure -1 -1");
    launch("wayland");
    EXPECT_THAT(child->readLine(), HasSubstr("failed: window"));
    child->wait();
    EXPECT_EQ(child->errors(), "velkaris: wayland: the compositor does not show the window\n");
}

TEST_F(WaylandWindow, GivesUpOnACompositorThatHangsFromTheStart) {
    offer({"640", "400", "1", "0"}, "configure 0 0");
    compositor->kill(SIGSTOP);
    launch("wayland");
    EXPECT_EQ(child->readLine(), "failed: eglGetDisplay, kd error 0");
    child->wait();
    EXPECT_EQ(child->errors(),
              "velkaris: wayland: the compositor \"wayland-test\" does "
              "not answer\n");
}

TEST_F(WaylandWindow, SaysThatTheCompositorOffersNoWindows) {
    offer({"640", "400", "1", "0", "noshell"}, "configure 0 0");
    launch("wayland");
    EXPECT_EQ(child->readLine(), "failed: eglGetDisplay, kd error 0");
    child->wait();
    EXPECT_EQ(child->errors(), "velkaris: wayland: the compositor does not offer xdg_wm_base\n");
}

TEST_F(WaylandWindow, SaysThatTheCompositorSharesNoMemory) {
    offer({"640", "400", "1", "0", "noshm"}, "configure 0 0");
    launch("wayland");
    EXPECT_EQ(child->readLine(), "failed: eglGetDisplay, kd error 0");
    child->wait();
    EXPECT_EQ(child->errors(), "velkaris: wayland: the compositor does not offer wl_shm\n");
}

TEST_F(WaylandWindow, SaysThatItIsTooLargeForTheProtocol) {
    offer({"640", "400", "1", "0"}, "configure 0 0");
    launch("wayland:32767x32767");
    EXPECT_THAT(child->readLine(), HasSubstr("failed: window"));
    child->wait();
    EXPECT_EQ(child->errors(), "velkaris: wayland: a window of 32767x32767 is too large\n");
}

TEST_F(WaylandWindow, SaysThatThereIsNoCompositor) {
    launch("wayland");
    EXPECT_EQ(child->readLine(), "failed: eglGetDisplay, kd error 0");
    child->wait();
    EXPECT_EQ(child->errors(),
              "velkaris: wayland: can't connect to the compositor "
              "\"wayland-test\": No such file or directory\n");
}

TEST_F(WaylandWindow, IsNotChosenWhereTheCompositorIsGone) {
    launch("");
    EXPECT_EQ(child->readLine(), "screen 1280x480, drawing 1280x480");
    EXPECT_EQ(child->errors(),
              "velkaris: wayland: can't connect to the compositor \"wayland-test\": "
              "No such file or directory\n"
              "velkaris: no display found; drawing headless, 1280x480\n");
}

TEST_F(WaylandWindow, IsNotChosenWhereTheCompositorOffersNoWindows) {
    offer({"640", "400", "1", "0", "noshell"}, "configure 0 0");
    launch("auto:321x123");
    EXPECT_EQ(child->readLine(), "screen 321x123, drawing 321x123");
    EXPECT_EQ(child->errors(),
              "velkaris: wayland: the compositor does not offer xdg_wm_base\n"
              "velkaris: no display found; drawing headless, 321x123\n");
}

TEST_F(WaylandWindow, RefusesWhatIsNoSize) {
    launch("wayland:wide");
    EXPECT_EQ(child->readLine(), "failed: eglGetDisplay, kd error 0");
    child->wait();
    EXPECT_EQ(child->errors(),
              "velkaris: VELKARIS_WINDOW: wayland:wide is no size; write "
              "wayland or wayland:WIDTHxHEIGHT\n");
}

}  // namespace
