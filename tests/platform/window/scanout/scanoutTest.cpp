// Pixels of a picture in the memory of a display: in every format, turned every way, at every size
// against a plain reference that places one pixel after the other.
#include "window/scanout/scanout.h"

#include <gmock/gmock.h>

#include <cstring>

#include "platform/support/drawnPicture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Bytes = std::vector<uint8_t>;

constexpr uint8_t kUntouched = 0xa5;

struct NamedFormat {
    const char* name;
    PixelFormat format;
};

constexpr NamedFormat kFormats[] = {
    {"8888", kFormat8888},
    {"565", kFormat565},
    {"565 with blue on top", {2, {0, 5}, {5, 6}, {11, 5}, {0, 0}}},
    {"1555", {2, {10, 5}, {5, 5}, {0, 5}, {15, 1}}},
    {"888", {3, {16, 8}, {8, 8}, {0, 8}, {0, 0}}},
    {"888 with blue on top", {3, {0, 8}, {8, 8}, {16, 8}, {0, 0}}},
    {"8888 with blue on top", {4, {0, 8}, {8, 8}, {16, 8}, {24, 8}}},
    {"8888 with alpha below", {4, {24, 8}, {16, 8}, {8, 8}, {0, 8}}},
    {"666 in four bytes", {4, {12, 6}, {6, 6}, {0, 6}, {0, 0}}},
};

constexpr Rotation kRotations[] = {Rotation::by0, Rotation::by90, Rotation::by180, Rotation::by270};

struct Memory {
    Memory(const PixelFormat& pixelFormat, const PixelSize& displaySize)
        : format(pixelFormat),
          size(displaySize),
          // The last bytes of a row are not the display's.
          stride(static_cast<size_t>(size.width) * format.bytes + 8),
          bytes(stride * static_cast<size_t>(size.height), kUntouched) {}

    ScanoutMemory scanout() { return {bytes.data(), stride}; }
    uint8_t* at(int32_t x, int32_t y) {
        return bytes.data() + static_cast<size_t>(y) * stride +
               static_cast<size_t>(x) * format.bytes;
    }

    PixelFormat format;
    PixelSize size;
    size_t stride;
    Bytes bytes;
};

uint32_t channel(uint32_t value, const ColourBits& bits) {
    const uint32_t largest = (1u << bits.length) - 1;
    return ((value & 0xff) * (largest + 1) / 256) << bits.offset;
}

void setPixel(Memory* memory, int32_t x, int32_t y, uint32_t colour) {
    if (x < 0 || y < 0 || x >= memory->size.width || y >= memory->size.height)
        return;
    const PixelFormat& format = memory->format;
    const uint32_t value = channel(colour >> 16, format.red) | channel(colour >> 8, format.green) |
                           channel(colour, format.blue) | channel(0xff, format.alpha);
    for (uint32_t byte = 0; byte < format.bytes; ++byte)
        memory->at(x, y)[byte] = static_cast<uint8_t>(value >> (8 * byte));
}

// Where the pixel goes that is at x, y of the picture.
void placeReference(const DrawnPicture& picture, Rotation rotation, int32_t x, int32_t y,
                    Memory* memory) {
    const int32_t right = picture.size().width - 1, bottom = picture.size().height - 1;
    int32_t turnedX = x, turnedY = y;
    if (rotation == Rotation::by90) {
        turnedX = bottom - y;
        turnedY = x;
    } else if (rotation == Rotation::by180) {
        turnedX = right - x;
        turnedY = bottom - y;
    } else if (rotation == Rotation::by270) {
        turnedX = y;
        turnedY = right - x;
    }
    const PixelSize size = turned(picture.size(), rotation);
    const auto shift = [](int32_t display, int32_t length) {
        return display >= length ? (display - length) / 2 : -((length - display) / 2);
    };
    setPixel(memory, turnedX + shift(memory->size.width, size.width),
             turnedY + shift(memory->size.height, size.height), picture.at(x, y));
}

Bytes reference(const DrawnPicture& picture, Rotation rotation, Memory memory) {
    for (int32_t y = 0; y < picture.size().height; ++y) {
        for (int32_t x = 0; x < picture.size().width; ++x)
            placeReference(picture, rotation, x, y, &memory);
    }
    return memory.bytes;
}

