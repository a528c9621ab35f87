// What a process says that is to draw on a graphics card and finds none.
#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>

#include "kd/windows/kms.h"
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

TEST(KmsWish, IsACardOrASizeOrBoth) {
    const std::string byPlace = "/dev/dri/by-path/pci-0000:00:02.0-card";
    const struct {
        std::string argument, card;
        DisplaySize size;
    } cases[] = {
        {"", "", {0, 0}},
        {"800x480", "", {800, 480}},
        {"/dev/dri/card1", "/dev/dri/card1", {0, 0}},
        {"/dev/dri/card1:800x480", "/dev/dri/card1", {800, 480}},
        {"/dev/dri/card1:800", "/dev/dri/card1:800", {0, 0}},
        {byPlace, byPlace, {0, 0}},
        {byPlace + ":800x480", byPlace, {800, 480}},
    };
    for (const auto& each : cases) {
        const std::optional<KmsWish> wish = parseKmsWish(each.argument);
        ASSERT_TRUE(wish) << each.argument;
        EXPECT_EQ(wish->card, each.card);
        EXPECT_TRUE(isSameSize(wish->size.value_or(DisplaySize{0, 0}), each.size)) << each.argument;
    }
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
