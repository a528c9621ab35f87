// What eglMakeCurrent has made current, and the picture that is drawn.
#pragma once

#include "picture/picture.h"
#include "renderer/glCalls.h"

// Null while no context is current.
const GlCalls* currentCalls();

// Null until the window surface is made.
const Picture* consolePicture();
