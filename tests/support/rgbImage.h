// Pictures as tests see them: rows from the top, three bytes a pixel. Reads and writes PNG files
// and tells where two pictures differ.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct Rgb {
    uint8_t red = 0;
    uint8_t green = 0;
    uint8_t blue = 0;
};

inline bool operator==(const Rgb& a, const Rgb& b) {
    return a.red == b.red && a.green == b.green && a.blue == b.blue;
}

inline bool operator!=(const Rgb& a, const Rgb& b) {
    return !(a == b);
}

struct RgbImage {
    int width = 0;
    int height = 0;
    std::vector<Rgb> pixels;  // width * height of them, the top row first

    RgbImage() = default;
    RgbImage(int columns, int rows, Rgb fill)
        : width(columns), height(rows), pixels(static_cast<size_t>(columns) * rows, fill) {}

    Rgb& at(int x, int row) { return pixels[static_cast<size_t>(row) * width + x]; }
    const Rgb& at(int x, int row) const { return pixels[static_cast<size_t>(row) * width + x]; }
};

// Any PNG file; an alpha channel is dropped, not applied. Throws std::runtime_error.
RgbImage readPng(const std::string& path);
void writePng(const std::string& path, const RgbImage& image);
void writePngWithAlpha(const std::string& path, const RgbImage& image, uint8_t alpha);

struct ImageDifference {
    bool sameSize = true;
    int worst = 0;      // the largest distance of a channel, 0..255
    int differing = 0;  // pixels beyond the tolerance
    int firstX = -1;    // the topmost, then leftmost of them
    int firstRow = -1;
};

// Pixels count as different when a channel is more than `tolerance` apart.
ImageDifference compareImages(const RgbImage& expected, const RgbImage& actual, int tolerance);

// Black where the two agree; elsewhere the distance of each channel, made visible.
RgbImage differencePicture(const RgbImage& expected, const RgbImage& actual);
