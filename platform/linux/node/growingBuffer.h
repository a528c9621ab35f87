// Bytes that are collected piece by piece. It grows with what arrives, never with what somebody
// announced, and large ones grow in place where the allocator can.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "ownership/release.h"

class GrowingBuffer {
public:
    // False when there is no memory; the bytes so far stay.
    bool append(const void* data, size_t size) {
        if (size > room_ - size_ && !grow(size_ + size))
            return false;
        if (size > 0)
            std::memcpy(bytes_.get() + size_, data, size);
        size_ += size;
        return true;
    }

    const char* data() const { return bytes_.get(); }
    size_t size() const { return size_; }

private:
    bool grow(size_t needed) {
        const size_t room = std::max(needed, room_ + room_ / 2);
        void* const bytes = std::realloc(bytes_.get(), room);
        if (!bytes)
            return false;
        static_cast<void>(bytes_.release());  // realloc has taken the old block
        bytes_.reset(static_cast<char*>(bytes));
        room_ = room;
        return true;
    }

    std::unique_ptr<char, Release<std::free>> bytes_;
    size_t size_ = 0;
    size_t room_ = 0;
};
