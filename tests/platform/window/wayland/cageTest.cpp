// The window on a compositor for devices, which gives its whole display to one program.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/support/cage.h"
#include "platform/support/childProcess.h"
#include "platform/support/xServer.h"
#include "support/temporaryFolder.h"

namespace {

class CageWindow : public testing::Test {
protected:
    void SetUp() override {
        server = XServer::start(Cage::kWidth, Cage::kHeight);
        if (!server)
            GTEST_SKIP() << "no Xvfb on this machine";
        cage = Cage::startOn(*server);
        if (!cage)
            GTEST_SKIP() << "no Cage on this machine";
    }

    void start(const std::string& setting) {
        std::vector<std::string> environment = cage->variables();
        environment.push_back("VELKARIS_WINDOW=" + setting);
        environment.push_back("DISPLAY=");
        environment.push_back("VELKARIS_CAPTURE=" + folder.file("c"));
        child = std::make_unique<ChildProcess>(std::vector<std::string>{VELKARIS_WINDOW_PROGRAM},
                                               environment);
    }
    void expectShown() {
        child->send("fill 0 0 9999 9999 10 20 30 255");
        child->send("fill 0 0 50 20 200 100 50 255");
        child->send("fill 60 0 50 20 100 50 25 128");
        child->send("swap");
        ASSERT_EQ(child->readLine(), "swapped");
        EXPECT_TRUE(
            server->comesToShow(server->onlyWindow(), readPng(folder.file("c/latest.png"))));
        EXPECT_EQ(child->errors(), "");
    }

    TemporaryFolder folder;
    std::unique_ptr<XServer> server;
    std::unique_ptr<Cage> cage;
    std::unique_ptr<ChildProcess> child;
};

TEST_F(CageWindow, ShowsExactlyWhatIsDrawn) {
    start("wayland");
    EXPECT_EQ(child->readLine(), "screen 1024x768, drawing 1024x768");
    expectShown();
}

}  // namespace
