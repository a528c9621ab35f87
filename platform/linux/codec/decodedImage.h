// A picture as a codec hands it over: packed rows of R,G,B,A bytes, the top one first.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "ownership/release.h"

// From malloc, since the image library's interface hands it to a caller that calls free.
using Pixels = std::unique_ptr<uint8_t, Release<std::free>>;

struct DecodedImage {
    Pixels pixels;
    unsigned width;
    unsigned height;
};

// Room for width x height pixels in image->pixels, and the size noted: IMG_ERR_OK, IMG_ERR_CORRUPT
// for a side of 0, IMG_ERR_NOSUPPORT for one over kLargestSide or more than kMostPixels in all,
// IMG_ERR_MEM. Codecs call it before they take a file's word for its size.
constexpr unsigned kLargestSide = 16384;  // what a texture takes
constexpr size_t kMostPixels =
    64000000;  // a small file can claim any number; a display has 8 million
int allocatePixels(DecodedImage* image, unsigned width, unsigned height);
