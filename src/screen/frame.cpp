#include "screen/frame.h"

#include <GLES2/gl2.h>

#include "console/consoleModel.h"
#include "display/displayable.h"
#include "gfx/pixelMath.h"
#include "gfx/renderContext.h"
#include "gfx/solidBar.h"
#include "screen/layout.h"
#include "screen/progressItem.h"
#include "screen/statusLine.h"
#include "text/fontAtlas.h"
#include "text/textDraw.h"

namespace {

struct Colour {
    float red, green, blue;
};

Colour unpackColour(uint32_t rgb) {
    return {colorComponent((rgb >> 16) & 255), colorComponent((rgb >> 8) & 255),
            colorComponent(rgb & 255)};
}

int32_t rowPitch() {
    return fontAtlas.lineHeight + kRowGap;
}

// The newest rows are shown: the first of the last `rowCount` entries, null if there is none.
const ConsoleNode* firstVisible(int32_t rowCount) {
    const ConsoleNode* first = consoleList;
    int32_t index = 0;
    for (const ConsoleNode* node = consoleList; node; node = node->next, ++index) {
        if (index >= rowCount)
            first = first->next;
    }
    return first;
}

void drawRow(const ConsoleEntry& entry, int32_t y, const Colour& foreground,
             const Colour& nameColour) {
    if (entry.name)
        drawProgressItem(y, entry.text, entry.percent, entry.elapsedSeconds, foreground.red,
                         foreground.green, foreground.blue, nameColour.red, nameColour.green,
                         nameColour.blue);
    else
        drawText(kSideMargin, y, entry.text, foreground.red, foreground.green, foreground.blue);
}

void drawRows(const Colour& foreground, const Colour& nameColour) {
    int32_t y = static_cast<int32_t>(renderContext()->height) - 2 * rowPitch();
    for (const ConsoleNode* node = firstVisible(visibleRowCount()); node; node = node->next) {
        drawRow(*node->entry, y, foreground, nameColour);
        y -= rowPitch();
    }
}

}  // namespace

int32_t visibleRowCount() {
    const uint32_t pitch = static_cast<uint32_t>(rowPitch());
    if (pitch == 0)
        return 0;
    return static_cast<int32_t>(renderContext()->height / pitch) - 1;
}

void drawFrame(uint32_t background, uint32_t foreground, uint32_t statusColour,
               uint32_t progressNameColour) {
    const Colour rowColour = unpackColour(foreground);
    const Colour bandColour = unpackColour(statusColour);
    const Colour nameColour = unpackColour(progressNameColour);
    const Colour clearColour = unpackColour(background);

    char timeText[kElapsedTextSize];
    formatElapsed(consoleStatus.overallElapsed, timeText, sizeof(timeText));

    // The viewport is the drawing area; the clear fills the whole surface, also beyond it.
    glViewport(0, 0, static_cast<GLsizei>(renderContext()->width),
               static_cast<GLsizei>(renderContext()->height));
    glClearColor(clearColour.red, clearColour.green, clearColour.blue, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);

    drawStatusLine(consoleStatus.statusText ? consoleStatus.statusText : "", timeText,
                   bandColour.red, bandColour.green, bandColour.blue);
    drawRows(rowColour, nameColour);

    (void)swapDisplayBuffers();
}
