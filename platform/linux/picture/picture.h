// What the console shows: the newest finished frame, and which rows changed since any earlier one.
// A renderer makes it. Windows and the capture take rows from it into memory of their own, when and
// as often as they like: it stays the same until the renderer finishes the next frame.
//
// Rows are counted from the top.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "picture/pixelSize.h"

struct RowSpan {
    int32_t first;
    int32_t end;  // behind the last one
};

class Picture {
public:
    explicit Picture(const PixelSize& size);
    virtual ~Picture() = default;
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;

    const PixelSize& size() const { return size_; }

    // The number of the newest frame. They count from 1; before the first it is 0.
    uint32_t frame() const { return frame_; }

    // The rows in which the newest frame may differ from frame number `earlier`, in order and
    // without overlap. All rows if `earlier` is 0, none if it is the newest.
    std::vector<RowSpan> changedSince(uint32_t earlier) const;

    // Writes rows of the newest frame, 0xffRRGGBB a pixel, from `pixels` on; each starts
    // `stridePixels` behind the one before. Reads what it has written: keep it in ordinary memory,
    // not in that of a graphics card.
    virtual void fill(const RowSpan& rows, uint32_t* pixels, size_t stridePixels) const = 0;

protected:
    // Counts a frame, after which the rows that differ from the one before are marked.
    void addFrame() { ++frame_; }
    void markChanged(int32_t row) { changedIn_[static_cast<size_t>(row)] = frame_; }

private:
    PixelSize size_;
    uint32_t frame_ = 0;
    std::vector<uint32_t> changedIn_;  // for each row the frame in which it changed last
};
