// Every character code 0..255 rendered once, at start-up, into one luminance texture, with a table
// of metrics. After releaseFont() text is drawn and measured from this record alone.
#pragma once

#include <ft2build.h>
#include FT_FREETYPE_H

#include <cstdint>

// Whole pixels, cut toward zero from FreeType's 26.6 values. All zero for a code that could not be
// loaded: it draws nothing and does not move the pen.
struct GlyphInfo {
    int32_t atlasX;    // left edge of the character's cell, in texels
    int32_t atlasY;    // top edge of the cell; texture row 0 is the first row uploaded
    int32_t width;     // of the bitmap
    int32_t height;    // of the bitmap
    int32_t bearingX;  // pen position to the bitmap's left edge
    int32_t bearingY;  // baseline to the bitmap's top edge, upwards
    int32_t advance;   // pen step to the next character
};

constexpr int kGlyphCount = 256;

struct FontAtlas {
    FT_Library library;  // from initFont to releaseFont
    FT_Face face;        // the library's; null if no font could be opened
    GlyphInfo glyphs[kGlyphCount];
    int32_t lineHeight;     // pixels
    int32_t descender;      // pixels; negative below the baseline
    int32_t maxAdvance;     // pixels; read by nobody
    int32_t textureWidth;   // texels, a power of two; 0 while there is no texture
    int32_t textureHeight;  // texels, a power of two; 0 while there is no texture
};

extern FontAtlas fontAtlas;

// Initialises FreeType with exactly the smooth renderer, the SFNT module and the TrueType driver,
// and opens face 0 of the file; of a face without a Unicode map, codes are the glyphs' numbers.
// Failures are printed, and start-up goes on without a face.
void initFont(const char* fontPath);

// Renders the atlas at `fontSize` points at 120 dpi and uploads it into the bound texture; needs a
// current GL context. Without a face all metrics stay zero and text draws nothing.
void buildFontAtlas(int32_t fontSize);

// Shuts FreeType down, with it the face.
void releaseFont();
