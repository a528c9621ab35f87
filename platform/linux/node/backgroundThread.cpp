#include "node/backgroundThread.h"

#include <signal.h>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <system_error>
#include <thread>

struct BackgroundThread::Shared {
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<std::function<void()>> tasks;
    bool running = false;
    bool ending = false;

    void runTasks() {
        std::unique_lock<std::mutex> lock(mutex);
        for (;;) {
            changed.wait(lock, [&] { return ending || !tasks.empty(); });
            if (tasks.empty())
                return;
            const std::function<void()> task = std::move(tasks.front());
            tasks.pop_front();
            lock.unlock();
            task();
            lock.lock();
        }
    }
};

namespace {

// Signals are for the thread that the loop runs in.
class SignalsBlocked {
public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

private:
    sigset_t before_;
};

}  // namespace

BackgroundThread::BackgroundThread() : shared_(std::make_shared<Shared>()) {}

BackgroundThread::~BackgroundThread() {
    const std::lock_guard<std::mutex> lock(shared_->mutex);
    shared_->ending = true;
    shared_->changed.notify_one();
}

bool BackgroundThread::run(std::function<void()> task) {
    const std::lock_guard<std::mutex> lock(shared_->mutex);
    if (!shared_->running) {
        const SignalsBlocked blocked;
        try {
            std::thread([shared = shared_] { shared->runTasks(); }).detach();
        } catch (const std::system_error&) {
            return false;
        }
        shared_->running = true;
    }
    shared_->tasks.push_back(std::move(task));
    shared_->changed.notify_one();
    return true;
}
