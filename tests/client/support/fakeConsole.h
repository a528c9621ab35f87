// A console's socket without a console behind it: answers every request and records what came.
// Made to be stalled, and to die and come back at the same path, at exactly the moment a test says.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "client/lib/ownedFd.h"

struct Received {
    uint32_t code;      // 0: written text
    std::string bytes;  // the text, or the command's payload
    bool operator==(const Received& other) const {
        return code == other.code && bytes == other.bytes;
    }
};

class FakeConsole {
public:
    explicit FakeConsole(std::string path);
    ~FakeConsole();

    // From now on requests are recorded but not answered.
    void stall() { stallAfter(0); }
    // The same once `count` more requests have been answered.
    void stallAfter(size_t count);
    // Answers what was held back and all that follows.
    void resume();

    // What came so far, in order; opens are not listed.
    std::vector<Received> received();
    // Waits until `count` requests came. False only if they never do.
    bool waitFor(size_t count);

    std::atomic<int> statusOfCommands{0};     // the answer to every command
    std::atomic<bool> takesAllOfTexts{true};  // else one byte less of each

private:
    void serve();
    void answer(int channel, int status, int64_t result);

    std::string path_;
    OwnedFd listener_;
    OwnedFd stop_;
    std::mutex mutex_;
    bool stalled_ = false;
    size_t answersLeft_ = 0;  // before the stall
    std::condition_variable came_;
    std::vector<Received> received_;
    std::vector<std::pair<OwnedFd, int64_t>> heldBack_;
    std::thread thread_;
};
