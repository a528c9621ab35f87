// The window of a whole process, by its settings: which display it gets, what is kept of its
// frames, what it says when it gets none.
#include <gmock/gmock.h>

#include <filesystem>
#include <string>

#include "platform/support/childProcess.h"
#include "platform/support/pictureFiles.h"
#include "support/temporaryFolder.h"

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

const char* const kProgram = VELKARIS_WINDOW_PROGRAM;

bool hasGraphicsCard() {
    return std::filesystem::exists("/dev/dri/card0") || std::filesystem::exists("/dev/dri/card1");
}

TEST(WindowProcess, DrawsHeadlessAtItsUsualSize) {
    ChildProcess child({kProgram}, {"VELKARIS_WINDOW=headless"});
    EXPECT_EQ(child.readLine(), "screen 1280x480, drawing 1280x480");
}

TEST(WindowProcess, DrawsHeadlessAtAnySize) {
    for (const std::string size : {"1x1", "1x4096", "32767x1", "1920x1080", "333x77"}) {
        ChildProcess child({kProgram}, {"VELKARIS_WINDOW=headless:" + size});
        EXPECT_EQ(child.readLine(), "screen " + size + ", drawing " + size);
    }
}

TEST(WindowProcess, FallsBackToHeadlessAndSaysSo) {
    if (hasGraphicsCard())
        GTEST_SKIP() << "this machine has a graphics card, which would be drawn on";
    ChildProcess child({kProgram}, {"VELKARIS_WINDOW=", "DISPLAY=", "WAYLAND_DISPLAY="});
    EXPECT_EQ(child.readLine(), "screen 1280x480, drawing 1280x480");
    EXPECT_EQ(child.errors(), "velkaris: no display found; drawing headless, 1280x480\n");
}

TEST(WindowProcess, FallsBackToHeadlessWhenTheServersOfTheEnvironmentAreGone) {
    if (hasGraphicsCard())
        GTEST_SKIP() << "this machine has a graphics card, which would be drawn on";
    ChildProcess child({kProgram}, {"VELKARIS_WINDOW=", "DISPLAY=:65000", "WAYLAND_DISPLAY=gone",
                                    "XDG_RUNTIME_DIR=/nonexistent"});
    EXPECT_EQ(child.readLine(), "screen 1280x480, drawing 1280x480");
    EXPECT_EQ(child.errors(),
              "velkaris: wayland: can't connect to the compositor \"gone\": No such file "
              "or directory\n"
              "velkaris: x11: can't connect to the X server \":65000\"\n"
              "velkaris: no display found; drawing headless, 1280x480\n");
}

TEST(WindowProcess, FallsBackToHeadlessAtTheSizeForWindows) {
    if (hasGraphicsCard())
        GTEST_SKIP() << "this machine has a graphics card, which would be drawn on";
    ChildProcess child({kProgram},
                       {"VELKARIS_WINDOW=auto:321x123", "DISPLAY=", "WAYLAND_DISPLAY="});
    EXPECT_EQ(child.readLine(), "screen 321x123, drawing 321x123");
    EXPECT_EQ(child.errors(), "velkaris: no display found; drawing headless, 321x123\n");
}

TEST(WindowProcess, SaysNothingOfAHeadlessWindowThatWasAskedFor) {
    ChildProcess child({kProgram}, {"VELKARIS_WINDOW=headless:8x8"});
    child.readLine();
    EXPECT_EQ(child.errors(), "");
}

TEST(WindowProcess, KeepsEveryPresentedFrame) {
    const TemporaryFolder folder;
    ChildProcess child({kProgram}, {"VELKARIS_WINDOW=headless:40x30",
                                    "VELKARIS_CAPTURE=" + folder.file("frames")});
    child.send("fill 0 0 40 30 10 20 30");
    child.send("swap");
    child.send("fill 0 0 40 30 40 50 60");
    child.send("fill 0 0 5 4 255 0 0");
    child.send("swap");
    child.readLine();
    ASSERT_EQ(child.readLine(), "swapped");
    ASSERT_EQ(child.readLine(), "swapped");
    EXPECT_EQ(readPng(folder.file("frames/frame-000001.png")).at(0, 29), (Bytes{10, 20, 30, 255}));
    const DecodedPicture latest = readPng(folder.file("frames/latest.png"));
    EXPECT_EQ(latest.width, 40u);
    EXPECT_EQ(latest.height, 30u);
    EXPECT_EQ(latest.at(4, 26), (Bytes{255, 0, 0, 255}));
    EXPECT_EQ(latest.at(5, 26), (Bytes{40, 50, 60, 255}));
    EXPECT_EQ(latest.at(4, 25), (Bytes{40, 50, 60, 255}));
}

