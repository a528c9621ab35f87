// What a piece of code writes on the two standard streams, and how a process that runs it ends.
#pragma once

#include <functional>
#include <string>

struct Output {
    std::string out;
    std::string err;
};

// Runs `act` in this process with both streams led into files.
Output outputOf(const std::function<void()>& act);

struct ChildEnd {
    int exitStatus;  // -1 when a signal ended it
    std::string out;
    std::string err;
};

// Runs `act` in a child process, for what calls exit(). A child whose `act` returns exits with 99.
ChildEnd runInChild(const std::function<void()>& act);
