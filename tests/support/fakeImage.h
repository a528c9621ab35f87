// The image library with a scripted picture.
#pragma once

#include <img/img.h>

#include <cstdint>
#include <vector>

struct FakeImage {
    int attachResult = IMG_ERR_OK;
    int loadResult = IMG_ERR_OK;
    unsigned width = 2;
    unsigned height = 2;
    std::vector<uint8_t> pixels;  // R, G, B, A rows; empty: each byte counts up from 1
    unsigned stride = 0;          // as reported only; 0: packed
};

// The pixels that the fake delivers.
std::vector<uint8_t> imagePixels();

extern FakeImage fakeImage;
