// A window on an X server: full screen, or of a fixed size when one is given. The process ends with
// the window: status 0 when its user closes it, 1 when the server is lost.
#pragma once

#include "window/window.h"

extern const Window kX11Window;
