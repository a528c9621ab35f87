// The loop's clock and its waiting, in the hands of a test. The clock stands still but for the
// steps that handlers report, so that how slow a handler is does not depend on the machine.
#pragma once

#include <chrono>
#include <functional>
#include <vector>

namespace stepClock {

void advance(std::chrono::milliseconds taken);

// Called where the loop would wait for so many milliseconds (-1: without end), instead of waiting;
// then the loop only looks. Empty: it waits.
extern std::function<void(int milliseconds)> whileWaiting;

// Called each time that the loop only looks.
extern std::function<void()> beforeLooking;

}  // namespace stepClock
