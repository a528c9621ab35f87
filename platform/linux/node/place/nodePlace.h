// The place in the file system where a node is made: whose it is, what a console that died has left
// there, and what must not be touched. Whatever speaks against using it is said in one line on
// standard error, with errno set.
#pragma once

#include <string>

// The absolute path, free of links in its folder, of a node at `path`. Empty on failure.
std::string canonicalNodePath(const std::string& path);

enum class PlaceContent { refused, nothing, emptyFile, filledFile };

// Removes what a dead console has left at `path`, its mount or its socket, and says what is there
// now. What it had made for its node, by `madeByConsole`, goes too: an empty file, a device's node.
// The caller holds the lock. Anything else than a regular file is refused, untouched.
PlaceContent clearNodePlace(const std::string& path, bool madeByConsole);

// The regular file that a mount needs below it. Made if it is missing, and then removed at the end.
// One that has contents gets them back when the mount is gone.
class MountPoint {
public:
    MountPoint() = default;
    MountPoint(const MountPoint&) = delete;
    MountPoint& operator=(const MountPoint&) = delete;
    ~MountPoint();

    bool make(const std::string& path, PlaceContent content);
    void remove();  // now, whoever made it, if it is empty

private:
    std::string path_;
    bool made_ = false;
};
