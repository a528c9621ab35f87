// Text written to the device node.
#include "console/controlDevice.h"

#include <errno.h>
#include <gmock/gmock.h>

#include <string>

#include "console/consoleModel.h"
#include "console/deviceTest.h"
#include "support/callLog.h"
#include "support/linkWraps.h"

namespace {

using ::testing::ElementsAre;

using IoWrite = DeviceTest;

TEST_F(IoWrite, OneWordIsOneLineAndItsBytesCount) {
    EXPECT_EQ(write("hello"), EOK);
    EXPECT_THAT(consoleRows(), ElementsAre("hello"));
    EXPECT_EQ(context.status, 5);
}

TEST_F(IoWrite, ALineFeedMakesTwoLines) {
    EXPECT_EQ(write("a\nb"), EOK);
    EXPECT_THAT(consoleRows(), ElementsAre("a", "b"));
    EXPECT_EQ(context.status, 3);
}

TEST_F(IoWrite, TheTextEndsAtItsFirstNul) {
    EXPECT_EQ(write(std::string("x\0y", 3)), EOK);
    EXPECT_THAT(consoleRows(), ElementsAre("x"));
    EXPECT_EQ(context.status, 3);
}

TEST_F(IoWrite, ATextThatBringsItsNulIsTakenAsItIs) {
    EXPECT_EQ(write(std::string("hi\0", 3)), EOK);
    EXPECT_THAT(consoleRows(), ElementsAre("hi"));
    EXPECT_EQ(context.status, 3);
}

TEST_F(IoWrite, LongTextWrapsAtTheDrawingWidth) {
    EXPECT_EQ(write("hello world"), EOK);
    EXPECT_THAT(consoleRows(), ElementsAre("hello", "world"));
    EXPECT_EQ(context.status, 11);
}

TEST_F(IoWrite, OfNothingAddsNothingAndReportsZero) {
    EXPECT_EQ(write(""), EOK);
    EXPECT_THAT(consoleRows(), ElementsAre());
    EXPECT_EQ(context.status, 0);
    EXPECT_EQ(node.flags, 0u);
}

TEST_F(IoWrite, VerifiesThenReadsTheDataBehindTheHeader) {
    write("hello");
    EXPECT_THAT(calls(), ElementsAre("iofunc_write_verify(null)", "resmgr_msgread(5, 16)"));
}

TEST_F(IoWrite, IsVerifiedByItsOwnContextMessageAndOcb) {
    write("hello");
    EXPECT_EQ(fakeDispatch.handedContext, &context);
    EXPECT_EQ(fakeDispatch.handedMessage, fakeDispatch.clientMessage.data());
    EXPECT_EQ(fakeDispatch.handedOcb, &ocb);
}

TEST_F(IoWrite, RefusedByTheVerifyReturnsThatErrorAndAddsNothing) {
    fakeDispatch.writeVerifyResult = EBADF;
    EXPECT_EQ(write("hello"), EBADF);
    EXPECT_THAT(consoleRows(), ElementsAre());
    EXPECT_THAT(calls(), ElementsAre("iofunc_write_verify(null)"));
    EXPECT_EQ(context.status, -1);
    EXPECT_EQ(node.flags, 0u);
}

TEST_F(IoWrite, TheVerifysErrorComesBeforeThatOfThePosition) {
    fakeDispatch.writeVerifyResult = EBADF;
    EXPECT_EQ(write("hello", _IO_XTYPE_OFFSET), EBADF);
}

TEST_F(IoWrite, OfAnyExtendedTypeIsRefused) {
    for (uint32_t xtype = 1; xtype < 256; ++xtype)
        EXPECT_EQ(write("hello", xtype), ENOSYS) << xtype;
    EXPECT_THAT(consoleRows(), ElementsAre());
    EXPECT_EQ(node.flags, 0u);
    EXPECT_EQ(callCount("resmgr_msgread"), 0);
}

TEST_F(IoWrite, OnlyTheLowByteIsTheExtendedType) {
    EXPECT_EQ(write("hello", 0xffffff00u), EOK);
    EXPECT_THAT(consoleRows(), ElementsAre("hello"));
}

TEST_F(IoWrite, WithoutMemoryForTheTextReturnsEnomem) {
    heapWraps.failingSize = 777 + 1;
    EXPECT_EQ(write(std::string(777, 'x')), ENOMEM);
    heapWraps.failingSize = 0;
    EXPECT_THAT(consoleRows(), ElementsAre());
    EXPECT_EQ(node.flags, 0u);
}

TEST_F(IoWrite, WithoutMemoryForARowReturnsEnomemAndAddsNothing) {
    write("before");
    heapWraps.failingSize = sizeof(ConsoleNode);
    const HeapWatch heap;
    EXPECT_EQ(write("one\ntwo"), ENOMEM);
    EXPECT_EQ(heap.kept(), 0);
    EXPECT_THAT(consoleRows(), ElementsAre("before"));
}

TEST_F(IoWrite, MarksTheNodesTimes) {
    node.flags = 0x100;
    write("x");
    EXPECT_EQ(node.flags, 0x105u);
}

TEST_F(IoWrite, KeepsNothingButTheLine) {
    const HeapWatch heap;
    write("x");
    EXPECT_EQ(heap.kept(), 3);  // node, entry, text
    write(std::string("\0x", 2));
    EXPECT_EQ(heap.kept(), 3);
}

TEST_F(IoWrite, AMessageShorterThanAnnouncedEndsWhereItEnds) {
    EXPECT_EQ(writeAnnouncing(100, "abc"), EOK);
    EXPECT_THAT(consoleRows(), ElementsAre("abc"));
    EXPECT_EQ(context.status, 100);
}

TEST_F(IoWrite, OfMoreThanTheReceiveBufferArrivesWhole) {
    std::string text;
    for (int i = 0; i < 100000; ++i)
        text += "12345678\n";
    EXPECT_EQ(write(text), EOK);
    EXPECT_EQ(consoleRows().size(), 100000u);
    EXPECT_EQ(context.status, 900000);
}

TEST_F(IoWrite, NeverDraws) {
    write("hello\nworld");
    EXPECT_EQ(callCount("gl"), 0);
    EXPECT_EQ(callCount("eglSwapBuffers"), 0);
}

}  // namespace
