#include "renderer/cpu/frameRecord.h"

#include <algorithm>

void FrameRecord::clear(uint32_t colour) {
    background_ = colour;
    rectangles_.clear();
    textures_.clear();
}

void FrameRecord::add(Rectangle rectangle, const std::shared_ptr<const Texture>& texture) {
    const bool hasTexels = rectangle.fill == Fill::texels || rectangle.fill == Fill::mixedTexels;
    const bool isKnown = !textures_.empty() && textures_.back().number == rectangle.texture;
    if (hasTexels && !isKnown)
        textures_.push_back({rectangle.texture, texture});
    rectangles_.push_back(rectangle);
}

void FrameRecord::finish() {
    const auto rows = static_cast<size_t>(size_.height);
    rowStarts_.assign(rows + 1, 0);
    for (const Rectangle& each : rectangles_) {
        for (int32_t y = each.top; y < each.bottom; ++y)
            ++rowStarts_[static_cast<size_t>(y) + 1];
    }
    for (size_t row = 1; row <= rows; ++row)
        rowStarts_[row] += rowStarts_[row - 1];

    rowRectangles_.resize(rowStarts_[rows]);
    std::vector<uint32_t> next(rowStarts_.begin(), rowStarts_.end() - 1);
    for (size_t i = 0; i < rectangles_.size(); ++i) {
        for (int32_t y = rectangles_[i].top; y < rectangles_[i].bottom; ++y)
            rowRectangles_[next[static_cast<size_t>(y)]++] = static_cast<uint32_t>(i);
    }
}

FrameRecord::RowList FrameRecord::rowList(int32_t y) const {
    const auto row = static_cast<size_t>(y);
    return {rowRectangles_.data() + rowStarts_[row], rowRectangles_.data() + rowStarts_[row + 1]};
}

const Texture& FrameRecord::textureOf(const Rectangle& rectangle) const {
    static const Texture none{};
    for (const UsedTexture& used : textures_) {
        if (used.number == rectangle.texture)
            return *used.texture;
    }
    return none;
}

void FrameRecord::drawRow(int32_t y, uint32_t* pixels) const {
    std::fill_n(pixels, size_.width, background_);
    const RowList list = rowList(y);
    for (const uint32_t* each = list.begin; each != list.end; ++each) {
        const Rectangle& rectangle = rectangles_[*each];
        drawRectangleRow(rectangle, textureOf(rectangle), y, pixels);
    }
}

bool FrameRecord::isSame(const FrameRecord& other) const {
    return background_ == other.background_ && rectangles_ == other.rectangles_;
}

bool FrameRecord::isSameRow(int32_t y, const FrameRecord& other) const {
    const RowList mine = rowList(y), theirs = other.rowList(y);
    return background_ == other.background_ &&
           std::equal(mine.begin, mine.end, theirs.begin, theirs.end,
                      [&](uint32_t left, uint32_t right) {
                          return rectangles_[left] == other.rectangles_[right];
                      });
}
