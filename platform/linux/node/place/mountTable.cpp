#include "node/place/mountTable.h"

#include <spawn.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <sstream>

namespace {

bool isOctal(const std::string& text, size_t at) {
    for (size_t i = at; i < at + 3; ++i)
        if (i >= text.size() || text[i] < '0' || text[i] > '7')
            return false;
    return true;
}

// The table writes blanks, tabs, newlines and backslashes as a backslash and three octal digits.
std::string unescape(const std::string& text) {
    std::string plain;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && isOctal(text, i + 1)) {
            plain += static_cast<char>(std::stoi(text.substr(i + 1, 3), nullptr, 8));
            i += 3;
        } else {
            plain += text[i];
        }
    }
    return plain;
}

// The helper of unprivileged users.
bool runFusermount(const std::string& path) {
    const char* const arguments[] = {"fusermount3", "-u", "-z", "-q", "--", path.c_str(), nullptr};
    pid_t child;
    const int failure = posix_spawnp(&child, arguments[0], nullptr, nullptr,
                                     const_cast<char* const*>(arguments), environ);
    if (failure != 0) {
        errno = failure;
        return false;
    }
    int status = -1;
    while (waitpid(child, &status, 0) < 0) {
        if (errno == ECHILD)  // who started us ignores SIGCHLD, so it ended without a status
            return true;
        if (errno != EINTR)
            break;
    }
    if (status != 0)
        errno = EPERM;
    return status == 0;
}

}  // namespace

// A line: id, parent, device, root, mount point, options, any number of tags, "-", type, ...
std::optional<MountEntry> mountAt(const std::string& path, const std::string& table) {
    std::optional<MountEntry> top;
    std::istringstream lines(table);
    std::string line;
    while (std::getline(lines, line)) {
        std::istringstream fields(line);
        MountEntry entry;
        std::string skipped, point;
        fields >> entry.id >> skipped >> skipped >> skipped >> point;
        if (unescape(point) != path)
            continue;
        while (fields >> skipped && skipped != "-") {
        }
        if (fields >> entry.type)
            top = entry;  // later ones are mounted on top
    }
    return top;
}

std::optional<MountEntry> mountAt(const std::string& path) {
    std::ifstream file("/proc/self/mountinfo");
    std::ostringstream table;
    table << file.rdbuf();
    return mountAt(path, table.str());
}

bool detachMount(const std::string& path) {
    if (umount2(path.c_str(), MNT_DETACH | UMOUNT_NOFOLLOW) == 0)
        return true;
    return errno == EPERM && runFusermount(path);
}
