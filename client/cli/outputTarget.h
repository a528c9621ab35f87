// One of our own output streams, written to without ever being held up by whoever reads it. The
// descriptor is shared with other processes, so its flags are not ours to change.
#pragma once

#include <sys/types.h>

#include <string_view>

#include "lib/ownedFd.h"

class OutputTarget {
public:
    explicit OutputTarget(int stream);

    // To be polled for being writable before each write().
    int fd() const { return way_ ? way_.get() : stream_; }

    // Writes as much as goes at once. Returns how much that was, 0 if nothing, -1 if it never will.
    ssize_t write(std::string_view bytes) const;

private:
    int stream_;
    OwnedFd way_;       // the same pipe or terminal, opened once more, so that it does not block
    size_t mostBytes_;  // of one write
};
