#include "support/drawnScreen.h"

#include <cmath>
#include <cstdio>

#include "support/fakeGl.h"
#include "support/serviceTest.h"
#include "text/fontAtlas.h"

namespace {

std::string hexColour(const std::array<float, 4>& colour) {
    char text[16];
    snprintf(text, sizeof(text), "%02lx%02lx%02lx", lroundf(colour[0] * 255),
             lroundf(colour[1] * 255), lroundf(colour[2] * 255));
    return text;
}

std::string describeBar(const Drawing& drawing) {
    const std::array<float, 12>& corners = drawing.quads.at(0).corners;
    char text[96];
    snprintf(text, sizeof(text), "bar %.9g..%.9g %.9g..%.9g %s", corners[0], corners[6], corners[1],
             corners[4], hexColour(drawing.solidColour).c_str());
    return text;
}

char characterOf(const DrawnQuad& quad) {
    const int column = static_cast<int>(quad.texels[2]) / 20;
    const int row = static_cast<int>(quad.texels[3]) / 20;
    return static_cast<char>(row * 16 + column);
}

std::string describeText(const Drawing& drawing) {
    const std::string colour = hexColour(drawing.blendColour);
    if (drawing.quads.empty())
        return "text " + colour;
    const DrawnQuad& first = drawing.quads.front();
    const GlyphInfo& glyph = fontAtlas.glyphs[static_cast<int>(characterOf(first))];
    char place[64];
    snprintf(place, sizeof(place), "text %.9g %.9g ", first.corners[0] - glyph.bearingX,
             first.corners[4] - glyph.bearingY + fontAtlas.descender);
    std::string text;
    for (const DrawnQuad& quad : drawing.quads)
        text += characterOf(quad);
    return place + colour + " " + text;
}

}  // namespace

std::vector<std::string> drawnScreen() {
    std::vector<std::string> all;
    for (const Drawing& drawing : fakeGl.drawings)
        all.push_back(drawing.program == kSolidProgram ? describeBar(drawing)
                                                       : describeText(drawing));
    return all;
}
