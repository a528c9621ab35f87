// No window at all: the picture is seen only by the capture. Needs no display, no display server
// and no graphics card.
#pragma once

#include "window/window.h"

// Of a console that was told no size, and of one whose display is still to come.
constexpr PixelSize kHeadlessSize{1280, 480};

extern const Window kHeadlessWindow;
