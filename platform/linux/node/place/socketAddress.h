// The address of a socket at a path of any length. A path that the address has no room for goes
// through a descriptor of its folder, which is held open as long as the address is used.
#pragma once

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "ownership/fileDescriptor.h"

class SocketAddress {
public:
    // `path` is absolute. Check the address before use; errno says why there is none.
    explicit SocketAddress(const std::string& path) {
        std::string name = path;
        if (name.size() >= sizeof address_.sun_path) {
            const size_t slash = path.rfind('/');
            folder_.reset(
                open(path.substr(0, slash + 1).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
            if (!folder_)
                return;
            name = "/proc/self/fd/" + std::to_string(folder_.get()) + path.substr(slash);
        }
        if (name.size() >= sizeof address_.sun_path) {
            errno = ENAMETOOLONG;
            return;
        }
        address_.sun_family = AF_UNIX;
        std::memcpy(address_.sun_path, name.c_str(), name.size() + 1);
    }

    explicit operator bool() const { return address_.sun_family == AF_UNIX; }
    const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&address_); }
    socklen_t size() const { return sizeof address_; }

private:
    sockaddr_un address_ = {};
    FileDescriptor folder_;
};
