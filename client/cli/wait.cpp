// Waits until a console answers, for scripts that start one.
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <thread>

#include "cli/session.h"
#include "cli/verbs.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// A console's start takes longer than this, and looking costs next to nothing.
constexpr milliseconds kPause{50};

struct Deadline {
    bool never;
    Clock::time_point at;

    milliseconds left() const {
        return std::chrono::ceil<milliseconds>(
            std::max(at - Clock::now(), Clock::duration::zero()));
    }
    bool passed() const { return !never && left().count() == 0; }
};

// Options whose time limit does not reach beyond the deadline, and whose failures are not news.
Options attemptOptions(const Options& options, const Deadline& deadline) {
    Options attempt = options;
    attempt.quiet = true;
    if (!deadline.never) {
        const auto left = static_cast<unsigned int>(deadline.left().count());
        attempt.timeLimit = std::max(1u, attempt.timeLimit == VELKARIS_NO_TIME_LIMIT
                                             ? left
                                             : std::min(attempt.timeLimit, left));
    }
    return attempt;
}

int attempt(const Options& options) {
    Session session(options);
    const int status = session.open();
    return status == kDone ? session.report(velkaris_check(session.console())) : status;
}

}  // namespace

int waitVerb(const Options& options, const Operands&) {
    const Deadline deadline{!options.seconds,
                            Clock::now() + std::chrono::seconds(options.seconds.value_or(0))};
    for (;;) {
        const Options quiet = attemptOptions(options, deadline);
        if (attempt(quiet) == kDone)
            return kDone;
        if (deadline.passed())
            return Session(options).report(ENODEV);
        std::this_thread::sleep_for(deadline.never ? kPause : std::min(kPause, deadline.left()));
    }
}
