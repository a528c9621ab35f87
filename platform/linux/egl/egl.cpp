// EGL over one renderer and one window: what is drawn is the renderer's, what is shown the
// window's.
#include <EGL/egl.h>

#include <new>
#include <utility>

#include "egl/currentContext.h"
#include "picture/frameCapture.h"
#include "renderer/rendererChoice.h"
#include "report/layerError.h"
#include "window/windowChoice.h"

namespace {

// The one object of each kind. Their addresses are the handles.
struct Display {
    bool isInitialized = false;
} theDisplay;

struct Config {
} theConfig;

struct Context {
    bool isCreated = false;
} theContext;

struct Surface {
    const Picture* picture = nullptr;
} theSurface;

bool isCurrent = false;
EGLint lastError = EGL_SUCCESS;

struct ConfigAttribute {
    EGLint name;
    EGLint value;
};
constexpr ConfigAttribute kConfigAttributes[] = {
    {EGL_CONFIG_ID, 1},
    {EGL_SURFACE_TYPE, EGL_WINDOW_BIT},
    {EGL_RENDERABLE_TYPE, EGL_OPENGL_ES2_BIT},
    {EGL_RED_SIZE, 8},
    {EGL_GREEN_SIZE, 8},
    {EGL_BLUE_SIZE, 8},
    {EGL_ALPHA_SIZE, 8},
};

template <typename Result>
Result fail(EGLint error, Result result) {
    lastError = error;
    return result;
}

template <typename Result>
Result succeed(Result result) {
    return fail(EGL_SUCCESS, result);
}

EGLint displayError(EGLDisplay display) {
    if (display != &theDisplay)
        return EGL_BAD_DISPLAY;
    return theDisplay.isInitialized ? EGL_SUCCESS : EGL_NOT_INITIALIZED;
}

EGLint configError(EGLDisplay display, EGLConfig config) {
    const EGLint error = displayError(display);
    if (error != EGL_SUCCESS)
        return error;
    return config == &theConfig ? EGL_SUCCESS : EGL_BAD_CONFIG;
}

bool isEmptyList(const EGLint* attributes) {
    return !attributes || attributes[0] == EGL_NONE;
}

bool asksForVersion2(const EGLint* attributes) {
    return attributes && attributes[0] == EGL_CONTEXT_CLIENT_VERSION && attributes[1] == 2 &&
           attributes[2] == EGL_NONE;
}

}  // namespace

const GlCalls* currentCalls() {
    return isCurrent ? chosenRenderer()->calls() : nullptr;
}

const Picture* consolePicture() {
    return theSurface.picture;
}

