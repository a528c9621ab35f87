#include "cli/consoleFeed.h"

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <deque>
#include <iterator>
#include <mutex>
#include <optional>
#include <utility>

#include "lib/signalsBlocked.h"

namespace {

using Clock = std::chrono::steady_clock;

// Between attempts at the last batch: soon enough for a console that starts, and next to no work.
constexpr std::chrono::milliseconds kLastPause{50};

struct Batch {
    std::optional<int> percent;
    std::deque<std::string> lines;
    size_t leftOut = 0;

    bool empty() const { return !percent && lines.empty(); }

    void keepNewest() {
        for (; lines.size() > ConsoleFeed::kLinesKept; ++leftOut)
            lines.pop_front();
    }

    std::string text() const {
        std::string all;
        if (leftOut > 0)
            all = "[" + std::to_string(leftOut) + " lines left out]\n";
        for (const std::string& line : lines)
            all += line + "\n";
        return all;
    }
};

// Why the same batch may be taken another time: no console, or too much at once from all clients.
constexpr int kPassingErrors[] = {ENODEV, ETIMEDOUT, EAGAIN, EUSERS, EBUSY, ENOBUFS};

bool mayPass(int error) {
    return std::find(std::begin(kPassingErrors), std::end(kPassingErrors), error) !=
           std::end(kPassingErrors);
}

}  // namespace

// Shared with the thread, which can outlive the feed.
struct ConsoleFeed::State {
    Sink sink;
    std::chrono::milliseconds interval;
    std::mutex mutex;
    std::condition_variable changed;
    Batch waiting;
    std::optional<int> lastPercent;  // goes along with lines: a restarted console has no item yet
    int failure = 0;                 // of the last attempt
    int refusal = 0;                 // of a batch that no attempt would get through
    bool finishing = false;
    bool givenUp = false;  // finishing took too long
    bool sending = false;
    bool finished = false;

    void serve();
    int send(Batch& batch);
    void sendWaiting(std::unique_lock<std::mutex>& lock);
    void settle(Batch batch, int error);
};

// Clears what was taken, so that a second attempt repeats nothing.
int ConsoleFeed::State::send(Batch& batch) {
    if (batch.percent) {
        if (const int error = sink.showPercent(*batch.percent))
            return error;
        batch.percent.reset();
    }
    return batch.lines.empty() ? 0 : sink.showLines(batch.text());
}

void ConsoleFeed::State::settle(Batch batch, int error) {
    failure = error;
    if (error == 0)
        return;
    if (!mayPass(error)) {
        refusal = error;
        return;
    }
    if (!waiting.percent)
        waiting.percent = batch.percent;
    waiting.leftOut += batch.leftOut;
    waiting.lines.insert(waiting.lines.begin(), std::make_move_iterator(batch.lines.begin()),
                         std::make_move_iterator(batch.lines.end()));
    waiting.keepNewest();
}

void ConsoleFeed::State::sendWaiting(std::unique_lock<std::mutex>& lock) {
    Batch batch = std::exchange(waiting, {});
    if (!batch.percent && !batch.lines.empty())
        batch.percent = lastPercent;
    if (batch.empty())
        return;
    sending = true;
    lock.unlock();
    const int error = send(batch);
    lock.lock();
    sending = false;
    settle(std::move(batch), error);
}

void ConsoleFeed::State::serve() {
    std::unique_lock lock(mutex);
    for (Clock::time_point next{}; !finishing; next = Clock::now() + interval) {
        changed.wait(lock, [this] { return finishing || !waiting.empty(); });
        changed.wait_until(lock, next, [this] { return finishing; });
        if (!finishing)
            sendWaiting(lock);
    }
    sendWaiting(lock);
    while (!waiting.empty() && !changed.wait_for(lock, kLastPause, [this] { return givenUp; }))
        sendWaiting(lock);
    finished = true;
    changed.notify_all();
}

ConsoleFeed::ConsoleFeed(Sink sink, std::chrono::milliseconds interval)
    : state_(std::make_shared<State>()) {
    state_->sink = std::move(sink);
    state_->interval = interval;
    const SignalsBlocked blocked;
    thread_ = std::thread([state = state_] { state->serve(); });
}

ConsoleFeed::~ConsoleFeed() {
    if (thread_.joinable())
        finish(std::chrono::milliseconds(1));
}

void ConsoleFeed::setPercent(int percent) {
    const std::lock_guard lock(state_->mutex);
    if (state_->lastPercent == percent)
        return;
    state_->lastPercent = percent;
    state_->waiting.percent = percent;
    state_->changed.notify_all();
}

void ConsoleFeed::addLine(std::string line) {
    const std::lock_guard lock(state_->mutex);
    state_->waiting.lines.push_back(std::move(line));
    state_->waiting.keepNewest();
    state_->changed.notify_all();
}

int ConsoleFeed::finish(std::chrono::milliseconds limit) {
    std::unique_lock lock(state_->mutex);
    state_->finishing = true;
    state_->changed.notify_all();
    const auto finished = [this] { return state_->finished; };
    if (limit.count() > 0 && !state_->changed.wait_for(lock, limit, finished)) {
        state_->givenUp = true;
        state_->changed.notify_all();
        if (state_->sending) {
            thread_.detach();
            return state_->failure ? state_->failure : ETIMEDOUT;
        }
    }
    state_->changed.wait(lock, finished);
    const int error = state_->failure ? state_->failure : state_->refusal;
    lock.unlock();
    thread_.join();
    return error;
}
