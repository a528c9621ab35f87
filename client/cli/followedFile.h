// A file that is read as it grows, under its name: when another file takes the name, or the file is
// cut, reading goes on at the beginning of what is there then.
#pragma once

#include <sys/types.h>

#include <string>

#include "lib/ownedFd.h"

class FollowedFile {
public:
    explicit FollowedFile(std::string path) : path_(std::move(path)) {}

    // Opens the file behind all but its last `lines` lines. Returns 0 or an error number; a file
    // that cannot be opened yet is looked for by every read().
    int open(unsigned int lines);

    // What happened to the file when read() was called, for those who tell. After kSucceeded it is
    // read once more, up to kReplaced.
    enum class Event { none, appeared, succeeded, replaced, cut, gone };

    // Puts the next bytes into `bytes`, none if there are none now. Keeps to a file until another
    // one that has taken its name has something in it, and reads it to its end once more then: who
    // writes to it turns to the other one first.
    Event read(std::string* bytes);

    const std::string& path() const { return path_; }

private:
    Event lookForNewFile();
    Event turnToNewFile();
    off_t startOfLastLines(unsigned int lines, off_t size) const;

    std::string path_;
    OwnedFd fd_;
    OwnedFd next_;  // has taken the name, is turned to at the end of fd_
    off_t position_ = 0;
    bool goneTold_ = false;
};
