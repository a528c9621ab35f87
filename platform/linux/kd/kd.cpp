// The window calls and thread-local values of OpenKODE Core, over the chosen window.
#include <KD/kd.h>

#include <memory>
#include <optional>
#include <string>

#include "window/windowChoice.h"

struct KDWindow {
    WindowRequest request;
    std::optional<PixelSize> realizedSize;
};

namespace {

constexpr KDint kWindowIdString = 1002;  // the platform's own property, outside the core

thread_local KDint lastError = 0;
thread_local void* threadPointer = nullptr;

std::unique_ptr<KDWindow> theWindow;

KDint fail(KDint error) {
    lastError = error;
    return -1;
}

// 0, or why the properties of `window` cannot be set to *param.
KDint refusal(const KDWindow* window, const void* param) {
    if (!window || window != theWindow.get() || !param)
        return KD_EINVAL;
    return window->realizedSize ? KD_EPERM : 0;
}

bool isConfig(EGLDisplay display, EGLConfig config) {
    EGLint id = 0;
    return eglGetConfigAttrib(display, config, EGL_CONFIG_ID, &id) == EGL_TRUE;
}

}  // namespace

extern "C" {

KDint kdGetError(void) {
    return lastError;
}

void kdSetTLS(void* pointer) {
    threadPointer = pointer;
}

void* kdGetTLS(void) {
    return threadPointer;
}

KDWindow* kdCreateWindow(EGLDisplay display, EGLConfig config, void*) {
    if (theWindow) {
        lastError = KD_EPERM;
        return nullptr;
    }
    if (!openedWindow()) {
        lastError = KD_EIO;
        return nullptr;
    }
    if (!isConfig(display, config)) {
        lastError = KD_EINVAL;
        return nullptr;
    }
    theWindow = std::make_unique<KDWindow>();
    return theWindow.get();
}

KDint kdSetWindowPropertyiv(KDWindow* window, KDint pname, const KDint32* param) {
    if (pname != KD_WINDOWPROPERTY_SIZE)
        return fail(KD_EOPNOTSUPP);
    if (const KDint error = refusal(window, param))
        return fail(error);
    const PixelSize size{param[0], param[1]};
    const bool given = size.width > 0 && size.height > 0;
    if (!given && (size.width != 0 || size.height != 0))
        return fail(KD_EINVAL);
    window->request.size = size;
    return 0;
}

KDint kdSetWindowPropertycv(KDWindow* window, KDint pname, const KDchar* param) {
    if (pname != KD_WINDOWPROPERTY_CAPTION && pname != kWindowIdString)
        return fail(KD_EOPNOTSUPP);
    if (const KDint error = refusal(window, param))
        return fail(error);
    (pname == kWindowIdString ? window->request.id : window->request.caption) = param;
    return 0;
}

KDint kdRealizeWindow(KDWindow* window, EGLNativeWindowType* nativewindow) {
    if (const KDint error = refusal(window, nativewindow))
        return fail(error);
    window->realizedSize = openedWindow()->window->realize(window->request);
    if (!window->realizedSize)
        return fail(KD_EIO);
    *nativewindow = &*window->realizedSize;
    return 0;
}

}  // extern "C"
