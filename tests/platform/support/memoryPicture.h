// A picture whose frames a test hands over, pixel by pixel.
#pragma once

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "picture/picture.h"

class MemoryPicture : public Picture {
public:
    explicit MemoryPicture(const PixelSize& size)
        : Picture(size),
          pixels_(static_cast<size_t>(size.width) * static_cast<size_t>(size.height), 0xff000000) {}

    // The next frame: 0xffRRGGBB a pixel, the top row first.
    void show(std::vector<uint32_t> pixels) {
        std::swap(pixels, pixels_);
        addFrame();
        const auto width = size().width;
        for (int32_t y = 0; y < size().height; ++y) {
            if (!std::equal(pixels_.begin() + y * width, pixels_.begin() + (y + 1) * width,
                            pixels.begin() + y * width))
                markChanged(y);
        }
    }

    void fill(const RowSpan& rows, uint32_t* pixels, size_t stridePixels) const override {
        for (int32_t y = rows.first; y < rows.end; ++y, pixels += stridePixels)
            std::copy_n(pixels_.begin() + y * size().width, size().width, pixels);
    }

private:
    std::vector<uint32_t> pixels_;
};
