// Draws into memory: a pbuffer of any size, seen only through captured frames. Needs no display, no
// display server and no graphics card.
#pragma once

#include "kd/windows/backend.h"

// Of a console that was told no size, and of one whose display is still to come.
constexpr DisplaySize kHeadlessSize{1280, 480};

extern const WindowBackend kHeadlessBackend;
