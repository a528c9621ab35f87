// The real program as a service manager sees it.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <string>

#include "support/consoleScript.h"
#include "support/temporaryFolder.h"

namespace {

class Supervised : public testing::Test {
protected:
    Supervised() {
        sockaddr_un address = {AF_UNIX, {}};
        strcpy(address.sun_path, folder_.file("notify").c_str());
        socket_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        EXPECT_EQ(bind(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    }
    ~Supervised() override { close(socket_); }

    // The next message; waits for it.
    std::string next() {
        pollfd ready = {socket_, POLLIN, 0};
        char room[4096];
        if (poll(&ready, 1, kHangGuard) != 1)
            return "none came";
        const ssize_t got = recv(socket_, room, sizeof room, 0);
        return std::string(room, got > 0 ? got : 0);
    }

    ConsoleOptions options() {
        ConsoleOptions options;
        options.arguments = {"-p", VELKARIS_TEST_FONT};
        options.environment["NOTIFY_SOCKET"] = folder_.file("notify");
        return options;
    }

    TemporaryFolder folder_;
    int socket_ = -1;
};

// Frames are counted: the one of the start is there before the message.
TEST_F(Supervised, IsReadyWithItsFirstPictureAndItsNode) {
    ConsoleProcess console(options());
    EXPECT_EQ(next(), "READY=1\nSTATUS=" + console.node() + " (socket), headless 1280x480");
    EXPECT_GE(console.newestFrame(), 1);
    EXPECT_EQ(ConsoleClient(console.node()).write("served"), 6);
    ASSERT_TRUE(console.stop(SIGTERM).has_value());
    EXPECT_EQ(next(), "STOPPING=1");
}

TEST_F(Supervised, FeedsTheWatchdogWithItsTicks) {
    ConsoleOptions watched = options();
    watched.environment["WATCHDOG_USEC"] = "4000000";
    ConsoleProcess console(watched);
    next();
    for (int feeding = 0; feeding < 2; ++feeding)
        EXPECT_EQ(next(), "WATCHDOG=1");
    EXPECT_GE(console.newestFrame(), 3);
}

TEST_F(Supervised, ThatCannotStartIsNeverReady) {
    ConsoleOptions refused = options();
    refused.environment["VELKARIS_NODE_MODE"] = "none";
    ConsoleProcess console(refused);
    EXPECT_FALSE(console.waitForNode());
    pollfd ready = {socket_, POLLIN, 0};
    EXPECT_EQ(poll(&ready, 1, 0), 0);
}

}  // namespace
