// What is mounted at a path, from /proc/self/mountinfo: looking it up asks no file system, so a
// hung or a dead one does no harm.
#pragma once

#include <optional>
#include <string>

constexpr int kNoMount = -1;

struct MountEntry {
    int id = kNoMount;
    std::string type;  // "fuse.velkaris" for a console's node
};

// The topmost mount whose mount point is exactly `path`, absolute and free of links.
std::optional<MountEntry> mountAt(const std::string& path);

// The same from a table's text.
std::optional<MountEntry> mountAt(const std::string& path, const std::string& table);

// Takes the topmost mount away, at once, whoever still uses it. False with errno.
bool detachMount(const std::string& path);