TEST(Scanout, PlacesEveryPixelInEveryFormatTurnedEveryWay) {
    // With more rows than are converted at a time, and fewer.
    DrawnPicture picture({21, 70});
    picture.drawPattern();
    for (const NamedFormat& each : kFormats) {
        for (const Rotation rotation : kRotations) {
            for (const PixelSize& display :
                 {turned({21, 70}, rotation), PixelSize{33, 90}, PixelSize{90, 15},
                  PixelSize{10, 101}, PixelSize{8, 9}, PixelSize{1, 1}}) {
                Memory memory(each.format, display);
                const Bytes expected = reference(picture, rotation, memory);
                Scanout(each.format, display, rotation).write(picture, 0, memory.scanout());
                EXPECT_EQ(memory.bytes, expected)
                    << each.name << ", turned by " << degrees(rotation) << ", on " << display.width
                    << "x" << display.height;
            }
        }
    }
}

TEST(Scanout, TurnsClockwise) {
    DrawnPicture picture({3, 2});
    picture.drawRows({0, 1}, 0xff0000);
    picture.drawRows({1, 2}, 0x0000ff);
    Memory memory(kFormat8888, {2, 3});
    Scanout(kFormat8888, memory.size, Rotation::by90).write(picture, 0, memory.scanout());
    // The upper row is at the right.
    for (int32_t y = 0; y < 3; ++y) {
        EXPECT_EQ(memory.at(1, y)[2], 0xff);
        EXPECT_EQ(memory.at(0, y)[0], 0xff);
    }
}

TEST(Scanout, WritesNothingButRowsThatChanged) {
    DrawnPicture picture({5, 100});
    picture.drawAll(0x102030);
    picture.drawRows({7, 9}, 0x405060);
    picture.drawRows({60, 99}, 0x708090);
    for (const Rotation rotation : kRotations) {
        Memory memory(kFormat565, turned(picture.size(), rotation));
        Memory expected = memory;
        for (int32_t y = 0; y < picture.size().height; ++y) {
            const bool isChanged = (y >= 7 && y < 9) || (y >= 60 && y < 99);
            for (int32_t x = 0; isChanged && x < picture.size().width; ++x)
                placeReference(picture, rotation, x, y, &expected);
        }
        Scanout(kFormat565, memory.size, rotation).write(picture, 1, memory.scanout());
        EXPECT_EQ(memory.bytes, expected.bytes) << degrees(rotation);
    }
}

TEST(Scanout, TakesNothingOfAnUnchangedPicture) {
    DrawnPicture picture({5, 5});
    picture.drawAll(1);
    picture.addFrameLikeTheLast();
    Memory memory(kFormat8888, picture.size());
    Scanout(kFormat8888, memory.size, Rotation::by0).write(picture, 1, memory.scanout());
    EXPECT_THAT(picture.taken, IsEmpty());
}

TEST(Scanout, TakesNoRowsThatAreNotSeen) {
    DrawnPicture picture({4, 200});
    picture.drawAll(1);
    Memory memory(kFormat8888, {4, 20});
    Scanout(kFormat8888, memory.size, Rotation::by0).write(picture, 0, memory.scanout());
    EXPECT_THAT(picture.taken, ElementsAre("64-96", "96-128"));
}

TEST(Scanout, BlackensWhatIsAroundThePicture) {
    DrawnPicture picture({6, 4});
    picture.drawPattern();
    for (const Rotation rotation : kRotations) {
        Memory memory(kFormat565, {9, 5});
        Memory expected = memory;
        for (int32_t y = 0; y < 5; ++y) {
            for (int32_t x = 0; x < 9; ++x)
                std::memset(expected.at(x, y), 0, kFormat565.bytes);
        }
        expected.bytes = reference(picture, rotation, expected);
        Scanout scanout(kFormat565, memory.size, rotation);
        scanout.clearAround(picture.size(), memory.scanout());
        scanout.write(picture, 0, memory.scanout());
        EXPECT_EQ(memory.bytes, expected.bytes) << degrees(rotation);
    }
}

std::vector<int32_t> placement(const PixelSize& picture, const PixelSize& display) {
    const Placement p = placeCentred(picture, display);
    return {p.fromX, p.fromY, p.toX, p.toY, p.width, p.height};
}

TEST(Placement, OfTheSameSizeIsTheWhole) {
    EXPECT_THAT(placement({80, 60}, {80, 60}), ElementsAre(0, 0, 0, 0, 80, 60));
}

TEST(Placement, IsInTheMiddleOfALargerDisplay) {
    EXPECT_THAT(placement({80, 60}, {100, 91}), ElementsAre(0, 0, 10, 15, 80, 60));
}

TEST(Placement, ShowsTheMiddleOnASmallerDisplay) {
    EXPECT_THAT(placement({100, 91}, {80, 60}), ElementsAre(10, 15, 0, 0, 80, 60));
}

TEST(Placement, TreatsWidthAndHeightEachOnItsOwn) {
    EXPECT_THAT(placement({100, 50}, {60, 80}), ElementsAre(20, 0, 0, 15, 60, 50));
}

}  // namespace
