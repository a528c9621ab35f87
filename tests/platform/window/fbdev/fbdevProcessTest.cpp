// What a process says that is to draw on a framebuffer and finds none.
#include <gtest/gtest.h>

#include "platform/support/childProcess.h"

namespace {

std::string saidBy(const std::string& window, const std::string& rotation = "") {
    ChildProcess child({VELKARIS_WINDOW_PROGRAM},
                       {"VELKARIS_WINDOW=" + window, "VELKARIS_ROTATION=" + rotation});
    EXPECT_EQ(child.wait(), 3);
    return child.errors();
}

TEST(FbdevProcess, NamesAFramebufferThatIsNotThere) {
    EXPECT_EQ(saidBy("fbdev:/dev/fb31"), "velkaris: fbdev: no framebuffer /dev/fb31\n");
}

TEST(FbdevProcess, NamesADeviceThatIsNoFramebuffer) {
    EXPECT_EQ(saidBy("fbdev:/dev/null"), "velkaris: fbdev: /dev/null is no framebuffer\n");
}

TEST(FbdevProcess, RefusesWhatIsNoFramebufferAndNoSize) {
    for (const std::string wish : {"1280", "fb0", "fb0:8x8", ":8x8", "8x8:"}) {
        EXPECT_EQ(saidBy("fbdev:" + wish),
                  "velkaris: VELKARIS_WINDOW: fbdev:" + wish +
                      " is no framebuffer and no size; write fbdev, fbdev:/dev/fbN, "
                      "fbdev:WIDTHxHEIGHT or fbdev:/dev/fbN:WIDTHxHEIGHT\n");
    }
}

TEST(FbdevProcess, RefusesARotationThatIsNone) {
    EXPECT_EQ(
        saidBy("fbdev", "45"),
        "velkaris: VELKARIS_ROTATION: \"45\" is no rotation; write auto, 0, 90, 180 or 270\n");
}

}  // namespace
