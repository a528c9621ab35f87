#include "node/place/nodeLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "report/layerError.h"

namespace {

constexpr size_t kNameMax = 200;  // below the 255 bytes that a file's name may have

// FNV-1a; stands for a path that is too long for a file's name.
uint64_t hash(const std::string& text) {
    uint64_t value = 0xcbf29ce484222325u;
    for (const unsigned char byte : text)
        value = (value ^ byte) * 0x100000001b3u;
    return value;
}

// A name of its own for each path.
std::string nameFor(const std::string& path) {
    std::string name;
    for (const char letter : path) {
        if (letter == '/')
            name += "%2f";
        else if (letter == '%')
            name += "%25";
        else
            name += letter;
    }
    return name.size() <= kNameMax ? name : "hash%" + std::to_string(hash(path));
}

// The folder that a process of this user chooses is the same each time, or two would not meet.
std::vector<std::string> candidateFolders() {
    std::vector<std::string> folders;
    const char* const ofSession = std::getenv("XDG_RUNTIME_DIR");
    if (geteuid() == 0)
        folders.emplace_back("/run/velkaris");
    else if (ofSession && *ofSession == '/')
        folders.push_back(std::string(ofSession) + "/velkaris");
    folders.push_back("/tmp/velkaris-" + std::to_string(geteuid()));
    return folders;
}

// Makes `folder` unless it is there. False unless it is ours alone.
bool makeFolder(const std::string& folder) {
    struct stat found;
    if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST)
        return false;
    return lstat(folder.c_str(), &found) == 0 && S_ISDIR(found.st_mode) &&
           found.st_uid == geteuid() && (found.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

// The lock's file, made if it is missing, in the first folder that takes it.
FileDescriptor openFile(const std::string& path, std::string* name) {
    for (const std::string& folder : candidateFolders()) {
        if (!makeFolder(folder))
            continue;
        *name = folder + "/" + nameFor(path);
        FileDescriptor file(open(name->c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
        if (file)
            return file;
    }
    return {};
}

// Whether the file is still the one at its name: its last holder may have removed it meanwhile.
bool isStillThere(const FileDescriptor& file, const std::string& name) {
    struct stat opened, named;
    return fstat(file.get(), &opened) == 0 && lstat(name.c_str(), &named) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

void complain(const std::string& path, const char* reason, int error) {
    layerError("%s: %s", path.c_str(), reason);
    errno = error;
}

}  // namespace

bool NodeLock::take(const std::string& path) {
    std::string name;
    for (;;) {
        FileDescriptor file = openFile(path, &name);
        if (!file) {
            complain(path, "no folder for its lock; a second console is not kept from it", errno);
            return true;
        }
        if (flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
            if (errno == EINTR)
                continue;
            complain(
                path,
                errno == EWOULDBLOCK ? "another console serves this node" : std::strerror(errno),
                errno == EWOULDBLOCK ? EBUSY : errno);
            return false;
        }
        if (isStillThere(file, name)) {
            file_ = name;
            fd_ = std::move(file);
            char note;
            foundNote_ = pread(fd_.get(), &note, 1, 0) == 1;
            return true;
        }
    }
}

void NodeLock::note() {
    const char note = '1';
    if (fd_ && pwrite(fd_.get(), &note, 1, 0) != 1)
        layerError("%s: %s", file_.c_str(), std::strerror(errno));
}

// The file goes while it is still locked: whoever opened it meanwhile finds that it has gone.
void NodeLock::release() {
    if (!fd_)
        return;
    unlink(file_.c_str());
    fd_.reset();
}
