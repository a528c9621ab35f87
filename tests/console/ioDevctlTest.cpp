// The four commands, from well-formed payloads to any bytes at all.
#include "console/controlDevice.h"

#include <errno.h>
#include <gmock/gmock.h>

#include <cstring>
#include <random>
#include <vector>

#include "console/consoleModel.h"
#include "console/deviceTest.h"
#include "console/protocol.h"
#include "support/callLog.h"
#include "support/linkWraps.h"

namespace {

using ::testing::ElementsAre;

using IoDevctl = DeviceTest;

TEST_F(IoDevctl, WhatTheFrameworkHandledIsReturnedAsItIs) {
    for (const int result : {EOK, EBADF, ENOSYS, _RESMGR_NPARTS(1), _RESMGR_NOREPLY}) {
        fakeDispatch.devctlDefaultResult = result;
        EXPECT_EQ(send(DCMD_CONSOLE_SET_PERCENT, bytesOf(42)), result);
    }
    EXPECT_EQ(consoleStatus.overallPercent, 0);
}

TEST_F(IoDevctl, TheFrameworkGetsItsContextMessageAndOcb) {
    send(DCMD_CONSOLE_SET_PERCENT, bytesOf(42));
    EXPECT_EQ(fakeDispatch.handedContext, &context);
    EXPECT_EQ(fakeDispatch.handedMessage, received.data());
    EXPECT_EQ(fakeDispatch.handedOcb, &ocb);
}

TEST_F(IoDevctl, AnyOtherCodeIsRefusedWithoutAReply) {
    for (const uint32_t code : {0x80010505u, 0x00010501u, 0x80020501u, 0x80010500u, 0x80010401u,
                                0x80010502u, 0x800c0505u, 0xc0010501u, 0u, 0xffffffffu}) {
        EXPECT_EQ(send(code, item("a", "b", 1)), ENOSYS) << std::hex << code;
        EXPECT_EQ(context.iov[0].iov_base, nullptr);
        EXPECT_EQ(reinterpret_cast<io_devctl_t*>(received.data())->i.zero, 0x55555555);
    }
    EXPECT_THAT(consoleRows(), ElementsAre());
    EXPECT_EQ(consoleStatus.statusText, nullptr);
}

TEST_F(IoDevctl, EachCommandRepliesWithAZeroedHeader) {
    for (const uint32_t code : {DCMD_CONSOLE_SET_STATUS, DCMD_CONSOLE_SET_PERCENT,
                                DCMD_CONSOLE_ADD_ITEM, DCMD_CONSOLE_UPDATE_ITEM}) {
        const std::string payload = item("a", "b", 1);
        EXPECT_EQ(send(code, payload), _RESMGR_NPARTS(1));
        EXPECT_EQ(context.iov[0].iov_base, received.data());
        EXPECT_EQ(context.iov[0].iov_len, 16u);
        EXPECT_EQ(std::vector<uint8_t>(received.begin(), received.begin() + 16),
                  std::vector<uint8_t>(16, 0));
        EXPECT_EQ(std::string(received.begin() + 16, received.end()), payload);
    }
}

TEST_F(IoDevctl, TheSizeInTheHeaderIsNotUsed) {
    EXPECT_EQ(send(DCMD_CONSOLE_ADD_ITEM, item("a", "b", 1), 3), _RESMGR_NPARTS(1));
    EXPECT_EQ(send(DCMD_CONSOLE_SET_PERCENT, bytesOf(1).substr(0, 3), 4000), EINVAL);
}

TEST_F(IoDevctl, NeverDraws) {
    send(DCMD_CONSOLE_SET_STATUS, std::string("x\0", 2));
    send(DCMD_CONSOLE_SET_PERCENT, bytesOf(1));
    send(DCMD_CONSOLE_ADD_ITEM, item("a", "b", 1));
    send(DCMD_CONSOLE_UPDATE_ITEM, item("a", "b", 2));
    EXPECT_EQ(callCount("gl"), 0);
    EXPECT_EQ(callCount("eglSwapBuffers"), 0);
}

TEST_F(IoDevctl, SetStatusStoresTheTextUpToItsNul) {
    send(DCMD_CONSOLE_SET_STATUS, std::string("Flashing\0rest", 13));
    EXPECT_STREQ(consoleStatus.statusText, "Flashing");
}

TEST_F(IoDevctl, SetStatusReplacesTheTextAndFreesTheOldOne) {
    send(DCMD_CONSOLE_SET_STATUS, std::string("one\0", 4));
    const HeapWatch heap;
    send(DCMD_CONSOLE_SET_STATUS, std::string("two, longer\0", 12));
    EXPECT_STREQ(consoleStatus.statusText, "two, longer");
    EXPECT_EQ(heap.kept(), 0);
}

TEST_F(IoDevctl, SetStatusOfAnEmptyTextIsAnEmptyText) {
    send(DCMD_CONSOLE_SET_STATUS, std::string(1, '\0'));
    ASSERT_NE(consoleStatus.statusText, nullptr);
    EXPECT_STREQ(consoleStatus.statusText, "");
}

TEST_F(IoDevctl, SetStatusWithoutANulEndsWhereThePayloadEnds) {
    EXPECT_EQ(send(DCMD_CONSOLE_SET_STATUS, "abc"), _RESMGR_NPARTS(1));
    EXPECT_STREQ(consoleStatus.statusText, "abc");
}

TEST_F(IoDevctl, SetStatusWithoutAPayloadIsRefusedAndKeepsTheText) {
    send(DCMD_CONSOLE_SET_STATUS, "before");
    EXPECT_EQ(send(DCMD_CONSOLE_SET_STATUS, ""), EINVAL);
    EXPECT_STREQ(consoleStatus.statusText, "before");
}

TEST_F(IoDevctl, SetStatusTakesAllThatTheReceiveBufferHolds) {
    const std::string longest(kConsolePayloadBytes, 's');
    send(DCMD_CONSOLE_SET_STATUS, longest);
    EXPECT_EQ(consoleStatus.statusText, longest);
}

TEST_F(IoDevctl, SetPercentStoresAnyNumber) {
    for (const int32_t percent : {42, 100, 0, -1, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(send(DCMD_CONSOLE_SET_PERCENT, bytesOf(percent)), _RESMGR_NPARTS(1));
        EXPECT_EQ(consoleStatus.overallPercent, percent);
    }
}

TEST_F(IoDevctl, SetPercentLeavesTheOverallClockAlone) {
    consoleStatus.overallElapsed = 17;
    send(DCMD_CONSOLE_SET_PERCENT, bytesOf(42));
    send(DCMD_CONSOLE_SET_PERCENT, bytesOf(0));
    EXPECT_EQ(consoleStatus.overallElapsed, 17);
}

TEST_F(IoDevctl, AddItemAppendsBehindEverythingSoFar) {
    write("line");
    EXPECT_EQ(send(DCMD_CONSOLE_ADD_ITEM, item("fw", "Firmware", 7)), _RESMGR_NPARTS(1));
    EXPECT_THAT(consoleRows(), ElementsAre("line", "fw|Firmware|7|0"));
}

TEST_F(IoDevctl, AddItemTwiceKeepsTheFirstLabelAndPercent) {
    send(DCMD_CONSOLE_ADD_ITEM, item("fw", "first", 7));
    const HeapWatch heap;
    EXPECT_EQ(send(DCMD_CONSOLE_ADD_ITEM, item("fw", "second", 50)), _RESMGR_NPARTS(1));
    EXPECT_THAT(consoleRows(), ElementsAre("fw|first|7|0"));
    EXPECT_EQ(heap.kept(), 0);
}

TEST_F(IoDevctl, AddItemOfANameThatExistsDoesNotLookAtTheLabel) {
    send(DCMD_CONSOLE_ADD_ITEM, item("fw", "first", 7));
    EXPECT_EQ(send(DCMD_CONSOLE_ADD_ITEM, itemHeader(0, 4000, 9) + std::string("fw\0", 3)),
              _RESMGR_NPARTS(1));
    EXPECT_EQ(send(DCMD_CONSOLE_ADD_ITEM, itemHeader(0, -1, 9) + std::string("fw\0", 3)),
              _RESMGR_NPARTS(1));
    EXPECT_THAT(consoleRows(), ElementsAre("fw|first|7|0"));
}

TEST_F(IoDevctl, AddItemIsRefusedBeyondTheMostItemsAndAKnownNameIsNot) {
    for (int32_t i = 1; i < kMostConsoleItems; ++i) {
        ConsoleNode* const node = static_cast<ConsoleNode*>(malloc(sizeof(ConsoleNode)));
        *node = {newConsoleEntry("x", 1), consoleList};
        node->entry->name = strdup(std::to_string(i).c_str());
        consoleList = node;
    }
    write("lines\ndo not count");
    EXPECT_EQ(send(DCMD_CONSOLE_ADD_ITEM, item("the last", "label", 1)), _RESMGR_NPARTS(1));
    EXPECT_EQ(send(DCMD_CONSOLE_ADD_ITEM, item("one more", "label", 1)), ENOSPC);
    EXPECT_EQ(send(DCMD_CONSOLE_ADD_ITEM, item("one more", "label", 1)), ENOSPC);
    EXPECT_EQ(send(DCMD_CONSOLE_ADD_ITEM, item("17", "label", 1)), _RESMGR_NPARTS(1));
    EXPECT_EQ(send(DCMD_CONSOLE_UPDATE_ITEM, item("17", "", 50)), _RESMGR_NPARTS(1));
    EXPECT_EQ(consoleListItemCount(consoleList), kMostConsoleItems);
    EXPECT_EQ(write("a line has room"), EOK);
}

TEST_F(IoDevctl, WithoutMemoryACommandReturnsEnomemAndChangesNothing) {
    send(DCMD_CONSOLE_SET_STATUS, std::string("before\0", 7));
    const std::string name(200, 'n'), label(300, 'l');
    const std::string add = item(name, label, 1);
    for (const size_t size :
         {name.size() + 1, label.size() + 1, sizeof(ConsoleEntry), sizeof(ConsoleNode)}) {
        heapWraps.failingSize = size;
        const HeapWatch heap;
        EXPECT_EQ(send(DCMD_CONSOLE_ADD_ITEM, add), ENOMEM) << size;
        EXPECT_EQ(heap.kept(), 0) << size;
    }
    EXPECT_EQ(consoleList, nullptr);
    heapWraps.failingSize = name.size() + 1;
    EXPECT_EQ(send(DCMD_CONSOLE_UPDATE_ITEM, add), ENOMEM);
    EXPECT_EQ(send(DCMD_CONSOLE_SET_STATUS, name + '\0'), ENOMEM);
    EXPECT_STREQ(consoleStatus.statusText, "before");
}

TEST_F(IoDevctl, AddItemKeepsItsNodeEntryNameAndLabel) {
    const HeapWatch heap;
    send(DCMD_CONSOLE_ADD_ITEM, item("fw", "first", 7));
    EXPECT_EQ(heap.kept(), 4);
}

TEST_F(IoDevctl, AddItemReadsItsTextsWhereTheOffsetsSay) {
    send(DCMD_CONSOLE_ADD_ITEM, itemHeader(9, 2, -3) + std::string("..label\0.name\0..", 16));
    EXPECT_THAT(consoleRows(), ElementsAre("name|label|-3|0"));
}

TEST_F(IoDevctl, AddItemMayUseOneTextForBoth) {
    send(DCMD_CONSOLE_ADD_ITEM, itemHeader(0, 0, 1) + std::string("same\0", 5));
    EXPECT_THAT(consoleRows(), ElementsAre("same|same|1|0"));
}

TEST_F(IoDevctl, AddItemWithAnEmptyNameIsAProgressItem) {
    EXPECT_EQ(send(DCMD_CONSOLE_ADD_ITEM, item("", "label", 5)), _RESMGR_NPARTS(1));
    EXPECT_THAT(consoleRows(), ElementsAre("|label|5|0"));
    send(DCMD_CONSOLE_UPDATE_ITEM, item("", "", 6));
    EXPECT_THAT(consoleRows(), ElementsAre("|label|6|0"));
}

TEST_F(IoDevctl, AddItemTakesAnyPercent) {
    for (const int32_t percent : {0, 100, 150, -5, INT32_MIN, INT32_MAX}) {
        clearConsole();
        send(DCMD_CONSOLE_ADD_ITEM, item("a", "b", percent));
        EXPECT_EQ(consoleList->entry->percent, percent);
    }
}

TEST_F(IoDevctl, AddItemTextsWithoutANulEndWhereThePayloadEnds) {
    EXPECT_EQ(send(DCMD_CONSOLE_ADD_ITEM, itemHeader(2, 0, 1) + "label"), _RESMGR_NPARTS(1));
    EXPECT_THAT(consoleRows(), ElementsAre("bel|label|1|0"));
}

TEST_F(IoDevctl, UpdateItemSetsThePercentAlone) {
    addItem("fw", "Firmware", 7, 33);
    EXPECT_EQ(send(DCMD_CONSOLE_UPDATE_ITEM, item("fw", "other", 99)), _RESMGR_NPARTS(1));
    EXPECT_THAT(consoleRows(), ElementsAre("fw|Firmware|99|33"));
}

TEST_F(IoDevctl, UpdateItemOfAnUnknownNameSucceedsAndALaterAddTakesItsOwnPercent) {
    EXPECT_EQ(send(DCMD_CONSOLE_UPDATE_ITEM, item("fw", "", 80)), _RESMGR_NPARTS(1));
    EXPECT_THAT(consoleRows(), ElementsAre());
    send(DCMD_CONSOLE_ADD_ITEM, item("fw", "label", 3));
    EXPECT_THAT(consoleRows(), ElementsAre("fw|label|3|0"));
}

TEST_F(IoDevctl, UpdateItemDoesNotLookAtTheLabelOffset) {
    addItem("fw", "Firmware", 7);
    for (const int32_t offset : {-1, INT32_MIN, INT32_MAX, 3000}) {
        EXPECT_EQ(send(DCMD_CONSOLE_UPDATE_ITEM, itemHeader(0, offset, 9) + std::string("fw\0", 3)),
                  _RESMGR_NPARTS(1));
    }
    EXPECT_THAT(consoleRows(), ElementsAre("fw|Firmware|9|0"));
}

TEST_F(IoDevctl, UpdateItemNeverTouchesATextLine) {
    addLine("fw");
    send(DCMD_CONSOLE_UPDATE_ITEM, item("fw", "", 80));
    EXPECT_EQ(consoleList->entry->percent, 0);
}

TEST_F(IoDevctl, UpdateItemKeepsNoMemory) {
    addItem("fw", "Firmware", 7);
    const HeapWatch heap;
    send(DCMD_CONSOLE_UPDATE_ITEM, item("fw", "", 8));
    send(DCMD_CONSOLE_UPDATE_ITEM, item("no", "", 8));
    EXPECT_EQ(heap.kept(), 0);
}

TEST_F(IoDevctl, APayloadShorterThanItsCommandNeedsIsRefused) {
    consoleStatus.overallPercent = 5;
    addItem("a", "label", 1);
    for (size_t length = 0; length < 4; ++length)
        EXPECT_EQ(send(DCMD_CONSOLE_SET_PERCENT, bytesOf(42).substr(0, length)), EINVAL) << length;
    for (size_t length = 0; length < 12; ++length) {
        const std::string cut = itemHeader(0, 0, 42).substr(0, length);
        EXPECT_EQ(send(DCMD_CONSOLE_ADD_ITEM, cut), EINVAL) << length;
        EXPECT_EQ(send(DCMD_CONSOLE_UPDATE_ITEM, cut), EINVAL) << length;
    }
    EXPECT_EQ(consoleStatus.overallPercent, 5);
    EXPECT_THAT(consoleRows(), ElementsAre("a|label|1|0"));
}

TEST_F(IoDevctl, AMessageThatEndsInItsHeaderIsRefused) {
    received.assign(kHeaderBytes, 0);
    io_devctl_t* const message = reinterpret_cast<io_devctl_t*>(received.data());
    for (const size_t size : {0u, 1u, 15u, 16u}) {
        message->i.dcmd = static_cast<int32_t>(DCMD_CONSOLE_SET_STATUS);
        context = {};
        context.size = size;
        EXPECT_EQ(consoleIoDevctl(&context, message, &ocb), EINVAL) << size;
    }
    EXPECT_EQ(consoleStatus.statusText, nullptr);
}

TEST_F(IoDevctl, AnOffsetOutsideThePayloadIsRefusedAndChangesNothing) {
    addItem("abc", "label", 1);
    const std::string area("abc\0", 4);
    for (const int32_t outside :
         {4, 5, 2019, 2020, 2021, INT32_MAX, INT32_MAX - 12, -1, -12, -13, INT32_MIN}) {
        EXPECT_EQ(send(DCMD_CONSOLE_ADD_ITEM, itemHeader(outside, 0, 9) + area), EINVAL) << outside;
        EXPECT_EQ(send(DCMD_CONSOLE_ADD_ITEM, itemHeader(1, outside, 9) + area), EINVAL) << outside;
        EXPECT_EQ(send(DCMD_CONSOLE_UPDATE_ITEM, itemHeader(outside, 0, 9) + area), EINVAL)
            << outside;
    }
    EXPECT_THAT(consoleRows(), ElementsAre("abc|label|1|0"));
}

TEST_F(IoDevctl, ARefusedCommandSetsUpNoReplyAndKeepsNoMemory) {
    const HeapWatch heap;
    send(DCMD_CONSOLE_ADD_ITEM, itemHeader(0, 100, 9) + std::string("abc\0", 4));
    send(DCMD_CONSOLE_ADD_ITEM, itemHeader(100, 0, 9) + std::string("abc\0", 4));
    send(DCMD_CONSOLE_UPDATE_ITEM, itemHeader(100, 0, 9) + std::string("abc\0", 4));
    EXPECT_EQ(heap.kept(), 0);
    EXPECT_EQ(context.iov[0].iov_base, nullptr);
}

TEST_F(IoDevctl, TheLastByteOfThePayloadIsInside) {
    const std::string area("abc\0", 4);
    EXPECT_EQ(send(DCMD_CONSOLE_ADD_ITEM, itemHeader(2, 3, 9) + area), _RESMGR_NPARTS(1));
    EXPECT_THAT(consoleRows(), ElementsAre("c||9|0"));
}

TEST_F(IoDevctl, AHeaderWithoutAStringAreaIsRefused) {
    EXPECT_EQ(send(DCMD_CONSOLE_ADD_ITEM, itemHeader(0, 0, 9)), EINVAL);
    EXPECT_EQ(send(DCMD_CONSOLE_UPDATE_ITEM, itemHeader(0, 0, 9)), EINVAL);
}

// Any bytes, with offsets that lie near the payload more often than far from it.
std::string randomPayload(size_t length, std::mt19937* random) {
    std::string payload(length, '\0');
    for (char& byte : payload)
        byte = static_cast<char>((*random)());
    if (length >= 12 && (*random)() % 4 != 0) {
        const auto offset = [&] { return static_cast<int32_t>((*random)() % (length + 8)) - 4; };
        payload.replace(0, 8, bytesOf(offset()) + bytesOf(offset()));
    }
    return payload;
}

TEST_F(IoDevctl, PayloadsOfEveryLengthWithAnyContentsAreTakenOrRefusedWhole) {
    std::mt19937 random(4711);
    for (size_t length = 0; length <= kConsolePayloadBytes; ++length) {
        for (const uint32_t code : {DCMD_CONSOLE_SET_STATUS, DCMD_CONSOLE_SET_PERCENT,
                                    DCMD_CONSOLE_ADD_ITEM, DCMD_CONSOLE_UPDATE_ITEM}) {
            const std::string payload = randomPayload(length, &random);
            const int result = send(code, payload);
            ASSERT_TRUE(result == _RESMGR_NPARTS(1) || result == EINVAL) << length;
            if (code == DCMD_CONSOLE_SET_STATUS && length > 0) {
                ASSERT_EQ(std::string(consoleStatus.statusText), payload.c_str());
            }
        }
        if (length % 50 == 0)
            clearConsole();
    }
}

TEST_F(IoDevctl, AddItemIsTakenExactlyWhenBothOffsetsLieInside) {
    std::mt19937 random(815);
    for (size_t length = 12; length <= 100; ++length) {
        for (int i = 0; i < 40; ++i) {
            clearConsole();
            const std::string payload = randomPayload(length, &random);
            int32_t offsets[2];
            memcpy(offsets, payload.data(), sizeof(offsets));
            const int64_t area = static_cast<int64_t>(length) - 12;
            const bool inside =
                offsets[0] >= 0 && offsets[0] < area && offsets[1] >= 0 && offsets[1] < area;
            ASSERT_EQ(send(DCMD_CONSOLE_ADD_ITEM, payload), inside ? _RESMGR_NPARTS(1) : EINVAL);
            ASSERT_EQ(consoleRows().size(), inside ? 1u : 0u);
            if (inside) {
                const std::string name = payload.substr(12 + offsets[0]).c_str();
                const std::string label = payload.substr(12 + offsets[1]).c_str();
                ASSERT_EQ(consoleList->entry->name, name);
                ASSERT_EQ(consoleList->entry->text, label);
            }
        }
    }
}

}  // namespace
