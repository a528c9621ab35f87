// Draws into memory: a pbuffer of any size, seen only through captured frames. Needs no display, no
// display server and no graphics card.
#pragma once

#include "kd/windows/backend.h"

// Of a console that was told no size, and of one whose display is still to come.
constexpr DisplaySize kHeadlessSize{1280, 480};

// What createSurface makes a pbuffer of that size for, however large: Mesa draws more than the 4096
// pixels that it names as the largest.
EGLNativeWindowType pbufferOf(const DisplaySize& size);

extern const WindowBackend kHeadlessBackend;
