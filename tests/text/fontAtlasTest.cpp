// The atlas of a real font against FreeType used directly, and of made-up metrics and bitmaps.
#include "text/fontAtlas.h"

#include <gmock/gmock.h>
#include FT_MODULE_H

#include <cstddef>
#include <cstring>

#include "support/callLog.h"
#include "support/fakeGl.h"
#include "support/linkWraps.h"
#include "support/outputCapture.h"
#include "support/serviceTest.h"
#include "text/fontFile.h"

namespace {

using ::testing::ElementsAre;

const char* const kFont = VELKARIS_TEST_FONT;

class FontAtlasTest : public ServiceTest {};
using BuildFontAtlas = FontAtlasTest;

TEST_F(FontAtlasTest, HoldsItsFieldsInThisOrder) {
    EXPECT_EQ(offsetof(FontAtlas, library), 0u);
    EXPECT_EQ(offsetof(FontAtlas, face), sizeof(void*));
    EXPECT_EQ(offsetof(FontAtlas, glyphs), 2 * sizeof(void*));
    constexpr size_t kBehindTheTable = offsetof(FontAtlas, glyphs) + 256 * 7 * 4;
    EXPECT_EQ(offsetof(FontAtlas, lineHeight), kBehindTheTable);
    EXPECT_EQ(offsetof(FontAtlas, descender), kBehindTheTable + 4);
    EXPECT_EQ(offsetof(FontAtlas, maxAdvance), kBehindTheTable + 8);
    EXPECT_EQ(offsetof(FontAtlas, textureWidth), kBehindTheTable + 12);
    EXPECT_EQ(offsetof(FontAtlas, textureHeight), kBehindTheTable + 16);
}

TEST_F(FontAtlasTest, AGlyphHoldsItsSevenNumbersInThisOrder) {
    const GlyphInfo glyph = {1, 2, 3, 4, 5, 6, 7};
    EXPECT_EQ(sizeof(glyph), 7u * 4u);
    EXPECT_EQ(glyph.atlasX, 1);
    EXPECT_EQ(glyph.atlasY, 2);
    EXPECT_EQ(glyph.width, 3);
    EXPECT_EQ(glyph.height, 4);
    EXPECT_EQ(glyph.bearingX, 5);
    EXPECT_EQ(glyph.bearingY, 6);
    EXPECT_EQ(glyph.advance, 7);
}

// The whole atlas of `font` at `size` points, as FreeType gives it to this test directly.
struct ExpectedAtlas {
    int32_t pixelsPerEm;
    int32_t lineHeight;
    int32_t descender;
    int32_t maxAdvance;
    int32_t textureSide;
    GlyphInfo glyphs[256];
    std::vector<uint8_t> texels;
};

int32_t towardZero(FT_Pos units) {
    return static_cast<int32_t>(units >= 0 ? units >> 6 : -(-units >> 6));
}

int32_t powerOfTwoFrom(int32_t value) {
    int32_t power = 1;
    while (power < value)
        power <<= 1;
    return power;
}

void expectGlyph(FT_Face face, int code, ExpectedAtlas* atlas) {
    if (FT_Load_Char(face, static_cast<FT_ULong>(code), FT_LOAD_RENDER) != 0)
        return;
    const FT_GlyphSlot slot = face->glyph;
    const int32_t left = atlas->pixelsPerEm * (code & 15);
    const int32_t top = atlas->pixelsPerEm * (code >> 4);
    atlas->glyphs[code] = {left,
                           top,
                           towardZero(slot->metrics.width),
                           towardZero(slot->metrics.height),
                           towardZero(slot->metrics.horiBearingX),
                           towardZero(slot->metrics.horiBearingY),
                           towardZero(slot->metrics.horiAdvance)};
    for (unsigned y = 0; y < slot->bitmap.rows; ++y) {
        for (unsigned x = 0; x < slot->bitmap.width; ++x) {
            const size_t column = left + x;
            const size_t row = top + y;
            const size_t side = atlas->textureSide;
            if (column < side && row < side)
                atlas->texels[row * side + column] =
                    slot->bitmap.buffer[y * slot->bitmap.pitch + x];
        }
    }
}

ExpectedAtlas expectAtlas(const char* font, int32_t size) {
    FT_Library library = nullptr;
    FT_Face face = nullptr;
    EXPECT_EQ(FT_Init_FreeType(&library), 0);
    if (FT_Module autofitter = FT_Get_Module(library, "autofitter"))
        FT_Remove_Module(library, autofitter);
    EXPECT_EQ(FT_New_Face(library, font, 0, &face), 0);
    FT_Set_Char_Size(face, size * 64, 0, 120, 120);
    const FT_Size_Metrics& metrics = face->size->metrics;
    ExpectedAtlas atlas = {metrics.x_ppem,
                           towardZero(metrics.height),
                           towardZero(metrics.descender),
                           towardZero(metrics.max_advance),
                           powerOfTwoFrom(16 * metrics.x_ppem),
                           {},
                           {}};
    atlas.texels.resize(static_cast<size_t>(atlas.textureSide) * atlas.textureSide);
    for (int code = 0; code < 256; ++code)
        expectGlyph(face, code, &atlas);
    FT_Done_FreeType(library);
    return atlas;
}

void buildAtlas(const char* font, int32_t size) {
    initFont(font);
    buildFontAtlas(size);
}

struct FontAtSize {
    const char* name;
    const char* font;
    int32_t size;
    int32_t textureSide;
};

// What a listing of the tests shows.
void PrintTo(const FontAtSize& font, std::ostream* stream) {
    *stream << font.name;
}

class AtlasOfAFont : public ServiceTest, public ::testing::WithParamInterface<FontAtSize> {};

TEST_P(AtlasOfAFont, HasTheMetricsAndTexelsThatFreeTypeGives) {
    const FontAtSize& param = GetParam();
    const ExpectedAtlas expected = expectAtlas(param.font, param.size);
    buildAtlas(param.font, param.size);

    EXPECT_EQ(fontAtlas.lineHeight, expected.lineHeight);
    EXPECT_EQ(fontAtlas.descender, expected.descender);
    EXPECT_EQ(fontAtlas.maxAdvance, expected.maxAdvance);
    EXPECT_EQ(fontAtlas.textureWidth, param.textureSide);
    EXPECT_EQ(fontAtlas.textureHeight, param.textureSide);
    for (int code = 0; code < 256; ++code)
        EXPECT_EQ(memcmp(&fontAtlas.glyphs[code], &expected.glyphs[code], sizeof(GlyphInfo)), 0)
            << code;
    ASSERT_EQ(fakeGl.textures.size(), 1u);
    EXPECT_TRUE(fakeGl.textures[0].bytes == expected.texels);
}

INSTANTIATE_TEST_SUITE_P(Fonts, AtlasOfAFont,
                         ::testing::Values(FontAtSize{"Mono12", VELKARIS_TEST_FONT, 12, 512},
                                           FontAtSize{"Mono6", VELKARIS_TEST_FONT, 6, 256},
                                           FontAtSize{"Mono5", VELKARIS_TEST_FONT, 5, 128},
                                           FontAtSize{"Mono30", VELKARIS_TEST_FONT, 30, 1024},
                                           FontAtSize{"Proportional12", VELKARIS_PROPORTIONAL_FONT,
                                                      12, 512}));

TEST_F(BuildFontAtlas, SetsTheSizeAt120DotsPerInchAndLoadsEveryCodeInOrder) {
    initFont(kFont);
    clearCalls();
    buildFontAtlas(12);
    ASSERT_EQ(calls().size(), 258u);
    EXPECT_EQ(calls()[0], "FT_Set_Char_Size(768, 0, 120, 120)");
    for (int code = 0; code < 256; ++code)
        EXPECT_EQ(calls()[1 + code], "FT_Load_Char(" + std::to_string(code) + ", 4)");
    EXPECT_EQ(calls()[257],
              "glTexImage2D(GL_TEXTURE_2D, 0, GL_LUMINANCE, 512, 512, 0, GL_LUMINANCE, "
              "GL_UNSIGNED_BYTE)");
}

TEST_F(BuildFontAtlas, TheDefaultSizeHasCellsOfTwentyTexels) {
    buildAtlas(kFont, 12);
    EXPECT_EQ(fontAtlas.glyphs['A'].atlasX, 20);
    EXPECT_EQ(fontAtlas.glyphs['A'].atlasY, 80);
    EXPECT_EQ(fontAtlas.glyphs[255].atlasX, 300);
    EXPECT_EQ(fontAtlas.glyphs[255].atlasY, 300);
}

TEST_F(BuildFontAtlas, ACodeThatTheFontLacksGetsItsMissingGlyph) {
    buildAtlas(kFont, 12);
    FT_Face face = fontAtlas.face;
    ASSERT_EQ(FT_Get_Char_Index(face, 1), 0u);
    ASSERT_EQ(FT_Load_Glyph(face, 0, FT_LOAD_RENDER), 0);
    EXPECT_GT(fontAtlas.glyphs[1].width, 0);
    EXPECT_EQ(fontAtlas.glyphs[1].width, towardZero(face->glyph->metrics.width));
    EXPECT_EQ(fontAtlas.glyphs[1].advance, towardZero(face->glyph->metrics.horiAdvance));
}

TEST_F(BuildFontAtlas, WithoutACharacterMapACodeIsTheGlyphsNumber) {
    std::string contents = contentsOf(kFont);
    const size_t tag = contents.find("cmap");
    ASSERT_NE(tag, std::string::npos);
    contents[tag] = 'x';  // a table that nothing asks for
    const TestFile font(contents);
    buildAtlas(font.path.c_str(), 12);
    FT_Face face = fontAtlas.face;
    ASSERT_NE(face, nullptr);
    ASSERT_EQ(face->charmap, nullptr);
    for (const int code : {1, 36, 65, 255}) {
        ASSERT_EQ(FT_Load_Glyph(face, static_cast<FT_UInt>(code), FT_LOAD_RENDER), 0);
        EXPECT_EQ(fontAtlas.glyphs[code].width, towardZero(face->glyph->metrics.width)) << code;
        EXPECT_EQ(fontAtlas.glyphs[code].height, towardZero(face->glyph->metrics.height)) << code;
        EXPECT_EQ(fontAtlas.glyphs[code].bearingX, towardZero(face->glyph->metrics.horiBearingX))
            << code;
    }
}

TEST_F(BuildFontAtlas, ACodeThatCannotBeLoadedKeepsAnAllZeroRecord) {
    freeTypeWraps.unloadable = {0, 'A'};
    const Output output = outputOf([] { buildAtlas(kFont, 12); });
    const GlyphInfo nothing = {};
    for (const FT_ULong code : freeTypeWraps.unloadable)
        EXPECT_EQ(memcmp(&fontAtlas.glyphs[code], &nothing, sizeof(nothing)), 0) << code;
    EXPECT_GT(fontAtlas.glyphs['B'].advance, 0);
    EXPECT_EQ(output.out + output.err, "");
}

TEST_F(BuildFontAtlas, MetricsAreCutTowardZero) {
    freeTypeWraps.afterLoad = [](FT_Face face, FT_ULong) {
        face->glyph->metrics = {95, 127, -96, -63, 64, 0, 0, 0};
    };
    buildAtlas(kFont, 12);
    const GlyphInfo& glyph = fontAtlas.glyphs['A'];
    EXPECT_EQ(glyph.width, 1);
    EXPECT_EQ(glyph.height, 1);
    EXPECT_EQ(glyph.bearingX, -1);
    EXPECT_EQ(glyph.bearingY, 0);
    EXPECT_EQ(glyph.advance, 1);
}

TEST_F(BuildFontAtlas, TheLinesMetricsAreCutTowardZero) {
    freeTypeWraps.afterSetSize = [](FT_Size_Metrics& metrics) {
        metrics.height = 127;
        metrics.descender = -96;
        metrics.max_advance = 127;
    };
    buildAtlas(kFont, 12);
    EXPECT_EQ(fontAtlas.lineHeight, 1);
    EXPECT_EQ(fontAtlas.descender, -1);
    EXPECT_EQ(fontAtlas.maxAdvance, 1);
}

TEST_F(BuildFontAtlas, CellsAreAsWideAndAsHighAsTheEmInEitherDirection) {
    freeTypeWraps.afterSetSize = [](FT_Size_Metrics& metrics) {
        metrics.x_ppem = 10;
        metrics.y_ppem = 30;
    };
    buildAtlas(kFont, 12);
    EXPECT_EQ(fontAtlas.textureWidth, 256);
    EXPECT_EQ(fontAtlas.textureHeight, 512);
    EXPECT_EQ(fontAtlas.glyphs['A'].atlasX, 10);
    EXPECT_EQ(fontAtlas.glyphs['A'].atlasY, 120);
}

TEST_F(BuildFontAtlas, DoesNotExamineWhetherTheSizeWasSet) {
    freeTypeWraps.setSizeError = 23;
    const Output output = outputOf([] { buildAtlas(kFont, 12); });
    EXPECT_EQ(output.out + output.err, "");
    EXPECT_EQ(callCount("FT_Load_Char"), 256);
    EXPECT_EQ(fakeGl.textures.size(), 1u);
}

TEST_F(BuildFontAtlas, TakesTheRowsOfABitmapAsFarApartAsItIsWide) {
    static uint8_t coverage[] = {1, 2, 3, 4, 5, 6};
    freeTypeWraps.afterLoad = [](FT_Face face, FT_ULong code) {
        FT_Bitmap& bitmap = face->glyph->bitmap;
        bitmap.buffer = coverage;
        bitmap.width = code == 0 ? 2 : 0;
        bitmap.rows = code == 0 ? 2 : 0;
        bitmap.pitch = 4;
        bitmap.pixel_mode = FT_PIXEL_MODE_GRAY;
    };
    buildAtlas(kFont, 12);
    const std::vector<uint8_t>& texels = fakeGl.textures.at(0).bytes;
    EXPECT_EQ(texels[0], 1);
    EXPECT_EQ(texels[1], 2);
    EXPECT_EQ(texels[512], 3);
    EXPECT_EQ(texels[513], 4);
}

// Every code renders as a block of `width` x `rows` full texels.
void renderBlocks(unsigned width, unsigned rows, unsigned char mode = FT_PIXEL_MODE_GRAY) {
    static std::vector<uint8_t> block;
    block.assign(static_cast<size_t>(width) * rows, 255);
    freeTypeWraps.afterLoad = [=](FT_Face face, FT_ULong code) {
        FT_Bitmap& bitmap = face->glyph->bitmap;
        const bool last = code == 255;
        bitmap.buffer = block.data();
        bitmap.width = last ? width : 0;
        bitmap.rows = last ? rows : 0;
        bitmap.pitch = static_cast<int>(width);
        bitmap.pixel_mode = mode;
    };
}

TEST_F(BuildFontAtlas, ABitmapLargerThanItsCellIsClippedToTheTexture) {
    renderBlocks(40, 30);
    buildAtlas(kFont, 5);  // cells of 8 in 128 x 128: the last cell begins at (120, 120)
    const std::vector<uint8_t>& texels = fakeGl.textures.at(0).bytes;
    ASSERT_EQ(texels.size(), 128u * 128u);
    for (int y = 0; y < 128; ++y) {
        for (int x = 0; x < 128; ++x)
            ASSERT_EQ(texels[y * 128 + x], x >= 120 && y >= 120 ? 255 : 0) << x << ", " << y;
    }
}

TEST_F(BuildFontAtlas, ABitmapMayRunIntoTheNextCells) {
    renderBlocks(40, 30);
    buildAtlas(kFont, 12);  // cells of 20 in 512 x 512: there is room behind the last one
    const std::vector<uint8_t>& texels = fakeGl.textures.at(0).bytes;
    EXPECT_EQ(texels[300 * 512 + 300], 255);
    EXPECT_EQ(texels[329 * 512 + 339], 255);
    EXPECT_EQ(texels[330 * 512 + 339], 0);
    EXPECT_EQ(texels[329 * 512 + 340], 0);
}

TEST_F(BuildFontAtlas, TexelsOutsideTheBitmapsAreEmpty) {
    renderBlocks(0, 0);
    buildAtlas(kFont, 12);
    EXPECT_THAT(fakeGl.textures.at(0).bytes, ::testing::Each(0));
}

TEST_F(BuildFontAtlas, APackedBitmapIsNotReadAsCoverage) {
    renderBlocks(8, 8, FT_PIXEL_MODE_MONO);
    buildAtlas(kFont, 12);
    EXPECT_THAT(fakeGl.textures.at(0).bytes, ::testing::Each(0));
}

TEST_F(BuildFontAtlas, AGlyphWithoutABufferIsNotCopied) {
    freeTypeWraps.afterLoad = [](FT_Face face, FT_ULong) {
        FT_Bitmap& bitmap = face->glyph->bitmap;
        bitmap.buffer = nullptr;
        bitmap.width = bitmap.rows = 8;
        bitmap.pixel_mode = FT_PIXEL_MODE_GRAY;
    };
    buildAtlas(kFont, 12);
    EXPECT_THAT(fakeGl.textures.at(0).bytes, ::testing::Each(0));
    EXPECT_GT(fontAtlas.glyphs['A'].advance, 0);
}

TEST_F(BuildFontAtlas, KeepsNoneOfItsBuffers) {
    initFont(kFont);
    buildFontAtlas(12);  // FreeType grows its own buffers the first time
    const HeapWatch heap;
    buildFontAtlas(12);
    EXPECT_EQ(heap.kept(), 0);
}

TEST_F(BuildFontAtlas, WithoutMemoryForTheTexelsKeepsTheMetrics) {
    heapWraps.failingSize = 512 * 512;
    buildAtlas(kFont, 12);
    EXPECT_GT(fontAtlas.glyphs['A'].advance, 0);
    ASSERT_EQ(fakeGl.textures.size(), 1u);
    EXPECT_TRUE(fakeGl.textures[0].bytes.empty());
}

TEST_F(BuildFontAtlas, WithoutAFaceLeavesAllMetricsZeroAndUploadsNothing) {
    outputOf([] { initFont("/nonexistent/font.ttf"); });
    clearCalls();
    buildFontAtlas(12);
    EXPECT_THAT(calls(), ElementsAre());
    EXPECT_EQ(fontAtlas.lineHeight, 0);
    EXPECT_EQ(fontAtlas.descender, 0);
    EXPECT_EQ(fontAtlas.textureWidth, 0);
    EXPECT_EQ(fontAtlas.textureHeight, 0);
}

TEST_F(BuildFontAtlas, ASizeOfZeroStillEndsInATexture) {
    buildAtlas(kFont, 0);
    EXPECT_EQ(callCount("FT_Set_Char_Size(0, 0, 120, 120)"), 1);
    EXPECT_EQ(fakeGl.textures.size(), 1u);
}

}  // namespace
