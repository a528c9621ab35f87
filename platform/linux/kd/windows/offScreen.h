// What draws frames that no display takes from the driver: headless ones, and those that are copied
// to where they are seen.
#pragma once

#include "kd/windows/backend.h"

// The machine's first GPU that works, else the software renderer. Opens render nodes only: who
// opens a card itself may become its DRM master without wanting it, and lock out who does.
NativeDisplay openOffScreen(const DisplaySize& size);

// As above, for a console that has to survive that a card vanishes: never a GPU.
NativeDisplay openOffScreenWithoutGpu(const DisplaySize& size);

// Whether there is a GPU behind that EGL display. Leaves the display initialised, which the service
// will do anyway.
bool hasGpu(EGLDisplay display);
