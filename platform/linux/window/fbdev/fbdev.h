// Full screen on a framebuffer device (/dev/fbN), for kernels whose displays have no mode setting.
// The mode is the one that is running; a display that goes away, or gets another mode, is taken
// anew when it is there again.
#pragma once

#include "window/window.h"

extern const Window kFbdevWindow;
