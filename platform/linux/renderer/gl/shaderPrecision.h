// Gives fragment shaders that ask for medium precision the highest. Drivers may compute medium
// precision in half floats, whose eleven bits cannot tell neighbouring texels apart from the 1024th
// on: wide logos and the atlases of large fonts would be sampled beside their texels.
#pragma once

#include "renderer/gl/glLibrary.h"

// Replaces ShaderSource in *calls, which has all of `library`'s calls before. Wants a current
// context.
void raiseShaderPrecision(const GlLibrary& library, GlCalls* calls);
