// Measuring, fitting and drawing of text on made-up metrics.
#include "text/textDraw.h"

#include <gmock/gmock.h>

#include <climits>

#include "support/callLog.h"
#include "support/drawnScreen.h"
#include "support/fakeGl.h"
#include "support/serviceTest.h"
#include "text/fontAtlas.h"

namespace {

using ::testing::Each;
using ::testing::ElementsAre;

class TextDraw : public ServiceTest {
protected:
    void SetUp() override {
        ServiceTest::SetUp();
        useMonospacedAtlas();
        useArea(1280, 480);
    }
};

using FitCharCount = TextDraw;
using TextWidth = TextDraw;
using DrawText = TextDraw;

TEST_F(FitCharCount, OfAnEmptyTextIsZero) {
    EXPECT_EQ(fitCharCount("", 100), 0);
    EXPECT_EQ(fitCharCount("", 0), 0);
}

TEST_F(FitCharCount, StopsBeforeANewline) {
    EXPECT_EQ(fitCharCount("\nab", 1000), 0);
    EXPECT_EQ(fitCharCount("ab\ncd", 1000), 2);
    EXPECT_EQ(fitCharCount("ab\ncd", 15), 1);
}

TEST_F(FitCharCount, OneThatExactlyFillsTheWidthDoesNotFit) {
    EXPECT_EQ(fitCharCount("ab", 20), 1);
    EXPECT_EQ(fitCharCount("ab", 21), 2);
    EXPECT_EQ(fitCharCount("ab", 10), 0);
    EXPECT_EQ(fitCharCount("ab", 11), 1);
}

TEST_F(FitCharCount, NothingFitsNoWidth) {
    EXPECT_EQ(fitCharCount("a", 0), 0);
    EXPECT_EQ(fitCharCount("\x80", 0), 0);
}

TEST_F(FitCharCount, ATextThatFitsCountsWhole) {
    EXPECT_EQ(fitCharCount("abcdef", 1000), 6);
}

TEST_F(FitCharCount, AZeroAdvanceAlwaysFitsARemainingWidth) {
    fontAtlas.glyphs['z'].advance = 0;
    EXPECT_EQ(fitCharCount("azzz", 11), 4);
}

TEST_F(FitCharCount, ANegativeAdvanceNeverFits) {
    fontAtlas.glyphs['n'].advance = -1;
    EXPECT_EQ(fitCharCount("anb", 1000), 1);
    EXPECT_EQ(fitCharCount("n", UINT32_MAX - 1), 0);
}

TEST_F(FitCharCount, TheWidthIsUnsigned) {
    EXPECT_EQ(fitCharCount("abc", static_cast<uint32_t>(-1)), 3);
}

TEST_F(TextWidth, OfAnEmptyTextIsZero) {
    EXPECT_EQ(textWidth(""), 0);
}

TEST_F(TextWidth, SumsTheAdvances) {
    fontAtlas.glyphs['i'].advance = 3;
    EXPECT_EQ(textWidth("aib"), 23);
}

TEST_F(TextWidth, CountsANewlineLikeAnyOther) {
    EXPECT_EQ(textWidth("a\nb"), 30);
}

TEST_F(TextWidth, WrapsRoundAt32Bits) {
    fontAtlas.glyphs['m'].advance = INT32_MAX;
    EXPECT_EQ(textWidth("mm"), -2);
}

TEST_F(TextWidth, BytesFrom0x80OnAdvanceByNothing) {
    for (int code = 0x80; code <= 0xff; ++code) {
        const char text[] = {'a', static_cast<char>(code), 'b', '\0'};
        EXPECT_EQ(textWidth(text), 20) << code;
    }
}

TEST_F(TextWidth, EachByteBelow0x80HasItsOwnRecord) {
    for (int code = 1; code <= 0x7f; ++code) {
        fontAtlas.glyphs[code].advance = 1000 + code;
        const char text[] = {static_cast<char>(code), '\0'};
        EXPECT_EQ(textWidth(text), 1000 + code);
    }
}

TEST_F(DrawText, MakesTheseCallsInThisOrder) {
    drawText(5, 7, "ab", 0.25f, 0.5f, 0.75f);
    EXPECT_THAT(
        calls(),
        ElementsAre("glEnable(GL_BLEND)", "glBlendFunc(GL_CONSTANT_COLOR, GL_ONE_MINUS_SRC_COLOR)",
                    "glBlendEquation(GL_FUNC_ADD)", "glBlendColor(0.25, 0.5, 0.75, 1)",
                    "glUseProgram(11)", "glGetUniformLocation(11, u_sTexture)",
                    "glUniform1i(u_sTexture, 0)", "glGetUniformLocation(11, u_fTransform)",
                    "glUniformMatrix2fv(u_fTransform, 1, GL_FALSE)",
                    "glGetUniformLocation(11, u_vTransform)",
                    "glUniformMatrix4fv(u_vTransform, 1, GL_FALSE)", "glEnableVertexAttribArray(0)",
                    "glEnableVertexAttribArray(2)",
                    "glVertexAttribPointer(0, 3, GL_FLOAT, GL_FALSE, 0)",
                    "glVertexAttribPointer(2, 2, GL_FLOAT, GL_FALSE, 0)",
                    "glDrawArrays(GL_TRIANGLE_STRIP, 0, 4)",
                    "glDrawArrays(GL_TRIANGLE_STRIP, 0, 4)", "glDisableVertexAttribArray(0)",
                    "glDisableVertexAttribArray(2)", "glDisable(GL_BLEND)"));
}

TEST_F(DrawText, OfAnEmptyTextSetsUpAndTearsDownWithoutADraw) {
    drawText(5, 7, "", 1, 1, 1);
    EXPECT_EQ(callCount("glDrawArrays"), 0);
    EXPECT_EQ(calls().size(), 18u);
    EXPECT_EQ(calls().front(), "glEnable(GL_BLEND)");
    EXPECT_EQ(calls().back(), "glDisable(GL_BLEND)");
    EXPECT_EQ(fakeGl.drawings.at(0).program, kTexturedProgram);
}

TEST_F(DrawText, LeavesBlendingAndArraysOff) {
    drawText(5, 7, "abc", 1, 1, 1);
    EXPECT_FALSE(fakeGl.blending);
    EXPECT_THAT(fakeGl.enabledArrays, ElementsAre());
}

TEST_F(DrawText, UploadsPixelAndTexelTransforms) {
    fontAtlas.textureWidth = 256;
    fontAtlas.textureHeight = 128;
    drawText(0, 0, "a", 1, 1, 1);
    const Drawing& drawing = fakeGl.drawings.at(0);
    EXPECT_THAT(drawing.textureTransform, ElementsAre(1.0f / 256, 0, 0, 1.0f / 128));
    EXPECT_THAT(drawing.pixelTransform,
                ElementsAre(2.0f / 1280, 0, 0, 0, 0, 2.0f / 480, 0, 0, 0, 0, 1, 0, -1, -1, 0, 1));
}

TEST_F(DrawText, PlacesTheFourCornersOfAGlyph) {
    fontAtlas.glyphs['a'] = {40, 60, 9, 13, -2, 11, 10};
    fontAtlas.descender = -5;
    drawText(100, 200, "a", 1, 1, 1);
    // left = 100 - 2, top = 200 + 11 + 5, bottom = top - 13; the atlas row is the top edge.
    const DrawnQuad& quad = fakeGl.drawings.at(0).quads.at(0);
    EXPECT_THAT(quad.corners, ElementsAre(98, 203, 0, 98, 216, 0, 107, 203, 0, 107, 216, 0));
    EXPECT_THAT(quad.texels, ElementsAre(40, 73, 40, 60, 49, 73, 49, 60));
}

TEST_F(DrawText, MovesThePenByEachAdvance) {
    fontAtlas.glyphs['a'].advance = 7;
    fontAtlas.glyphs['b'].advance = 30;
    drawText(100, 0, "abc", 1, 1, 1);
    const std::vector<DrawnQuad>& quads = fakeGl.drawings.at(0).quads;
    ASSERT_EQ(quads.size(), 3u);
    EXPECT_EQ(quads[0].corners[0], 101);
    EXPECT_EQ(quads[1].corners[0], 108);
    EXPECT_EQ(quads[2].corners[0], 138);
}

TEST_F(DrawText, DrawsControlCodesAsTheirGlyphs) {
    drawText(0, 0, "a\n\tb", 1, 1, 1);
    EXPECT_THAT(drawnScreen(), ElementsAre("text 0 0 ffffff a\n\tb"));
}

TEST_F(DrawText, AnAllZeroRecordDrawsADegenerateQuadAndKeepsThePen) {
    fontAtlas.glyphs['z'] = {};
    drawText(50, 0, "zb", 1, 1, 1);
    const std::vector<DrawnQuad>& quads = fakeGl.drawings.at(0).quads;
    ASSERT_EQ(quads.size(), 2u);
    EXPECT_THAT(quads[0].corners, ElementsAre(50, 4, 0, 50, 4, 0, 50, 4, 0, 50, 4, 0));
    EXPECT_THAT(quads[0].texels, Each(0));
    EXPECT_EQ(quads[1].corners[0], 51);
}

TEST_F(DrawText, BytesFrom0x80OnDrawNothingAndKeepThePen) {
    drawText(50, 0,
             "\x80\xff"
             "b",
             1, 1, 1);
    const std::vector<DrawnQuad>& quads = fakeGl.drawings.at(0).quads;
    ASSERT_EQ(quads.size(), 3u);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(quads[i].corners[0], quads[i].corners[6]);
        EXPECT_EQ(quads[i].corners[1], quads[i].corners[4]);
        EXPECT_THAT(quads[i].texels, Each(0));
    }
    EXPECT_EQ(quads[2].corners[0], 51);
}

TEST_F(DrawText, TakesNegativePlaces) {
    drawText(-30, -40, "a", 1, 1, 1);
    EXPECT_THAT(drawnScreen(), ElementsAre("text -30 -40 ffffff a"));
}

TEST_F(DrawText, WithoutAnAtlasDrawsDegenerateQuadsWithFiniteTransforms) {
    fontAtlas = {};
    drawText(10, 20, "ab", 1, 1, 1);
    const Drawing& drawing = fakeGl.drawings.at(0);
    EXPECT_THAT(drawing.textureTransform, Each(0));
    for (const DrawnQuad& quad : drawing.quads)
        EXPECT_THAT(quad.corners, ElementsAre(10, 20, 0, 10, 20, 0, 10, 20, 0, 10, 20, 0));
}

}  // namespace
