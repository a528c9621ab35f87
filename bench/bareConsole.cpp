// A program that does the least that a console has to do: it clears a surface off screen, or draws
// one quad on it, serves a node that does nothing if it is given a path, and stays.
//
// usage: bareConsole clear|quad [NODE]
//
// It writes a byte to standard output when it is ready.
#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GLES2/gl2.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "nothingNode.h"

namespace {

constexpr EGLint kWidth = 1280;
constexpr EGLint kHeight = 480;

// Mesa's own device if there is one: the console draws on it too when there is no GPU.
EGLDisplay softwareDisplay() {
    const auto queryDevices =
        reinterpret_cast<PFNEGLQUERYDEVICESEXTPROC>(eglGetProcAddress("eglQueryDevicesEXT"));
    const auto queryString = reinterpret_cast<PFNEGLQUERYDEVICESTRINGEXTPROC>(
        eglGetProcAddress("eglQueryDeviceStringEXT"));
    EGLDeviceEXT devices[16];
    EGLint count = 0;
    if (!queryDevices || !queryString || !queryDevices(16, devices, &count))
        return EGL_NO_DISPLAY;
    for (EGLint i = 0; i < count; ++i) {
        const char* const extensions = queryString(devices[i], EGL_EXTENSIONS);
        if (extensions && std::strstr(extensions, "EGL_MESA_device_software"))
            return eglGetPlatformDisplay(EGL_PLATFORM_DEVICE_EXT, devices[i], nullptr);
    }
    return EGL_NO_DISPLAY;
}

bool openSurface() {
    const EGLDisplay display = softwareDisplay();
    const EGLint wanted[] = {EGL_SURFACE_TYPE, EGL_PBUFFER_BIT, EGL_RENDERABLE_TYPE,
                             EGL_OPENGL_ES2_BIT, EGL_NONE};
    const EGLint contextVersion[] = {EGL_CONTEXT_CLIENT_VERSION, 2, EGL_NONE};
    const EGLint size[] = {EGL_WIDTH, kWidth, EGL_HEIGHT, kHeight, EGL_NONE};
    EGLConfig config;
    EGLint count = 0;
    if (!eglInitialize(display, nullptr, nullptr) || !eglBindAPI(EGL_OPENGL_ES_API) ||
        !eglChooseConfig(display, wanted, &config, 1, &count) || count != 1)
        return false;
    const EGLContext context = eglCreateContext(display, config, EGL_NO_CONTEXT, contextVersion);
    const EGLSurface surface = eglCreatePbufferSurface(display, config, size);
    return eglMakeCurrent(display, surface, surface, context) == EGL_TRUE;
}

GLuint shader(GLenum type, const char* source) {
    const GLuint made = glCreateShader(type);
    glShaderSource(made, 1, &source, nullptr);
    glCompileShader(made);
    return made;
}

void drawQuad() {
    const float corners[] = {
        -0.5f, -0.5f,  //
        -0.5f, 0.5f,   //
        0.5f,  -0.5f,  //
        0.5f,  0.5f,
    };
    const GLuint program = glCreateProgram();
    glAttachShader(program, shader(GL_VERTEX_SHADER,
                                   "attribute vec2 position;"
                                   "void main() { gl_Position = vec4(position, 0, 1); }"));
    glAttachShader(program, shader(GL_FRAGMENT_SHADER,
                                   "precision mediump float;"
                                   "void main() { gl_FragColor = vec4(1); }"));
    glBindAttribLocation(program, 0, "position");
    glLinkProgram(program);
    glUseProgram(program);
    glEnableVertexAttribArray(0);
    glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 0, corners);
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
}

}  // namespace

int main(int argc, char** argv) {
    const bool quad = argc > 1 && std::strcmp(argv[1], "quad") == 0;
    if (argc < 2 || !openSurface()) {
        std::fprintf(stderr, "bareConsole: no surface, or no argument\n");
        return 1;
    }
    glClearColor(0.4f, 0.2f, 0.2f, 1);
    glClear(GL_COLOR_BUFFER_BIT);
    if (quad)
        drawQuad();
    glFinish();
    if (argc > 2)
        serveNothing(argv[2], STDOUT_FILENO);
    [[maybe_unused]] const ssize_t told = write(STDOUT_FILENO, "r", 1);
    for (;;)
        pause();
}
