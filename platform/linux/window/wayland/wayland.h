// A window of a Wayland compositor: full screen, or of a fixed size when one is given. The process
// ends with it: status 0 when its user closes it, 1 when the compositor is lost.
#pragma once

#include "window/window.h"

extern const Window kWaylandWindow;
