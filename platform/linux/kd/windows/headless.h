// Draws into memory: a pbuffer of any size, seen only through captured frames. Needs no display, no
// display server and no graphics card.
#pragma once

#include "kd/windows/backend.h"

extern const WindowBackend kHeadlessBackend;
