#include "text/fontAtlas.h"

#include <GLES2/gl2.h>
#include FT_MODULE_H
#include FT_TRUETYPE_TABLES_H

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "gfx/pixelMath.h"

extern "C" {
extern const FT_Module_Class ft_smooth_renderer_class;
extern const FT_Module_Class sfnt_module_class;
extern const FT_Module_Class tt_driver_class;
}

FontAtlas fontAtlas;

namespace {

constexpr int kCellsPerRow = 16;
constexpr int kUnitsPerPixel = 64;  // FreeType's 26.6 fixed point
constexpr FT_UInt kDotsPerInch = 120;

struct FontModule {
    const FT_Module_Class* moduleClass;
    const char* failure;
};

// In this order, so that the driver finds what it builds on.
constexpr FontModule kFontModules[] = {
    {&ft_smooth_renderer_class, "FreeType: smooth renderer module insert failed, error: %d\n"},
    {&sfnt_module_class, "FreeType: sfnt module insert failed, error: %d\n"},
    {&tt_driver_class, "FreeType: TrueType font driver module insert failed, error: %d\n"},
};

// What a FreeType build may put into a new library by itself; drivers before what they use.
constexpr const char* kDefaultModules[] = {
    "autofitter", "truetype", "type1",  "cff",      "t1cid", "pfr",     "type42",     "winfonts",
    "pcf",        "bdf",      "psaux",  "pshinter", "sfnt",  "smooth",  "smooth-lcd", "smooth-lcdv",
    "raster1",    "raster5",  "ot-svg", "sdf",      "bsdf",  "gxvalid", "otvalid",
};

// A default module that stays until the face is open: FreeType calls it, without asking whether it
// is there, for a font that names its glyphs but has no Unicode map.
constexpr const char* kGlyphNamesModule = "psnames";

void removeModule(FT_Library library, const char* name) {
    if (FT_Module module = FT_Get_Module(library, name))
        FT_Remove_Module(library, module);
}

void removeDefaultModules(FT_Library library) {
    for (const char* name : kDefaultModules)
        removeModule(library, name);
}

// Whether FreeType made the map from the glyphs' names; one of the font's own has a format.
bool isMadeFromNames(FT_CharMap map) {
    return map && FT_Get_CMap_Format(map) < 0;
}

void openFace(const char* fontPath) {
    const FT_Error error = FT_New_Face(fontAtlas.library, fontPath, 0, &fontAtlas.face);
    if (error == FT_Err_Unknown_File_Format)
        printf("FreeType: unknown file format\n");  // on standard output, unlike its siblings
    else if (error != 0)
        fprintf(stderr, "FreeType: create new face failed, error: %d\n", error);
    else if (isMadeFromNames(fontAtlas.face->charmap))
        fontAtlas.face->charmap = nullptr;  // codes are glyph numbers then
}

// A division, because a shift would turn -1.5 pixels into -2 instead of -1.
int32_t wholePixels(FT_Pos units) {
    return static_cast<int32_t>(units / kUnitsPerPixel);
}

struct StagingBuffer {
    uint8_t* texels;  // owned; null if it could not be had
    int32_t width;
    int32_t height;
};

// Copies a coverage bitmap with its top-left corner at (x, y); what would leave the buffer is cut.
void copyBitmap(const FT_Bitmap& bitmap, int32_t x, int32_t y, const StagingBuffer& staging) {
    // An embedded bitmap strike comes packed, with fewer bytes than its width says; a glyph without
    // any area may come with rows but without a buffer.
    if (bitmap.pixel_mode != FT_PIXEL_MODE_GRAY || !bitmap.buffer || !staging.texels)
        return;

    const int32_t roomRight = staging.width - x;
    const int32_t roomBelow = staging.height - y;
    const size_t bytes = bitmap.width < static_cast<unsigned>(roomRight) ? bitmap.width : roomRight;
    const size_t rows = bitmap.rows < static_cast<unsigned>(roomBelow) ? bitmap.rows : roomBelow;

    // The source rows are the width apart, not the pitch: in 8-bit coverage the two agree.
    for (size_t row = 0; row < rows; ++row)
        memcpy(staging.texels + (y + row) * staging.width + x, bitmap.buffer + row * bitmap.width,
               bytes);
}

void renderGlyph(FT_Face face, int code, const StagingBuffer& staging) {
    if (FT_Load_Char(face, static_cast<FT_ULong>(code), FT_LOAD_RENDER) != 0)
        return;

    const FT_Glyph_Metrics& metrics = face->glyph->metrics;
    GlyphInfo& glyph = fontAtlas.glyphs[code];
    glyph.width = wholePixels(metrics.width);
    glyph.height = wholePixels(metrics.height);
    glyph.bearingX = wholePixels(metrics.horiBearingX);
    glyph.bearingY = wholePixels(metrics.horiBearingY);
    glyph.advance = wholePixels(metrics.horiAdvance);
    glyph.atlasX = face->size->metrics.x_ppem * (code % kCellsPerRow);
    glyph.atlasY = face->size->metrics.y_ppem * (code / kCellsPerRow);

    copyBitmap(face->glyph->bitmap, glyph.atlasX, glyph.atlasY, staging);
}

}  // namespace

void initFont(const char* fontPath) {
    if (const FT_Error error = FT_Init_FreeType(&fontAtlas.library))
        fprintf(stderr, "FreeType: initialisation failed, error: %d\n", error);
    removeDefaultModules(fontAtlas.library);

    for (const FontModule& module : kFontModules) {
        if (const FT_Error error = FT_Add_Module(fontAtlas.library, module.moduleClass))
            fprintf(stderr, module.failure, error);
    }

    if (fontPath)
        openFace(fontPath);
    removeModule(fontAtlas.library, kGlyphNamesModule);
}

void buildFontAtlas(int32_t fontSize) {
    const FT_Face face = fontAtlas.face;
    if (!face)
        return;

    FT_Set_Char_Size(face, static_cast<FT_F26Dot6>(fontSize) * kUnitsPerPixel, 0, kDotsPerInch,
                     kDotsPerInch);
    const FT_Size_Metrics& metrics = face->size->metrics;
    fontAtlas.lineHeight = wholePixels(metrics.height);
    fontAtlas.descender = wholePixels(metrics.descender);
    fontAtlas.maxAdvance = wholePixels(metrics.max_advance);
    fontAtlas.textureWidth = nextPowerOfTwo(kCellsPerRow * metrics.x_ppem);
    fontAtlas.textureHeight = nextPowerOfTwo(kCellsPerRow * metrics.y_ppem);

    const size_t rowBytes = static_cast<size_t>(fontAtlas.textureWidth);
    const StagingBuffer staging = {
        static_cast<uint8_t*>(calloc(rowBytes, static_cast<size_t>(fontAtlas.textureHeight))),
        fontAtlas.textureWidth, fontAtlas.textureHeight};
    for (int code = 0; code < kGlyphCount; ++code)
        renderGlyph(face, code, staging);

    glTexImage2D(GL_TEXTURE_2D, 0, GL_LUMINANCE, fontAtlas.textureWidth, fontAtlas.textureHeight, 0,
                 GL_LUMINANCE, GL_UNSIGNED_BYTE, staging.texels);
    free(staging.texels);
}

void releaseFont() {
    if (const FT_Error error = FT_Done_FreeType(fontAtlas.library))
        fprintf(stderr, "FreeType: deinitialisation failed, error: %d\n", error);
}
