#include "node/place/nodePlace.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "node/place/mountTable.h"
#include "node/place/socketAddress.h"
#include "ownership/fileDescriptor.h"
#include "ownership/release.h"
#include "report/layerError.h"

namespace {

constexpr char kNodeType[] = "fuse.velkaris";
constexpr int kMountsMax = 64;  // that dead consoles may have left on top of each other

void complain(const std::string& path, const char* reason, int error) {
    layerError("%s: %s", path.c_str(), reason);
    errno = error;
}

PlaceContent refuse(const std::string& path, const char* reason, int error) {
    complain(path, reason, error);
    return PlaceContent::refused;
}

// Detaches the mounts of dead consoles. True when nothing is mounted there any more.
bool clearMounts(const std::string& path) {
    for (int i = 0; i < kMountsMax; ++i) {
        const std::optional<MountEntry> mounted = mountAt(path);
        if (!mounted)
            return true;
        struct stat found;
        if (mounted->type != kNodeType) {
            complain(path, "something else is mounted there", EBUSY);
            return false;
        }
        if (stat(path.c_str(), &found) == 0 || (errno != ENOTCONN && errno != ECONNABORTED)) {
            complain(path, "another console serves this node", EBUSY);
            return false;
        }
        if (!detachMount(path)) {
            complain(path, "cannot unmount the node of a console that has died", errno);
            return false;
        }
    }
    complain(path, "too many mounts on top of each other", EBUSY);
    return false;
}

bool socketIsDead(const std::string& path) {
    const FileDescriptor probe(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const SocketAddress address(path);
    return probe && address && connect(probe.get(), address.get(), address.size()) != 0 &&
           errno == ECONNREFUSED;
}

PlaceContent clearSocket(const std::string& path) {
    if (!socketIsDead(path))
        return refuse(path, "another service listens there", EADDRINUSE);
    if (unlink(path.c_str()) != 0)
        return refuse(path, "cannot remove the socket of a console that has died", errno);
    return PlaceContent::nothing;
}

}  // namespace

std::string canonicalNodePath(const std::string& path) {
    const size_t slash = path.rfind('/');
    const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    std::string folder = ".";
    if (slash != std::string::npos)
        folder = path.substr(0, slash + 1);
    if (name.empty() || name == "." || name == "..") {
        complain(path, "not the path of a file", EINVAL);
        return {};
    }
    const std::unique_ptr<char, Release<std::free>> real(realpath(folder.c_str(), nullptr));
    if (!real) {
        complain(path, std::strerror(errno), errno);
        return {};
    }
    const std::string base = real.get();
    return base == "/" ? base + name : base + "/" + name;
}

PlaceContent clearNodePlace(const std::string& path, bool madeByConsole) {
    if (!clearMounts(path))
        return PlaceContent::refused;
    struct stat found;
    if (lstat(path.c_str(), &found) != 0)
        return errno == ENOENT ? PlaceContent::nothing : refuse(path, std::strerror(errno), errno);
    const bool emptyFile = S_ISREG(found.st_mode) && found.st_size == 0;
    if (madeByConsole && (emptyFile || S_ISCHR(found.st_mode)) && unlink(path.c_str()) == 0)
        return PlaceContent::nothing;
    if (S_ISSOCK(found.st_mode))
        return clearSocket(path);
    if (S_ISLNK(found.st_mode))
        return refuse(path, "is a symbolic link; the node is not made through one", ELOOP);
    if (S_ISDIR(found.st_mode))
        return refuse(path, "is a folder", EISDIR);
    if (!S_ISREG(found.st_mode))
        return refuse(path, "is something else than a regular file", EEXIST);
    return found.st_size == 0 ? PlaceContent::emptyFile : PlaceContent::filledFile;
}

MountPoint::~MountPoint() {
    if (made_)
        remove();
}

bool MountPoint::make(const std::string& path, PlaceContent content) {
    path_ = path;
    if (content != PlaceContent::nothing)
        return true;
    const FileDescriptor file(
        open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0666));
    if (!file) {
        complain(path, std::strerror(errno), errno);
        return false;
    }
    made_ = true;
    return true;
}

// Only ever an empty regular file; with something mounted on it the system refuses.
void MountPoint::remove() {
    struct stat found;
    made_ = false;
    if (!mountAt(path_) && lstat(path_.c_str(), &found) == 0 && S_ISREG(found.st_mode) &&
        found.st_size == 0)
        unlink(path_.c_str());
}
