#include "platform/dispatch/stepClock.h"

#include <sys/epoll.h>

namespace {

std::chrono::steady_clock::time_point now;

}  // namespace

std::function<void(int milliseconds)> stepClock::whileWaiting;
std::function<void()> stepClock::beforeLooking;

void stepClock::advance(std::chrono::milliseconds taken) {
    now += taken;
}

// The linker leads the calls here first; see CMakeLists.txt.
extern "C" {

std::chrono::steady_clock::time_point wrappedNow() __asm__(
    "__wrap__ZNSt6chrono3_V212steady_clock3nowEv");
std::chrono::steady_clock::time_point wrappedNow() {
    return now;
}

int __real_epoll_wait(int set, epoll_event* events, int room, int milliseconds);

int __wrap_epoll_wait(int set, epoll_event* events, int room, int milliseconds) {
    if (milliseconds == 0 && stepClock::beforeLooking)
        stepClock::beforeLooking();
    if (milliseconds != 0 && stepClock::whileWaiting) {
        stepClock::whileWaiting(milliseconds);
        milliseconds = 0;
    }
    return __real_epoll_wait(set, events, room, milliseconds);
}

}  // extern "C"
