// Rows of a picture in the pixels of X servers that no machine here has.
#include "window/x11/x11PixelFormat.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;

// Two pixels wide: each row is red, then its own shade.
class TwoColumns : public Picture {
public:
    TwoColumns() : Picture({2, 4}) { addFrame(); }
    void fill(const RowSpan& rows, uint32_t* pixels, size_t stridePixels) const override {
        for (int32_t y = rows.first; y < rows.end; ++y, pixels += stridePixels) {
            pixels[0] = 0xffff0000;
            pixels[1] = 0xff102030 + static_cast<uint32_t>(y);
        }
    }
};

constexpr X11PixelFormat kUsual{0, 24, 0xff0000, 0xff00, 0xff, 32, 32, XCB_IMAGE_ORDER_LSB_FIRST};

// Rows 1 and 2.
std::vector<uint8_t> filled(const X11PixelFormat& format) {
    alignas(uint32_t) uint8_t memory[64] = {};
    format.fill(TwoColumns(), {1, 3}, memory);
    return std::vector<uint8_t>(memory, memory + 2 * format.rowBytes(2));
}

TEST(X11PixelFormat, OfTheUsualServerIsThePictures) {
    EXPECT_THAT(filled(kUsual), ElementsAre(0, 0, 255, 255, 0x31, 0x20, 0x10, 255,  //
                                            0, 0, 255, 255, 0x32, 0x20, 0x10, 255));
}

TEST(X11PixelFormat, HasItsColoursWhereTheMasksSay) {
    X11PixelFormat format = kUsual;
    std::swap(format.redMask, format.blueMask);
    EXPECT_THAT(filled(format), ElementsAre(255, 0, 0, 255, 0x10, 0x20, 0x31, 255,  //
                                            255, 0, 0, 255, 0x10, 0x20, 0x32, 255));
}

TEST(X11PixelFormat, HasTheBytesInTheServersOrder) {
    X11PixelFormat format = kUsual;
    format.byteOrder = XCB_IMAGE_ORDER_MSB_FIRST;
    EXPECT_THAT(filled(format), ElementsAre(255, 255, 0, 0, 255, 0x10, 0x20, 0x31,  //
                                            255, 255, 0, 0, 255, 0x10, 0x20, 0x32));
}

TEST(X11PixelFormat, AlignsRowsOfPixelsOfThreeBytes) {
    X11PixelFormat format = kUsual;
    format.bitsPerPixel = 24;
    EXPECT_THAT(filled(format), ElementsAre(0, 0, 255, 0x31, 0x20, 0x10, 0, 0,  //
                                            0, 0, 255, 0x32, 0x20, 0x10, 0, 0));
    format.rowAlignmentBits = 8;
    EXPECT_EQ(format.rowBytes(2), 6u);
}

TEST(X11PixelFormat, KeepsTheHighestBitsOfEachColour) {
    X11PixelFormat format = kUsual;
    format.depth = 16;
    format.redMask = 0xf800;
    format.greenMask = 0x07e0;
    format.blueMask = 0x001f;
    format.bitsPerPixel = 16;
    // 2 of 31, 8 of 63, 6 of 31
    EXPECT_THAT(filled(format), ElementsAre(0x00, 0xf8, 0x06, 0x11,  //
                                            0x00, 0xf8, 0x06, 0x11));
}

}  // namespace
