// The pixel cases again, each on a window of its own on a display server: what they prove headless
// holds there too.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/support/childProcess.h"
#include "platform/support/weston.h"
#include "platform/support/xServer.h"

namespace {

// Larger than any of the cases.
constexpr int kWidth = 2048;
constexpr int kHeight = 1200;

void expectAllCases(const std::string& window, std::vector<std::string> environment) {
    environment.push_back("VELKARIS_PIXEL_WINDOW=" + window);
    // What it reports goes where all of it is kept.
    ChildProcess cases({"sh", "-c", "exec \"$0\" --gtest_brief=1 >&2", VELKARIS_PIXEL_TESTS},
                       environment);
    const int status = cases.wait();
    EXPECT_EQ(status, 0) << cases.errors();
    EXPECT_NE(cases.errors().find("[  PASSED  ]"), std::string::npos) << cases.errors();
}

TEST(PixelCases, HoldOnAnXServer) {
    const std::unique_ptr<XServer> server = XServer::start(kWidth, kHeight);
    if (!server)
        GTEST_SKIP() << "no Xvfb on this machine";
    expectAllCases("x11", {server->variable()});
}

TEST(PixelCases, HoldOnAWaylandCompositor) {
    const std::unique_ptr<Weston> weston = Weston::startHeadless(kWidth, kHeight);
    if (!weston)
        GTEST_SKIP() << "no Weston on this machine";
    expectAllCases("wayland", weston->variables());
}

}  // namespace
