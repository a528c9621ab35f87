// The window on an X server, a real one that each test starts: what its user sees, and how the
// process ends with it.
#include <gmock/gmock.h>
#include <signal.h>

#include <string>

#include "platform/support/childProcess.h"
#include "platform/support/xServer.h"
#include "support/temporaryFolder.h"

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

class X11Window : public testing::Test {
protected:
    void SetUp() override {
        server = XServer::start(640, 400);
        if (!server)
            GTEST_SKIP() << "no Xvfb on this machine";
    }

    // Starts a console, which says that it draws on `size` pixels.
    void start(const std::string& setting, const std::string& size) {
        launch(setting);
        ASSERT_THAT(child->readLine(), HasSubstr("drawing " + size)) << child->errors();
    }
    void launch(const std::string& setting) {
        child = std::make_unique<ChildProcess>(
            std::vector<std::string>{VELKARIS_WINDOW_PROGRAM},
            std::vector<std::string>{"VELKARIS_WINDOW=" + setting, server->variable(),
                                     "WAYLAND_DISPLAY=", "VELKARIS_CAPTURE=" + folder.file("c")});
    }
    void draw() {
        child->send("fill 0 0 9999 9999 10 20 30 255");
        child->send("fill 0 0 50 20 200 100 50 255");
        swap();
    }
    void swap() {
        child->send("swap");
        ASSERT_EQ(child->readLine(), "swapped");
    }
    void expectEnd(int status, const std::string& reason) {
        EXPECT_EQ(child->readLine(), "exit handlers ran");
        EXPECT_EQ(child->wait(), status);
        EXPECT_THAT(child->errors(), MatchesRegex(reason));
    }

    TemporaryFolder folder;
    std::unique_ptr<XServer> server;
    std::unique_ptr<ChildProcess> child;
};

TEST_F(X11Window, FillsTheScreenWithoutASize) {
    start("x11", "640x400");
    draw();
    const DecodedPicture seen = server->picture(server->onlyWindow());
    EXPECT_EQ(seen.width, 640u);
    EXPECT_EQ(seen.height, 400u);
    EXPECT_TRUE(server->wantsFullScreen(server->onlyWindow()));
}

TEST_F(X11Window, IsChosenWhereThereIsAServer) {
    start("", "640x400");
    EXPECT_NE(server->onlyWindow(), 0u);
    EXPECT_EQ(child->errors(), "");
}

TEST_F(X11Window, HasTheSizeForWindowsWhenItIsChosen) {
    start("auto:321x123", "321x123");
    EXPECT_NE(server->onlyWindow(), 0u);
    EXPECT_EQ(child->errors(), "");
}

TEST_F(X11Window, TakesTheSizeThatIsAskedFor) {
    start("x11:321x123", "321x123");
    draw();
    const DecodedPicture seen = server->picture(server->onlyWindow());
    EXPECT_EQ(seen.width, 321u);
    EXPECT_EQ(seen.height, 123u);
    EXPECT_FALSE(server->wantsFullScreen(server->onlyWindow()));
}

TEST_F(X11Window, ShowsExactlyWhatIsDrawn) {
    start("x11:320x200", "320x200");
    draw();
    const DecodedPicture drawn = readPng(folder.file("c/latest.png"));
    EXPECT_EQ(drawn.at(0, 199), (Bytes{200, 100, 50, 255}));
    EXPECT_EQ(drawn.at(49, 180), (Bytes{200, 100, 50, 255}));
    EXPECT_EQ(drawn.at(50, 180), (Bytes{10, 20, 30, 255}));
    EXPECT_EQ(drawn.at(49, 179), (Bytes{10, 20, 30, 255}));
    EXPECT_TRUE(server->comesToShow(server->onlyWindow(), drawn));
}

TEST_F(X11Window, DrawsAtTheSizeThatTheWindowManagerGivesIt) {
    server->manage();
    launch("x11");
    server->mapWithSize(server->awaitMapRequest(), 600, 350);
    EXPECT_EQ(child->readLine(), "screen 640x400, drawing 600x350");
    EXPECT_EQ(child->errors(), "");
}

