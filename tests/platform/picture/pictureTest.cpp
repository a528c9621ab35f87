// Which rows of a picture changed since an earlier frame, and the sizes that settings may write.
#include "picture/picture.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "platform/support/memoryPicture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Spans = std::vector<std::pair<int, int>>;

constexpr PixelSize kSize{2, 6};

// One colour a row, from the top.
void show(MemoryPicture* picture, const std::vector<uint32_t>& rows) {
    std::vector<uint32_t> pixels;
    for (const uint32_t row : rows)
        pixels.insert(pixels.end(), 2, row);
    picture->show(pixels);
}

Spans changedSince(const Picture& picture, uint32_t frame) {
    Spans spans;
    for (const RowSpan& span : picture.changedSince(frame))
        spans.emplace_back(span.first, span.end);
    return spans;
}

TEST(Picture, CountsItsFramesFromOne) {
    MemoryPicture picture(kSize);
    EXPECT_EQ(picture.frame(), 0u);
    show(&picture, {1, 2, 3, 4, 5, 6});
    EXPECT_EQ(picture.frame(), 1u);
}

TEST(Picture, ChangedInEveryRowWithItsFirstFrame) {
    MemoryPicture picture(kSize);
    show(&picture, std::vector<uint32_t>(6, 0xff000000));
    EXPECT_THAT(changedSince(picture, 0), ElementsAre(std::pair(0, 6)));
}

TEST(Picture, HasNotChangedSinceItsNewestFrame) {
    MemoryPicture picture(kSize);
    show(&picture, {1, 2, 3, 4, 5, 6});
    EXPECT_THAT(changedSince(picture, 1), IsEmpty());
}

TEST(Picture, TellsTheRowsThatChangedInSpansWithoutGaps) {
    MemoryPicture picture(kSize);
    show(&picture, {1, 2, 3, 4, 5, 6});
    show(&picture, {9, 2, 9, 9, 5, 9});
    EXPECT_THAT(changedSince(picture, 1),
                ElementsAre(std::pair(0, 1), std::pair(2, 4), std::pair(5, 6)));
}

TEST(Picture, TellsWhatChangedInAnyFrameSince) {
    MemoryPicture picture(kSize);
    show(&picture, {1, 2, 3, 4, 5, 6});
    show(&picture, {9, 2, 3, 4, 5, 6});
    show(&picture, {9, 2, 3, 9, 5, 6});
    EXPECT_THAT(changedSince(picture, 1), ElementsAre(std::pair(0, 1), std::pair(3, 4)));
    EXPECT_THAT(changedSince(picture, 2), ElementsAre(std::pair(3, 4)));
    EXPECT_THAT(changedSince(picture, 0), ElementsAre(std::pair(0, 6)));
}

TEST(PixelSize, IsAWidthAndAHeight) {
    const std::pair<const char*, PixelSize> kCases[] = {{"1x1", {1, 1}},
                                                        {"1280x480", {1280, 480}},
                                                        {"32767x32767", {32767, 32767}},
                                                        {"007x08", {7, 8}}};
    for (const auto& [text, size] : kCases)
        EXPECT_EQ(parsePixelSize(text), size) << text;
}

TEST(PixelSize, IsNothingElse) {
    for (const char* text : {"", "x", "10", "10x", "x10", "0x10", "10x0", "-1x10", "+1x10", " 1x10",
                             "10x10x", "10x10 ", "10X10", "32768x1", "1x32768", "99999999999x1"})
        EXPECT_EQ(parsePixelSize(text), std::nullopt) << text;
}

}  // namespace
