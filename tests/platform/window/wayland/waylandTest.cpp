// The window and its compositor, one that does what the test wants: what the console asks of it,
// how it answers, and that nothing of what a compositor does makes it wait or draw nonsense.
#include <gmock/gmock.h>
#include <signal.h>

#include <filesystem>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "platform/support/childProcess.h"
#include "platform/support/pictureFiles.h"
#include "support/temporaryFolder.h"

namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using Lines = std::vector<std::string>;

class WaylandWindow : public testing::Test {
protected:
    // `display` is "WIDTH", "HEIGHT", "SCALE", "TRANSFORM", and perhaps what the compositor
    // does not offer.
    void offer(const Lines& display, const std::string& configure) {
        Lines command{VELKARIS_COMPOSITOR_PROGRAM, "wayland-test"};
        command.insert(command.end(), display.begin(), display.end());
        compositor =
            std::make_unique<ChildProcess>(command, Lines{"XDG_RUNTIME_DIR=" + folder.path()});
        ASSERT_EQ(compositor->readLine(), "ready");
        compositor->send(configure);
    }
    void launch(const std::string& setting) {
        child = std::make_unique<ChildProcess>(
            Lines{VELKARIS_WINDOW_PROGRAM},
            Lines{"XDG_RUNTIME_DIR=" + folder.path(), "WAYLAND_DISPLAY=wayland-test", "DISPLAY=",
                  "VELKARIS_WINDOW=" + setting, "VELKARIS_CAPTURE=" + folder.file("c")});
    }
    void startFullScreen() {
        offer({"640", "400", "1", "0"}, "configure 640 400 fullscreen");
        launch("wayland");
        ASSERT_EQ(child->readLine(), "screen 640x400, drawing 640x400") << child->errors();
    }
    void swap() {
        child->send("swap");
        ASSERT_EQ(child->readLine(), "swapped");
    }
    void swap(int shade) {
        child->send("fill 0 0 9999 9999 " + std::to_string(shade) + " 20 30 255");
        swap();
    }
    // Rows of the picture of 640x400, counted from the top.
    void fillRows(int first, int count, int shade) {
        child->send("fill 0 " + std::to_string(400 - first - count) + " 640 " +
                    std::to_string(count) + " " + std::to_string(shade) + " 50 60 255");
    }
    // What the compositor reports up to the line `last`, which must come.
    Lines reportsUntil(const std::string& last) {
        Lines reports;
        do {
            reports.push_back(compositor->readLine());
        } while (reports.back() != last && !reports.back().empty());
        EXPECT_EQ(reports.back(), last);
        return reports;
    }
    std::string pixel(int x, int y) {
        compositor->send("pixel " + std::to_string(x) + " " + std::to_string(y));
        for (;;) {
            const std::string line = compositor->readLine();
            if (line.empty() || line.rfind("pixel", 0) == 0)
                return line;
        }
    }
    // What the compositor reports of a frame of 640x400 in lines that start with `start`.
    Lines reportsOfFrame(const std::string& start) {
        Lines chosen;
        for (const std::string& line : reportsUntil("frame 640x400")) {
            if (line.rfind(start, 0) == 0)
                chosen.push_back(line);
        }
        return chosen;
    }
    // What it reports of everything that the console has sent by now.
    Lines reportsUntilNow() {
        const std::string serial = std::to_string(++lastSerial);
        compositor->send("ping " + serial);
        return reportsUntil("pong " + serial);
    }
    void expectShownAsCaptured() {
        compositor->send("save " + folder.file("shown"));
        reportsUntil("saved");
        Bytes captured;
        const Bytes rgba = readPng(folder.file("c/latest.png")).rgba;
        for (size_t at = 0; at < rgba.size(); at += 4)
            captured.insert(captured.end(), {rgba[at], rgba[at + 1], rgba[at + 2]});
        ASSERT_FALSE(captured.empty());
        EXPECT_TRUE(readFile(folder.file("shown")) == captured);
    }
    void expectEnd(int status, const std::string& errors) {
        EXPECT_EQ(child->readLine(), "exit handlers ran");
        EXPECT_EQ(child->wait(), status);
        EXPECT_EQ(child->errors(), errors);
    }

    TemporaryFolder folder;
    int lastSerial = 1000;
    std::unique_ptr<ChildProcess> compositor;
    std::unique_ptr<ChildProcess> child;
};

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

TEST_F(WaylandWindow, AnswersPingsWhileNothingIsDrawn) {
    startFullScreen();
    swap(10);
    reportsUntil("frame 640x400");
    for (const std::string serial : {"7", "8", "9"}) {
        compositor->send("ping " + serial);
        reportsUntil("pong " + serial);
    }
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
