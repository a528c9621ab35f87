// A thread for work that may block for as long as a client likes, so that the service's own thread
// never does such work. Started with the first task.
#pragma once

#include <functional>
#include <memory>

class BackgroundThread {
public:
    BackgroundThread();

    // Does not wait for the tasks: what is blocked stays blocked until the process ends.
    ~BackgroundThread();
    BackgroundThread(const BackgroundThread&) = delete;
    BackgroundThread& operator=(const BackgroundThread&) = delete;

    // Runs `task` after those before it. It may outlive this object, so it owns what it uses, and
    // it throws nothing. False, and the task is dropped, when no thread can be had.
    bool run(std::function<void()> task);

private:
    struct Shared;
    std::shared_ptr<Shared> shared_;
};
