#include "renderer/cpu/rectangle.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr uint32_t kOpaque = 0xff000000;
constexpr uint32_t kTwoChannels = 0x00ff00ff;  // those that lie 16 bits apart

// Products of channels, 255 standing for 1, as the software renderers of OpenGL round them: within
// one step, and the same on every machine. Two channels at a time.
uint32_t scaleTwo(uint32_t channels, uint32_t factor) {
    const uint32_t product = channels * factor;
    return (product + (product >> 8 & kTwoChannels) + 0x00800080) >> 8 & kTwoChannels;
}

uint32_t mixChannel(uint32_t source, uint32_t constant, uint32_t under) {
    return std::min(scaleTwo(source, constant) + scaleTwo(255 - source, under), 255u);
}

uint32_t mix(uint32_t source, uint32_t constant, uint32_t under) {
    uint32_t mixed = kOpaque;
    for (const unsigned shift : {0u, 8u, 16u})
        mixed |= mixChannel(source >> shift & 0xff, constant >> shift & 0xff, under >> shift & 0xff)
                 << shift;
    return mixed;
}

// The channels of a pixel but alpha, 16 bits apart, so that one multiplication scales all of them.
uint64_t spread(uint32_t pixel) {
    return (pixel & kTwoChannels) | static_cast<uint64_t>(pixel & 0xff00) << 24;
}

uint64_t scaleAll(uint64_t channels, uint64_t factor) {
    constexpr uint64_t kAll = 0x000000ff'00ff00ff;
    constexpr uint64_t kHalf = 0x00000080'00800080;
    const uint64_t product = channels * factor;
    return (product + (product >> 8 & kAll) + kHalf) >> 8 & kAll;
}

// Nearly all of a console is this: coverage, texel by texel, in one colour, most of it none or all.
void mixCoverage(const uint8_t* coverage, int32_t count, uint32_t constant, uint32_t* pixels) {
    const uint64_t colour = spread(constant);
    for (int32_t i = 0; i < count; ++i) {
        const uint32_t source = coverage[i];
        if (source == 0)
            continue;
        if (source == 255) {
            pixels[i] = constant;
            continue;
        }
        // The two halves, each rounded by itself, never add up to more than a channel holds.
        const uint64_t sum = scaleAll(colour, source) + scaleAll(spread(pixels[i]), 255 - source);
        pixels[i] = kOpaque | static_cast<uint32_t>(sum | sum >> 24);
    }
}

// Rounds down, below 0 too, without a call of the library.
int32_t texelAt(float first, float step, int32_t distance) {
    const float place = first + step * static_cast<float>(distance);
    const auto whole = static_cast<int32_t>(place);
    return static_cast<float>(whole) > place ? whole - 1 : whole;
}

uint32_t texelColour(const Texture& texture, const uint8_t* row, int32_t x) {
    const auto column = static_cast<size_t>(x & (texture.width - 1));
    if (texture.format == GL_LUMINANCE)
        return kOpaque | row[column] * 0x010101u;
    const uint8_t* const texel = row + column * 4;
    return kOpaque | static_cast<uint32_t>(texel[0]) << 16 | static_cast<uint32_t>(texel[1]) << 8 |
           texel[2];
}

void drawTexels(const Paint& paint, const Rectangle& rectangle, const Texture& texture, int32_t y,
                uint32_t* pixels) {
    const uint8_t* const row =
        texture.row(texelAt(rectangle.texelY, rectangle.stepY, y - rectangle.top));
    const int32_t count = rectangle.right - rectangle.left;
    const int32_t first = texelAt(rectangle.texelX, rectangle.stepX, 0);
    const bool isOneToOne = rectangle.stepX == 1;
    if (isOneToOne && paint.isMixed && texture.format == GL_LUMINANCE && first >= 0 &&
        first + count <= texture.width)
        return mixCoverage(row + first, count, paint.constant, pixels + rectangle.left);

    uint32_t* pixel = pixels + rectangle.left;
    for (int32_t i = 0; i < count; ++i, ++pixel) {
        const int32_t column =
            isOneToOne ? first + i : texelAt(rectangle.texelX, rectangle.stepX, i);
        const uint32_t source = texelColour(texture, row, column);
        if (source != kOpaque)
            *pixel = paint.isMixed ? mix(source, paint.constant, *pixel) : source;
    }
}

}  // namespace

bool operator==(const Paint& left, const Paint& right) {
    return left.texture == right.texture && left.colour == right.colour &&
           left.isMixed == right.isMixed && left.constant == right.constant;
}

bool operator==(const Rectangle& left, const Rectangle& right) {
    return left.left == right.left && left.top == right.top && left.right == right.right &&
           left.bottom == right.bottom && left.texelX == right.texelX &&
           left.texelY == right.texelY && left.stepX == right.stepX && left.stepY == right.stepY;
}

void drawRectangleRow(const Paint& paint, const Rectangle& rectangle, const Texture* texture,
                      int32_t y, uint32_t* pixels) {
    if (texture)
        return drawTexels(paint, rectangle, *texture, y, pixels);
    uint32_t* const begin = pixels + rectangle.left;
    uint32_t* const end = pixels + rectangle.right;
    if (!paint.isMixed)
        std::fill(begin, end, paint.colour);
    else
        std::transform(begin, end, begin,
                       [&](uint32_t under) { return mix(paint.colour, paint.constant, under); });
}
