#include "lib/message.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <cstring>

#include "console/protocol.h"
#include "velkaris/velkaris.h"

namespace {

using std::string_literals::operator""s;

std::string number(int32_t value) {
    return {reinterpret_cast<const char*>(&value), sizeof value};
}

TEST(Message, StatusIsTheTextWithItsNul) {
    Message message;
    ASSERT_EQ(statusMessage("ready", &message), 0);
    EXPECT_EQ(message.code, 0x80010501u);
    EXPECT_EQ(message.bytes, "ready\0"s);
}

TEST(Message, PercentIsOneNumber) {
    const Message message = percentMessage(-7);
    EXPECT_EQ(message.code, 0x80040502u);
    EXPECT_EQ(message.bytes, number(-7));
}

TEST(Message, AddedItemHasNameThenLabelBehindTheHeader) {
    Message message;
    ASSERT_EQ(addItemMessage("fw", "Firmware", 12, &message), 0);
    EXPECT_EQ(message.code, 0x800c0503u);
    EXPECT_EQ(message.bytes, number(0) + number(3) + number(12) + "fw\0Firmware\0"s);
}

TEST(Message, AUsedMessageHoldsNothingOfItsFirstUse) {
    Message message;
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(addItemMessage("fw", "Firmware", 12, &message), 0);
        EXPECT_EQ(message.bytes, number(0) + number(3) + number(12) + "fw\0Firmware\0"s);
    }
}

TEST(Message, UpdatedItemKeepsItsUnusedLabelOffsetInBounds) {
    Message message;
    ASSERT_EQ(updateItemMessage("fw", 99, &message), 0);
    EXPECT_EQ(message.code, 0x800c0504u);
    EXPECT_EQ(message.bytes, number(0) + number(3) + number(99) + "fw\0\0"s);
}

TEST(Message, EmptyNameAndLabelAreAnItemToo) {
    Message message;
    ASSERT_EQ(addItemMessage("", "", 0, &message), 0);
    EXPECT_EQ(message.bytes, number(0) + number(1) + number(0) + "\0\0"s);
}

TEST(Message, StatusOfExactlyThePayloadFitsAndOneMoreDoesNot) {
    Message message;
    EXPECT_EQ(statusMessage(std::string(VELKARIS_STATUS_BYTES, 's'), &message), 0);
    EXPECT_EQ(message.bytes.size(), size_t(kConsolePayloadBytes));
    EXPECT_EQ(statusMessage(std::string(VELKARIS_STATUS_BYTES + 1, 's'), &message), EMSGSIZE);
}

TEST(Message, ItemOfExactlyThePayloadFitsAndOneMoreDoesNot) {
    Message message;
    const std::string label(VELKARIS_NAME_AND_LABEL_BYTES - 2, 'l');
    EXPECT_EQ(addItemMessage("fw", label, 0, &message), 0);
    EXPECT_EQ(message.bytes.size(), size_t(kConsolePayloadBytes));
    EXPECT_EQ(addItemMessage("fw2", label, 0, &message), EMSGSIZE);
    EXPECT_EQ(addItemMessage(std::string(5000, 'n'), "", 0, &message), EMSGSIZE);
    EXPECT_EQ(addItemMessage("", std::string(5000, 'l'), 0, &message), EMSGSIZE);
}

TEST(Message, UpdateRefusesANameThatDoesNotFit) {
    Message message;
    EXPECT_EQ(updateItemMessage(std::string(VELKARIS_NAME_AND_LABEL_BYTES, 'n'), 0, &message), 0);
    EXPECT_EQ(updateItemMessage(std::string(VELKARIS_NAME_AND_LABEL_BYTES + 1, 'n'), 0, &message),
              EMSGSIZE);
}

TEST(Message, CheckIsNoneOfTheConsolesCommands) {
    EXPECT_EQ(checkMessage().code, 0x500u);
    EXPECT_EQ(checkMessage().bytes, "");
}

}  // namespace
