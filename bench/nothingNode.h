// The least that a FUSE file can do: it takes every write and every ioctl and does nothing with
// them. What the node is measured against.
#pragma once

#include <string>

// Mounts it at `path`, which it makes, writes a byte to `ready` and serves until it is unmounted or
// the process ends.
[[noreturn]] void serveNothing(const std::string& path, int ready);
