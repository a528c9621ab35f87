// Draws without a GPU and without a graphics library: it records a frame's rectangles, and draws
// rows from the record as they are asked for. So it knows exactly which rows changed, and no frame
// is held.
#pragma once

#include "renderer/renderer.h"

extern const Renderer kCpuRenderer;
