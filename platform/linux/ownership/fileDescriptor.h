// A file descriptor that is closed by whoever owns it last, in a way of its type.
#pragma once

#include <unistd.h>

#include <utility>

template <auto close>
class OwnedDescriptor {
public:
    OwnedDescriptor() = default;
    explicit OwnedDescriptor(int fd) : fd_(fd) {}
    OwnedDescriptor(OwnedDescriptor&& other) noexcept : fd_(other.release()) {}
    OwnedDescriptor& operator=(OwnedDescriptor&& other) noexcept {
        reset(other.release());
        return *this;
    }
    ~OwnedDescriptor() { reset(); }

    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }
    int release() { return std::exchange(fd_, -1); }
    void reset(int fd = -1) {
        if (fd_ >= 0)
            close(fd_);
        fd_ = fd;
    }

private:
    int fd_ = -1;
};

using FileDescriptor = OwnedDescriptor<::close>;
