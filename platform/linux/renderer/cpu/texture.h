// The image of a texture, as it was uploaded.
#pragma once

#include <GLES2/gl2.h>

#include <cstddef>
#include <cstdint>
#include <vector>

constexpr int32_t kLargestTexture = 16384;  // texels a side

struct Texture {
    GLenum format;  // GL_LUMINANCE: one byte a texel; GL_RGBA: four
    int32_t width;  // texels, a power of two as the height is; 0 x 0 without an image
    int32_t height;
    std::vector<uint8_t> texels;  // rows without gaps, in the order of their upload

    // A row and a column may be any: the image repeats.
    const uint8_t* row(int32_t y) const {
        const size_t bytes = format == GL_RGBA ? 4 : 1;
        return texels.data() +
               static_cast<size_t>(y & (height - 1)) * static_cast<size_t>(width) * bytes;
    }
};
