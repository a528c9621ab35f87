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
                HasSubstr("velkaris: kms: no graphics card /dev/dri/card9999\n"));
}

TEST(KmsProcess, NamesADeviceThatIsNoCard) {
    EXPECT_THAT(saidBy("kms:/dev/null"),
                HasSubstr("velkaris: kms: /dev/null is no graphics card that drives displays\n"));
}

TEST(KmsProcess, RefusesWhatIsNoCardAndNoSize) {
    for (const std::string wish : {"1280", "card0", "card0:8x8", ":8x8", "8x8:"}) {
        EXPECT_EQ(saidBy("kms:" + wish),
                  "velkaris: VELKARIS_WINDOW: kms:" + wish +
                      " is no card and no size; write kms, kms:/dev/dri/cardN, kms:WIDTHxHEIGHT or "
                      "kms:/dev/dri/cardN:WIDTHxHEIGHT\n");
    }
}

TEST(KmsProcess, RefusesARotationThatIsNone) {
    ChildProcess child({kProgram}, {"VELKARIS_WINDOW=kms", "VELKARIS_ROTATION=45"});
    EXPECT_NE(child.wait(), 0);
    EXPECT_EQ(
        child.errors(),
        "velkaris: VELKARIS_ROTATION: \"45\" is no rotation; write auto, 0, 90, 180 or 270\n");
}

TEST(KmsProcess, GoesOnWithoutAnyCardAtTheSizeThatIsAskedFor) {
    if (std::filesystem::exists("/dev/dri"))
        GTEST_SKIP() << "this machine has a graphics card";
    ChildProcess child({kProgram}, {"VELKARIS_WINDOW=kms:321x123"});
    EXPECT_EQ(child.readLine(), "screen 321x123, drawing 321x123");
}

TEST(KmsProcess, GoesOnWithoutAnyCard) {
    if (std::filesystem::exists("/dev/dri"))
        GTEST_SKIP() << "this machine has a graphics card";
    ChildProcess child({kProgram}, {"VELKARIS_WINDOW=kms"});
    EXPECT_EQ(child.readLine(), "screen 1280x480, drawing 1280x480");
    EXPECT_EQ(child.errors(),
              "velkaris: kms: no display is connected; drawing off screen, 1280x480, until "
              "one appears\n");
    child.send("swap");
    EXPECT_EQ(child.readLine(), "swapped");
}

}  // namespace
