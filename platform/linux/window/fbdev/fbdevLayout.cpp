#include "window/fbdev/fbdevLayout.h"

#include <array>

namespace {

bool isColour(const fb_bitfield& field, uint32_t bitsPerPixel) {
    return field.length >= 1 && field.length <= 8 && field.msb_right == 0 &&
           field.offset + field.length <= bitsPerPixel;
}

bool isTrueColour(const fb_fix_screeninfo& fixed, const fb_var_screeninfo& variable) {
    const uint32_t bits = variable.bits_per_pixel;
    return fixed.type == FB_TYPE_PACKED_PIXELS && fixed.visual == FB_VISUAL_TRUECOLOR &&
           variable.grayscale == 0 && (bits == 16 || bits == 24 || bits == 32) &&
           isColour(variable.red, bits) && isColour(variable.green, bits) &&
           isColour(variable.blue, bits);
}

ColourBits bitsOf(const fb_bitfield& field) {
    return {field.offset, field.length};
}

PixelFormat formatOf(const fb_var_screeninfo& variable) {
    const bool hasAlpha = isColour(variable.transp, variable.bits_per_pixel);
    return {variable.bits_per_pixel / 8, bitsOf(variable.red), bitsOf(variable.green),
            bitsOf(variable.blue), hasAlpha ? bitsOf(variable.transp) : ColourBits{0, 0}};
}

bool canMoveBy(uint32_t rows, uint32_t step) {
    return step != 0 && rows % step == 0;
}

std::array<uint32_t, 16> modeOf(const fb_var_screeninfo& variable) {
    const auto field = [](const fb_bitfield& each) { return each.offset << 8 | each.length; };
    return {variable.xres,         variable.yres,           variable.xres_virtual,
            variable.yres_virtual, variable.bits_per_pixel, variable.grayscale,
            field(variable.red),   field(variable.green),   field(variable.blue),
            field(variable.transp)};
}

}  // namespace

std::optional<FbdevLayout> layoutOf(const fb_fix_screeninfo& fixed,
                                    const fb_var_screeninfo& variable, std::string* reason) {
    if (!isTrueColour(fixed, variable)) {
        *reason = "has " + std::to_string(variable.bits_per_pixel) + " bits a pixel of type " +
                  std::to_string(fixed.type) + ", visual " + std::to_string(fixed.visual) +
                  "; the console draws packed pixels of 16, 24 or 32 bits in true colour";
        return std::nullopt;
    }
    if (variable.xres > kLargestPicture || variable.yres > kLargestPicture) {
        *reason = "has a mode of more than " + std::to_string(kLargestPicture) + " pixels a side";
        return std::nullopt;
    }
    FbdevLayout layout{};
    layout.size = {static_cast<int32_t>(variable.xres), static_cast<int32_t>(variable.yres)};
    layout.format = formatOf(variable);
    layout.stride = fixed.line_length;
    layout.shownStart =
        variable.yoffset * layout.stride + size_t{variable.xoffset} * layout.format.bytes;
    const size_t sideBytes = layout.stride * variable.yres;
    const size_t rowBytes = size_t{variable.xres} * layout.format.bytes;
    if (sideBytes == 0 || rowBytes > layout.stride ||
        layout.shownStart + sideBytes - layout.stride + rowBytes > fixed.smem_len) {
        *reason = "has less memory than its mode needs";
        return std::nullopt;
    }
    layout.hasSecondSide = canMoveBy(variable.yres, fixed.ypanstep) &&
                           variable.yres_virtual / 2 >= variable.yres &&
                           fixed.smem_len / 2 >= sideBytes;
    return layout;
}

bool isSameMode(const fb_var_screeninfo& left, const fb_var_screeninfo& right) {
    return modeOf(left) == modeOf(right);
}
