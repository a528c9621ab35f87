#include "cli/outputTarget.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <string>

namespace {

OwnedFd openOnceMore(int stream) {
    const std::string path = "/proc/self/fd/" + std::to_string(stream);
    return OwnedFd(open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

bool neverBlocks(int stream) {
    struct stat found;
    return fstat(stream, &found) == 0 && (S_ISREG(found.st_mode) || S_ISBLK(found.st_mode));
}

// A second opening of these leads to the same reader; that of a file would have its own offset.
bool canBeOpenedOnceMore(int stream) {
    struct stat found;
    return isatty(stream) || (fstat(stream, &found) == 0 && S_ISFIFO(found.st_mode));
}

}  // namespace

// Where it cannot be opened once more, a pipe that is ready takes this much without blocking.
OutputTarget::OutputTarget(int stream) : stream_(stream), mostBytes_(PIPE_BUF) {
    if (canBeOpenedOnceMore(stream))
        way_ = openOnceMore(stream);
    if (way_ || neverBlocks(stream))
        mostBytes_ = SSIZE_MAX;
}

ssize_t OutputTarget::write(std::string_view bytes) const {
    const ssize_t written = ::write(fd(), bytes.data(), std::min(bytes.size(), mostBytes_));
    return written < 0 && (errno == EAGAIN || errno == EINTR) ? 0 : written;
}