TEST(WindowProcess, GoesOnWhenFramesCannotBeKept) {
    ChildProcess child({kProgram},
                       {"VELKARIS_WINDOW=headless:40x30", "VELKARIS_CAPTURE=/proc/none/frames"});
    child.readLine();
    for (int i = 0; i < 3; ++i) {
        child.send("swap");
        EXPECT_EQ(child.readLine(), "swapped");
    }
    EXPECT_THAT(child.errors(), MatchesRegex("velkaris: capture: /proc/none/frames: [^\n]+\n"));
}

TEST(WindowProcess, RefusesWrongSettingsWithOneLine) {
    const struct {
        std::string setting, reason;
    } cases[] = {
        {"auto:10", "auto:10 is no size"},
        {"mirror", "no window \"mirror\""},
        {"mirror:1x1", "no window \"mirror\""},
        {":8x8", "no window \"\""},
        {"HEADLESS", "no window \"HEADLESS\""},
        {"headless:10", "headless:10 is no size"},
        {"headless:10x", "headless:10x is no size"},
        {"headless:x10", "headless:x10 is no size"},
        {"headless:0x10", "headless:0x10 is no size"},
        {"headless:10x0", "headless:10x0 is no size"},
        {"headless:-1x10", "headless:-1x10 is no size"},
        {"headless:+1x10", "headless:+1x10 is no size"},
        {"headless: 1x10", "headless: 1x10 is no size"},
        {"headless:10x10x", "headless:10x10x is no size"},
        {"headless:10X10", "headless:10X10 is no size"},
        {"headless:32768x1", "headless:32768x1 is no size"},
        {"headless:99999999999x1", "headless:99999999999x1 is no size"},
        {"x11:10", "x11:10 is no size"},
    };
    for (const auto& each : cases) {
        ChildProcess child({kProgram}, {"VELKARIS_WINDOW=" + each.setting, "DISPLAY="});
        EXPECT_EQ(child.readLine(), "failed: eglGetDisplay, kd error 0") << each.setting;
        EXPECT_EQ(child.wait(), 3);
        EXPECT_THAT(child.errors(), MatchesRegex("velkaris: VELKARIS_WINDOW: [^\n]+\n"));
        EXPECT_THAT(child.errors(), HasSubstr(each.reason));
    }
}

TEST(WindowProcess, DrawsWithTheRendererOfItsSetting) {
    for (const std::string renderer : {"", "auto", "cpu"}) {
        ChildProcess child({kProgram},
                           {"VELKARIS_WINDOW=headless:8x8", "VELKARIS_RENDERER=" + renderer});
        EXPECT_EQ(child.readLine(), "screen 8x8, drawing 8x8") << renderer;
        EXPECT_EQ(child.errors(), "") << renderer;
    }
}

TEST(WindowProcess, RefusesAWrongRendererWithOneLine) {
    for (const std::string renderer : {"mirror", "CPU", "cpu ", "gl:1"}) {
        ChildProcess child({kProgram},
                           {"VELKARIS_WINDOW=headless:8x8", "VELKARIS_RENDERER=" + renderer});
        EXPECT_EQ(child.readLine(), "failed: eglInitialize, kd error 0");
        EXPECT_EQ(child.wait(), 3);
        EXPECT_EQ(child.errors(), "velkaris: VELKARIS_RENDERER: no renderer \"" + renderer +
                                      "\"; there are: auto, cpu, gl\n");
    }
}

}  // namespace
