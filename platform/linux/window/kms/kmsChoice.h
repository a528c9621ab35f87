// What is decided about a display before it is touched: its mode, the format of its buffers, where
// a picture of another size goes. Plain arithmetic on records; no card is needed.
#pragma once

#include <xf86drmMode.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kd/windows/backend.h"

// The mode for a display that offers `modes`. Without a wanted size: the one that is running, null
// if none is, when the display offers its like; else the preferred one; else the first. With a
// wanted size the same among the modes of that size, and among all of them if there is none.
// Nothing for a display without modes.
std::optional<drmModeModeInfo> chooseMode(const std::vector<drmModeModeInfo>& modes,
                                          const drmModeModeInfo* running,
                                          const std::optional<DisplaySize>& wanted);

// Whether the display would not notice a change from one to the other.
bool isSameTiming(const drmModeModeInfo& left, const drmModeModeInfo& right);

// The format under which a plane that offers `formats` shows pixels with 8 bits each of alpha, red,
// green and blue; 0 if it can't. One that ignores alpha comes first: the service leaves less than
// full alpha in places, and nothing is below the picture.
uint32_t choosePlaneFormat(const std::vector<uint32_t>& formats);

// Which part of a picture is seen on a display, and where there: in the middle, with the same
// number of pixels missing or empty on both sides, up to one.
struct Placement {
    int32_t fromX, fromY;  // in the picture, pixels from its top left
    int32_t toX, toY;      // on the display, likewise
    int32_t width, height;
};
Placement placeCentred(const DisplaySize& picture, const DisplaySize& display);

// Copies that part of a picture, rows of R,G,B,A from the bottom row up as GL reads them, to a
// buffer of B,G,R,X from the top row down whose rows are `stride` bytes apart.
void copyPlaced(const uint8_t* rgba, const DisplaySize& picture, const Placement& placement,
                uint8_t* buffer, size_t stride);

// Why a card can't be opened, as one line; `error` is the errno of the attempt.
std::string describeCardError(const std::string& path, int error);
