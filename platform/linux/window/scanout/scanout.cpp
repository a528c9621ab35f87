#include "window/scanout/scanout.h"

#include <algorithm>
#include <cstring>

namespace {

// As many as make full bursts of a turned picture's rows, which become columns, and few enough to
// stay in a small cache.
constexpr int32_t kBandRows = 32;

struct Range {
    int32_t first, end;
};

Range overlap(const Range& left, const Range& right) {
    return {std::max(left.first, right.first), std::min(left.end, right.end)};
}

bool isSame(const ColourBits& left, const ColourBits& right) {
    return left.offset == right.offset && left.length == right.length;
}

// Whether a pixel is what a picture has. Bits that mean nothing to the display may be set.
bool isPicturesOwn(const PixelFormat& format) {
    return format.bytes == kFormat8888.bytes && isSame(format.red, kFormat8888.red) &&
           isSame(format.green, kFormat8888.green) && isSame(format.blue, kFormat8888.blue);
}

uint32_t placed(uint32_t value, const ColourBits& bits) {
    return (value & 0xff) >> (8 - bits.length) << bits.offset;
}

// What is done to a pixel is settled once a row.
template <size_t bytes>
void convert(const PixelFormat& format, const uint32_t* from, ptrdiff_t step, int32_t count,
             uint8_t* to) {
    const uint32_t opaque = placed(0xff, format.alpha);
    for (; count > 0; --count, from += step, to += bytes) {
        const uint32_t pixel = placed(*from >> 16, format.red) | placed(*from >> 8, format.green) |
                               placed(*from, format.blue) | opaque;
        std::memcpy(to, &pixel, bytes);
    }
}

void copyTurned(const uint32_t* from, ptrdiff_t step, int32_t count, uint8_t* to) {
    for (; count > 0; --count, from += step, to += sizeof *from)
        std::memcpy(to, from, sizeof *from);
}

// A turned picture's pixels among those of the picture: the one at x, y is number
// start + x * stepX + y * stepY, counted in rows from the first row that is there.
struct Walk {
    ptrdiff_t start, stepX, stepY;
};

Walk walk(const PixelSize& picture, int32_t firstRow, Rotation rotation) {
    const ptrdiff_t width = picture.width, lastX = width - 1;
    const ptrdiff_t top = -firstRow * width;
    const ptrdiff_t bottom = (picture.height - 1 - firstRow) * width;
    switch (rotation) {
        case Rotation::by90: return {bottom, -width, 1};
        case Rotation::by180: return {bottom + lastX, -1, -width};
        case Rotation::by270: return {top + lastX, width, -1};
        default: return {top, 1, width};
    }
}

}  // namespace

// Rows of the picture as they lie in the turned one.
struct Scanout::Band {
    Range columns, rows;

    Band(const PixelSize& picture, const RowSpan& span, Rotation rotation)
        : columns{0, picture.width}, rows{0, picture.width} {
        const Range fromTop{span.first, span.end};
        const Range fromBottom{picture.height - span.end, picture.height - span.first};
        switch (rotation) {
            case Rotation::by90: columns = fromBottom; break;
            case Rotation::by180: rows = fromBottom; break;
            case Rotation::by270: columns = fromTop; break;
            default: rows = fromTop; break;
        }
    }
};

Scanout::Scanout(const PixelFormat& format, const PixelSize& display, Rotation rotation)
    : format_(format), display_(display), rotation_(rotation) {}

void Scanout::write(const Picture& picture, uint32_t earlier, const ScanoutMemory& memory) {
    for (const RowSpan& span : picture.changedSince(earlier)) {
        for (int32_t row = span.first; row < span.end; row += kBandRows)
            writeBand(picture, {row, std::min(row + kBandRows, span.end)}, memory);
    }
}

void Scanout::writeBand(const Picture& picture, const RowSpan& rows, const ScanoutMemory& memory) {
    const PixelSize& size = picture.size();
    const Placement place = placeCentred(turned(size, rotation_), display_);
    const Band band(size, rows, rotation_);
    const Range columns = overlap(band.columns, {place.fromX, place.fromX + place.width});
    const Range lines = overlap(band.rows, {place.fromY, place.fromY + place.height});
    if (columns.first >= columns.end || lines.first >= lines.end)
        return;

    const auto width = static_cast<size_t>(size.width);
    band_.resize(width * kBandRows);
    picture.fill(rows, band_.data(), width);

    const Walk steps = walk(size, rows.first, rotation_);
    const auto left = static_cast<size_t>(place.toX + columns.first - place.fromX);
    for (int32_t y = lines.first; y < lines.end; ++y) {
        const ptrdiff_t first = steps.start + columns.first * steps.stepX + y * steps.stepY;
        const auto top = static_cast<size_t>(place.toY + y - place.fromY);
        writePixels(band_.data() + first, steps.stepX, columns.end - columns.first,
                    memory.pixels + top * memory.stride + left * format_.bytes);
    }
}

void Scanout::writePixels(const uint32_t* from, ptrdiff_t step, int32_t count, uint8_t* to) const {
    if (isPicturesOwn(format_) && step == 1)
        std::memcpy(to, from, static_cast<size_t>(count) * sizeof *from);
    else if (isPicturesOwn(format_))
        copyTurned(from, step, count, to);
    else if (format_.bytes == 2)
        convert<2>(format_, from, step, count, to);
    else if (format_.bytes == 3)
        convert<3>(format_, from, step, count, to);
    else
        convert<4>(format_, from, step, count, to);
}

void Scanout::clearAround(const PixelSize& picture, const ScanoutMemory& memory) const {
    const Placement place = placeCentred(turned(picture, rotation_), display_);
    const auto clear = [&](int32_t y, int32_t from, int32_t end) {
        std::memset(memory.pixels + static_cast<size_t>(y) * memory.stride +
                        static_cast<size_t>(from) * format_.bytes,
                    0, static_cast<size_t>(end - from) * format_.bytes);
    };
    for (int32_t y = 0; y < display_.height; ++y) {
        const bool isBeside = y >= place.toY && y < place.toY + place.height;
        clear(y, 0, isBeside ? place.toX : display_.width);
        if (isBeside)
            clear(y, place.toX + place.width, display_.width);
    }
}
