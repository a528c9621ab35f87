// Carries what a running program reports to the console, on a thread of its own, so that a console
// that is slow, stopped or gone never holds the program up. Sends at most once an interval, for the
// console draws no more often: of the percents in between the last one counts, and of the lines as
// many as could have been seen. What could not be sent is tried again with what comes next.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>

class ConsoleFeed {
public:
    // Both return 0 or an error number; called on the feed's thread, never at the same time.
    struct Sink {
        std::function<int(int percent)> showPercent;
        std::function<int(const std::string& lines)> showLines;  // each ends with a newline
    };

    // More rows than a screen has; lines beyond this many in one interval scroll by unseen.
    static constexpr size_t kLinesKept = 1000;

    explicit ConsoleFeed(Sink sink, std::chrono::milliseconds interval = std::chrono::seconds(1));
    ~ConsoleFeed();
    ConsoleFeed(const ConsoleFeed&) = delete;
    ConsoleFeed& operator=(const ConsoleFeed&) = delete;

    void setPercent(int percent);
    void addLine(std::string line);

    // Sends what is left at once and stops; tries again until it is taken or `limit` has passed (0:
    // no limit). Returns 0, or the error number of the last attempt or of a refusal on the way. If
    // the sink is still busy by then it has to stay usable, and the attempt before counts;
    // ETIMEDOUT if that one did not fail or there was none.
    int finish(std::chrono::milliseconds limit);

private:
    struct State;
    std::shared_ptr<State> state_;
    std::thread thread_;
};
