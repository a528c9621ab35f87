// The glyph atlas as it has to be, built with FreeType but by other means than the service's, for
// tests that predict pixels. Holds only the codes' records and texels; FreeType is gone afterwards.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

struct ReferenceGlyph {
    int atlasX = 0;
    int atlasY = 0;
    int width = 0;
    int height = 0;
    int bearingX = 0;
    int bearingY = 0;
    int advance = 0;
};

struct ReferenceFont {
    std::array<ReferenceGlyph, 256> glyphs;
    int lineHeight = 0;
    int descender = 0;
    int textureWidth = 0;  // texels; 0 by 0 without a font
    int textureHeight = 0;
    std::vector<uint8_t> texels;  // coverage, the top row first

    // Bytes are signed: those from 0x80 on have a record of zeroes.
    const ReferenceGlyph& glyphOf(char character) const;

    // Coverage where a texture that repeats has it.
    uint8_t coverageAt(int x, int row) const;
};

// A font whose file cannot be opened as TrueType outlines gives the empty one.
ReferenceFont loadReferenceFont(const std::string& path, int points);

int referenceWidth(const ReferenceFont& font, const std::string& text);

// The rows that a written text makes on an area `width` pixels wide.
std::vector<std::string> referenceLines(const ReferenceFont& font, uint32_t width,
                                        const std::string& text);
