#include "lib/timedWorker.h"

#include <cerrno>
#include <condition_variable>
#include <mutex>
#include <utility>

#include "lib/signalsBlocked.h"

// Where jobs and results change hands. Shared with the thread, which can outlive the worker.
struct TimedWorker::Desk {
    std::mutex mutex;
    std::condition_variable changed;
    Job job;            // waiting to be started; empty if there is none
    bool busy = false;  // from the hand-over of a job to its end
    bool closed = false;
    int result = 0;  // of the job that ended last

    void serve();
    template <typename Condition>
    bool await(std::unique_lock<std::mutex>& lock, std::chrono::steady_clock::time_point deadline,
               Limit limit, Condition condition) {
        if (limit.count() > 0)
            return changed.wait_until(lock, deadline, condition);
        changed.wait(lock, condition);
        return true;
    }
};

namespace {

int resultOf(const TimedWorker::Job& job) {
    try {
        return job();
    } catch (...) {
        return ENOMEM;
    }
}

}  // namespace

void TimedWorker::Desk::serve() {
    std::unique_lock lock(mutex);
    for (;;) {
        changed.wait(lock, [this] { return job || closed; });
        if (!job)
            return;
        Job current = std::exchange(job, nullptr);
        lock.unlock();
        const int ended = resultOf(current);
        current = nullptr;  // what it holds may take long to let go
        lock.lock();
        result = ended;
        busy = false;
        changed.notify_all();
    }
}

TimedWorker::TimedWorker() : desk_(std::make_shared<Desk>()) {
    const SignalsBlocked blocked;
    thread_ = std::thread([desk = desk_] { desk->serve(); });
}

TimedWorker::~TimedWorker() {
    bool busy;
    {
        const std::lock_guard lock(desk_->mutex);
        desk_->closed = true;
        busy = desk_->busy;
        desk_->changed.notify_all();
    }
    if (busy)
        thread_.detach();
    else
        thread_.join();
}

int TimedWorker::run(Job job, Limit limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    std::unique_lock lock(desk_->mutex);
    const auto idle = [this] { return !desk_->busy; };
    if (!desk_->await(lock, deadline, limit, idle))
        return ETIMEDOUT;
    desk_->job = std::move(job);
    desk_->busy = true;
    desk_->changed.notify_all();
    return desk_->await(lock, deadline, limit, idle) ? desk_->result : ETIMEDOUT;
}
