// The right to serve a node: one console at a time has it, and loses it with its process, however
// that ends. A file in a folder that nobody else can write, so that no other user can take it; and
// not at the node's path, because a console that is stopped would not answer there.
#pragma once

#include <string>

#include "ownership/fileDescriptor.h"

class NodeLock {
public:
    NodeLock() = default;
    ~NodeLock() { release(); }
    NodeLock(const NodeLock&) = delete;
    NodeLock& operator=(const NodeLock&) = delete;

    // Takes the lock of the node at `path`, a canonical one. False after one line on standard
    // error: with EBUSY when another console of this user holds it, even one that is stopped. Where
    // the file can be made in no folder, one line says so and nothing is locked, which is no
    // failure.
    bool take(const std::string& path);
    void release();

    // Whether the last holder died and had noted that what is at the path is of its making.
    bool foundNote() const { return foundNote_; }
    void note();

private:
    std::string file_;
    FileDescriptor fd_;
    bool foundNote_ = false;
};
