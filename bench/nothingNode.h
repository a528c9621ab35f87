// The least that a node of the kernel's can do: it takes every write and every ioctl and does
// nothing with them, in the loop that libfuse has for such programs. What the node is measured
// against.
#pragma once

#include <string>

// Mounts it at `path`, which it makes, writes a byte to `ready` and serves until it is unmounted or
// the process ends.
[[noreturn]] void serveNothing(const std::string& path, int ready);

// The same as a character device; `path` is in /dev.
[[noreturn]] void serveNothingAsDevice(const std::string& path, int ready);
