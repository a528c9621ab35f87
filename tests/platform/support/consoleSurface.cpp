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

GLuint compiled(GLenum type, const char* source) {
    const GLuint shader = glCreateShader(type);
    glShaderSource(shader, 1, &source, nullptr);
    glCompileShader(shader);
    return shader;
}

// The service's own: a renderer may know no other.
GLuint solidProgram() {
    const GLuint program = glCreateProgram();
    glAttachShader(program, compiled(GL_VERTEX_SHADER,
                                     "attribute vec4 a_vPosition; uniform mat4 u_vTransform;"
                                     "void main() { gl_Position = u_vTransform * a_vPosition; }"));
    glAttachShader(program, compiled(GL_FRAGMENT_SHADER,
                                     "precision mediump float; uniform vec4 u_fColor;"
                                     "void main() { gl_FragColor = u_fColor; }"));
    glLinkProgram(program);
    GLint isLinked = 0;
    glGetProgramiv(program, GL_LINK_STATUS, &isLinked);
    return isLinked ? program : 0;
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
    context = eglCreateContext(display, config, EGL_NO_CONTEXT, version);
    readScreenSize();
    if (!makeWindow() || eglMakeCurrent(display, surface, surface, context) != EGL_TRUE)
        return false;
    GLint viewport[4] = {};
    glGetIntegerv(GL_VIEWPORT, viewport);
    width = viewport[2];
    height = viewport[3];
    program = solidProgram();
    return program != 0;
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

void ConsoleSurface::fill(int x, int y, int rectWidth, int rectHeight, int red, int green,
                          int blue) {
    fills.push_back({x, y, rectWidth, rectHeight, red, green, blue});
}

bool ConsoleSurface::swap() {
    glClearColor(0, 0, 0, 1);
    glClear(GL_COLOR_BUFFER_BIT);
    glUseProgram(program);
    for (const Fill& each : fills)
        draw(each);
    return eglSwapBuffers(display, surface) == EGL_TRUE;
}

void ConsoleSurface::draw(const Fill& each) const {
    const float left = static_cast<float>(each.x), bottom = static_cast<float>(each.y);
    const float right = left + static_cast<float>(each.width);
    const float top = bottom + static_cast<float>(each.height);
    const float corners[] = {left, bottom, left, top, right, bottom, right, top};
    const auto channel = [](int value) { return static_cast<float>(value) / 255.0f; };
    const float transform[] = {
        2.0f / static_cast<float>(width),
        0,
        0,
        0,  //
        0,
        2.0f / static_cast<float>(height),
        0,
        0,  //
        0,
        0,
        1,
        0,  //
        -1,
        -1,
        0,
        1,
    };
    glUniformMatrix4fv(glGetUniformLocation(program, "u_vTransform"), 1, GL_FALSE, transform);
    glUniform4f(glGetUniformLocation(program, "u_fColor"), channel(each.red), channel(each.green),
                channel(each.blue), 1);
    glEnableVertexAttribArray(0);
    glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 0, corners);
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    glDisableVertexAttribArray(0);
}
