// Handles, contexts, pulse codes and connections.
#include <sys/dispatch.h>

#include <cerrno>

#include "platform/dispatch/channelFixture.h"

namespace {

int ignorePulse(message_context_t*, int, unsigned, void*) {
    return 0;
}

TEST(DispatchContext, NeedsSomethingAttached) {
    dispatch_t* const channel = dispatch_create();
    EXPECT_EQ(dispatch_context_alloc(channel), nullptr);
    EXPECT_EQ(errno, EINVAL);
}

TEST(MessageConnect, NeedsSomethingAttached) {
    dispatch_t* const channel = dispatch_create();
    EXPECT_EQ(message_connect(channel, MSG_FLAG_SIDE_CHANNEL), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST(MessageConnect, SideChannelIdsAreAboveAllDescriptors) {
    dispatch_t* const channel = dispatch_create();
    ASSERT_GE(pulse_attach(channel, MSG_FLAG_ALLOC_PULSE, 0, ignorePulse, nullptr), 0);
    const int coid = message_connect(channel, MSG_FLAG_SIDE_CHANNEL);
    EXPECT_TRUE(coid & _NTO_SIDE_CHANNEL);
    EXPECT_EQ(channelOfConnection(coid), channel);
}

TEST(PulseAttach, AllocatesEveryCodeOnce) {
    dispatch_t* const channel = dispatch_create();
    for (int expected = _PULSE_CODE_MINAVAIL; expected <= _PULSE_CODE_MAXAVAIL; ++expected)
        EXPECT_EQ(pulse_attach(channel, MSG_FLAG_ALLOC_PULSE, 0, ignorePulse, nullptr), expected);
    EXPECT_EQ(pulse_attach(channel, MSG_FLAG_ALLOC_PULSE, 0, ignorePulse, nullptr), -1);
    EXPECT_EQ(errno, EAGAIN);
}

TEST(PulseAttach, SkipsACodeThatWasAskedFor) {
    dispatch_t* const channel = dispatch_create();
    EXPECT_EQ(pulse_attach(channel, 0, 0, ignorePulse, nullptr), 0);
    EXPECT_EQ(pulse_attach(channel, MSG_FLAG_ALLOC_PULSE, 0, ignorePulse, nullptr), 1);
}

TEST(PulseAttach, RefusesWhatItCannotCall) {
    dispatch_t* const channel = dispatch_create();
    for (const int code : {-1, _PULSE_CODE_MAXAVAIL + 1}) {
        EXPECT_EQ(pulse_attach(channel, 0, code, ignorePulse, nullptr), -1);
        EXPECT_EQ(errno, EINVAL);
    }
    EXPECT_EQ(pulse_attach(channel, MSG_FLAG_ALLOC_PULSE, 0, nullptr, nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST(ChannelReserve, LateBiggerMessagesAreRefused) {
    dispatch_t* const channel = dispatch_create();
    EXPECT_EQ(channelReserve(channel, 2048, 1), EOK);
    dispatch_context_t* const context = dispatch_context_alloc(channel);
    ASSERT_NE(context, nullptr);
    EXPECT_EQ(context->resmgr_context.msg_max_size, 2048u);
    EXPECT_EQ(channelReserve(channel, 2048, 1), EOK);
    EXPECT_EQ(channelReserve(channel, 2049, 1), EINVAL);
    EXPECT_EQ(channelReserve(channel, 2048, 2), EINVAL);
}

TEST(ChannelReserve, TooSmallBuffersAreRaised) {
    dispatch_t* const channel = dispatch_create();
    EXPECT_EQ(channelReserve(channel, 1, 0), EOK);
    dispatch_context_t* const context = dispatch_context_alloc(channel);
    EXPECT_GE(context->resmgr_context.msg_max_size, sizeof(resmgr_iomsgs_t));
}

using DispatchHandler = ChannelFixture;

TEST_F(DispatchHandler, RefusesAContextThatHoldsNothing) {
    EXPECT_EQ(dispatch_handler(context_), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(DispatchHandler, HandlesWhatTheContextHoldsOnce) {
    arm(makeTimer(code_, 7), 1);
    turn();
    ASSERT_EQ(pulses_.size(), 1u);
    EXPECT_EQ(pulses_[0].code, code_);
    EXPECT_EQ(pulses_[0].value, 7);
    EXPECT_EQ(dispatch_handler(context_), -1);
}

TEST_F(DispatchHandler, DropsAPulseThatNobodyAttached) {
    arm(makeTimer(code_ + 1), 1);
    turn();
    EXPECT_TRUE(pulses_.empty());
}

}  // namespace
