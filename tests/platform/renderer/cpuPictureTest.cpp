// Which rows of the picture change when a frame is like the one before, and when it is not.
#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <vector>

#include "platform/renderer/drawing.h"
#include "renderer/cpu/cpuRenderer.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr int kWidth = 8;
constexpr int kHeight = 6;

class CpuPicture : public testing::Test {
protected:
    // Presents a frame of that drawing and returns the rows that changed with it, from the top.
    std::vector<int> rowsChangedBy(const std::function<void()>& draw) const {
        const uint32_t before = drawing.picture->frame();
        draw();
        drawing.present();
        std::vector<int> rows;
        for (const RowSpan& span : drawing.picture->changedSince(before)) {
            for (int row = span.first; row < span.end; ++row)
                rows.push_back(row);
        }
        return rows;
    }
    void uploadGlyph() { drawing.upload(GL_LUMINANCE, 2, 2, {255, 128, 0, 0, 64, 255}); }
    void drawSample() const {
        drawing.clear(0x102030);
        drawing.fill(box(1, 0, 5, 1), 0xffffff);
        drawing.mixWith(0x00ff00);
        drawing.image(2, 3, 2, 2, 0, 0);
        drawing.stopMixing();
    }

    Drawing drawing{kCpuRenderer, {kWidth, kHeight}};
};

TEST_F(CpuPicture, ChangesInEveryRowWithItsFirstFrame) {
    EXPECT_THAT(rowsChangedBy([] {}), ElementsAre(0, 1, 2, 3, 4, 5));
    EXPECT_EQ(drawing.picture->frame(), 1u);
}

TEST_F(CpuPicture, ChangesInNoRowWithAnEqualFrame) {
    uploadGlyph();
    const auto draw = [&] { drawSample(); };
    rowsChangedBy(draw);
    for (uint32_t frame = 2; frame <= 4; ++frame) {
        EXPECT_THAT(rowsChangedBy(draw), IsEmpty());
        EXPECT_EQ(drawing.picture->frame(), frame);
    }
}

TEST_F(CpuPicture, ChangesInEveryRowWithItsBackground) {
    rowsChangedBy([&] { drawing.clear(0x102030); });
    EXPECT_THAT(rowsChangedBy([&] { drawing.clear(0x102031); }), ElementsAre(0, 1, 2, 3, 4, 5));
}

TEST_F(CpuPicture, ChangesInTheRowsWhoseRectanglesDiffer) {
    uploadGlyph();
    const auto draw = [&](float barEnd, int glyph) {
        drawing.fill(box(1, 0, barEnd, 1), 0xffffff);
        drawing.fill(box(0, 1, 8, 3), 0x808080);
        drawing.image(glyph, 4, 2, 2, 0, 0);
    };
    rowsChangedBy([&] { draw(3, 1); });
    EXPECT_THAT(rowsChangedBy([&] { draw(4, 1); }), ElementsAre(5));
    EXPECT_THAT(rowsChangedBy([&] { draw(4, 2); }), ElementsAre(0, 1));
    EXPECT_THAT(rowsChangedBy([&] { draw(4, 2); }), IsEmpty());
    EXPECT_THAT(rowsChangedBy([&] { draw(3, 1); }), ElementsAre(0, 1, 5));
}

// What is drawn beside it keeps the rows between two rectangles of one text from changing.
TEST_F(CpuPicture, DoesNotChangeInRowsBetween) {
    const auto draw = [&](uint32_t rgb) {
        drawing.fill(box(0, 5, 1, 6), rgb);
        drawing.fill(box(0, 0, 1, 6), 0xffffff);
        drawing.fill(box(0, 0, 1, 1), rgb);
    };
    rowsChangedBy([&] { draw(0x000001); });
    EXPECT_THAT(rowsChangedBy([&] { draw(0x000002); }), ElementsAre(0, 5));
}

TEST_F(CpuPicture, ChangesWithEachPropertyOfARectangle) {
    uploadGlyph();
    const auto draw = [&](uint32_t colour, uint32_t constant, int u) {
        drawing.fill(box(0, 0, 1, 1), colour);
        drawing.mixWith(constant);
        drawing.image(2, 2, 2, 1, u, 0);
        drawing.fill(box(0, 4, 1, 5), 0x808080);
        drawing.stopMixing();
    };
    rowsChangedBy([&] { draw(1, 2, 0); });
    EXPECT_THAT(rowsChangedBy([&] { draw(3, 2, 0); }), ElementsAre(5));
    EXPECT_THAT(rowsChangedBy([&] { draw(3, 4, 0); }), ElementsAre(1, 3));
    EXPECT_THAT(rowsChangedBy([&] { draw(3, 4, 1); }), ElementsAre(3));
}

