// The two shader programs: solid colour, and texture with pure black as transparent.
#pragma once

#include <GLES2/gl2.h>

#include <cstdint>

// A shader name, or 0 on failure with nothing left behind. `type` is GL_VERTEX_SHADER or
// GL_FRAGMENT_SHADER. Prints nothing.
GLuint compileShader(GLenum type, const char* source);

// Builds both programs into this thread's RenderContext and sets nearest filtering on the default
// texture object, the only one that the program uses. 1 = both linked, 0 = failure, silently.
int32_t createShaderPrograms();
