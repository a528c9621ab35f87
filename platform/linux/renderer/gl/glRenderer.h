// Draws with the machine's own OpenGL ES library, off screen, and reads each frame back. It shows
// that the service draws right on a real OpenGL.
#pragma once

#include "renderer/renderer.h"

extern const Renderer kGlRenderer;
