// Waits until a console answers, for scripts that start one.
#include <sys/stat.h>

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

// A node is its owner's alone until the console that makes it has given it to its users.
bool isBeingMade(const std::string& path) {
    constexpr mode_t kOfOthers = S_IRWXG | S_IRWXO;
    struct stat found;
    return stat(path.c_str(), &found) == 0 && !S_ISREG(found.st_mode) &&
           (found.st_mode & kOfOthers) == 0;
}

// Waiting mends everything else: a console that starts, a shortage.
bool staysSo(int error, const std::string& path) {
    return (error == EACCES && !isBeingMade(path)) || error == EPERM || error == ENOTDIR ||
           error == ELOOP || error == ENAMETOOLONG;
}

// An attempt takes no longer than until the deadline, unless that is so near that even a console
// that is there could not answer.
unsigned int attemptLimit(const Options& options, const Deadline& deadline) {
    constexpr milliseconds kShortest{1000};
    constexpr milliseconds kLongest{std::chrono::hours(24)};  // the limit has 32 bits; then again
    if (deadline.never)
        return options.timeLimit;
    const auto left = static_cast<unsigned int>(
        std::clamp<milliseconds>(deadline.left(), kShortest, kLongest).count());
    return options.timeLimit == VELKARIS_NO_TIME_LIMIT ? left : std::min(options.timeLimit, left);
}

// Failures are not news yet, so this says nothing.
int attempt(const Options& options, unsigned int limit) {
    velkaris_console* console = nullptr;
    int error = velkaris_open(&console, options.device ? options.device->c_str() : nullptr, limit);
    if (error == 0)
        error = velkaris_check(console);
    velkaris_close(console);
    return error;
}

}  // namespace

int waitVerb(const Options& options, const Operands&) {
    const Deadline deadline{!options.seconds,
                            Clock::now() + std::chrono::seconds(options.seconds.value_or(0))};
    const Session session(options);
    for (;;) {
        const int error = attempt(options, attemptLimit(options, deadline));
        if (error == 0 || staysSo(error, nodePath(options)))
            return session.report(error);
        if (deadline.passed()) {
            session.report(error);
            return kNoConsole;
        }
        std::this_thread::sleep_for(deadline.never ? kPause : std::min(kPause, deadline.left()));
    }
}
