// The calls that make shaders and programs, choose one and set its uniforms.
#pragma once

#include "renderer/glCalls.h"

// Sets them in *calls and leaves the others alone.
void setProgramCalls(GlCalls* calls);
