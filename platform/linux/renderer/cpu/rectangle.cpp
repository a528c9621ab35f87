#include "renderer/cpu/rectangle.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr uint32_t kOpaque = 0xff000000;

// The product of two channels as the software renderers of OpenGL round it: exact to half a step,
// ties aside, and the same on every machine.
uint32_t scale(uint32_t left, uint32_t right) {
    const uint32_t product = left * right;
    return (product + (product >> 8) + 128) >> 8;
}

// The same for two channels at a time, which lie 16 bits apart.
uint32_t scaleTwo(uint32_t channels, uint32_t factor) {
    const uint32_t product = channels * factor;
    return (product + ((product >> 8) & 0x00ff00ff) + 0x00800080) >> 8 & 0x00ff00ff;
}

// All channels of `pixel` times `factor`, 0 to 255.
uint32_t scaleColour(uint32_t pixel, uint32_t factor) {
    return scaleTwo(pixel & 0x00ff00ff, factor) | scaleTwo(pixel >> 8 & 0x000000ff, factor) << 8;
}

uint32_t mixChannel(uint32_t source, uint32_t constant, uint32_t under) {
    return std::min(scale(source, constant) + scale(255 - source, under), 255u);
}

uint32_t mix(uint32_t source, uint32_t constant, uint32_t under) {
    uint32_t mixed = kOpaque;
    for (const unsigned shift : {0u, 8u, 16u})
        mixed |= mixChannel(source >> shift & 0xff, constant >> shift & 0xff, under >> shift & 0xff)
                 << shift;
    return mixed;
}

// The source of a texel; black without anything else is transparent.
uint32_t texelColour(const Texture& texture, const uint8_t* row, int32_t x) {
    const auto column = static_cast<size_t>(x & (texture.width - 1));
    if (texture.format == GL_LUMINANCE)
        return kOpaque | row[column] * 0x010101u;
    const uint8_t* const texel = row + column * 4;
    return kOpaque | static_cast<uint32_t>(texel[0]) << 16 | static_cast<uint32_t>(texel[1]) << 8 |
           texel[2];
}

int32_t texelAt(float first, float step, int32_t distance) {
    return static_cast<int32_t>(std::floor(first + step * static_cast<float>(distance)));
}

// What nearly all of a console is: coverage, texel by texel, in one colour.
void mixCoverage(const uint8_t* coverage, int32_t count, uint32_t constant, uint32_t* pixels) {
    for (int32_t i = 0; i < count; ++i) {
        const uint32_t source = coverage[i];
        if (source == 0)
            continue;
        // Two halves that are rounded by themselves never add up to more than a channel holds.
        pixels[i] =
            kOpaque | (scaleColour(constant, source) + scaleColour(pixels[i], 255 - source));
    }
}

bool isPlainText(const Rectangle& rectangle, const Texture& texture, int32_t texelX) {
    return rectangle.fill == Fill::mixedTexels && texture.format == GL_LUMINANCE &&
           rectangle.stepX == 1 && texelX >= 0 &&
           texelX + rectangle.right - rectangle.left <= texture.width;
}

void drawTexels(const Rectangle& rectangle, const Texture& texture, int32_t y, uint32_t* pixels) {
    const uint8_t* const row =
        texture.row(texelAt(rectangle.texelY, rectangle.stepY, y - rectangle.top));
    const int32_t texelX = texelAt(rectangle.texelX, rectangle.stepX, 0);
    if (isPlainText(rectangle, texture, texelX)) {
        mixCoverage(row + texelX, rectangle.right - rectangle.left, rectangle.constant,
                    pixels + rectangle.left);
        return;
    }
    for (int32_t x = rectangle.left; x < rectangle.right; ++x) {
        const int32_t column = texelAt(rectangle.texelX, rectangle.stepX, x - rectangle.left);
        const uint32_t source = texelColour(texture, row, column);
        if (source == kOpaque)
            continue;
        pixels[x] =
            rectangle.fill == Fill::texels ? source : mix(source, rectangle.constant, pixels[x]);
    }
}

}  // namespace

bool operator==(const Rectangle& left, const Rectangle& right) {
    return left.left == right.left && left.top == right.top && left.right == right.right &&
           left.bottom == right.bottom && left.colour == right.colour &&
           left.constant == right.constant && left.texture == right.texture &&
           left.texelX == right.texelX && left.texelY == right.texelY &&
           left.stepX == right.stepX && left.stepY == right.stepY && left.fill == right.fill;
}

void drawRectangleRow(const Rectangle& rectangle, const Texture& texture, int32_t y,
                      uint32_t* pixels) {
    switch (rectangle.fill) {
        case Fill::colour:
            std::fill(pixels + rectangle.left, pixels + rectangle.right, rectangle.colour);
            break;
        case Fill::mixedColour:
            for (int32_t x = rectangle.left; x < rectangle.right; ++x)
                pixels[x] = mix(rectangle.colour, rectangle.constant, pixels[x]);
            break;
        case Fill::texels:
        case Fill::mixedTexels: drawTexels(rectangle, texture, y, pixels); break;
    }
}
