#include "cli/consoleFeed.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <future>
#include <memory>
#include <mutex>
#include <vector>

namespace {

using testing::ElementsAre;

// Long enough that within a test it never passes: only the first and the last attempt happen.
constexpr std::chrono::hours kNever{24};
constexpr std::chrono::milliseconds kAtOnce{0};
constexpr std::chrono::milliseconds kNoLimit{0};

// Records what is shown and answers with the error numbers that a test has laid out, then with 0.
class Screen {
public:
    ConsoleFeed::Sink sink() {
        return {[this](int percent) { return take("percent " + std::to_string(percent)); },
                [this](const std::string& lines) { return take(lines); }};
    }
    void failWith(std::vector<int> errors) { errors_ = std::move(errors); }
    void awaitAttempts(size_t count) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return attempts_ >= count; });
    }
    std::vector<std::string> shown() {
        const std::lock_guard lock(mutex_);
        return shown_;
    }

private:
    int take(const std::string& what) {
        const std::lock_guard lock(mutex_);
        const int error = attempts_ < errors_.size() ? errors_[attempts_] : 0;
        if (error == 0)
            shown_.push_back(what);
        ++attempts_;
        changed_.notify_all();
        return error;
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<int> errors_;
    std::vector<std::string> shown_;
    size_t attempts_ = 0;
};

TEST(ConsoleFeed, ShowsTheFirstAtOnceAndOfTheRestTheLast) {
    Screen screen;
    ConsoleFeed feed(screen.sink(), kNever);
    feed.setPercent(1);
    screen.awaitAttempts(1);
    for (int percent = 2; percent <= 77; ++percent)
        feed.setPercent(percent);
    EXPECT_EQ(feed.finish(kNoLimit), 0);
    EXPECT_THAT(screen.shown(), ElementsAre("percent 1", "percent 77"));
}

TEST(ConsoleFeed, GoesOnAfterTheInterval) {
    Screen screen;
    ConsoleFeed feed(screen.sink(), kAtOnce);
    for (int percent = 1; percent <= 3; ++percent) {
        feed.setPercent(percent);
        screen.awaitAttempts(static_cast<size_t>(percent));
    }
    EXPECT_EQ(feed.finish(kNoLimit), 0);
    EXPECT_THAT(screen.shown(), ElementsAre("percent 1", "percent 2", "percent 3"));
}

TEST(ConsoleFeed, KeepsLinesInOrderAndTogether) {
    Screen screen;
    ConsoleFeed feed(screen.sink(), kNever);
    feed.addLine("one");
    screen.awaitAttempts(1);
    feed.addLine("two");
    feed.addLine("");
    feed.addLine("three");
    EXPECT_EQ(feed.finish(kNoLimit), 0);
    EXPECT_THAT(screen.shown(), ElementsAre("one\n", "two\n\nthree\n"));
}

TEST(ConsoleFeed, LeavesOutOldLinesThatNobodyCouldSee) {
    Screen screen;
    ConsoleFeed feed(screen.sink(), kNever);
    feed.addLine("first");
    screen.awaitAttempts(1);
    for (size_t i = 0; i < ConsoleFeed::kLinesKept + 5; ++i)
        feed.addLine(std::to_string(i));
    EXPECT_EQ(feed.finish(kNoLimit), 0);
    const std::string rest = screen.shown().back();
    EXPECT_EQ(rest.substr(0, rest.find('\n', rest.find('\n') + 1)), "[5 lines left out]\n5");
    EXPECT_THAT(rest, testing::EndsWith(std::to_string(ConsoleFeed::kLinesKept + 4) + "\n"));
}

TEST(ConsoleFeed, TriesAgainWhatAMissingConsoleDidNotTake) {
    Screen screen;
    screen.failWith({ENODEV, ENODEV});
    ConsoleFeed feed(screen.sink(), kAtOnce);
    feed.setPercent(5);
    feed.addLine("kept");
    EXPECT_EQ((screen.awaitAttempts(4), feed.finish(kNoLimit)), 0);
    EXPECT_THAT(screen.shown(), ElementsAre("percent 5", "kept\n"));
}

TEST(ConsoleFeed, TriesAgainWhatAConsoleWithTooManyClientsDidNotTake) {
    Screen screen;
    screen.failWith({EUSERS, EBUSY, ENOBUFS});
    ConsoleFeed feed(screen.sink(), kAtOnce);
    feed.addLine("kept");
    EXPECT_EQ((screen.awaitAttempts(4), feed.finish(kNoLimit)), 0);
    EXPECT_THAT(screen.shown(), ElementsAre("kept\n"));
}

