// The window on a compositor that people use: it is there, it shows exactly what was drawn, and the
// process ends with the compositor.
#include <gmock/gmock.h>
#include <signal.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/support/childProcess.h"
#include "platform/support/weston.h"
#include "platform/support/xServer.h"
#include "support/temporaryFolder.h"

namespace {

class WestonWindow : public testing::Test {
protected:
    void launch(const std::string& setting) {
        std::vector<std::string> environment = weston->variables();
        environment.push_back("VELKARIS_WINDOW=" + setting);
        environment.push_back("DISPLAY=");
        environment.push_back("VELKARIS_CAPTURE=" + folder.file("c"));
        child = std::make_unique<ChildProcess>(std::vector<std::string>{VELKARIS_WINDOW_PROGRAM},
                                               environment);
    }
    void draw() {
        child->send("fill 0 0 9999 9999 10 20 30 255");
        child->send("fill 0 0 50 20 200 100 50 255");
        child->send("fill 60 0 50 20 100 50 25 128");
        swap();
    }
    void swap() {
        child->send("swap");
        ASSERT_EQ(child->readLine(), "swapped");
    }

    TemporaryFolder folder;
    std::unique_ptr<Weston> weston;
    std::unique_ptr<ChildProcess> child;
};

class HeadlessWeston : public WestonWindow {
protected:
    void SetUp() override {
        weston = Weston::startHeadless(640, 400);
        if (!weston)
            GTEST_SKIP() << "no Weston on this machine";
    }
};

TEST_F(HeadlessWeston, GivesTheWholeDisplayWithoutASize) {
    launch("wayland");
    EXPECT_EQ(child->readLine(), "screen 640x400, drawing 640x400");
    EXPECT_EQ(child->errors(), "");
}

TEST_F(HeadlessWeston, GivesTheSizeThatIsAskedFor) {
    launch("wayland:321x123");
    EXPECT_EQ(child->readLine(), "screen 321x123, drawing 321x123");
    draw();
    EXPECT_EQ(readPng(folder.file("c/latest.png")).width, 321u);
}

TEST_F(HeadlessWeston, IsChosenWhereThereIsACompositor) {
    launch("");
    EXPECT_EQ(child->readLine(), "screen 640x400, drawing 640x400");
    EXPECT_EQ(child->errors(), "");
}

TEST_F(HeadlessWeston, TakesAnyNumberOfFramesAtOnce) {
    launch("wayland");
    child->readLine();
    for (int i = 0; i < 50; ++i)
        child->send("swap");
    for (int i = 0; i < 50; ++i)
        ASSERT_EQ(child->readLine(), "swapped");
    EXPECT_EQ(child->errors(), "");
}

TEST_F(HeadlessWeston, EndsTheConsoleWhenItIsKilled) {
    launch("wayland");
    child->readLine();
    draw();
    weston->kill(SIGKILL);
    EXPECT_EQ(child->readLine(), "exit handlers ran");
    EXPECT_EQ(child->wait(), 1);
    EXPECT_EQ(child->errors(), "velkaris: wayland: the connection to the compositor is lost\n");
}

TEST_F(HeadlessWeston, EndsTheConsoleWhenItIsToldToEnd) {
    launch("wayland");
    child->readLine();
    weston->kill(SIGTERM);
    EXPECT_EQ(child->readLine(), "exit handlers ran");
    EXPECT_EQ(child->wait(), 1);
    EXPECT_EQ(child->errors(), "velkaris: wayland: the connection to the compositor is lost\n");
}

class WestonOnX : public WestonWindow {
protected:
    void SetUp() override {
        server = XServer::start(640, 400);
        if (!server)
            GTEST_SKIP() << "no Xvfb on this machine";
        weston = Weston::startOn(*server, 640, 400);
        if (!weston)
            GTEST_SKIP() << "no Weston on this machine";
    }

    std::unique_ptr<XServer> server;
};

TEST_F(WestonOnX, ShowsExactlyWhatIsDrawn) {
    launch("wayland");
    ASSERT_EQ(child->readLine(), "screen 640x400, drawing 640x400") << child->errors();
    draw();
    const DecodedPicture drawn = readPng(folder.file("c/latest.png"));
    EXPECT_EQ(drawn.at(0, 399), (Bytes{200, 100, 50, 255}));
    EXPECT_EQ(drawn.at(60, 399), (Bytes{100, 50, 25, 255}));
    EXPECT_EQ(drawn.at(0, 0), (Bytes{10, 20, 30, 255}));
    EXPECT_TRUE(server->comesToShow(server->onlyWindow(), drawn));
}

TEST_F(WestonOnX, ShowsTheNewestOfManyFrames) {
    launch("wayland");
    child->readLine();
    for (int shade = 1; shade <= 20; ++shade) {
        child->send("fill 0 0 9999 9999 " + std::to_string(shade) + " 20 30 255");
        swap();
    }
    const DecodedPicture drawn = readPng(folder.file("c/latest.png"));
    EXPECT_EQ(drawn.at(0, 0), (Bytes{20, 20, 30, 255}));
    EXPECT_TRUE(server->comesToShow(server->onlyWindow(), drawn));
}

}  // namespace
