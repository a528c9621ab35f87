#include "support/fakeDisplay.h"

#include <cstdint>

#include "support/callLog.h"

FakeEgl fakeEgl;
FakeKd fakeKd;
FakeScreen fakeScreen;

namespace {

// Handles are small numbers that nobody may look behind.
template <typename T>
T handle(uintptr_t number) {
    return reinterpret_cast<T>(number);
}

constexpr uintptr_t kDisplay = 0x10;
constexpr uintptr_t kContext = 0x20;
constexpr uintptr_t kSurface = 0x30;
constexpr uintptr_t kWindow = 0x40;
constexpr uintptr_t kNativeWindow = 0x50;
constexpr uintptr_t kScreenContext = 0x60;
constexpr uintptr_t kFirstScreenDisplay = 0x70;
constexpr uintptr_t kFirstConfig = 0x1000;

const char* nameOf(const void* pointer) {
    switch (reinterpret_cast<uintptr_t>(pointer)) {
        case 0: return "null";
        case kDisplay: return "display";
        case kContext: return "context";
        case kSurface: return "surface";
        case kWindow: return "window";
        case kScreenContext: return "screen";
        case kFirstScreenDisplay: return "first display";
        case kFirstConfig: return "config 0";
        case kFirstConfig + 1: return "config 1";
        case kFirstConfig + 2: return "config 2";
        default: return "unexpected";
    }
}

const char* attributeName(EGLint attribute) {
    switch (attribute) {
        case EGL_CONFIG_ID: return "EGL_CONFIG_ID";
        case EGL_SURFACE_TYPE: return "EGL_SURFACE_TYPE";
        case EGL_RENDERABLE_TYPE: return "EGL_RENDERABLE_TYPE";
        case EGL_RED_SIZE: return "EGL_RED_SIZE";
        case EGL_GREEN_SIZE: return "EGL_GREEN_SIZE";
        case EGL_BLUE_SIZE: return "EGL_BLUE_SIZE";
        case EGL_ALPHA_SIZE: return "EGL_ALPHA_SIZE";
        default: return "EGL_UNEXPECTED";
    }
}

}  // namespace

ConfigAttributes fittingConfig(EGLint id) {
    return {{EGL_CONFIG_ID, id},
            {EGL_SURFACE_TYPE, EGL_WINDOW_BIT | EGL_PBUFFER_BIT},
            {EGL_RENDERABLE_TYPE, EGL_OPENGL_ES2_BIT | EGL_OPENGL_BIT},
            {EGL_RED_SIZE, 8},
            {EGL_GREEN_SIZE, 8},
            {EGL_BLUE_SIZE, 8},
            {EGL_ALPHA_SIZE, 8}};
}

ConfigAttributes fittingConfigBut(EGLint id, EGLint attribute, EGLint value) {
    ConfigAttributes config = fittingConfig(id);
    config[attribute] = value;
    return config;
}

EGLDisplay eglGetDisplay(EGLNativeDisplayType native) {
    recordCall("eglGetDisplay(%s)", native == EGL_DEFAULT_DISPLAY ? "default" : "another");
    if (fakeEgl.atGetDisplay)
        fakeEgl.atGetDisplay();
    return fakeEgl.hasDisplay ? handle<EGLDisplay>(kDisplay) : EGL_NO_DISPLAY;
}

EGLBoolean eglInitialize(EGLDisplay display, EGLint* major, EGLint* minor) {
    recordCall("eglInitialize(%s, %s, %s)", nameOf(display), major ? "major" : "null",
               minor ? "minor" : "null");
    return fakeEgl.initializeResult;
}

EGLBoolean eglTerminate(EGLDisplay display) {
    recordCall("eglTerminate(%s)", nameOf(display));
    return EGL_TRUE;
}

EGLBoolean eglGetConfigs(EGLDisplay display, EGLConfig* configs, EGLint size, EGLint* count) {
    recordCall("eglGetConfigs(%s, %s, %d)", nameOf(display), configs ? "array" : "null", size);
    *count = static_cast<EGLint>(fakeEgl.configs.size());
    if (!configs)
        return fakeEgl.countConfigsResult;
    *count -= fakeEgl.configsMissingAtFill;
    for (EGLint i = 0; i < *count && i < size; ++i)
        configs[i] = fakeEgl.configsAreNull ? nullptr : handle<EGLConfig>(kFirstConfig + i);
    return fakeEgl.fillConfigsResult;
}

EGLBoolean eglGetConfigAttrib(EGLDisplay display, EGLConfig config, EGLint attribute,
                              EGLint* value) {
    recordCall("eglGetConfigAttrib(%s, %s, %s)", nameOf(display), nameOf(config),
               attributeName(attribute));
    const size_t index = config ? reinterpret_cast<uintptr_t>(config) - kFirstConfig : 0;
    const ConfigAttributes& attributes = fakeEgl.configs.at(index);
    const auto found = attributes.find(attribute);
    if (found == attributes.end())
        return EGL_FALSE;
    *value = found->second;
    return EGL_TRUE;
}

