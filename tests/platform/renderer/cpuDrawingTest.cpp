// What the renderer without a GPU makes of vertices, viewports and textures.
#include <gmock/gmock.h>

#include <array>
#include <limits>
#include <string>
#include <vector>

#include "platform/renderer/drawing.h"
#include "renderer/cpu/cpuRenderer.h"

namespace {

using testing::Each;
using testing::ElementsAre;
using Bytes = std::vector<uint8_t>;

constexpr int kWidth = 8;
constexpr int kHeight = 4;
constexpr uint32_t kBlack = 0xff000000;

class CpuDrawing : public testing::Test {
protected:
    ~CpuDrawing() override { EXPECT_EQ(drawing.gl.GetError(), GLenum{GL_NO_ERROR}); }

    // '#' where something was drawn on black, '.' elsewhere; a row each, from the top.
    std::vector<std::string> shape() const {
        const Pixels pixels = drawing.present();
        std::vector<std::string> rows(kHeight);
        for (size_t i = 0; i < pixels.size(); ++i)
            rows[i / kWidth] += pixels[i] == kBlack ? '.' : '#';
        return rows;
    }
    // Of the row below all others.
    Pixels bottomRow() const {
        const Pixels pixels = drawing.present();
        return {pixels.end() - kWidth, pixels.end()};
    }
    void fillShape(const Points& corners) const { drawing.fill(corners, 0x123456); }

