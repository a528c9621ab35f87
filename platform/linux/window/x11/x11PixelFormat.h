// How an X server wants the pixels of a window, and a picture's rows written that way.
#pragma once

#include <xcb/xcb.h>

#include <cstddef>
#include <cstdint>
#include <optional>

#include "picture/picture.h"

struct X11PixelFormat {
    xcb_visualid_t visual;
    uint8_t depth;
    uint32_t redMask, greenMask, blueMask;  // at most eight bits each; the other bits are set
    uint8_t bitsPerPixel;                   // 16, 24 or 32
    uint8_t rowAlignmentBits;               // 8, 16 or 32
    xcb_image_order_t byteOrder;

    // The bytes from one row to the next.
    size_t rowBytes(int32_t width) const;

    // Writes rows of the picture's newest frame from `memory` on, which is aligned like a pixel of
    // 32 bits.
    void fill(const Picture& picture, const RowSpan& rows, uint8_t* memory) const;
};

// The one of the screen's visuals that loses least. Nothing where no visual has its colours'
// intensities in the pixels themselves.
std::optional<X11PixelFormat> chooseX11PixelFormat(const xcb_setup_t& server,
                                                   const xcb_screen_t& screen);
