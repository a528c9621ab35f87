#include "pixels/referenceFont.h"

#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_MODULE_H
#include FT_SYSTEM_H

#include <algorithm>
#include <cstdlib>
#include <memory>

extern "C" {
extern const FT_Module_Class ft_smooth_renderer_class;
extern const FT_Module_Class sfnt_module_class;
extern const FT_Module_Class tt_driver_class;
}

namespace {

constexpr int kFractions = 64;

void* takeMemory(FT_Memory, long size) {
    return malloc(static_cast<size_t>(size));
}

void giveMemory(FT_Memory, void* block) {
    free(block);
}

void* resizeMemory(FT_Memory, long, long size, void* block) {
    return realloc(block, static_cast<size_t>(size));
}

struct LibraryEnd {
    void operator()(FT_Library library) const { FT_Done_Library(library); }
};

struct FaceEnd {
    void operator()(FT_Face face) const { FT_Done_Face(face); }
};

using Library = std::unique_ptr<FT_LibraryRec_, LibraryEnd>;
using Face = std::unique_ptr<FT_FaceRec_, FaceEnd>;

// A library with nothing in it but what TrueType outlines take.
Library makeLibrary(FT_Memory memory) {
    FT_Library library = nullptr;
    FT_New_Library(memory, &library);
    for (const FT_Module_Class* module :
         {&ft_smooth_renderer_class, &sfnt_module_class, &tt_driver_class})
        FT_Add_Module(library, module);
    return Library(library);
}

int powerOfTwoFrom(int least) {
    int power = 1;
    while (power < least)
        power <<= 1;
    return power;
}

void placeBitmap(const FT_Bitmap& bitmap, const ReferenceGlyph& glyph, ReferenceFont* font) {
    for (int row = 0; row < static_cast<int>(bitmap.rows); ++row) {
        for (int column = 0; column < static_cast<int>(bitmap.width); ++column) {
            const int x = glyph.atlasX + column;
            const int y = glyph.atlasY + row;
            if (x < font->textureWidth && y < font->textureHeight)
                font->texels[static_cast<size_t>(y) * font->textureWidth + x] =
                    bitmap.buffer[row * bitmap.pitch + column];
        }
    }
}

void renderCodes(FT_Face face, ReferenceFont* font) {
    for (int code = 0; code < 256; ++code) {
        if (FT_Load_Char(face, static_cast<FT_ULong>(code), FT_LOAD_RENDER) != 0)
            continue;
        const FT_Glyph_Metrics& metrics = face->glyph->metrics;
        ReferenceGlyph& glyph = font->glyphs[static_cast<size_t>(code)];
        glyph.atlasX = code % 16 * face->size->metrics.x_ppem;
        glyph.atlasY = code / 16 * face->size->metrics.y_ppem;
        glyph.width = static_cast<int>(metrics.width / kFractions);
        glyph.height = static_cast<int>(metrics.height / kFractions);
        glyph.bearingX = static_cast<int>(metrics.horiBearingX / kFractions);
        glyph.bearingY = static_cast<int>(metrics.horiBearingY / kFractions);
        glyph.advance = static_cast<int>(metrics.horiAdvance / kFractions);
        placeBitmap(face->glyph->bitmap, glyph, font);
    }
}

// Characters from `start`, before a newline, that together stay under `room`.
size_t fittingCount(const ReferenceFont& font, const std::string& text, size_t start,
                    uint32_t room) {
    uint64_t taken = 0;
    size_t end = start;
    for (; end < text.size() && text[end] != '\n'; ++end) {
        taken += static_cast<uint32_t>(font.glyphOf(text[end]).advance);
        if (taken >= room)
            break;
    }
    return end - start;
}

}  // namespace

const ReferenceGlyph& ReferenceFont::glyphOf(char character) const {
    static const ReferenceGlyph kNone;
    const unsigned code = static_cast<unsigned char>(character);
    return code < 0x80 ? glyphs[code] : kNone;
}

uint8_t ReferenceFont::coverageAt(int x, int row) const {
    const size_t column = static_cast<size_t>(x % textureWidth);
    return texels[static_cast<size_t>(row % textureHeight) * textureWidth + column];
}

ReferenceFont loadReferenceFont(const std::string& path, int points) {
    ReferenceFont font;
    FT_MemoryRec_ memory = {nullptr, takeMemory, giveMemory, resizeMemory};
    const Library library = makeLibrary(&memory);
    FT_Face opened = nullptr;
    if (FT_New_Face(library.get(), path.c_str(), 0, &opened) != 0)
        return font;
    const Face face(opened);

    FT_Set_Char_Size(face.get(), static_cast<FT_F26Dot6>(points) * kFractions, 0, 120, 120);
    const FT_Size_Metrics& metrics = face->size->metrics;
    font.lineHeight = static_cast<int>(metrics.height / kFractions);
    font.descender = static_cast<int>(metrics.descender / kFractions);
    font.textureWidth = powerOfTwoFrom(16 * metrics.x_ppem);
    font.textureHeight = powerOfTwoFrom(16 * metrics.y_ppem);
    font.texels.resize(static_cast<size_t>(font.textureWidth) * font.textureHeight);
    renderCodes(face.get(), &font);
    return font;
}

int referenceWidth(const ReferenceFont& font, const std::string& text) {
    int width = 0;
    for (char character : text)
        width += font.glyphOf(character).advance;
    return width;
}

std::vector<std::string> referenceLines(const ReferenceFont& font, uint32_t width,
                                        const std::string& text) {
    std::vector<std::string> lines;
    const std::string shown = text.substr(0, text.find('\0'));
    for (size_t start = 0; start < shown.size();) {
        const size_t fitting = fittingCount(font, shown, start, width - 20);
        const std::string piece = shown.substr(start, fitting);
        const size_t end = start + fitting;
        const size_t space = piece.rfind(' ');
        if (end == shown.size() || shown[end] == '\n') {
            lines.push_back(piece);
            start = end + 1;
        } else if (space != std::string::npos) {
            lines.push_back(piece.substr(0, space));
            start += space + 1;
        } else {
            // What does not fit even alone gets a line of its own.
            lines.push_back(shown.substr(start, std::max<size_t>(1, fitting)));
            start += std::max<size_t>(1, fitting);
        }
    }
    return lines;
}
