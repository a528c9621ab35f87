// The four EGL calls that need to know the window backend. Everything else that the service calls
// goes straight to the EGL library, and so do these for a display that is not the console's.
#include <EGL/egl.h>

#include "egl/capture.h"
#include "egl/realEgl.h"
#include "kd/windows/backend.h"
#include "report/layerError.h"

namespace {

// Null until the service has asked for its display, and when there is none.
EGLDisplay consoleDisplay = EGL_NO_DISPLAY;

const WindowBackend* backendOf(EGLDisplay display) {
    if (display == EGL_NO_DISPLAY || display != consoleDisplay)
        return nullptr;
    return openedBackend()->backend;
}

}  // namespace

extern "C" {

EGLDisplay __wrap_eglGetDisplay(EGLNativeDisplayType nativeDisplay) {
    if (nativeDisplay != EGL_DEFAULT_DISPLAY)
        return __real_eglGetDisplay(nativeDisplay);
    const OpenedBackend* opened = openedBackend();
    if (!opened)
        return EGL_NO_DISPLAY;
    consoleDisplay = eglGetPlatformDisplay(opened->native.platform, opened->native.handle, nullptr);
    if (consoleDisplay == EGL_NO_DISPLAY)
        layerError("%s: the EGL library has no such platform, error 0x%X", opened->backend->name,
                   static_cast<unsigned>(eglGetError()));
    return consoleDisplay;
}

EGLBoolean __wrap_eglGetConfigAttrib(EGLDisplay display, EGLConfig config, EGLint attribute,
                                     EGLint* value) {
    const EGLBoolean got = __real_eglGetConfigAttrib(display, config, attribute, value);
    if (got != EGL_TRUE || attribute != EGL_SURFACE_TYPE)
        return got;
    const WindowBackend* backend = backendOf(display);
    if (backend && (*value & backend->surfaceBit))
        *value |= EGL_WINDOW_BIT;
    return got;
}

EGLSurface __wrap_eglCreateWindowSurface(EGLDisplay display, EGLConfig config,
                                         EGLNativeWindowType window, const EGLint* attributes) {
    const WindowBackend* backend = backendOf(display);
    if (!backend)
        return __real_eglCreateWindowSurface(display, config, window, attributes);
    return backend->createSurface(display, config, window, attributes);
}

EGLBoolean __wrap_eglSwapBuffers(EGLDisplay display, EGLSurface surface) {
    const WindowBackend* backend = backendOf(display);
    if (!backend)
        return __real_eglSwapBuffers(display, surface);
    backend->listen();
    // Read before the swap, which leaves the buffer undefined; written after it, so that the
    // display does not wait for the file and only frames that were presented are counted.
    FrameCapture* capture = configuredCapture();
    if (capture)
        capture->read(display, surface);
    const EGLBoolean presented = backend->present(display, surface);
    if (capture && presented == EGL_TRUE)
        capture->write();
    return presented;
}

}  // extern "C"
