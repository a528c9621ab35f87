#include "kd/windows/headless.h"

#include <GLES2/gl2.h>
#include <KD/kd.h>

#include <vector>

#include "egl/realEgl.h"
#include "kd/windows/offScreen.h"
#include "report/layerError.h"

namespace {

// The display until a window is realised, then the window.
DisplaySize headlessSize = kHeadlessSize;

bool isPresent() {
    return true;
}

std::optional<NativeDisplay> open(const std::string& argument) {
    const std::optional<DisplaySize> size = argument.empty() ? kHeadlessSize : parseSize(argument);
    if (!size) {
        layerError("VELKARIS_WINDOW: headless:%s is no size; write headless:WIDTHxHEIGHT",
                   argument.c_str());
        return std::nullopt;
    }
    headlessSize = *size;
    return openOffScreen(*size);
}

int realize(const WindowRequest& request, EGLNativeWindowType* window) {
    const DisplaySize size = request.size.width > 0 ? request.size : headlessSize;
    EGLint maxWidth = 0, maxHeight = 0;
    eglGetConfigAttrib(request.display, request.config, EGL_MAX_PBUFFER_WIDTH, &maxWidth);
    eglGetConfigAttrib(request.display, request.config, EGL_MAX_PBUFFER_HEIGHT, &maxHeight);
    if (size.width > maxWidth || size.height > maxHeight) {
        layerError("headless: %dx%d is larger than the %dx%d that EGL offers", size.width,
                   size.height, maxWidth, maxHeight);
        return KD_EINVAL;
    }
    *window = pbufferOf(size);
    return 0;
}

EGLSurface createSurface(EGLDisplay display, EGLConfig config, EGLNativeWindowType,
                         const EGLint* attributes) {
    std::vector<EGLint> all{EGL_WIDTH, headlessSize.width, EGL_HEIGHT, headlessSize.height};
    for (; attributes && *attributes != EGL_NONE; attributes += 2)
        all.insert(all.end(), attributes, attributes + 2);
    all.push_back(EGL_NONE);
    return eglCreatePbufferSurface(display, config, all.data());
}

// Nobody is there to say anything.
void listen() {}

EGLBoolean present(EGLDisplay display, EGLSurface surface) {
    // Swapping a pbuffer does nothing by its definition, so the frame would wait in the queue.
    glFlush();
    return __real_eglSwapBuffers(display, surface);
}

}  // namespace

EGLNativeWindowType pbufferOf(const DisplaySize& size) {
    headlessSize = size;
    return reinterpret_cast<EGLNativeWindowType>(&headlessSize);
}

const WindowBackend kHeadlessBackend = {
    "headless", EGL_PBUFFER_BIT, isPresent, open, realize, createSurface, listen, present,
};
