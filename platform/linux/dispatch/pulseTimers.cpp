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
constexpr size_t kTimersMax = 256;

struct PulseTimer {
    struct sigevent event = {};
    clockid_t clock = CLOCK_MONOTONIC;       // the one its owner named
    clockid_t armedClock = CLOCK_MONOTONIC;  // the one it runs on
    FileDescriptor fd;
    uint64_t expiries = 0;  // counted, not taken

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

// Moves the kernel's count into ours.
void countExpiries(void* data) {
    auto* const timer = static_cast<PulseTimer*>(data);
    uint64_t count;
    if (read(timer->fd.get(), &count, sizeof count) == sizeof count)
        timer->expiries += count;
}

// A relative time is monotonic whatever clock the timer names: setting the clock does not move it.
bool openOn(PulseTimer* timer, clockid_t clock) {
    if (timer->fd && timer->armedClock == clock)
        return true;
    FileDescriptor fd(timerfd_create(clock, TFD_CLOEXEC | TFD_NONBLOCK));
    if (!fd || !eventLoopWatch(fd.get(), countExpiries, timer))
        return false;
    if (timer->fd)
        eventLoopForget(timer->fd.get());
    timer->fd = std::move(fd);
    timer->armedClock = clock;
    return true;
}

void reportLeft(const PulseTimer& timer, struct _itimer* left) {
    itimerspec armed = {};
    timerfd_gettime(timer.fd.get(), &armed);
    *left = {toNanoseconds(armed.it_value), toNanoseconds(armed.it_interval)};
}

PulseTimer* findTimer(int id) {
    const auto& all = timers();
    return id >= 0 && static_cast<size_t>(id) < all.size() ? all[id].get() : nullptr;
}

}  // namespace

bool pulseTimersWaiting() {
    const auto& all = timers();
    return std::any_of(all.begin(), all.end(),
                       [](const auto& timer) { return timer->expiries > 0; });
}

const struct sigevent* pulseTimersTake() {
    static size_t first = 0;  // timers that expired together take turns
    const auto& all = timers();
    for (size_t i = 0; i < all.size(); ++i) {
        const size_t id = (first + i) % all.size();
        PulseTimer& timer = *all[id];
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

    itimerspec spec = {};
    if (itime->nsec != 0)
        spec = {toTimespec(itime->interval_nsec), toTimespec(itime->nsec)};
    return timerfd_settime(timer->fd.get(), absolute ? TFD_TIMER_ABSTIME : 0, &spec, nullptr);
}
