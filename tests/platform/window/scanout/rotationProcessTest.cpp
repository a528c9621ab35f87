// What a process says that is to turn the picture on a window that does not.
#include <gtest/gtest.h>

#include "platform/support/childProcess.h"

namespace {

TEST(RotationProcess, IsRefusedByAWindowThatDoesNotTurn) {
    for (const std::string rotation : {"90", "180", "45"}) {
        ChildProcess child({VELKARIS_WINDOW_PROGRAM},
                           {"VELKARIS_WINDOW=headless:8x8", "VELKARIS_ROTATION=" + rotation});
        EXPECT_EQ(child.wait(), 3);
        EXPECT_EQ(
            child.errors(),
            "velkaris: VELKARIS_ROTATION: headless does not turn the picture; write auto or 0\n");
    }
}

TEST(RotationProcess, MayBeNoneOrAutomaticEverywhere) {
    for (const std::string rotation : {"", "0", "auto"}) {
        ChildProcess child({VELKARIS_WINDOW_PROGRAM},
                           {"VELKARIS_WINDOW=headless:8x4", "VELKARIS_ROTATION=" + rotation});
        EXPECT_EQ(child.readLine(), "screen 8x4, drawing 8x4");
    }
}

}  // namespace
