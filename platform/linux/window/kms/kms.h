// Full screen on a graphics card by the kernel's mode setting alone, without any display server.
// Goes on without a display, and lights one that appears.
#pragma once

#include "window/window.h"

extern const Window kKmsWindow;
