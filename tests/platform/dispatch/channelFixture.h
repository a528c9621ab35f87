// A dispatch handle with a context, and pulses that a test can send to itself.
#pragma once

#include <gtest/gtest.h>
#include <sys/dispatch.h>
#include <sys/neutrino.h>

#include <cstring>
#include <vector>

#include "dispatch/channel.h"
#include "dispatch/eventLoop.h"
#include "dispatch/pulseTimers.h"

struct HandledPulse {
    int code;
    int value;
};

class ChannelFixture : public testing::Test {
protected:
    void SetUp() override {
        channel_ = dispatch_create();
        ASSERT_NE(channel_, nullptr);
        code_ = pulse_attach(channel_, MSG_FLAG_ALLOC_PULSE, 0, notePulse, this);
        ASSERT_GE(code_, 0);
        context_ = dispatch_context_alloc(channel_);
        ASSERT_NE(context_, nullptr);
    }

    // Timers belong to the process; what a test leaves behind would ring in the next.
    void TearDown() override {
        for (const int timer : timers_)
            disarm(timer);
        while (pulseTimersTake()) {
        }
    }

    struct sigevent event(int code, int value = 0) {
        struct sigevent event;
        memset(&event, 0, sizeof(event));
        event.sigev_notify = SIGEV_PULSE;
        event.sigev_coid = message_connect(channel_, MSG_FLAG_SIDE_CHANNEL);
        event.sigev_value.sival_int = value;
        event.sigev_code = static_cast<short>(code);
        event.sigev_priority = SIGEV_PULSE_PRIO_INHERIT;
        return event;
    }

    int makeTimer(int code, int value = 0) {
        const struct sigevent pulse = event(code, value);
        const int timer = TimerCreate(CLOCK_REALTIME, &pulse);
        EXPECT_GE(timer, 0);
        timers_.push_back(timer);
        return timer;
    }

    static void arm(int timer, uint64_t nsec, uint64_t interval = 0) {
        const struct _itimer spec = {nsec, interval};
        EXPECT_EQ(TimerSettime(timer, 0, &spec, nullptr), 0);
    }

    // A pulse that is due since long ago, and each `interval` since then.
    static void armInThePast(int timer, uint64_t since = 1, uint64_t interval = 0) {
        const struct _itimer past = {since, interval};
        ASSERT_EQ(TimerSettime(timer, TIMER_ABSTIME, &past, nullptr), 0);
        while (!pulseTimersWaiting())
            ASSERT_TRUE(eventLoopTurn(0));
    }

    static void disarm(int timer) { arm(timer, 0); }

    // Waits for one thing and handles it.
    void turn() {
        dispatch_context_t* const held = dispatch_block(context_);
        ASSERT_NE(held, nullptr);
        context_ = held;
        ASSERT_EQ(dispatch_handler(context_), 0);
    }

    static int notePulse(message_context_t* ctp, int code, unsigned, void* handle) {
        static_cast<ChannelFixture*>(handle)->pulses_.push_back(
            {code, ctp->msg->pulse.value.sival_int});
        return 0;
    }

    dispatch_t* channel_ = nullptr;
    dispatch_context_t* context_ = nullptr;
    int code_ = -1;
    std::vector<HandledPulse> pulses_;
    std::vector<int> timers_;
};