TEST(ConsoleFeed, PutsTheItemBackBeforeLinesThatFollow) {
    Screen screen;
    ConsoleFeed feed(screen.sink(), kNever);
    feed.setPercent(5);
    screen.awaitAttempts(1);
    feed.addLine("line");
    EXPECT_EQ(feed.finish(kNoLimit), 0);
    EXPECT_THAT(screen.shown(), ElementsAre("percent 5", "percent 5", "line\n"));
}

TEST(ConsoleFeed, TriesTheLastUntilItIsTaken) {
    Screen screen;
    screen.failWith({0, ENODEV, ENODEV, ENODEV});
    ConsoleFeed feed(screen.sink(), kNever);
    feed.setPercent(5);
    screen.awaitAttempts(1);
    feed.setPercent(100);
    feed.addLine("last");
    EXPECT_EQ(feed.finish(kNoLimit), 0);
    EXPECT_THAT(screen.shown(), ElementsAre("percent 5", "percent 100", "last\n"));
}

TEST(ConsoleFeed, ReportsThatTheConsoleIsStillMissingAtTheEnd) {
    int error;
    do {  // again where the time was over in the middle of an attempt
        ConsoleFeed feed({[](int) { return ENODEV; }, [](const std::string&) { return 0; }},
                         kNever);
        feed.setPercent(5);
        error = feed.finish(std::chrono::milliseconds(1));
    } while (error == ETIMEDOUT);
    EXPECT_EQ(error, ENODEV);
}

TEST(ConsoleFeed, ReportsARefusalEvenIfLaterLinesAreTaken) {
    Screen screen;
    screen.failWith({EILSEQ});
    ConsoleFeed feed(screen.sink(), kNever);
    feed.addLine("refused");
    screen.awaitAttempts(1);
    feed.addLine("taken");
    EXPECT_EQ(feed.finish(kNoLimit), EILSEQ);
    EXPECT_THAT(screen.shown(), ElementsAre("taken\n"));
}

TEST(ConsoleFeed, NeverWaitsForAConsoleThatHangs) {
    std::promise<void> goOn;
    std::promise<void> hanging;
    std::promise<void> gone;
    ConsoleFeed::Sink sink;
    sink.showLines = [](const std::string&) { return 0; };
    sink.showPercent = [&, mayEnd = goOn.get_future().share()](int) {
        hanging.set_value();
        mayEnd.wait();
        gone.set_value();
        return 0;
    };
    {
        ConsoleFeed feed(std::move(sink), kNever);
        feed.setPercent(1);
        hanging.get_future().wait();
        EXPECT_EQ(feed.finish(std::chrono::milliseconds(1)), ETIMEDOUT);
    }
    goOn.set_value();
    gone.get_future().wait();
}

// The time is over in the middle of an attempt, after one that found no console.
TEST(ConsoleFeed, ReportsWhatTheLastWholeAttemptFound) {
    struct Shared {
        std::promise<void> second;
        std::promise<void> goOn;
        std::shared_future<void> mayEnd = goOn.get_future().share();
        int attempts = 0;
    };
    const auto shared = std::make_shared<Shared>();
    ConsoleFeed::Sink sink;
    sink.showPercent = [shared](int) {
        if (++shared->attempts == 2) {
            shared->second.set_value();
            shared->mayEnd.wait();
        }
        return ENODEV;
    };
    ConsoleFeed feed(std::move(sink), kAtOnce);
    feed.setPercent(1);
    shared->second.get_future().wait();
    EXPECT_EQ(feed.finish(std::chrono::milliseconds(1)), ENODEV);
    shared->goOn.set_value();
}

// A console that is away at first and hangs in the last moment.
TEST(ConsoleFeed, BeginsNoAttemptOnceItsTimeIsOver) {
    struct Shared {
        std::promise<void> first;
        std::promise<void> goOn;
        std::shared_future<void> mayEnd = goOn.get_future().share();
        std::atomic<int> attempts{0};
        std::atomic<bool> heldUp{false};
    };
    const auto shared = std::make_shared<Shared>();
    ConsoleFeed::Sink sink;
    sink.showPercent = [shared](int) {
        const int attempt = ++shared->attempts;
        if (attempt == 1)
            shared->first.set_value();
        if (attempt > 2 &&
            shared->mayEnd.wait_for(std::chrono::seconds(10)) != std::future_status::ready)
            shared->heldUp = true;
        return ENODEV;
    };
    ConsoleFeed feed(std::move(sink), kNever);
    feed.setPercent(1);
    shared->first.get_future().wait();
    EXPECT_NE(feed.finish(std::chrono::milliseconds(1)), 0);
    shared->goOn.set_value();
    EXPECT_FALSE(shared->heldUp);
}

}  // namespace
