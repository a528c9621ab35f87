#include "window/x11/x11PixelFormat.h"

#include <vector>

namespace {

constexpr int kPictureBits = 8;  // a colour

// With 32 bits of depth the server may have it compose alpha as well, so 24 come first.
constexpr uint8_t kDepths[] = {24, 32, 16, 15};

bool isByteOrderOfPictures(xcb_image_order_t order) {
    const uint16_t probe = 1;
    const bool isLowByteFirst = *reinterpret_cast<const uint8_t*>(&probe) == 1;
    return order == (isLowByteFirst ? XCB_IMAGE_ORDER_LSB_FIRST : XCB_IMAGE_ORDER_MSB_FIRST);
}

bool isLikePictures(const X11PixelFormat& format) {
    return format.bitsPerPixel == 32 && format.redMask == 0xff0000 && format.greenMask == 0xff00 &&
           format.blueMask == 0xff && isByteOrderOfPictures(format.byteOrder);
}

bool isUsable(uint32_t mask) {
    const int bits = __builtin_popcount(mask);
    return bits > 0 && bits <= kPictureBits;
}

// `value` has eight bits.
uint32_t placed(uint32_t value, uint32_t mask) {
    return value >> (kPictureBits - __builtin_popcount(mask)) << __builtin_ctz(mask);
}

void convertRow(const std::vector<uint32_t>& row, const X11PixelFormat& format, uint8_t* memory) {
    const int bytes = format.bitsPerPixel / 8;
    const uint32_t otherBits = ~(format.redMask | format.greenMask | format.blueMask);
    for (const uint32_t pixel : row) {
        const uint32_t converted = otherBits | placed(pixel >> 16 & 0xff, format.redMask) |
                                   placed(pixel >> 8 & 0xff, format.greenMask) |
                                   placed(pixel & 0xff, format.blueMask);
        for (int i = 0; i < bytes; ++i) {
            const int byte = format.byteOrder == XCB_IMAGE_ORDER_LSB_FIRST ? i : bytes - 1 - i;
            *memory++ = static_cast<uint8_t>(converted >> (8 * byte));
        }
    }
}

const xcb_visualtype_t* findVisual(const xcb_screen_t& screen, uint8_t depth) {
    for (auto depths = xcb_screen_allowed_depths_iterator(&screen); depths.rem > 0;
         xcb_depth_next(&depths)) {
        if (depths.data->depth != depth)
            continue;
        for (auto visuals = xcb_depth_visuals_iterator(depths.data); visuals.rem > 0;
             xcb_visualtype_next(&visuals)) {
            const xcb_visualtype_t& visual = *visuals.data;
            if (visual._class == XCB_VISUAL_CLASS_TRUE_COLOR && isUsable(visual.red_mask) &&
                isUsable(visual.green_mask) && isUsable(visual.blue_mask))
                return &visual;
        }
    }
    return nullptr;
}

const xcb_format_t* findPixmapFormat(const xcb_setup_t& server, uint8_t depth) {
    for (auto formats = xcb_setup_pixmap_formats_iterator(&server); formats.rem > 0;
         xcb_format_next(&formats)) {
        if (formats.data->depth == depth)
            return formats.data;
    }
    return nullptr;
}

}  // namespace

size_t X11PixelFormat::rowBytes(int32_t width) const {
    const size_t bits = static_cast<size_t>(width) * bitsPerPixel;
    return (bits + rowAlignmentBits - 1) / rowAlignmentBits * rowAlignmentBits / 8;
}

void X11PixelFormat::fill(const Picture& picture, const RowSpan& rows, uint8_t* memory) const {
    const int32_t width = picture.size().width;
    if (isLikePictures(*this)) {
        picture.fill(rows, reinterpret_cast<uint32_t*>(memory), static_cast<size_t>(width));
        return;
    }
    std::vector<uint32_t> row(static_cast<size_t>(width));
    for (int32_t y = rows.first; y < rows.end; ++y, memory += rowBytes(width)) {
        picture.fill({y, y + 1}, row.data(), row.size());
        convertRow(row, *this, memory);
    }
}

std::optional<X11PixelFormat> chooseX11PixelFormat(const xcb_setup_t& server,
                                                   const xcb_screen_t& screen) {
    for (const uint8_t depth : kDepths) {
        const xcb_visualtype_t* const visual = findVisual(screen, depth);
        const xcb_format_t* const pixmap = findPixmapFormat(server, depth);
        if (visual && pixmap)
            return X11PixelFormat{
                visual->visual_id,    depth,
                visual->red_mask,     visual->green_mask,
                visual->blue_mask,    pixmap->bits_per_pixel,
                pixmap->scanline_pad, static_cast<xcb_image_order_t>(server.image_byte_order)};
    }
    return std::nullopt;
}
