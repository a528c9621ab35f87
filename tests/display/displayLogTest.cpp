// The prefix and the stream of the display's lines.
#include "display/displayLog.h"

#include <gtest/gtest.h>

#include "support/outputCapture.h"

namespace {

TEST(DisplayLog, ProgressGoesToStandardOutputBehindThePrefix) {
    const Output output = outputOf([] { displayLog("size %d x %s\n", 12, "y"); });
    EXPECT_EQ(output.out, "[Velkaris] size 12 x y\n");
    EXPECT_EQ(output.err, "");
}

TEST(DisplayLog, ErrorsGoToStandardErrorBehindThePrefix) {
    const Output output = outputOf([] { displayError("code %d\n", -3); });
    EXPECT_EQ(output.err, "[Velkaris] code -3\n");
    EXPECT_EQ(output.out, "");
}

}  // namespace