    Drawing drawing{kCpuRenderer, {kWidth, kHeight}};
};

TEST_F(CpuDrawing, StartsBlack) {
    EXPECT_THAT(drawing.present(), Each(kBlack));
}

TEST_F(CpuDrawing, FillsTheSurfaceWithAClear) {
    drawing.clear(0xfe0a80);
    EXPECT_THAT(drawing.present(), Each(0xfffe0a80));
}

TEST_F(CpuDrawing, ForgetsWithAClearWhatWasDrawnBefore) {
    fillShape(box(0, 0, 8, 4));
    drawing.clear(0x010203);
    EXPECT_THAT(drawing.present(), Each(0xff010203));
}

TEST_F(CpuDrawing, KeepsColoursWithinTheirRange) {
    drawing.gl.ClearColor(-1, 2, 0.5f, 1);
    drawing.gl.Clear(GL_COLOR_BUFFER_BIT);
    EXPECT_THAT(drawing.present(), Each(0xff00ff80));
}

TEST_F(CpuDrawing, ClearsNoColourWithoutItsBit) {
    drawing.gl.ClearColor(1, 1, 1, 1);
    drawing.gl.Clear(GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT);
    EXPECT_THAT(drawing.present(), Each(kBlack));
}

TEST_F(CpuDrawing, FillsExactlyThePixelsOfARectangle) {
    fillShape(box(1, 1, 3, 4));
    EXPECT_THAT(shape(), ElementsAre(".##.....", ".##.....", ".##.....", "........"));
}

TEST_F(CpuDrawing, DrawsLaterRectanglesOverEarlierOnes) {
    drawing.fill(box(0, 0, 4, 1), 0x000001);
    drawing.fill(box(2, 0, 6, 1), 0x000002);
    EXPECT_THAT(bottomRow(), ElementsAre(0xff000001, 0xff000001, 0xff000002, 0xff000002, 0xff000002,
                                         0xff000002, kBlack, kBlack));
}

// Each begins at another corner, along the one edge or along the other.
TEST_F(CpuDrawing, FillsARectangleInWhateverOrderItsVerticesCome) {
    const Points kOrders[] = {
        {1, 1, 1, 3, 4, 1, 4, 3}, {1, 3, 1, 1, 4, 3, 4, 1}, {4, 1, 4, 3, 1, 1, 1, 3},
        {4, 3, 4, 1, 1, 3, 1, 1}, {1, 1, 4, 1, 1, 3, 4, 3}, {4, 1, 1, 1, 4, 3, 1, 3},
        {1, 3, 4, 3, 1, 1, 4, 1}, {4, 3, 1, 3, 4, 1, 1, 1},
    };
    for (const Points& corners : kOrders) {
        fillShape(corners);
        EXPECT_THAT(shape(), ElementsAre("........", ".###....", ".###....", "........"))
            << testing::PrintToString(corners);
    }
}

TEST_F(CpuDrawing, DrawsNothingOfARectangleWithoutAnArea) {
    for (const Points& corners : {box(1, 1, 1, 3), box(1, 2, 4, 2), box(2, 2, 2, 2)}) {
        fillShape(corners);
        EXPECT_THAT(drawing.present(), Each(kBlack)) << testing::PrintToString(corners);
    }
}

TEST_F(CpuDrawing, RefusesWhatIsNoRectangle) {
    const Points kShapes[] = {
        {0, 0, 0, 2, 4, 0, 4, 3},  // one corner higher
        {0, 0, 1, 2, 4, 0, 5, 2},  // leaning
        {0, 0, 4, 2, 4, 0, 0, 2},  // crossed
        {0, 2, 2, 4, 2, 0, 4, 2},  // turned
    };
    for (const Points& corners : kShapes) {
        fillShape(corners);
        EXPECT_EQ(drawing.gl.GetError(), GLenum{GL_INVALID_OPERATION});
        EXPECT_THAT(drawing.present(), Each(kBlack)) << testing::PrintToString(corners);
    }
}

TEST_F(CpuDrawing, TakesThePixelsWhoseCentresLieInside) {
    fillShape(box(1.25f, 0.75f, 3.75f, 2.25f));
    EXPECT_THAT(shape(), ElementsAre("........", "........", ".###....", "........"));
}

TEST_F(CpuDrawing, TakesCentresOnTheLeftAndTheUpperEdgeAlone) {
    fillShape(box(1.5f, 0.5f, 3.5f, 2.5f));
    EXPECT_THAT(shape(), ElementsAre("........", ".##.....", ".##.....", "........"));
}

TEST_F(CpuDrawing, CutsRectanglesAtTheSurface) {
    fillShape(box(-3, -2, 2, 1));
    fillShape(box(6, 3, 12, 9));
    EXPECT_THAT(shape(), ElementsAre("......##", "........", "........", "##......"));
}

TEST_F(CpuDrawing, DrawsNothingOfWhatLiesBeside) {
    for (const Points& corners :
         {box(-5, 0, 0, 4), box(8, 0, 12, 4), box(0, -3, 8, 0), box(0, 4, 8, 9)}) {
        fillShape(corners);
        EXPECT_THAT(drawing.present(), Each(kBlack)) << testing::PrintToString(corners);
    }
}

TEST_F(CpuDrawing, CutsRectanglesThatReachFarOutside) {
    constexpr float kFar = 2147483648.0f;
    fillShape(box(6, 0, kFar, 1));
    fillShape(box(-kFar, 3, 1, 4));
    fillShape(box(3, -kFar, 4, kFar));
    EXPECT_THAT(shape(), ElementsAre("#..#....", "...#....", "...#....", "...#..##"));
}

TEST_F(CpuDrawing, DrawsNothingThatHasNoPlace) {
    const float kNoNumber = std::numeric_limits<float>::quiet_NaN();
    const float kEndless = std::numeric_limits<float>::infinity();
    fillShape(box(kNoNumber, kNoNumber, kNoNumber, kNoNumber));
    fillShape(box(kEndless, 0, kEndless, 4));
    EXPECT_THAT(drawing.present(), Each(kBlack));
}

TEST_F(CpuDrawing, LeavesOutWhatLiesTooNearOrTooFar) {
    const float corners[] = {0, 0, 1.5f, 0, 4, 1.5f, 8, 0, 1.5f, 8, 4, 1.5f};
    fillShape(box(0, 0, 1, 1));
    drawing.gl.EnableVertexAttribArray(kPositionSlot);
    drawing.gl.VertexAttribPointer(kPositionSlot, 3, GL_FLOAT, GL_FALSE, 0, corners);
    drawing.gl.DrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    EXPECT_THAT(shape(), ElementsAre("........", "........", "........", "#......."));
}

TEST_F(CpuDrawing, StartsWithTheViewportOfTheSurface) {
    GLint viewport[4] = {};
    drawing.gl.GetIntegerv(GL_VIEWPORT, viewport);
    EXPECT_THAT(viewport, ElementsAre(0, 0, kWidth, kHeight));
}

// Its two scales are those of the surface: what is meant for all of it lands in the viewport.
TEST_F(CpuDrawing, ScalesIntoTheViewportAndCutsThere) {
    drawing.gl.Viewport(2, 1, 4, 2);
    fillShape(box(0, 0, 8, 4));
    EXPECT_THAT(shape(), ElementsAre("........", "..####..", "..####..", "........"));
    fillShape(box(-8, -4, 4, 8));
    EXPECT_THAT(shape(), ElementsAre("........", "..##....", "..##....", "........"));
}

TEST_F(CpuDrawing, ClearsBeyondTheViewport) {
    drawing.gl.Viewport(2, 1, 4, 2);
    drawing.clear(0x0000ff);
    EXPECT_THAT(drawing.present(), Each(0xff0000ff));
}

TEST_F(CpuDrawing, CutsAViewportAtTheSurface) {
    drawing.gl.Viewport(-4, -2, 8, 4);
    fillShape(box(0, 0, 8, 4));
    EXPECT_THAT(shape(), ElementsAre("........", "........", "####....", "####...."));
    for (const std::array<int, 2>& place : {std::array{8, 0}, {-8, 0}, {0, 4}, {0, -4}}) {
        drawing.gl.Viewport(place[0], place[1], 8, 4);
        fillShape(box(0, 0, 8, 4));
        EXPECT_THAT(drawing.present(), Each(kBlack));
    }
    drawing.gl.Viewport(0, 0, 0, 0);
    fillShape(box(0, 0, 8, 4));
    EXPECT_THAT(drawing.present(), Each(kBlack));
}

TEST_F(CpuDrawing, ReadsVerticesAtTheirStrideFromTheFirstOn) {
    struct Vertex {
        float x, y;
        float other[3];
    };
    const Vertex vertices[] = {{9, 9, {}}, {1, 1, {}}, {1, 3, {}}, {4, 1, {}}, {4, 3, {}}};
    fillShape(box(0, 0, 0, 0));
    drawing.gl.EnableVertexAttribArray(kPositionSlot);
    drawing.gl.VertexAttribPointer(kPositionSlot, 2, GL_FLOAT, GL_FALSE, sizeof(Vertex), vertices);
    drawing.gl.DrawArrays(GL_TRIANGLE_STRIP, 1, 4);
    EXPECT_THAT(shape(), ElementsAre("........", ".###....", ".###....", "........"));
}

TEST_F(CpuDrawing, ReadsVerticesWhenItDraws) {
    Points corners = box(0, 0, 0, 0);
    fillShape(corners);
    drawing.gl.EnableVertexAttribArray(kPositionSlot);
    drawing.gl.VertexAttribPointer(kPositionSlot, 2, GL_FLOAT, GL_FALSE, 0, corners.data());
    corners = box(0, 0, 1, 1);
    drawing.gl.DrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    corners = box(7, 3, 8, 4);
    drawing.gl.DrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    corners = {};
    EXPECT_THAT(shape(), ElementsAre(".......#", "........", "........", "#......."));
}

TEST_F(CpuDrawing, FeedsOnePointFromAnArrayThatIsDisabled) {
    const Points corners = box(0, 0, 8, 4);
    fillShape(corners);
    drawing.present();
    drawing.gl.VertexAttribPointer(kPositionSlot, 2, GL_FLOAT, GL_FALSE, 0, corners.data());
    drawing.gl.DisableVertexAttribArray(kPositionSlot);
    drawing.gl.DrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    EXPECT_THAT(drawing.present(), Each(kBlack));
}

TEST_F(CpuDrawing, DrawsNothingOfFewerThanThreeVertices) {
    const Points corners = box(0, 0, 8, 4);
    fillShape(box(0, 0, 0, 0));
    drawing.gl.EnableVertexAttribArray(kPositionSlot);
    drawing.gl.VertexAttribPointer(kPositionSlot, 2, GL_FLOAT, GL_FALSE, 0, corners.data());
    for (const GLsizei count : {0, 1, 2})
        drawing.gl.DrawArrays(GL_TRIANGLE_STRIP, 0, count);
    EXPECT_THAT(drawing.present(), Each(kBlack));
}

// Four grey texels, the first of them black.
const Bytes kGreys = {0, 1, 128, 255};

TEST_F(CpuDrawing, ShowsTexelsAndLeavesOutBlackOnes) {
    drawing.clear(0x0000ff);
    drawing.upload(GL_LUMINANCE, 4, 1, kGreys);
    drawing.image(2, 0, 4, 1, 0, 0);
    EXPECT_THAT(bottomRow(), ElementsAre(0xff0000ff, 0xff0000ff, 0xff0000ff, 0xff010101, 0xff808080,
                                         0xffffffff, 0xff0000ff, 0xff0000ff));
}

TEST_F(CpuDrawing, ShowsColoursWhateverTheirAlpha) {
    drawing.clear(0x0000ff);
    drawing.upload(GL_RGBA, 4, 1, {1, 2, 3, 0, 0, 0, 0, 255, 0, 0, 1, 7, 255, 254, 253, 255});
    drawing.image(0, 0, 4, 1, 0, 0);
    drawing.image(4, 0, 4, 1, 0, 0);
    EXPECT_THAT(bottomRow(), ElementsAre(0xff010203, 0xff0000ff, 0xff000001, 0xfffffefd, 0xff010203,
                                         0xff0000ff, 0xff000001, 0xfffffefd));
}

TEST_F(CpuDrawing, ShowsTheFirstRowOfTexelsWhereTheTextureStarts) {
    drawing.upload(GL_RGBA, 1, 2, {1, 1, 1, 0, 2, 2, 2, 0});
    drawing.image(0, 2, 1, 2, 0, 0);
    const Pixels pixels = drawing.present();
    EXPECT_EQ(pixels[0], 0xff010101);
    EXPECT_EQ(pixels[kWidth], 0xff020202);
}

TEST_F(CpuDrawing, MirrorsTexelsWithTheirVertices) {
    drawing.upload(GL_LUMINANCE, 4, 1, {1, 2, 3, 4});
    drawing.image(box(4, 0, 0, 1), box(0, 1, 4, 0));
    drawing.image(box(4, 0, 8, 1), box(4, 1, 0, 0));
    EXPECT_THAT(bottomRow(), ElementsAre(0xff040404, 0xff030303, 0xff020202, 0xff010101, 0xff040404,
                                         0xff030303, 0xff020202, 0xff010101));
}

TEST_F(CpuDrawing, ShowsTheNearestTexelAtOtherSizes) {
    drawing.upload(GL_LUMINANCE, 4, 1, {1, 2, 3, 4});
    drawing.image(box(0, 0, 8, 1), box(0, 1, 4, 0));
    EXPECT_THAT(bottomRow(), ElementsAre(0xff010101, 0xff010101, 0xff020202, 0xff020202, 0xff030303,
                                         0xff030303, 0xff040404, 0xff040404));
}

TEST_F(CpuDrawing, RepeatsTheImageBeyondItsEdges) {
    drawing.upload(GL_LUMINANCE, 4, 1, {1, 2, 3, 4});
    drawing.image(0, 0, 8, 1, -2, 5);
    EXPECT_THAT(bottomRow(), ElementsAre(0xff030303, 0xff040404, 0xff010101, 0xff020202, 0xff030303,
                                         0xff040404, 0xff010101, 0xff020202));
}

TEST_F(CpuDrawing, ShowsThePartOfAnImageThatLiesInside) {
    drawing.upload(GL_LUMINANCE, 8, 1, {1, 2, 3, 4, 5, 6, 7, 8});
    drawing.image(-5, 0, 8, 1, 0, 0);
    drawing.image(6, 0, 8, 1, 0, 0);
    EXPECT_THAT(bottomRow(), ElementsAre(0xff060606, 0xff070707, 0xff080808, kBlack, kBlack, kBlack,
                                         0xff010101, 0xff020202));
}

TEST_F(CpuDrawing, ShowsTexelsFromTheHalfThatIsRoundedDownBetweenPixels) {
    drawing.upload(GL_LUMINANCE, 4, 2, {1, 2, 3, 0, 4, 5, 6, 0});
    drawing.image(box(2.5f, 1.5f, 5.5f, 3.5f), box(0, 2, 3, 0));
    const Pixels pixels = drawing.present();
    EXPECT_THAT(
        Pixels(pixels.begin(), pixels.begin() + 2 * kWidth),
        ElementsAre(kBlack, kBlack, 0xff010101, 0xff020202, 0xff030303, kBlack, kBlack, kBlack,
                    kBlack, kBlack, 0xff040404, 0xff050505, 0xff060606, kBlack, kBlack, kBlack));
}

TEST_F(CpuDrawing, SurvivesTexelsFarOutsideTheImage) {
    constexpr float kFar = 1e30f;
    drawing.upload(GL_LUMINANCE, 2, 2, {9, 9, 0, 0, 9, 9});
    for (const Points& texels : {box(-kFar, kFar, kFar, -kFar), box(kFar, kFar, kFar, kFar)}) {
        drawing.image(box(0, 0, 8, 4), texels);
        EXPECT_THAT(drawing.present(), Each(0xff090909));
    }
}

TEST_F(CpuDrawing, RefusesTexelsThatDoNotLieAlongTheRectangle) {
    drawing.upload(GL_LUMINANCE, 2, 2, {9, 9, 0, 0, 9, 9});
    drawing.image(box(0, 0, 8, 4), {0, 0, 1, 1, 1, 0, 2, 1});
    EXPECT_EQ(drawing.gl.GetError(), GLenum{GL_INVALID_OPERATION});
    EXPECT_THAT(drawing.present(), Each(kBlack));
}

TEST_F(CpuDrawing, ReadsRowsOfTexelsFromMultiplesOfFourBytes) {
    drawing.upload(GL_LUMINANCE, 2, 2, {1, 2, 99, 99, 3, 4});
    drawing.image(0, 2, 2, 2, 0, 0);
    const Pixels pixels = drawing.present();
    EXPECT_THAT(Pixels(pixels.begin(), pixels.begin() + 2), ElementsAre(0xff010101, 0xff020202));
    EXPECT_THAT(Pixels(pixels.begin() + kWidth, pixels.begin() + kWidth + 2),
                ElementsAre(0xff030303, 0xff040404));
}

TEST_F(CpuDrawing, ShowsTheFarEndOfTheLargestTextures) {
    constexpr int kSide = 16384;
    Bytes texels(kSide, 1);
    texels.back() = 77;
    drawing.upload(GL_LUMINANCE, kSide, 1, texels);
    drawing.image(0, 0, 2, 1, kSide - 2, 0);
    const Pixels row = bottomRow();
    EXPECT_EQ(row[0], 0xff010101);
    EXPECT_EQ(row[1], 0xff4d4d4d);
}

TEST_F(CpuDrawing, ShowsNoTextureThatIsNotComplete) {
    drawing.image(box(0, 0, 8, 4), box(0, 1, 1, 0));  // no image at all
    drawing.upload(GL_LUMINANCE, 3, 1, {9, 9, 9, 9});
    drawing.image(0, 0, 3, 1, 0, 0);
    drawing.upload(GL_LUMINANCE, 0, 0, {});
    drawing.image(box(0, 0, 8, 4), box(0, 1, 1, 0));
    EXPECT_THAT(drawing.present(), Each(kBlack));
}

TEST_F(CpuDrawing, ShowsNoTextureOfAnotherUnit) {
    drawing.upload(GL_LUMINANCE, 1, 1, {9});
    drawing.image(0, 0, 1, 1, 0, 0);
    drawing.present();
    const Points corners = box(0, 0, 8, 4);
    drawing.gl.Uniform1i(drawing.gl.GetUniformLocation(drawing.textured, "u_sTexture"), 1);
    drawing.gl.EnableVertexAttribArray(kPositionSlot);
    drawing.gl.VertexAttribPointer(kPositionSlot, 2, GL_FLOAT, GL_FALSE, 0, corners.data());
    drawing.gl.DrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    EXPECT_THAT(drawing.present(), Each(kBlack));
}

TEST_F(CpuDrawing, SeesEachTextureAsItWasWhenItWasDrawn) {
    drawing.upload(GL_LUMINANCE, 1, 1, {9});
    drawing.image(0, 0, 1, 1, 0, 0);
    drawing.upload(GL_RGBA, 1, 1, {1, 2, 3, 4});
    drawing.image(1, 0, 1, 1, 0, 0);
    drawing.upload(GL_LUMINANCE, 1, 1, {7});
    const Pixels row = bottomRow();
    EXPECT_EQ(row[0], 0xff090909);
    EXPECT_EQ(row[1], 0xff010203);
}

}  // namespace
