#include "support/rgbImage.h"

#include <png.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace {

int distance(const Rgb& a, const Rgb& b) {
    return std::max({abs(a.red - b.red), abs(a.green - b.green), abs(a.blue - b.blue)});
}

uint8_t visible(int delta) {
    return delta == 0 ? 0 : static_cast<uint8_t>(std::min(255, 63 + abs(delta)));
}

void writeBytes(const std::string& path, const RgbImage& image, png_uint_32 format,
                const void* bytes) {
    png_image png = {};
    png.version = PNG_IMAGE_VERSION;
    png.width = static_cast<png_uint_32>(image.width);
    png.height = static_cast<png_uint_32>(image.height);
    png.format = format;
    if (!png_image_write_to_file(&png, path.c_str(), 0, bytes, 0, nullptr))
        throw std::runtime_error(path + ": " + png.message);
}

}  // namespace

RgbImage readPng(const std::string& path) {
    png_image png = {};
    png.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&png, path.c_str()))
        throw std::runtime_error(path + ": " + png.message);

    png.format = PNG_FORMAT_RGBA;
    std::vector<uint8_t> bytes(PNG_IMAGE_SIZE(png));
    if (!png_image_finish_read(&png, nullptr, bytes.data(), 0, nullptr))
        throw std::runtime_error(path + ": " + png.message);

    RgbImage image(static_cast<int>(png.width), static_cast<int>(png.height), {});
    for (size_t i = 0; i < image.pixels.size(); ++i)
        image.pixels[i] = {bytes[4 * i], bytes[4 * i + 1], bytes[4 * i + 2]};
    return image;
}

void writePng(const std::string& path, const RgbImage& image) {
    static_assert(sizeof(Rgb) == 3, "pixels are written as they lie in memory");
    writeBytes(path, image, PNG_FORMAT_RGB, image.pixels.data());
}

void writePngWithAlpha(const std::string& path, const RgbImage& image, uint8_t alpha) {
    std::vector<uint8_t> bytes;
    for (const Rgb& pixel : image.pixels)
        bytes.insert(bytes.end(), {pixel.red, pixel.green, pixel.blue, alpha});
    writeBytes(path, image, PNG_FORMAT_RGBA, bytes.data());
}

ImageDifference compareImages(const RgbImage& expected, const RgbImage& actual, int tolerance) {
    ImageDifference difference;
    difference.sameSize = expected.width == actual.width && expected.height == actual.height;
    if (!difference.sameSize)
        return difference;

    for (size_t i = 0; i < expected.pixels.size(); ++i) {
        const int apart = distance(expected.pixels[i], actual.pixels[i]);
        difference.worst = std::max(difference.worst, apart);
        if (apart <= tolerance)
            continue;
        if (difference.differing++ == 0) {
            difference.firstX = static_cast<int>(i) % expected.width;
            difference.firstRow = static_cast<int>(i) / expected.width;
        }
    }
    return difference;
}

RgbImage differencePicture(const RgbImage& expected, const RgbImage& actual) {
    const int width = std::min(expected.width, actual.width);
    const int height = std::min(expected.height, actual.height);
    RgbImage picture(width, height, {});
    for (int row = 0; row < height; ++row) {
        for (int x = 0; x < width; ++x) {
            const Rgb& a = expected.at(x, row);
            const Rgb& b = actual.at(x, row);
            picture.at(x, row) = {visible(a.red - b.red), visible(a.green - b.green),
                                  visible(a.blue - b.blue)};
        }
    }
    return picture;
}
