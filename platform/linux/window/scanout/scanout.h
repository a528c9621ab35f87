// Brings rows of a picture into memory that a display shows: in the display's pixel format, turned,
// and in the middle where the sizes differ. That memory is only written: reading it back is slow on
// real hardware.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "picture/picture.h"
#include "window/scanout/placement.h"
#include "window/scanout/rotation.h"

// Where the bits of a colour are in a pixel; the length is 0 to 8.
struct ColourBits {
    uint32_t offset, length;
};

struct PixelFormat {
    uint32_t bytes;  // of a pixel: 2, 3 or 4
    ColourBits red, green, blue;
    ColourBits alpha;  // always all ones; of length 0 where the display has none
};

constexpr PixelFormat kFormat8888{4, {16, 8}, {8, 8}, {0, 8}, {24, 8}};
constexpr PixelFormat kFormat565{2, {11, 5}, {5, 6}, {0, 5}, {0, 0}};

struct ScanoutMemory {
    uint8_t* pixels;  // the top left one
    size_t stride;    // bytes from a row to the one below it
};

class Scanout {
public:
    // `display` is the size of the memory, before anything is turned.
    Scanout(const PixelFormat& format, const PixelSize& display, Rotation rotation);

    // Writes the rows of the newest frame that may differ from frame number `earlier`.
    void write(const Picture& picture, uint32_t earlier, const ScanoutMemory& memory);

    // Blackens what a picture of that size leaves free.
    void clearAround(const PixelSize& picture, const ScanoutMemory& memory) const;

private:
    struct Band;

    void writeBand(const Picture& picture, const RowSpan& rows, const ScanoutMemory& memory);
    void writePixels(const uint32_t* from, ptrdiff_t step, int32_t count, uint8_t* to) const;

    PixelFormat format_;
    PixelSize display_;
    Rotation rotation_;
    std::vector<uint32_t> band_;  // rows of the picture before they are converted
};