extern "C" {

EGLint eglGetError(void) {
    return std::exchange(lastError, EGL_SUCCESS);
}

EGLDisplay eglGetDisplay(EGLNativeDisplayType nativeDisplay) {
    if (nativeDisplay != EGL_DEFAULT_DISPLAY || !openedWindow())
        return EGL_NO_DISPLAY;
    return &theDisplay;
}

EGLBoolean eglInitialize(EGLDisplay display, EGLint* major, EGLint* minor) {
    if (display != &theDisplay)
        return fail(EGL_BAD_DISPLAY, EGL_FALSE);
    // Once in a process: what a renderer has opened stays.
    static const bool isOpen = chosenRenderer() && chosenRenderer()->open();
    if (!isOpen)
        return fail(EGL_NOT_INITIALIZED, EGL_FALSE);
    theDisplay.isInitialized = true;
    if (major)
        *major = 1;
    if (minor)
        *minor = 4;
    return succeed(EGL_TRUE);
}

EGLBoolean eglTerminate(EGLDisplay display) {
    if (display != &theDisplay)
        return fail(EGL_BAD_DISPLAY, EGL_FALSE);
    theDisplay.isInitialized = false;
    return succeed(EGL_TRUE);
}

EGLBoolean eglGetConfigs(EGLDisplay display, EGLConfig* configs, EGLint size, EGLint* count) {
    if (const EGLint error = displayError(display); error != EGL_SUCCESS)
        return fail(error, EGL_FALSE);
    if (!count)
        return fail(EGL_BAD_PARAMETER, EGL_FALSE);
    *count = configs && size < 1 ? 0 : 1;
    if (configs && *count == 1)
        configs[0] = &theConfig;
    return succeed(EGL_TRUE);
}

EGLBoolean eglGetConfigAttrib(EGLDisplay display, EGLConfig config, EGLint attribute,
                              EGLint* value) {
    if (const EGLint error = configError(display, config); error != EGL_SUCCESS)
        return fail(error, EGL_FALSE);
    for (const ConfigAttribute& known : kConfigAttributes) {
        if (known.name == attribute) {
            *value = known.value;
            return succeed(EGL_TRUE);
        }
    }
    return fail(EGL_BAD_ATTRIBUTE, EGL_FALSE);
}

EGLBoolean eglBindAPI(EGLenum api) {
    return api == EGL_OPENGL_ES_API ? succeed(EGL_TRUE) : fail(EGL_BAD_PARAMETER, EGL_FALSE);
}

EGLContext eglCreateContext(EGLDisplay display, EGLConfig config, EGLContext shared,
                            const EGLint* attributes) {
    if (const EGLint error = configError(display, config); error != EGL_SUCCESS)
        return fail(error, EGL_NO_CONTEXT);
    if (shared != EGL_NO_CONTEXT)
        return fail(EGL_BAD_CONTEXT, EGL_NO_CONTEXT);
    if (!asksForVersion2(attributes))
        return fail(EGL_BAD_ATTRIBUTE, EGL_NO_CONTEXT);
    if (theContext.isCreated)
        return fail(EGL_BAD_ALLOC, EGL_NO_CONTEXT);
    theContext.isCreated = true;
    return succeed(&theContext);
}

EGLSurface eglCreateWindowSurface(EGLDisplay display, EGLConfig config, EGLNativeWindowType window,
                                  const EGLint* attributes) {
    if (const EGLint error = configError(display, config); error != EGL_SUCCESS)
        return fail(error, EGL_NO_SURFACE);
    if (!isEmptyList(attributes))
        return fail(EGL_BAD_ATTRIBUTE, EGL_NO_SURFACE);
    const auto* const size = static_cast<const PixelSize*>(window);
    if (!size)
        return fail(EGL_BAD_NATIVE_WINDOW, EGL_NO_SURFACE);
    if (theSurface.picture)
        return fail(EGL_BAD_ALLOC, EGL_NO_SURFACE);
    if (size->width > kLargestPicture || size->height > kLargestPicture) {
        layerError("a picture of %dx%d is too large: at most %d pixels a side", size->width,
                   size->height, kLargestPicture);
        return fail(EGL_BAD_ALLOC, EGL_NO_SURFACE);
    }
    theSurface.picture = chosenRenderer()->createPicture(*size);
    if (!theSurface.picture)
        return fail(EGL_BAD_ALLOC, EGL_NO_SURFACE);
    return succeed(&theSurface);
}

EGLBoolean eglMakeCurrent(EGLDisplay display, EGLSurface draw, EGLSurface read,
                          EGLContext context) {
    if (const EGLint error = displayError(display); error != EGL_SUCCESS)
        return fail(error, EGL_FALSE);
    const bool isNone = context == EGL_NO_CONTEXT;
    if (draw != read || (draw == EGL_NO_SURFACE) != isNone)
        return fail(EGL_BAD_MATCH, EGL_FALSE);
    if (isNone) {
        isCurrent = false;
        return succeed(EGL_TRUE);
    }
    if (draw != &theSurface || !theSurface.picture)
        return fail(EGL_BAD_SURFACE, EGL_FALSE);
    if (context != &theContext || !theContext.isCreated)
        return fail(EGL_BAD_CONTEXT, EGL_FALSE);
    isCurrent = true;
    return succeed(EGL_TRUE);
}

EGLBoolean eglSwapBuffers(EGLDisplay display, EGLSurface surface) try {
    if (const EGLint error = displayError(display); error != EGL_SUCCESS)
        return fail(error, EGL_FALSE);
    if (surface != &theSurface || !isCurrent)
        return fail(EGL_BAD_SURFACE, EGL_FALSE);
    if (!chosenRenderer()->finishFrame())
        return fail(EGL_BAD_ALLOC, EGL_FALSE);
    openedWindow()->window->present(*theSurface.picture);
    // After the display has it, so that it does not wait for the file.
    if (FrameCapture* const capture = configuredCapture())
        capture->write(*theSurface.picture);
    return succeed(EGL_TRUE);
} catch (const std::bad_alloc&) {
    // Nothing is thrown through the service; the next frame tries again.
    layerError("no memory to present a frame");
    return fail(EGL_BAD_ALLOC, EGL_FALSE);
}

}  // extern "C"
