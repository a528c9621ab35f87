// Runs jobs on a thread of its own, so that whoever waits for one can stop waiting: a call into a
// file system whose server is stopped cannot be given a deadline in any other way. The thread takes
// no signals, so no job is ever interrupted half-way.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <thread>

class TimedWorker {
public:
    using Job = std::function<int()>;
    using Limit = std::chrono::milliseconds;  // 0: none

    // Throws std::system_error if no thread can be started.
    TimedWorker();

    // Lets a job that is still running finish by itself, on its own copy of all that it needs.
    ~TimedWorker();

    TimedWorker(const TimedWorker&) = delete;
    TimedWorker& operator=(const TimedWorker&) = delete;

    // What `job` returns, or ETIMEDOUT: then the job either goes on by itself, or was never started
    // because an earlier one is still running. A job that throws counts as ENOMEM.
    int run(Job job, Limit limit);

private:
    struct Desk;
    std::shared_ptr<Desk> desk_;
    std::thread thread_;
};
