// What every drawing function shares: the two shader programs and the size of the drawing area.
// Lives in thread-local storage, so it exists only on the thread that made it, the one that owns
// the EGL context.
#pragma once

#include <GLES2/gl2.h>

#include <cstdint>

struct RenderContext {
    GLuint texturedProgram;
    GLuint solidProgram;
    uint32_t width;   // pixels of the drawing area
    uint32_t height;  // pixels of the drawing area
};

// Vertex attribute arrays that all draws feed: three floats a position, two floats a texel.
constexpr GLuint kPositionSlot = 0;
constexpr GLuint kTexCoordSlot = 2;

// Makes this thread's context, without programs yet. It is never freed.
void createRenderContext(uint32_t width, uint32_t height);

// This thread's context; null on a thread that made none.
RenderContext* renderContext();

// Uploads pixelToClip of this thread's drawing area as `program`'s u_vTransform. The program must
// be in use.
void uploadPixelTransform(GLuint program);

// Puts the textured program in use for quads of the default texture, which is `textureWidth` x
// `textureHeight` texels; `corners` (three floats a vertex, pixels) and `texels` (two floats a
// vertex) are read at each draw until endTexturedDraw.
void startTexturedDraw(int32_t textureWidth, int32_t textureHeight, const float* corners,
                       const float* texels);

// Disables the vertex arrays; the program stays in use.
void endTexturedDraw();
