// A picture that a test draws pixel by pixel, frame by frame, and that notes which rows are taken.
#pragma once

#include <string>
#include <vector>

#include "picture/picture.h"

class DrawnPicture : public Picture {
public:
    explicit DrawnPicture(const PixelSize& size)
        : Picture(size),
          pixels_(static_cast<size_t>(size.width) * static_cast<size_t>(size.height), 0xff000000) {}

    void addFrameLikeTheLast() { addFrame(); }

    // The next frame, in which these rows have that colour: 0xRRGGBB.
    void drawRows(const RowSpan& rows, uint32_t colour) {
        addFrame();
        for (int32_t y = rows.first; y < rows.end; ++y) {
            for (int32_t x = 0; x < size().width; ++x)
                pixelAt(x, y) = 0xff000000 | colour;
            markChanged(y);
        }
    }
    void drawAll(uint32_t colour) { drawRows({0, size().height}, colour); }

    // The next frame, in which no pixel looks like another one nearby.
    void drawPattern() {
        addFrame();
        for (int32_t y = 0; y < size().height; ++y) {
            for (int32_t x = 0; x < size().width; ++x) {
                const auto column = static_cast<uint32_t>(x), row = static_cast<uint32_t>(y);
                pixelAt(x, y) = 0xff000000 | (column * 37 + row * 11) % 256 << 16 |
                                (column * 5 + row * 59) % 256 << 8 | (column * 91 + row * 23) % 256;
            }
            markChanged(y);
        }
    }

    uint32_t at(int32_t x, int32_t y) const { return pixels_[place(x, y)]; }

    void fill(const RowSpan& rows, uint32_t* pixels, size_t stridePixels) const override {
        taken.push_back(std::to_string(rows.first) + "-" + std::to_string(rows.end));
        for (int32_t y = rows.first; y < rows.end; ++y, pixels += stridePixels) {
            for (int32_t x = 0; x < size().width; ++x)
                pixels[x] = at(x, y);
        }
    }

    mutable std::vector<std::string> taken;  // "FIRST-END" for each fill

private:
    size_t place(int32_t x, int32_t y) const {
        return static_cast<size_t>(y) * static_cast<size_t>(size().width) + static_cast<size_t>(x);
    }
    uint32_t& pixelAt(int32_t x, int32_t y) { return pixels_[place(x, y)]; }

    std::vector<uint32_t> pixels_;
};
