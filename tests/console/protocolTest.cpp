// The wire format, number by number.
#include "console/protocol.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <type_traits>

namespace {

TEST(Protocol, TheCodesAreThePlatformsEncodingOfTheCommands) {
    EXPECT_EQ(DCMD_CONSOLE_SET_STATUS, 0x80010501u);
    EXPECT_EQ(DCMD_CONSOLE_SET_PERCENT, 0x80040502u);
    EXPECT_EQ(DCMD_CONSOLE_ADD_ITEM, 0x800c0503u);
    EXPECT_EQ(DCMD_CONSOLE_UPDATE_ITEM, 0x800c0504u);
}

TEST(Protocol, TheItemHeaderIsThreeIntegersInThisOrder) {
    EXPECT_EQ(sizeof(ConsoleItemHeader), 12u);
    EXPECT_EQ(offsetof(ConsoleItemHeader, nameOffset), 0u);
    EXPECT_EQ(offsetof(ConsoleItemHeader, labelOffset), 4u);
    EXPECT_EQ(offsetof(ConsoleItemHeader, percent), 8u);
    EXPECT_TRUE(std::is_signed<decltype(ConsoleItemHeader::percent)>::value);
}

TEST(Protocol, TheReceiveBufferHoldsAHeaderAndThePayload) {
    EXPECT_EQ(kConsoleReceiveBytes, 2048);
    EXPECT_EQ(kConsolePayloadBytes, 2032);
}

}  // namespace
