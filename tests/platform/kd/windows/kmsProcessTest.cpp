// What a process says that is to draw on a graphics card and finds none.
#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>

#include "platform/support/childProcess.h"

namespace {

using testing::HasSubstr;

const char* const kProgram = VELKARIS_WINDOW_PROGRAM;

std::string saidBy(const std::string& window) {
    ChildProcess child({kProgram}, {"VELKARIS_WINDOW=" + window});
    EXPECT_NE(child.wait(), 0);
    return child.errors();
}

TEST(KmsProcess, NamesACardThatIsNotThere) {
    EXPECT_THAT(saidBy("kms:/dev/dri/card9999"),
                HasSubstr("[Velkaris] window: kms: no graphics card /dev/dri/card9999\n"));
}

TEST(KmsProcess, NamesADeviceThatIsNoCard) {
    EXPECT_THAT(
        saidBy("kms:/dev/null"),
        HasSubstr("[Velkaris] window: kms: /dev/null is no graphics card that drives displays\n"));
}

TEST(KmsProcess, GoesOnWithoutAnyCard) {
    if (std::filesystem::exists("/dev/dri"))
        GTEST_SKIP() << "this machine has a graphics card";
    ChildProcess child({kProgram}, {"VELKARIS_WINDOW=kms"});
    EXPECT_EQ(child.readLine(), "screen 1280x480, drawing 1280x480");
    EXPECT_EQ(
        child.errors(),
        "[Velkaris] window: kms: no display is connected; drawing off screen, 1280x480, until "
        "one appears\n");
    child.send("swap");
    EXPECT_EQ(child.readLine(), "swapped");
}

}  // namespace
