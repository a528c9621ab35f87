// A width and a height in pixels, and how settings write them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

struct PixelSize {
    int32_t width;
    int32_t height;
};

// Pixels; what the window protocols can say: sixteen bits with a sign.
constexpr int32_t kLargestPicture = 32767;

inline bool operator==(const PixelSize& left, const PixelSize& right) {
    return left.width == right.width && left.height == right.height;
}
inline bool operator!=(const PixelSize& left, const PixelSize& right) {
    return !(left == right);
}

// "WIDTHxHEIGHT", each 1 to kLargestPicture without sign or blanks.
std::optional<PixelSize> parsePixelSize(const std::string& text);
