// What turns drawing calls into a picture: a record of functions. The process picks one, once. It
// knows nothing of windows.
//
// All of it runs on the thread that draws. What a renderer makes stays until the process ends.
#pragma once

#include "picture/picture.h"
#include "renderer/glCalls.h"

struct Renderer {
    const char* name;  // what the setting says

    // Gets ready to draw. False after printing why it cannot.
    bool (*open)();

    // Makes the one context and the surface of that size that it draws on, black at first. From
    // then on the calls draw. Null after printing why there is none.
    const Picture* (*createPicture)(const PixelSize& size);

    // The drawing calls; valid once the picture is made.
    const GlCalls* (*calls)();

    // Makes what was drawn since the last time the picture's newest frame. False when the frame is
    // lost.
    bool (*finishFrame)();
};
