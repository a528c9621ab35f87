// The address of a socket at a path.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>
#include <string>

class SocketAddress {
public:
    // Check the address before use: the system has room for 107 bytes of `path`, and errno is
    // ENAMETOOLONG for more.
    explicit SocketAddress(const std::string& path) {
        if (path.size() >= sizeof address_.sun_path) {
            errno = ENAMETOOLONG;
            return;
        }
        address_.sun_family = AF_UNIX;
        std::memcpy(address_.sun_path, path.c_str(), path.size() + 1);
    }

    explicit operator bool() const { return address_.sun_family == AF_UNIX; }
    const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&address_); }
    socklen_t size() const { return sizeof address_; }

private:
    sockaddr_un address_ = {};
};
