// The drawing calls of the renderer that draws without a GPU: they keep the state that OpenGL
// ES 2.0 says, and record what is drawn. <GLES2/gl2.h> says what is left out.
#pragma once

#include "picture/pixelSize.h"
#include "renderer/cpu/frameRecord.h"
#include "renderer/glCalls.h"

// Starts with the state of a new context on a surface of that size. Drawing goes to `record`, which
// is borrowed.
void startCpuDrawing(const PixelSize& surface, FrameRecord* record);

const GlCalls* cpuCalls();
