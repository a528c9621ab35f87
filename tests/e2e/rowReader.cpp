#include "e2e/rowReader.h"

#include <algorithm>
#include <cstdlib>

namespace {

bool alike(const Rgb& a, const Rgb& b) {
    return abs(a.red - b.red) <= 1 && abs(a.green - b.green) <= 1 && abs(a.blue - b.blue) <= 1;
}

// The pixels of row `number`, from the top, of the list.
std::vector<Rgb> strip(const RgbImage& picture, const ReferenceFont& font, int number) {
    const int pitch = font.lineHeight + 4;
    const auto begin = picture.pixels.begin() + (number + 1) * pitch * picture.width;
    return std::vector<Rgb>(begin, begin + pitch * picture.width);
}

std::vector<Rgb> predictStrip(const ReferenceScreen& screen, const ReferenceFont& font,
                              const std::string& text) {
    ReferenceScreen single = screen;
    single.height = 2 * (font.lineHeight + 4);
    ReferenceModel model;
    model.addLine(text);
    return strip(predictFrame(single, font, model), font, 0);
}

}  // namespace

std::vector<std::string> readRows(const RgbImage& frame, const ReferenceScreen& screen,
                                  const ReferenceFont& font,
                                  const std::vector<std::string>& candidates) {
    std::vector<std::vector<Rgb>> strips;
    for (const std::string& text : candidates)
        strips.push_back(predictStrip(screen, font, text));
    const std::vector<Rgb> empty = predictStrip(screen, font, "");

    std::vector<std::string> rows;
    const int capacity = screen.height / (font.lineHeight + 4) - 1;
    for (int number = 0; number < capacity; ++number) {
        const std::vector<Rgb> shown = strip(frame, font, number);
        const auto matches = [&](const std::vector<Rgb>& other) {
            return std::equal(shown.begin(), shown.end(), other.begin(), alike);
        };
        if (matches(empty))
            break;
        const auto found = std::find_if(strips.begin(), strips.end(), matches);
        rows.push_back(
            found == strips.end() ? "?" : candidates[static_cast<size_t>(found - strips.begin())]);
    }
    return rows;
}
