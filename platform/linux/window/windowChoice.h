// Which kind of window this process has: the one that VELKARIS_WINDOW names, or the first of the
// table that the machine has.
#pragma once

#include "window/window.h"

struct OpenedWindow {
    const Window* window;
    PixelSize displaySize;
};

// Null when the setting is wrong or the display cannot be opened. The first call chooses, opens and
// prints the failure, if any.
const OpenedWindow* openedWindow();
