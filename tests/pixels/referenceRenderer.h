// Predicts whole pictures of the console on the CPU, from the layout alone. Shares no code with the
// service, so that an error in either shows as a difference.
//
// Rectangles with whole-pixel edges cover exactly the pixels between them; a texture is sampled at
// the nearest texel; coverage 0 draws nothing; everything ends at the edge of the drawing area.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "pixels/referenceFont.h"
#include "support/rgbImage.h"

struct ReferenceScreen {
    int width = 1280;  // pixels of the whole surface
    int height = 480;
    bool halfWidth = false;
    uint32_t background = 0x6e3b3b;
    uint32_t foreground = 0xffffff;
    uint32_t statusBand = 0xc49191;
    uint32_t itemName = 0x000000;

    uint32_t areaWidth() const { return static_cast<uint32_t>(halfWidth ? width / 2 : width); }
};

struct ReferenceRow {
    bool isItem = false;
    std::string text;
    int percent = 0;  // this and the next: items alone
    int elapsed = 0;
};

struct ReferenceModel {
    std::string status;
    int elapsed = 0;
    std::vector<ReferenceRow> rows;  // oldest first, also those that have scrolled off

    void addLine(const std::string& text) { rows.push_back({false, text, 0, 0}); }
    void addItem(const std::string& label, int percent, int elapsedSeconds) {
        rows.push_back({true, label, percent, elapsedSeconds});
    }
};

RgbImage predictFrame(const ReferenceScreen& screen, const ReferenceFont& font,
                      const ReferenceModel& model);

// The splash: `logo` centred on black. Where its size differs from the area's by an odd number, its
// left and its top edge lie at the half that is rounded down. That is the renderer's without a GPU;
// a GPU may leave out a row or a column there, for every centre of a pixel lies on a texel's edge.
RgbImage predictLogo(const ReferenceScreen& screen, const RgbImage& logo);
