#include "dispatch/pulseTimers.h"

#include <sys/timerfd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <vector>

#include "dispatch/channel.h"
#include "dispatch/eventLoop.h"
#include "ownership/fileDescriptor.h"

namespace {

constexpr uint64_t kSecond = 1000000000;
constexpr uint64_t kNever = UINT64_MAX;
constexpr size_t kTimersMax = 256;

struct PulseTimer {
    struct sigevent event = {};
    clockid_t clock = CLOCK_MONOTONIC;       // the one its owner named
    clockid_t armedClock = CLOCK_MONOTONIC;  // the one it runs on
    FileDescriptor fd;
    uint64_t due = kNever;  // next expiry that has not been counted, on armedClock
    uint64_t interval = 0;  // nanoseconds; 0: one expiry only
    uint64_t expiries = 0;  // counted, not handled

    ~PulseTimer() {
        if (fd)
            eventLoopForget(fd.get());
    }
};

// Never freed: the loop may run until the process ends.
std::vector<std::unique_ptr<PulseTimer>>& timers() {
    static auto* all = new std::vector<std::unique_ptr<PulseTimer>>;
    return *all;
}

timespec toTimespec(uint64_t nanoseconds) {
    return {static_cast<time_t>(nanoseconds / kSecond), static_cast<long>(nanoseconds % kSecond)};
}

uint64_t toNanoseconds(const timespec& time) {
    return static_cast<uint64_t>(time.tv_sec) * kSecond + static_cast<uint64_t>(time.tv_nsec);
}

uint64_t now(clockid_t clock) {
    timespec time;
    clock_gettime(clock, &time);
    return toNanoseconds(time);
}

uint64_t addSaturated(uint64_t a, uint64_t b) {
    return a > kNever - b ? kNever : a + b;
}

// Moves the kernel's count into ours. What is due afterwards follows from the count alone.
void countExpiries(PulseTimer* timer) {
    uint64_t count;
    if (!timer->fd || read(timer->fd.get(), &count, sizeof count) != sizeof count)
        return;
    timer->expiries += count;
    timer->due = timer->interval == 0 ? kNever : addSaturated(timer->due, count * timer->interval);
}

// Only wakes the loop: the expiry itself is found by pulseTimersTakeDue, whose clock may disagree
// with the kernel's timer by a moment; counting here settles it.
void onTimerReady(void* data) {
    countExpiries(static_cast<PulseTimer*>(data));
}

// A relative time is monotonic whatever clock the timer names: setting the clock does not move it.
bool openOn(PulseTimer* timer, clockid_t clock) {
    if (timer->fd && timer->armedClock == clock)
        return true;
    FileDescriptor fd(timerfd_create(clock, TFD_CLOEXEC | TFD_NONBLOCK));
    if (!fd || !eventLoopWatch(fd.get(), onTimerReady, timer))
        return false;
    if (timer->fd)
        eventLoopForget(timer->fd.get());
    timer->fd = std::move(fd);
    timer->armedClock = clock;
    return true;
}

void reportLeft(const PulseTimer& timer, struct _itimer* left) {
    *left = {};
    if (timer.due == kNever)
        return;
    const uint64_t current = now(timer.armedClock);
    left->nsec = timer.due > current ? timer.due - current : 1;  // 0 would mean disarmed
    left->interval_nsec = timer.interval;
}

PulseTimer* findTimer(int id) {
    const auto& all = timers();
    return id >= 0 && static_cast<size_t>(id) < all.size() ? all[id].get() : nullptr;
}

}  // namespace

const struct sigevent* pulseTimersTakeDue() {
    static size_t first = 0;  // timers that are due together take turns
    const auto& all = timers();
    for (size_t i = 0; i < all.size(); ++i) {
        const size_t id = (first + i) % all.size();
        PulseTimer& timer = *all[id];
        if (timer.expiries == 0 && timer.due != kNever && now(timer.armedClock) >= timer.due)
            countExpiries(&timer);
        if (timer.expiries > 0) {
            --timer.expiries;
            first = id + 1;
            return &timer.event;
        }
    }
    return nullptr;
}

int TimerCreate(clockid_t id, const struct sigevent* event) {
    const bool knownClock = id == CLOCK_REALTIME || id == CLOCK_MONOTONIC;
    if (!knownClock || !event || event->sigev_notify != SIGEV_PULSE ||
        !channelOfConnection(event->sigev_coid)) {
        errno = EINVAL;
        return -1;
    }
    auto timer = std::make_unique<PulseTimer>();
    timer->event = *event;
    timer->clock = id;
    if (timers().size() >= kTimersMax || !openOn(timer.get(), CLOCK_MONOTONIC)) {
        errno = EAGAIN;
        return -1;
    }
    timers().push_back(std::move(timer));
    return static_cast<int>(timers().size() - 1);
}

int TimerSettime(int id, int flags, const struct _itimer* itime, struct _itimer* oitime) {
    PulseTimer* timer = findTimer(id);
    if (!timer || !itime || (flags & ~TIMER_ABSTIME) != 0) {
        errno = EINVAL;
        return -1;
    }
    countExpiries(timer);  // pulses that were sent stay sent
    if (oitime)
        reportLeft(*timer, oitime);
    const bool absolute = (flags & TIMER_ABSTIME) != 0;
    if (!openOn(timer, absolute ? timer->clock : CLOCK_MONOTONIC)) {
        errno = EAGAIN;
        return -1;
    }

    timer->interval = itime->interval_nsec;
    timer->due = kNever;
    if (itime->nsec != 0)
        timer->due = absolute ? itime->nsec : addSaturated(now(CLOCK_MONOTONIC), itime->nsec);
    itimerspec spec = {};
    if (timer->due != kNever)
        spec = {toTimespec(timer->interval), toTimespec(timer->due)};
    return timerfd_settime(timer->fd.get(), TFD_TIMER_ABSTIME, &spec, nullptr);
}