TEST_F(X11Window, SpansSeveralMonitors) {
    server = XServer::start(5760, 400);
    start("x11", "5760x400");
    draw();
    child->send("fill 5000 0 100 400 70 80 90 255");
    swap();
    const DecodedPicture drawn = readPng(folder.file("c/latest.png"));
    EXPECT_EQ(drawn.at(5099, 0), (Bytes{70, 80, 90, 255}));
    EXPECT_EQ(drawn.at(5759, 399), (Bytes{10, 20, 30, 255}));
    EXPECT_TRUE(server->comesToShow(server->onlyWindow(), drawn));
}

TEST_F(X11Window, LetsNothingShineThrough) {
    start("x11:320x200", "320x200");
    EXPECT_EQ(server->opaqueRegion(server->onlyWindow()), (std::vector<long>{0, 0, 320, 200}));
}

TEST_F(X11Window, CarriesItsCaption) {
    start("x11:320x200", "320x200");
    EXPECT_EQ(server->caption(server->onlyWindow()), "16");
}

TEST_F(X11Window, EndsWellWhenItsUserClosesIt) {
    start("x11", "640x400");
    draw();
    server->closeByUser(server->onlyWindow());
    expectEnd(0, "");
}

TEST_F(X11Window, EndsWhenItsUserClosesItBeforeTheFirstFrame) {
    start("x11", "640x400");
    server->closeByUser(server->onlyWindow());
    expectEnd(0, "");
}

TEST_F(X11Window, FailsWhenTheServerDies) {
    start("x11", "640x400");
    draw();
    server->kill();
    expectEnd(1, "velkaris: x11: the connection to the X server is lost\n");
}

TEST_F(X11Window, FailsWhenTheServerDiesBetweenTwoFrames) {
    start("x11", "640x400");
    draw();
    child->kill(SIGSTOP);
    server->kill();
    child->send("fill 0 0 9999 9999 40 50 60 255");
    child->send("swap");
    child->kill(SIGCONT);
    while (child->readLine() == "swapped") {
    }
    EXPECT_EQ(child->wait(), 1);
    EXPECT_EQ(child->errors(), "velkaris: x11: the connection to the X server is lost\n");
}

TEST_F(X11Window, FailsWhenItsConnectionIsCut) {
    start("x11", "640x400");
    draw();
    server->killClientOf(server->onlyWindow());
    expectEnd(1, "velkaris: x11: the connection to the X server is lost\n");
}

TEST_F(X11Window, IsCompleteWhenItIsSeenAgain) {
    start("x11", "640x400");
    draw();
    const DecodedPicture drawn = readPng(folder.file("c/latest.png"));
    ASSERT_TRUE(server->comesToShow(server->onlyWindow(), drawn));
    server->coverForAMoment();
    EXPECT_TRUE(server->comesToShow(server->onlyWindow(), drawn));
}

TEST_F(X11Window, IsDrawnOnWhileTheServerHangs) {
    start("x11", "640x400");
    draw();
    server->stop();
    for (const char* const colour : {"1 2 3", "40 50 60", "70 80 90"}) {
        child->send("fill 0 0 9999 9999 " + std::string(colour) + " 255");
        swap();
        ASSERT_FALSE(HasFatalFailure());
    }
    server->goOn();
    EXPECT_TRUE(server->comesToShow(server->onlyWindow(), readPng(folder.file("c/latest.png"))));
    draw();
    EXPECT_TRUE(server->comesToShow(server->onlyWindow(), readPng(folder.file("c/latest.png"))));
    EXPECT_EQ(child->errors(), "");
}

TEST_F(X11Window, FailsWhenSomebodyDestroysIt) {
    start("x11", "640x400");
    draw();
    server->destroy(server->onlyWindow());
    expectEnd(1, "velkaris: x11: the window was destroyed from outside\n");
}

TEST_F(X11Window, FailsWhenTheServerHangsFromTheStart) {
    server->stop();
    launch("x11");
    EXPECT_EQ(child->readLine(), "failed: eglGetDisplay, kd error 0");
    EXPECT_EQ(child->wait(), 3);
    EXPECT_THAT(child->errors(), MatchesRegex("velkaris: x11: the X server "
                                              "\":[0-9]+\" does not answer\n"));
}

TEST(X11, SaysThatThereIsNoServer) {
    ChildProcess child({VELKARIS_WINDOW_PROGRAM}, {"VELKARIS_WINDOW=x11", "DISPLAY=:65000"});
    EXPECT_EQ(child.readLine(), "failed: eglGetDisplay, kd error 0");
    child.wait();
    EXPECT_EQ(child.errors(), "velkaris: x11: can't connect to the X server \":65000\"\n");
}

}  // namespace
