#include "picture/picture.h"

Picture::Picture(const PixelSize& size)
    : size_(size), changedIn_(static_cast<size_t>(size.height), 1) {}

std::vector<RowSpan> Picture::changedSince(uint32_t earlier) const {
    std::vector<RowSpan> spans;
    for (int32_t row = 0; row < size_.height; ++row) {
        if (changedIn_[static_cast<size_t>(row)] <= earlier)
            continue;
        if (!spans.empty() && spans.back().end == row)
            ++spans.back().end;
        else
            spans.push_back({row, row + 1});
    }
    return spans;
}
