#include "pixels/referenceRenderer.h"

#include <algorithm>
#include <cstdio>

namespace {

constexpr uint32_t kWhite = 0xffffff;

Rgb fromHex(uint32_t rgb) {
    return {static_cast<uint8_t>(rgb >> 16), static_cast<uint8_t>(rgb >> 8),
            static_cast<uint8_t>(rgb)};
}

// The product of two channels, 255 standing for 1: as 8-bit renderers round it.
int product(int a, int b) {
    const int exact = a * b;
    return (exact + exact / 256 + 128) / 256;
}

uint8_t mix(int coverage, int over, int under) {
    return static_cast<uint8_t>(
        std::min(product(coverage, over) + product(255 - coverage, under), 255));
}

// "hh:mm:ss" of any length, cut to the nine characters that the console keeps.
std::string clockText(int seconds) {
    char text[64];
    snprintf(text, sizeof(text), "%02d:%02d:%02d", seconds / 3600, seconds / 60 % 60, seconds % 60);
    return std::string(text).substr(0, 9);
}

std::string percentText(int percent) {
    char text[64];
    snprintf(text, sizeof(text), "%3d%%", percent);
    return std::string(text).substr(0, 4);
}

// The part of the surface that is drawn on, addressed from its bottom-left corner.
class Canvas {
public:
    Canvas(const ReferenceScreen& screen, const ReferenceFont& font)
        : font_(font),
          picture_(screen.width, screen.height, fromHex(screen.background)),
          width_(static_cast<int>(screen.areaWidth())),
          height_(screen.height) {}

    // Edges in pixels; they may lie far outside, and a right edge left of the left one is swapped.
    void fill(int64_t left, int64_t right, int64_t bottom, int64_t top, Rgb colour) {
        const int64_t firstX = std::max<int64_t>(0, std::min(left, right));
        const int64_t endX = std::min<int64_t>(width_, std::max(left, right));
        const int64_t endY = std::min<int64_t>(height_, std::max(bottom, top));
        for (int64_t y = std::max<int64_t>(0, std::min(bottom, top)); y < endY; ++y) {
            for (int64_t x = firstX; x < endX; ++x)
                pixel(static_cast<int>(x), static_cast<int>(y)) = colour;
        }
    }

    void text(int x, int y, const std::string& text, Rgb colour) {
        for (char character : text) {
            const ReferenceGlyph& glyph = font_.glyphOf(character);
            stamp(glyph, x + glyph.bearingX, y - font_.descender + glyph.bearingY, colour);
            x += glyph.advance;
        }
    }

    RgbImage take() { return std::move(picture_); }

private:
    Rgb& pixel(int x, int y) { return picture_.at(x, height_ - 1 - y); }

    void stamp(const ReferenceGlyph& glyph, int left, int top, Rgb colour) {
        for (int row = 0; row < glyph.height; ++row) {
            for (int column = 0; column < glyph.width; ++column) {
                const int x = left + column;
                const int y = top - 1 - row;
                if (x < 0 || x >= width_ || y < 0 || y >= height_)
                    continue;
                const int coverage = font_.coverageAt(glyph.atlasX + column, glyph.atlasY + row);
                if (coverage == 0)
                    continue;
                Rgb& under = pixel(x, y);
                under = {mix(coverage, colour.red, under.red),
                         mix(coverage, colour.green, under.green),
                         mix(coverage, colour.blue, under.blue)};
            }
        }
    }

    const ReferenceFont& font_;
    RgbImage picture_;
    int width_;
    int height_;
};

// Length of an item's bar: the room between the margins, as an unsigned number, times the percent.
int64_t barLength(int room, int percent) {
    const float fraction = static_cast<float>(percent) / 100.0f;
    const float length = static_cast<float>(static_cast<uint32_t>(room)) * fraction;
    return std::min<int64_t>(INT32_MAX, std::max<int64_t>(INT32_MIN, static_cast<int64_t>(length)));
}

void drawStatus(const ReferenceScreen& screen, const ReferenceFont& font,
                const ReferenceModel& model, Canvas* canvas) {
    const int width = static_cast<int>(screen.areaWidth());
    const int bottom = screen.height - font.lineHeight;
    const std::string time = clockText(model.elapsed);
    const int timeLeft = width - 10 - referenceWidth(font, time);
    const int labelLeft = timeLeft - referenceWidth(font, "Flashing Time ");

    canvas->fill(10, width - 10, bottom, screen.height, fromHex(screen.statusBand));
    canvas->text(20, bottom + 2, model.status, fromHex(kWhite));
    canvas->text(timeLeft, bottom + 2, time, fromHex(kWhite));
    canvas->text(labelLeft, bottom + 2, "Flashing Time ", fromHex(kWhite));
}

void drawItem(const ReferenceScreen& screen, const ReferenceFont& font, const ReferenceRow& row,
              int y, Canvas* canvas) {
    const int width = static_cast<int>(screen.areaWidth());
    const std::string time = clockText(row.elapsed);
    const int timeWidth = referenceWidth(font, time);
    const int percentColumn = referenceWidth(font, "100% ");
    const int64_t length = barLength(width - timeWidth - percentColumn - 40, row.percent);

    const Rgb foreground = fromHex(screen.foreground);
    canvas->fill(10, 10 + length, y, y + font.lineHeight, foreground);
    canvas->text(20, y, row.text, fromHex(screen.itemName));
    canvas->text(width - 10 - timeWidth, y, time, foreground);
    canvas->text(width - 10 - timeWidth - percentColumn, y, percentText(row.percent), foreground);
}

}  // namespace

RgbImage predictFrame(const ReferenceScreen& screen, const ReferenceFont& font,
                      const ReferenceModel& model) {
    Canvas canvas(screen, font);
    drawStatus(screen, font, model, &canvas);

    const int pitch = font.lineHeight + 4;
    const int capacity = pitch > 0 ? screen.height / pitch - 1 : 0;
    const int count = static_cast<int>(model.rows.size());
    const int shown = std::max(0, std::min(capacity, count));
    for (int k = 0; k < shown; ++k) {
        const ReferenceRow& row = model.rows[static_cast<size_t>(count - shown + k)];
        const int y = screen.height - (k + 2) * pitch;
        if (row.isItem)
            drawItem(screen, font, row, y, &canvas);
        else
            canvas.text(10, y, row.text, fromHex(screen.foreground));
    }
    return canvas.take();
}

RgbImage predictLogo(const ReferenceScreen& screen, const RgbImage& logo) {
    RgbImage picture(screen.width, screen.height, {});
    const int width = static_cast<int>(screen.areaWidth());
    // One that is larger than the area in either direction is not seen at all.
    if (logo.width > width || logo.height > screen.height)
        return picture;

    const int left = (width - logo.width) / 2;
    const int above = (screen.height - logo.height) / 2;
    for (int row = 0; row < logo.height; ++row) {
        for (int x = 0; x < logo.width; ++x)
            picture.at(left + x, above + row) = logo.at(x, row);
    }
    return picture;
}
