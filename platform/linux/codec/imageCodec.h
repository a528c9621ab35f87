// One kind of image file: a record of functions, which is what its module offers.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "codec/decodedImage.h"

struct ImageCodec {
    // The whole file's picture in *image: IMG_ERR_OK or another of the image library's errors.
    // Nothing of the data is trusted.
    int (*decode)(const std::vector<uint8_t>& data, DecodedImage* image);

    // Writes a picture of three bytes a pixel, R,G,B, rows packed, the top one first. False with
    // the reason in *reason. Null where nothing is written in this format.
    bool (*write)(FILE* file, unsigned width, unsigned height, const uint8_t* rgb,
                  std::string* reason);
};

extern const ImageCodec kPngCodec;
extern const ImageCodec kJpegCodec;
