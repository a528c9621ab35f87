// A context of the machine's own library that draws without any window: on the first GPU that can,
// else in software.
//
// A GPU is used by its render node. The cards themselves are never opened: the first program that
// opens one may become its DRM master, and the console's own window would be refused the display.
#pragma once

#include "renderer/gl/glLibrary.h"

// Makes one current in this thread; it stays until the process ends. False after printing that
// there is none.
bool makeOffScreenContext(const GlLibrary::Egl& egl);