EGLBoolean eglBindAPI(EGLenum api) {
    recordCall("eglBindAPI(0x%X)", api);
    return fakeEgl.bindApiResult;
}

EGLContext eglCreateContext(EGLDisplay display, EGLConfig config, EGLContext shared,
                            const EGLint* attributes) {
    recordCall("eglCreateContext(%s, %s, %s, {0x%X, %d, 0x%X, 0x%X})", nameOf(display),
               nameOf(config), nameOf(shared), attributes[0], attributes[1], attributes[2],
               attributes[3]);
    return fakeEgl.createsContext ? handle<EGLContext>(kContext) : EGL_NO_CONTEXT;
}

EGLSurface eglCreateWindowSurface(EGLDisplay display, EGLConfig config, EGLNativeWindowType window,
                                  const EGLint* attributes) {
    recordCall("eglCreateWindowSurface(%s, %s, %s, %s)", nameOf(display), nameOf(config),
               window == (EGLNativeWindowType)kNativeWindow ? "native window" : "unexpected",
               attributes ? "attributes" : "null");
    return fakeEgl.createsSurface ? handle<EGLSurface>(kSurface) : EGL_NO_SURFACE;
}

EGLBoolean eglMakeCurrent(EGLDisplay display, EGLSurface draw, EGLSurface read,
                          EGLContext context) {
    recordCall("eglMakeCurrent(%s, %s, %s, %s)", nameOf(display), nameOf(draw), nameOf(read),
               nameOf(context));
    return fakeEgl.makeCurrentResult;
}

EGLBoolean eglSwapBuffers(EGLDisplay display, EGLSurface surface) {
    recordCall("eglSwapBuffers(%s, %s)", nameOf(display), nameOf(surface));
    return fakeEgl.swapResult;
}

EGLint eglGetError() {
    recordCall("eglGetError()");
    return fakeEgl.error;
}

KDint kdGetError() {
    recordCall("kdGetError()");
    return fakeKd.error;
}

// Not recorded: drawing fetches its context all the time, and how often is its own affair.
void* kdGetTLS() {
    return fakeKd.threadPointer;
}

void kdSetTLS(void* pointer) {
    recordCall("kdSetTLS(%s)", pointer ? "pointer" : "null");
    fakeKd.threadPointer = pointer;
}

KDWindow* kdCreateWindow(EGLDisplay display, EGLConfig config, void* eventUser) {
    recordCall("kdCreateWindow(%s, %s, %s)", nameOf(display), nameOf(config), nameOf(eventUser));
    return fakeKd.createsWindow ? handle<KDWindow*>(kWindow) : nullptr;
}

KDint kdSetWindowPropertyiv(KDWindow* window, KDint name, const KDint32* value) {
    recordCall("kdSetWindowPropertyiv(%s, %d, {%d, %d})", nameOf(window), name, value[0], value[1]);
    return fakeKd.propertyResult;
}

KDint kdSetWindowPropertycv(KDWindow* window, KDint name, const KDchar* value) {
    recordCall("kdSetWindowPropertycv(%s, %d, %s)", nameOf(window), name, value);
    return fakeKd.propertyResult;
}

KDint kdRealizeWindow(KDWindow* window, EGLNativeWindowType* native) {
    recordCall("kdRealizeWindow(%s, %s)", nameOf(window), *native == 0 ? "null handle" : "garbage");
    if (fakeKd.givesNativeWindow)
        *native = (EGLNativeWindowType)kNativeWindow;
    return fakeKd.realizeResult;
}

int screen_create_context(screen_context_t* context, int flags) {
    recordCall("screen_create_context(%d)", flags);
    if (fakeScreen.createResult == 0)
        *context = handle<screen_context_t>(kScreenContext);
    return fakeScreen.createResult;
}

int screen_destroy_context(screen_context_t context) {
    recordCall("screen_destroy_context(%s)", nameOf(context));
    return 0;
}

int screen_get_context_property_iv(screen_context_t context, int name, int* value) {
    recordCall("screen_get_context_property_iv(%s, %d)", nameOf(context), name);
    if (fakeScreen.countResult == 0)
        *value = fakeScreen.displayCount;
    return fakeScreen.countResult;
}

int screen_get_context_property_pv(screen_context_t context, int name, void** values) {
    recordCall("screen_get_context_property_pv(%s, %d)", nameOf(context), name);
    for (int i = 0; i < fakeScreen.displayCount; ++i)
        values[i] = handle<void*>(kFirstScreenDisplay + i);
    return fakeScreen.displaysResult;
}

int screen_get_display_property_iv(screen_display_t display, int name, int* values) {
    recordCall("screen_get_display_property_iv(%s, %d)", nameOf(display), name);
    if (fakeScreen.sizeResult == 0) {
        values[0] = fakeScreen.width;
        values[1] = fakeScreen.height;
    }
    return fakeScreen.sizeResult;
}
