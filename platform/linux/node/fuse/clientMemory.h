// Reads the memory of client processes. A page may be one that the client supplies itself, when it
// likes and if it likes, so a read is given up after a moment, and then nothing is read for a
// while. However many clients do that, the caller waits for a hundredth of its time at most.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "node/backgroundThread.h"

class ClientMemory {
public:
    using Clock = std::chrono::steady_clock;
    static constexpr Clock::duration kPatience = std::chrono::milliseconds(250);
    static constexpr Clock::duration kRest = 100 * kPatience;

    // `patience`: after what time a read is given up; `rest`: for how long nothing is read then.
    explicit ClientMemory(Clock::duration patience = kPatience, Clock::duration rest = kRest);
    ~ClientMemory();

    // `size` bytes at `address` of the process that `thread` belongs to. None when they cannot be
    // read: no right, no such memory, none in time, none for a while.
    std::optional<std::vector<char>> read(pid_t thread, uint64_t address, size_t size);

private:
    struct Exchange;

    const Clock::duration patience_, rest_;
    Clock::time_point restsUntil_;
    std::shared_ptr<Exchange> exchange_;
    BackgroundThread reader_;
};
