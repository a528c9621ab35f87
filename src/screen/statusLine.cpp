#include "screen/statusLine.h"

#include <cstdio>

#include "gfx/renderContext.h"
#include "gfx/solidBar.h"
#include "screen/layout.h"
#include "text/fontAtlas.h"
#include "text/textDraw.h"

namespace {

const char* const kTimeLabel = "Flashing Time ";  // its last space is the gap before the time

}  // namespace

int formatElapsed(int32_t seconds, char* buffer, size_t size) {
    return snprintf(buffer, size, "%02d:%02d:%02d", seconds / 3600, (seconds / 60) % 60,
                    seconds % 60);
}

void drawStatusLine(const char* statusText, const char* timeText, float red, float green,
                    float blue) {
    const int32_t areaWidth = static_cast<int32_t>(renderContext()->width);
    const int32_t areaHeight = static_cast<int32_t>(renderContext()->height);
    const int32_t timeLeft = areaWidth - kSideMargin - textWidth(timeText);
    const int32_t timeLabelLeft = timeLeft - textWidth(kTimeLabel);
    const int32_t bandBottom = areaHeight - fontAtlas.lineHeight;
    const int32_t textBottom = bandBottom + kStatusTextLift;

    drawSolidBar(bandBottom, areaWidth - 2 * kSideMargin, red, green, blue);
    drawText(kLabelLeft, textBottom, statusText, 1.0f, 1.0f, 1.0f);

    // After the status text: one that is too long runs under them.
    drawText(timeLeft, textBottom, timeText, 1.0f, 1.0f, 1.0f);
    drawText(timeLabelLeft, textBottom, kTimeLabel, 1.0f, 1.0f, 1.0f);
}
