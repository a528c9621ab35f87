#include "text/textDraw.h"

#include <GLES2/gl2.h>

#include <cstring>

#include "gfx/renderContext.h"
#include "text/fontAtlas.h"

namespace {

// The byte is a signed index, so records 128 to 255 are never reached and a negative one has no
// record: texts written for the console are ASCII, and other bytes must not show as odd glyphs.
const GlyphInfo& glyphOf(char character) {
    static const GlyphInfo kNoGlyph = {};
    const signed char index = static_cast<signed char>(character);
    return index >= 0 ? fontAtlas.glyphs[index] : kNoGlyph;
}

// Sums with 32-bit wrap-around, which a text of millions of characters reaches.
int32_t wrappingSum(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

// Four vertices of a triangle strip, in client memory while a text is drawn.
struct GlyphQuad {
    float corners[4 * 3];
    float texels[4 * 2];
};

void placeGlyph(const GlyphInfo& glyph, int32_t penX, int32_t y, GlyphQuad* quad) {
    const int32_t leftEdge = wrappingSum(penX, glyph.bearingX);
    const int32_t topEdge = y + glyph.bearingY - fontAtlas.descender;
    const float left = static_cast<float>(leftEdge);
    const float right = static_cast<float>(wrappingSum(leftEdge, glyph.width));
    const float top = static_cast<float>(topEdge);
    const float bottom = static_cast<float>(topEdge - glyph.height);
    const float corners[] = {
        left,  bottom, 0,  //
        left,  top,    0,  //
        right, bottom, 0,  //
        right, top,    0,
    };
    memcpy(quad->corners, corners, sizeof(corners));

    const float texelLeft = static_cast<float>(glyph.atlasX);
    const float texelRight = static_cast<float>(glyph.atlasX + glyph.width);
    const float texelTop = static_cast<float>(glyph.atlasY);
    const float texelBottom = static_cast<float>(glyph.atlasY + glyph.height);
    const float texels[] = {
        texelLeft,  texelBottom,  //
        texelLeft,  texelTop,     //
        texelRight, texelBottom,  //
        texelRight, texelTop,
    };
    memcpy(quad->texels, texels, sizeof(texels));
}

}  // namespace

bool leavesTrace(char character) {
    const GlyphInfo& glyph = glyphOf(character);
    return glyph.advance != 0 || (glyph.width != 0 && glyph.height != 0);
}

int32_t fitCharCount(const char* text, uint32_t maxWidth) {
    uint32_t remaining = maxWidth;
    int32_t count = 0;
    for (; text[count] != '\0' && text[count] != '\n'; ++count) {
        const uint32_t advance = static_cast<uint32_t>(glyphOf(text[count]).advance);
        if (advance >= remaining)
            break;
        remaining -= advance;
    }
    return count;
}

int32_t textWidth(const char* text) {
    int32_t width = 0;
    for (; *text; ++text)
        width = wrappingSum(width, glyphOf(*text).advance);
    return width;
}

void drawText(int32_t x, int32_t y, const char* text, float red, float green, float blue) {
    GlyphQuad quad = {};

    // The texel is coverage: it mixes the constant colour over what is already drawn.
    glEnable(GL_BLEND);
    glBlendFunc(GL_CONSTANT_COLOR, GL_ONE_MINUS_SRC_COLOR);
    glBlendEquation(GL_FUNC_ADD);
    glBlendColor(red, green, blue, 1.0f);
    startTexturedDraw(fontAtlas.textureWidth, fontAtlas.textureHeight, quad.corners, quad.texels);

    int32_t penX = x;
    for (; *text; ++text) {
        const GlyphInfo& glyph = glyphOf(*text);
        placeGlyph(glyph, penX, y, &quad);
        glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
        penX = wrappingSum(penX, glyph.advance);
    }

    endTexturedDraw();
    glDisable(GL_BLEND);
}
