// Timers: what they refuse, and that each expiry is handled once. Every test waits for expiries by
// handling them; none depends on how long that takes.
#include <sys/neutrino.h>

#include <cerrno>

#include "platform/dispatch/channelFixture.h"

namespace {

constexpr uint64_t kHour = 3600ull * 1000000000;
constexpr uint64_t kMicrosecond = 1000;

using PulseTimers = ChannelFixture;

uint64_t realtimeNow() {
    timespec time;
    clock_gettime(CLOCK_REALTIME, &time);
    return static_cast<uint64_t>(time.tv_sec) * 1000000000 + static_cast<uint64_t>(time.tv_nsec);
}

TEST_F(PulseTimers, RefuseWhatTheyCannotServe) {
    struct sigevent pulse = event(code_);
    EXPECT_EQ(TimerCreate(CLOCK_PROCESS_CPUTIME_ID, &pulse), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(TimerCreate(CLOCK_REALTIME, nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
    pulse.sigev_notify = SIGEV_NONE;
    EXPECT_EQ(TimerCreate(CLOCK_REALTIME, &pulse), -1);
    EXPECT_EQ(errno, EINVAL);
    pulse = event(code_);
    pulse.sigev_coid = 0;
    EXPECT_EQ(TimerCreate(CLOCK_REALTIME, &pulse), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(PulseTimers, SettimeRefusesAnUnknownTimerOrFlag) {
    const struct _itimer spec = {1, 0};
    EXPECT_EQ(TimerSettime(-1, 0, &spec, nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(TimerSettime(1 << 20, 0, &spec, nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
    const int timer = makeTimer(code_);
    EXPECT_EQ(TimerSettime(timer, 0x40, &spec, nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(TimerSettime(timer, 0, nullptr, nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
}

// An hourly timer that began ten and a half hours ago: eleven expiries are due at once, and the
// next is half an hour away, so nothing here depends on how fast the test runs.
TEST_F(PulseTimers, EveryExpiryIsHandledOnceAndNoneIsInvented) {
    const int hourly = makeTimer(code_, 1);
    const struct _itimer began = {realtimeNow() - 10 * kHour - kHour / 2, kHour};
    ASSERT_EQ(TimerSettime(hourly, TIMER_ABSTIME, &began, nullptr), 0);
    for (size_t expected = 1; expected <= 11; ++expected) {
        turn();
        ASSERT_EQ(pulses_.size(), expected);
    }
    arm(makeTimer(code_, 2), 1);
    turn();
    EXPECT_EQ(pulses_.back().value, 2);
}

TEST_F(PulseTimers, ExpiriesThatWereNotHandledSurviveDisarming) {
    const int hourly = makeTimer(code_, 1);
    const struct _itimer began = {realtimeNow() - 10 * kHour - kHour / 2, kHour};
    ASSERT_EQ(TimerSettime(hourly, TIMER_ABSTIME, &began, nullptr), 0);
    disarm(hourly);
    for (int i = 0; i < 11; ++i)
        turn();
    arm(makeTimer(code_, 2), 1);
    turn();
    ASSERT_EQ(pulses_.size(), 12u);
    EXPECT_EQ(pulses_.back().value, 2);
}

TEST_F(PulseTimers, ExpiriesThatFollowThoseAlreadyCountedAreAdded) {
    const int timer = makeTimer(code_);
    armInThePast(timer);
    armInThePast(timer, realtimeNow() - 10 * kHour - kHour / 2, kHour);
    arm(timer, 0);
    int pulses = 0;
    while (pulseTimersTake())
        ++pulses;
    EXPECT_EQ(pulses, 12);
}

TEST_F(PulseTimers, AFastTimerKeepsComing) {
    arm(makeTimer(code_), 1, kMicrosecond);
    for (int i = 0; i < 2000; ++i)
        turn();
    EXPECT_EQ(pulses_.size(), 2000u);
}

TEST_F(PulseTimers, AOneShotExpiresOnce) {
    arm(makeTimer(code_, 1), 1);
    turn();
    arm(makeTimer(code_, 2), 1);
    turn();
    ASSERT_EQ(pulses_.size(), 2u);
    EXPECT_EQ(pulses_[0].value, 1);
    EXPECT_EQ(pulses_[1].value, 2);
}

TEST_F(PulseTimers, ArmingAnewReplacesTheOldTime) {
    const int timer = makeTimer(code_);
    arm(timer, kHour, kHour);
    struct _itimer left;
    const struct _itimer soon = {1, 0};
    ASSERT_EQ(TimerSettime(timer, 0, &soon, &left), 0);
    EXPECT_GT(left.nsec, kHour / 2);
    EXPECT_LE(left.nsec, kHour);
    EXPECT_EQ(left.interval_nsec, kHour);
    turn();
    EXPECT_EQ(pulses_.size(), 1u);
}

TEST_F(PulseTimers, AnAbsoluteTimeInThePastIsDueAtOnce) {
    const struct _itimer past = {1, 0};
    ASSERT_EQ(TimerSettime(makeTimer(code_), TIMER_ABSTIME, &past, nullptr), 0);
    turn();
    EXPECT_EQ(pulses_.size(), 1u);
}

TEST_F(PulseTimers, DisarmedTimersReportNothingLeft) {
    const int timer = makeTimer(code_);
    struct _itimer left = {5, 5};
    const struct _itimer off = {0, 0};
    ASSERT_EQ(TimerSettime(timer, 0, &off, &left), 0);
    EXPECT_EQ(left.nsec, 0u);
    EXPECT_EQ(left.interval_nsec, 0u);
}

TEST_F(PulseTimers, TimersThatAreDueTogetherTakeTurns) {
    const int a = makeTimer(code_, 1), b = makeTimer(code_, 2);
    arm(a, 1, kMicrosecond);
    arm(b, 1, kMicrosecond);
    int seen[3] = {};
    while (seen[1] < 10 || seen[2] < 10) {
        turn();
        ++seen[pulses_.back().value];
        ASSERT_LT(seen[1] + seen[2], 1000);
    }
}

}  // namespace
