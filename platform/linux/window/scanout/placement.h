// Where a picture goes on a display of another size.
#pragma once

#include <algorithm>

#include "picture/pixelSize.h"

// Which part of a picture is seen, and where on the display: in the middle, with the same number of
// pixels missing or empty on both sides, up to one.
struct Placement {
    int32_t fromX, fromY;  // in the picture, pixels from its top left
    int32_t toX, toY;      // on the display, likewise
    int32_t width, height;
};

inline Placement placeCentred(const PixelSize& picture, const PixelSize& display) {
    // The offset into the longer of the two at which the shorter is in its middle.
    const auto middle = [](int32_t length, int32_t other) {
        return length > other ? (length - other) / 2 : 0;
    };
    return {
        middle(picture.width, display.width),   middle(picture.height, display.height),
        middle(display.width, picture.width),   middle(display.height, picture.height),
        std::min(picture.width, display.width), std::min(picture.height, display.height),
    };
}
