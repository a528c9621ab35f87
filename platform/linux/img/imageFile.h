// Decoding of one file's bytes into packed R,G,B,A rows, by kind. Nothing here trusts the data:
// sizes are checked before anything of that size is allocated.
#pragma once

#include <img/img.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "ownership/release.h"

// From malloc, since the interface hands it to a caller that calls free.
using Pixels = std::unique_ptr<uint8_t, Release<std::free>>;

struct DecodedImage {
    Pixels pixels;
    unsigned width;
    unsigned height;
};

// Room for width x height pixels in image->pixels, and the size noted: IMG_ERR_OK, IMG_ERR_CORRUPT
// for a side of 0, IMG_ERR_NOSUPPORT for one over kLargestSide, IMG_ERR_MEM.
constexpr unsigned kLargestSide = 16384;
int allocatePixels(DecodedImage* image, unsigned width, unsigned height);

// Whether the bytes start as that kind of file does.
bool isPng(const std::vector<uint8_t>& data);
bool isJpeg(const std::vector<uint8_t>& data);

// The whole file's picture in *image: IMG_ERR_OK or another of the library's errors.
int decodePng(const std::vector<uint8_t>& data, DecodedImage* image);
int decodeJpeg(const std::vector<uint8_t>& data, DecodedImage* image);
