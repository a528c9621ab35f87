// The window on an X server, a real one that each test starts: what its user sees, and how the
// process ends with it.
#include <gmock/gmock.h>
#include <signal.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "platform/support/childProcess.h"
#include "platform/support/xRecording.h"
#include "platform/support/xServer.h"
#include "support/temporaryFolder.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

// Only for what hangs; no test is decided by it.
constexpr std::chrono::seconds kHangTime{60};

// What the kernel says of a process, in the file of that name.
std::string tell(pid_t process, const std::string& name) {
    std::ifstream file("/proc/" + std::to_string(process) + "/" + name);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

long descriptorsOf(pid_t process) {
    return std::distance(
        std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/fd"), {});
}

long residentKilobytes(pid_t process) {
    const std::string status = tell(process, "status");
    const size_t line = status.find("VmRSS:");
    return line == std::string::npos ? 0 : std::stol(status.substr(line + 6));
}

class X11Window : public testing::Test {
protected:
    void SetUp() override { startServer(640, 24, {}); }
    void startServer(int width, int depth, const std::vector<std::string>& options) {
        server = XServer::start(width, 400, depth, options);
        if (!server)
            GTEST_SKIP() << "no Xvfb on this machine";
        display = server->displayName();
    }

    // Starts a console, which says that it draws on `size` pixels.
    void start(const std::string& setting, const std::string& size) {
        launch(setting);
        ASSERT_THAT(child->readLine(), HasSubstr("drawing " + size)) << child->errors();
    }
    void launch(const std::string& setting) {
        child = std::make_unique<ChildProcess>(
            program, std::vector<std::string>{
                         "VELKARIS_WINDOW=" + setting, "DISPLAY=" + display,
                         "WAYLAND_DISPLAY=", "VELKARIS_CAPTURE=" + folder.file("c"),
                         // A sanitizer otherwise keeps what is freed, hundreds of megabytes of it.
                         "ASAN_OPTIONS=quarantine_size_mb=1"});
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
    DecodedPicture newest() const { return readPng(folder.file("c/latest.png")); }
    bool comesToShowTheNewest() const {
        return server->comesToShow(server->onlyWindow(), newest());
    }
    // Draws a rectangle of `rows` rows whose uppermost is `top`, on a window of 640x400.
    void drawRows(int top, int rows, const std::string& colour) {
        child->send("fill 0 " + std::to_string(400 - top - rows) + " 640 " + std::to_string(rows) +
                    " " + colour + " 255");
    }
    // What the server is asked for while `act` runs and its picture comes to show.
    template <typename Act>
    std::vector<XRequest> record(Act act) {
        XRecording recording(server->displayName(), server->onlyWindow());
        act();
        EXPECT_TRUE(comesToShowTheNewest());
        return recording.finish();
    }
    void expectEnd(int status, const std::string& reason) {
        EXPECT_EQ(child->readLine(), "exit handlers ran");
        EXPECT_EQ(child->wait(), status);
        EXPECT_THAT(child->errors(), MatchesRegex(reason));
    }

    TemporaryFolder folder;
    std::unique_ptr<XServer> server;
    std::string display;
    std::vector<std::string> program{VELKARIS_WINDOW_PROGRAM};
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
    const DecodedPicture drawn = newest();
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
    startServer(5760, 24, {});
    start("x11", "5760x400");
    draw();
    child->send("fill 5000 0 100 400 70 80 90 255");
    swap();
    const DecodedPicture drawn = newest();
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

TEST_F(X11Window, IsDrawnOnWhileTheServerHangs) {
    start("x11", "640x400");
    draw();
    ASSERT_TRUE(comesToShowTheNewest());
    const std::vector<XRequest> requests = record([this] {
        server->stop();
        for (const char* const colour : {"1 2 3", "40 50 60", "70 80 90"}) {
            drawRows(0, 400, colour);
            swap();
            ASSERT_FALSE(HasFatalFailure());
        }
        server->goOn();
    });
    // The first, and when the server has read it the newest.
    EXPECT_THAT(
        requests,
        ElementsAre(XRequest{XRequest::sharedImage, 0, 400}, XRequest{XRequest::copy, 0, 400},
                    XRequest{XRequest::sharedImage, 0, 400}, XRequest{XRequest::copy, 0, 400}));
    draw();
    EXPECT_TRUE(comesToShowTheNewest());
    EXPECT_EQ(child->errors(), "");
}

TEST_F(X11Window, FailsWhenSomebodyDestroysIt) {
    start("x11", "640x400");
    draw();
    server->destroy(server->onlyWindow());
    expectEnd(1, "velkaris: x11: the window was destroyed from outside\n");
}

TEST_F(X11Window, FailsWhenTheServerRefusesARequest) {
    start("x11", "640x400");
    draw();
    ASSERT_TRUE(comesToShowTheNewest());
    server->freePixmapsOfClient(server->onlyWindow());
    drawRows(0, 1, "1 2 3");
    child->send("swap");
    while (child->readLine() == "swapped") {
    }
    EXPECT_EQ(child->wait(), 1);
    EXPECT_THAT(child->errors(), MatchesRegex("velkaris: x11: the X server refused request "
                                              "[0-9]+\\.[0-9]+ with error [0-9]+\n"));
}

TEST_F(X11Window, FailsOnAScreenThatHasOnlyAPalette) {
    startServer(640, 8, {"-extension", "Composite", "-cc", "3"});
    launch("x11");
    EXPECT_EQ(child->readLine(), "failed: window, kd error 18");
    EXPECT_EQ(child->wait(), 3);
    EXPECT_EQ(child->errors(),
              "velkaris: x11: the X server has no true-colour visual of 15, 16, 24 or 32 bits\n");
}

TEST_F(X11Window, FailsWhenTheServerHangsFromTheStart) {
    server->stop();
    launch("x11");
    EXPECT_EQ(child->readLine(), "failed: eglGetDisplay, kd error 0");
    EXPECT_EQ(child->wait(), 3);
    EXPECT_THAT(child->errors(), MatchesRegex("velkaris: x11: the X server "
                                              "\":[0-9]+\" does not answer\n"));
}

// The same on a server that shares memory and on one that does not.
struct Way {
    const char* name;
    std::vector<std::string> options;
    XRequest::Kind image;
};
std::ostream& operator<<(std::ostream& stream, const Way& way) {
    return stream << way.name;
}

class X11Pictures : public X11Window, public testing::WithParamInterface<Way> {
protected:
    void SetUp() override { startServer(640, 24, GetParam().options); }
};

INSTANTIATE_TEST_SUITE_P(
    Ways, X11Pictures,
    testing::Values(Way{"Shared", {}, XRequest::sharedImage},
                    Way{"Sent", {"-extension", "MIT-SHM"}, XRequest::plainImage}),
    [](const auto& way) { return std::string(way.param.name); });

TEST_P(X11Pictures, ComeOneAfterAnother) {
    start("x11", "640x400");
    draw();
    EXPECT_TRUE(comesToShowTheNewest());
    for (const char* const colour : {"1 2 3", "40 50 60", "70 80 90"}) {
        drawRows(100, 50, colour);
        swap();
        EXPECT_TRUE(comesToShowTheNewest());
    }
    EXPECT_EQ(newest().at(639, 149), (Bytes{70, 80, 90, 255}));
    EXPECT_EQ(newest().at(639, 150), (Bytes{10, 20, 30, 255}));
    EXPECT_EQ(child->errors(), "");
}

TEST_P(X11Pictures, AreBroughtByTheRowsThatChanged) {
    start("x11", "640x400");
    draw();
    ASSERT_TRUE(comesToShowTheNewest());
    const std::vector<XRequest> requests = record([this] {
        drawRows(10, 5, "1 2 3");
        drawRows(300, 1, "4 5 6");
        swap();
    });
    EXPECT_THAT(requests,
                ElementsAre(XRequest{GetParam().image, 10, 5}, XRequest{GetParam().image, 300, 1},
                            XRequest{XRequest::copy, 10, 291}));
}

TEST_P(X11Pictures, AskForNothingWhileNoneChanges) {
    start("x11", "640x400");
    draw();
    ASSERT_TRUE(comesToShowTheNewest());
    const std::vector<XRequest> requests = record([this] {
        swap();
        swap();
        drawRows(7, 1, "1 2 3");
        swap();
        ASSERT_TRUE(comesToShowTheNewest());
        swap();
        drawRows(8, 1, "1 2 3");
        swap();
    });
    EXPECT_THAT(requests,
                ElementsAre(XRequest{GetParam().image, 7, 1}, XRequest{XRequest::copy, 7, 1},
                            XRequest{GetParam().image, 8, 1}, XRequest{XRequest::copy, 8, 1}));
}

TEST_P(X11Pictures, AreCompleteWhenTheyAreSeenAgain) {
    start("x11", "640x400");
    draw();
    ASSERT_TRUE(comesToShowTheNewest());
    const std::vector<XRequest> requests = record([this] { server->coverForAMoment(); });
    EXPECT_THAT(requests, ElementsAre(XRequest{XRequest::copy, 0, 400}));
}

TEST_P(X11Pictures, AreTheNewestWhenAServerThatHungGoesOn) {
    start("x11", "640x400");
    draw();
    ASSERT_TRUE(comesToShowTheNewest());
    server->stop();
    const std::vector<std::string> colours = {"1 2 3", "40 50 60", "70 80 90", "100 110 120"};
    for (const std::string& colour : colours) {
        drawRows(0, 400, colour);
        child->send("swap");
    }
    server->goOn();
    for (size_t i = 0; i < colours.size(); ++i)
        ASSERT_EQ(child->readLine(), "swapped");
    EXPECT_EQ(newest().at(0, 0), (Bytes{100, 110, 120, 255}));
    EXPECT_TRUE(comesToShowTheNewest());
    EXPECT_EQ(child->errors(), "");
}

TEST_P(X11Pictures, TakeNoMoreMemoryHoweverManyThereAre) {
    constexpr long kFrameKilobytes = 160 * 100 * 4 / 1024;
    constexpr int kFrames = 300;
    start("x11:160x100", "160x100");
    const auto drawMore = [this](int count) {
        for (int i = 0; i < count; ++i) {
            child->send("fill 0 0 160 100 " + std::to_string(i % 256) + " 0 0 255");
            swap();
            ASSERT_TRUE(comesToShowTheNewest());
        }
    };
    drawMore(20);
    const long descriptors = descriptorsOf(child->id());
    const long kilobytes = residentKilobytes(child->id());
    drawMore(kFrames);
    EXPECT_EQ(descriptorsOf(child->id()), descriptors);
    EXPECT_LT(residentKilobytes(child->id()) - kilobytes, kFrames * kFrameKilobytes / 2);
}

TEST_F(X11Window, LeavesNoSharedMemoryWhenItIsKilled) {
    start("x11", "640x400");
    draw();
    ASSERT_TRUE(comesToShowTheNewest());
    const std::string maps = tell(child->id(), "maps");
    ASSERT_THAT(maps, HasSubstr("/memfd:velkaris-x11"));
    EXPECT_THAT(maps, Not(HasSubstr("/SYSV")));  // listed by ipcs
    EXPECT_THAT(maps, Not(HasSubstr("/dev/shm/")));
    ASSERT_THAT(tell(server->id(), "maps"), HasSubstr("/memfd:velkaris-x11"));

    child->kill(SIGKILL);
    EXPECT_EQ(child->wait(), -SIGKILL);
    const auto end = std::chrono::steady_clock::now() + kHangTime;
    while (server->onlyWindow() != 0 && std::chrono::steady_clock::now() < end) {
    }
    EXPECT_EQ(server->onlyWindow(), 0u);
    EXPECT_THAT(tell(server->id(), "maps"), Not(HasSubstr("/memfd:velkaris-x11")));
}

TEST_F(X11Window, SharesMemoryFromAnotherIpcNamespaceToo) {
    ChildProcess attempt({"unshare", "--ipc", "true"}, {});
    if (attempt.wait() != 0)
        GTEST_SKIP() << "no IPC namespace for this user: " << attempt.errors();
    program.insert(program.begin(), {"unshare", "--ipc"});
    start("x11", "640x400");
    draw();
    ASSERT_TRUE(comesToShowTheNewest());
    const std::vector<XRequest> requests = record([this] {
        drawRows(20, 2, "1 2 3");
        swap();
    });
    EXPECT_THAT(requests, ElementsAre(XRequest{XRequest::sharedImage, 20, 2},
                                      XRequest{XRequest::copy, 20, 2}));
}

// As a secure shell forwards it: the server still offers to share memory.
TEST_F(X11Window, SendsItsPicturesThroughAForwardedConnection) {
    if (ChildProcess({"socat", "-V"}, {}).wait() != 0)
        GTEST_SKIP() << "no socat on this machine";
    const int number = std::stoi(server->displayName().substr(1));
    const int forwarded = 20000 + number;
    ChildProcess forwarder(
        {"socat", "-d", "-d",
         "TCP-LISTEN:" + std::to_string(6000 + forwarded) + ",bind=127.0.0.1,fork",
         "UNIX-CONNECT:/tmp/.X11-unix/X" + std::to_string(number)},
        {});
    const auto end = std::chrono::steady_clock::now() + kHangTime;
    while (forwarder.errors().find("listening") == std::string::npos &&
           std::chrono::steady_clock::now() < end) {
    }
    display = "127.0.0.1:" + std::to_string(forwarded);
    start("x11", "640x400");
    draw();
    ASSERT_TRUE(comesToShowTheNewest());
    const std::vector<XRequest> requests = record([this] {
        drawRows(20, 2, "1 2 3");
        swap();
    });
    EXPECT_THAT(requests, ElementsAre(XRequest{XRequest::plainImage, 20, 2},
                                      XRequest{XRequest::copy, 20, 2}));
    EXPECT_EQ(child->errors(), "");
}

TEST_F(X11Window, ShowsTheHighestBitsOfEachColourOnAScreenOfSixteen) {
    startServer(640, 16, {"-extension", "Composite"});  // which adds a visual of 32 bits
    start("x11", "640x400");
    draw();
    DecodedPicture expected = newest();
    for (size_t i = 0; i < expected.rgba.size(); ++i) {
        const uint8_t kept[] = {0xf8, 0xfc, 0xf8, 0xff};
        expected.rgba[i] &= kept[i % 4];
    }
    EXPECT_TRUE(server->comesToShow(server->onlyWindow(), expected));
}

TEST(X11, SaysThatThereIsNoServer) {
    ChildProcess child({VELKARIS_WINDOW_PROGRAM}, {"VELKARIS_WINDOW=x11", "DISPLAY=:65000"});
    EXPECT_EQ(child.readLine(), "failed: eglGetDisplay, kd error 0");
    child.wait();
    EXPECT_EQ(child.errors(), "velkaris: x11: can't connect to the X server \":65000\"\n");
}

}  // namespace
