// DecodedPicture files for tests: written with the libraries that other programs write them with.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

using Bytes = std::vector<uint8_t>;

// What goes into a PNG file: rows as the file format has them, packed, samples of 16 bits with the
// high byte first.
struct PngContent {
    uint32_t width = 0;
    uint32_t height = 0;
    int bitDepth = 8;
    int colorType = 0;  // PNG_COLOR_TYPE_...
    Bytes rows;
    bool interlaced = false;
    Bytes palette;             // R, G, B of each entry
    Bytes paletteAlpha;        // of the first entries
    int transparentGrey = -1;  // the grey sample that is transparent, -1: none
    Bytes transparentColor;    // three samples of 16 bits, high byte first; empty: none
    double gamma = 0;          // 0: the file says nothing
};
Bytes encodePng(const PngContent& content);

// A PNG file put together from the bytes of its chunks, with the right checksums.
struct PngChunk {
    std::string type;
    Bytes data;
};
Bytes joinPngChunks(const std::vector<PngChunk>& chunks);
std::vector<PngChunk> splitPngChunks(const Bytes& file);

// A JPEG file at the best quality, without colour subsampling.
struct JpegContent {
    int width = 0;
    int height = 0;
    Bytes rgb;
    bool grey = false;
    bool progressive = false;
};
Bytes encodeJpeg(const JpegContent& content);
Bytes encodeCmykJpeg(int width, int height);

void writeFile(const std::string& path, const Bytes& bytes);
Bytes readFile(const std::string& path);

// The picture in a PNG file as R,G,B,A rows from the top; empty if it is none.
struct DecodedPicture {
    uint32_t width = 0;
    uint32_t height = 0;
    Bytes rgba;

    // R, G, B, A of the pixel, x from the left and y from the top.
    Bytes at(uint32_t x, uint32_t y) const {
        const auto first = rgba.begin() + static_cast<std::ptrdiff_t>((size_t{y} * width + x) * 4);
        return Bytes(first, first + 4);
    }
};
DecodedPicture readPng(const std::string& path);