TEST_F(CpuPicture, ChangesWithTheOrderOfRectangles) {
    rowsChangedBy([&] {
        drawing.fill(box(0, 0, 4, 1), 1);
        drawing.fill(box(0, 0, 4, 1), 2);
    });
    EXPECT_THAT(rowsChangedBy([&] {
                    drawing.fill(box(0, 0, 4, 1), 2);
                    drawing.fill(box(0, 0, 4, 1), 1);
                }),
                ElementsAre(5));
}

TEST_F(CpuPicture, ChangesWhereARectangleIsMissing) {
    rowsChangedBy([&] {
        drawing.fill(box(0, 0, 1, 1), 1);
        drawing.fill(box(0, 3, 1, 4), 1);
    });
    EXPECT_THAT(rowsChangedBy([&] { drawing.fill(box(0, 0, 1, 1), 1); }), ElementsAre(2));
    EXPECT_THAT(rowsChangedBy([] {}), ElementsAre(5));
}

TEST_F(CpuPicture, ChangesWhereATextureWasUploadedAnew) {
    const auto draw = [&] {
        uploadGlyph();
        drawing.image(0, 0, 2, 1, 0, 0);
    };
    rowsChangedBy(draw);
    EXPECT_THAT(rowsChangedBy(draw), ElementsAre(5));
}

TEST_F(CpuPicture, TellsWhatChangedOverSeveralFrames) {
    const auto draw = [&](float place) { drawing.fill(box(0, place, 1, place + 1), 1); };
    for (const float place : {0.0f, 2.0f, 4.0f})
        rowsChangedBy([&] { draw(place); });
    std::vector<int> rows;
    for (const RowSpan& span : drawing.picture->changedSince(1)) {
        for (int row = span.first; row < span.end; ++row)
            rows.push_back(row);
    }
    EXPECT_THAT(rows, ElementsAre(1, 3, 5));
}

// The console does so: its logo is seen until the first frame with text takes its place.
TEST_F(CpuPicture, KeepsTheTextureOfTheNewestFrameWhenAnotherIsUploaded) {
    drawing.upload(GL_RGBA, 2, 2, {1, 2, 3, 0, 4, 5, 6, 0, 7, 8, 9, 0, 10, 11, 12, 0});
    drawing.image(0, 0, 2, 2, 0, 0);
    const Pixels logo = drawing.present();
    EXPECT_EQ(logo[(kHeight - 2) * kWidth], 0xff010203);
    uploadGlyph();
    Pixels again(logo.size());
    drawing.picture->fill({0, kHeight}, again.data(), kWidth);
    EXPECT_EQ(again, logo);
}

TEST_F(CpuPicture, KeepsTheNewestFrameWhileTheNextIsDrawn) {
    drawing.fill(box(0, 0, 8, 6), 0x000001);
    const Pixels shown = drawing.present();
    drawing.clear(0xffffff);
    drawing.fill(box(0, 0, 8, 6), 0x000002);
    Pixels again(shown.size());
    drawing.picture->fill({0, kHeight}, again.data(), kWidth);
    EXPECT_EQ(again, shown);
}

TEST_F(CpuPicture, FillsAnyRowsAtAnyStride) {
    uploadGlyph();
    drawSample();
    const Pixels whole = drawing.present();
    constexpr size_t kStride = kWidth + 3;
    Pixels part(3 * kStride, 7);
    drawing.picture->fill({2, 5}, part.data(), kStride);
    for (size_t row = 0; row < 3; ++row) {
        const auto from = part.begin() + static_cast<std::ptrdiff_t>(row * kStride);
        const auto expected = whole.begin() + static_cast<std::ptrdiff_t>((2 + row) * kWidth);
        EXPECT_TRUE(std::equal(from, from + kWidth, expected)) << row;
        EXPECT_THAT(Pixels(from + kWidth, from + kStride), ElementsAre(7u, 7u, 7u)) << row;
    }
}

}  // namespace
