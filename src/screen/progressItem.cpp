#include "screen/progressItem.h"

#include <cstdio>

#include "gfx/renderContext.h"
#include "gfx/solidBar.h"
#include "screen/layout.h"
#include "screen/statusLine.h"
#include "text/textDraw.h"

namespace {

// Toward zero; what an integer cannot hold becomes the nearest that it can.
int32_t saturatingPixels(float value) {
    constexpr float kBeyondInt32 = 2147483648.0f;  // 2^31, the nearest float above INT32_MAX
    if (value >= kBeyondInt32)
        return INT32_MAX;
    if (value <= -kBeyondInt32)
        return INT32_MIN;
    return static_cast<int32_t>(value);
}

// Five on purpose; the cut drops the trailing space and keeps the column four wide.
constexpr size_t kPercentTextSize = 5;

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-truncation"  // the cut is wanted
void formatPercent(int32_t percent, char (&buffer)[kPercentTextSize]) {
    (void)snprintf(buffer, sizeof(buffer), "%3d%% ", percent);
}
#pragma GCC diagnostic pop

// `trackWidth` is unsigned on purpose: on a very narrow surface it wraps round and the bar fills
// the row.
int32_t barWidth(uint32_t trackWidth, int32_t percent) {
    const float fraction = static_cast<float>(percent) / 100.0f;
    return saturatingPixels(static_cast<float>(trackWidth) * fraction);
}

}  // namespace

void drawProgressItem(int32_t y, const char* label, int32_t percent, int32_t elapsedSeconds,
                      float fgRed, float fgGreen, float fgBlue, float nameRed, float nameGreen,
                      float nameBlue) {
    char percentText[kPercentTextSize];
    formatPercent(percent, percentText);
    char timeText[kElapsedTextSize];
    formatElapsed(elapsedSeconds, timeText, sizeof(timeText));

    const int32_t areaWidth = static_cast<int32_t>(renderContext()->width);
    const int32_t timeWidth = textWidth(timeText);
    const int32_t timeLeft = areaWidth - kSideMargin - timeWidth;
    // The widest usual percentage gives the column a fixed left edge; it is only measured.
    const int32_t percentWidth = textWidth("100% ");
    const int32_t trackWidth = areaWidth - timeWidth - percentWidth - kItemTrailSpace;

    drawSolidBar(y, barWidth(static_cast<uint32_t>(trackWidth), percent), fgRed, fgGreen, fgBlue);
    drawText(kLabelLeft, y, label, nameRed, nameGreen, nameBlue);
    drawText(timeLeft, y, timeText, fgRed, fgGreen, fgBlue);
    drawText(timeLeft - percentWidth, y, percentText, fgRed, fgGreen, fgBlue);
}
