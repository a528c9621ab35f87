// What stands behind the colon for a window that fills a display of the machine's own: a device, a
// size, or both with a colon between them.
#pragma once

#include <optional>
#include <string>

#include "picture/pixelSize.h"

struct DisplayArgument {
    std::string device;  // a path with a slash; empty: any
    std::optional<PixelSize> size;
};

// Nothing if it is none of these.
std::optional<DisplayArgument> parseDisplayArgument(const std::string& argument);
