// The pixel constants of the layout beside the bars' kSideMargin, origin bottom-left.
#pragma once

#include <cstdint>

constexpr int32_t kLabelLeft = 20;       // left edge of the status text and of item labels
constexpr int32_t kRowGap = 4;           // between list rows, added to the font's line height
constexpr int32_t kStatusTextLift = 2;   // the band's text sits this far above its bottom edge
constexpr int32_t kItemTrailSpace = 40;  // of an item's row: kept free of bar, time and percentage
