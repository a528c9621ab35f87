#include "platform/support/consoleSurface.h"

#include <GLES2/gl2.h>
#include <screen/screen.h>

#include <vector>

namespace {

constexpr KDint kWindowIdString = 1002;

EGLint attribute(EGLDisplay display, EGLConfig config, EGLint name) {
    EGLint value = 0;
    eglGetConfigAttrib(display, config, name, &value);
    return value;
}

bool isWanted(EGLDisplay display, EGLConfig config) {
    return (attribute(display, config, EGL_SURFACE_TYPE) & EGL_WINDOW_BIT) &&
           (attribute(display, config, EGL_RENDERABLE_TYPE) & EGL_OPENGL_ES2_BIT) &&
           attribute(display, config, EGL_RED_SIZE) == 8 &&
           attribute(display, config, EGL_GREEN_SIZE) == 8 &&
           attribute(display, config, EGL_BLUE_SIZE) == 8 &&
           attribute(display, config, EGL_ALPHA_SIZE) == 8;
}

}  // namespace

bool ConsoleSurface::chooseConfig() {
    EGLint count = 0;
    if (eglGetConfigs(display, nullptr, 0, &count) != EGL_TRUE)
        return false;
    std::vector<EGLConfig> configs(static_cast<size_t>(count));
    eglGetConfigs(display, configs.data(), count, &count);
    for (const EGLConfig each : configs) {
        if (isWanted(display, each)) {
            config = each;
            return true;
        }
    }
    return false;
}

void ConsoleSurface::readScreenSize() {
    screen_context_t context = nullptr;
    int count = 0;
    if (screen_create_context(&context, SCREEN_APPLICATION_CONTEXT) != 0)
        return;
    screen_get_context_property_iv(context, SCREEN_PROPERTY_DISPLAY_COUNT, &count);
    std::vector<screen_display_t> displays(static_cast<size_t>(count));
    int size[2] = {0, 0};
    if (screen_get_context_property_pv(context, SCREEN_PROPERTY_DISPLAYS,
                                       reinterpret_cast<void**>(displays.data())) == 0 &&
        screen_get_display_property_iv(displays[0], SCREEN_PROPERTY_SIZE, size) == 0) {
        screenWidth = size[0];
        screenHeight = size[1];
    }
    screen_destroy_context(context);
}

bool ConsoleSurface::makeWindow() {
    window = kdCreateWindow(display, config, nullptr);
    if (!window)
        return false;
    const KDint32 size[2] = {screenWidth, screenHeight};
    kdSetWindowPropertycv(window, kWindowIdString, "16");
    kdSetWindowPropertycv(window, KD_WINDOWPROPERTY_CAPTION, "16");
    kdSetWindowPropertyiv(window, KD_WINDOWPROPERTY_SIZE, size);
    EGLNativeWindowType native = 0;
    if (kdRealizeWindow(window, &native) != 0 || native == 0)
        return false;
    surface = eglCreateWindowSurface(display, config, native, nullptr);
    return surface != EGL_NO_SURFACE;
}

bool ConsoleSurface::makeCurrent() {
    const EGLint version[] = {EGL_CONTEXT_CLIENT_VERSION, 2, EGL_NONE, EGL_NONE};
    eglBindAPI(EGL_OPENGL_ES_API);
    const EGLContext context = eglCreateContext(display, config, EGL_NO_CONTEXT, version);
    readScreenSize();
    if (!makeWindow() || eglMakeCurrent(display, surface, surface, context) != EGL_TRUE)
        return false;
    GLint viewport[4] = {};
    glGetIntegerv(GL_VIEWPORT, viewport);
    width = viewport[2];
    height = viewport[3];
    return true;
}

std::string ConsoleSurface::bringUp() {
    display = eglGetDisplay(EGL_DEFAULT_DISPLAY);
    if (display == EGL_NO_DISPLAY)
        return "eglGetDisplay";
    if (eglInitialize(display, nullptr, nullptr) != EGL_TRUE)
        return "eglInitialize";
    if (!chooseConfig())
        return "config";
    return makeCurrent() ? "" : "window";
}

void ConsoleSurface::fill(int x, int y, int rectWidth, int rectHeight, int red, int green, int blue,
                          int alpha) {
    const auto channel = [](int value) { return static_cast<float>(value) / 255.0f; };
    glEnable(GL_SCISSOR_TEST);
    glScissor(x, y, rectWidth, rectHeight);
    glClearColor(channel(red), channel(green), channel(blue), channel(alpha));
    glClear(GL_COLOR_BUFFER_BIT);
    glDisable(GL_SCISSOR_TEST);
}

bool ConsoleSurface::swap() {
    return eglSwapBuffers(display, surface) == EGL_TRUE;
}
