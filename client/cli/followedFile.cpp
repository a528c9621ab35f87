#include "cli/followedFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

namespace {

constexpr size_t kPieceBytes = 65536;
using Piece = std::array<char, kPieceBytes>;

OwnedFd openForReading(const std::string& path) {
    return OwnedFd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
}

}  // namespace

int FollowedFile::open(unsigned int lines) {
    fd_ = openForReading(path_);
    if (!fd_) {
        goneTold_ = true;
        return errno;
    }
    struct stat now {};
    if (fstat(fd_.get(), &now) != 0 || !S_ISREG(now.st_mode)) {
        fd_.reset();
        goneTold_ = true;
        return S_ISDIR(now.st_mode) ? EISDIR : ESPIPE;
    }
    position_ = startOfLastLines(lines, now.st_size);
    return 0;
}

// Reads backwards. A newline at the very end ends the last line and begins none.
off_t FollowedFile::startOfLastLines(unsigned int lines, off_t size) const {
    if (lines == 0)
        return size;
    Piece piece;
    unsigned int seen = 0;
    for (off_t end = size; end > 0;) {
        const off_t begin = std::max<off_t>(0, end - static_cast<off_t>(piece.size()));
        const ssize_t got = pread(fd_.get(), piece.data(), static_cast<size_t>(end - begin), begin);
        for (ssize_t i = got; i-- > 0;) {
            const off_t behind = begin + i + 1;
            if (piece[static_cast<size_t>(i)] != '\n' || behind == size)
                continue;
            if (++seen == lines)
                return behind;
        }
        end = got > 0 ? begin : 0;
    }
    return 0;
}

FollowedFile::Event FollowedFile::read(std::string* bytes) {
    bytes->clear();
    if (!fd_)
        return lookForNewFile();
    Piece piece;
    const ssize_t got = pread(fd_.get(), piece.data(), piece.size(), position_);
    if (got > 0) {
        position_ += got;
        bytes->assign(piece.data(), static_cast<size_t>(got));
        return Event::none;
    }
    struct stat now;
    if (fstat(fd_.get(), &now) == 0 && now.st_size < position_) {
        position_ = 0;
        return Event::cut;
    }
    return next_ ? turnToNewFile() : lookForNewFile();
}

FollowedFile::Event FollowedFile::lookForNewFile() {
    OwnedFd found = openForReading(path_);
    struct stat there;
    if (!found || fstat(found.get(), &there) != 0 || !S_ISREG(there.st_mode))
        return std::exchange(goneTold_, true) ? Event::none : Event::gone;
    struct stat ours;
    if (fd_ && fstat(fd_.get(), &ours) == 0 &&
        ((ours.st_dev == there.st_dev && ours.st_ino == there.st_ino) || there.st_size == 0))
        return Event::none;
    next_ = std::move(found);
    return fd_ ? Event::succeeded : turnToNewFile();
}

FollowedFile::Event FollowedFile::turnToNewFile() {
    const bool wasThere = static_cast<bool>(fd_);
    fd_ = std::move(next_);
    position_ = 0;
    goneTold_ = false;
    return wasThere ? Event::replaced : Event::appeared;
}
