#include "renderer/gl/glLibrary.h"

#include <dlfcn.h>

#include <memory>

#include "report/layerError.h"

namespace {

// Stays loaded: what it started, threads for instance, runs until the process ends.
void* openLibrary(const char* name) {
    void* const library = dlopen(name, RTLD_NOW | RTLD_LOCAL);
    if (!library)
        layerError("gl: %s", dlerror());
    return library;
}

template <typename Call>
bool find(void* library, const char* name, Call* call) {
    void* const found = dlsym(library, name);
    if (!found)
        layerError("gl: %s", dlerror());
    *call = reinterpret_cast<Call>(found);
    return found;
}

bool findAll(void* eglLibrary, void* glLibrary, GlLibrary* calls) {
    bool isComplete = true;
#define VELKARIS_FIND_EGL(result, name, parameters) \
    isComplete = isComplete && find(eglLibrary, "egl" #name, &calls->egl.name);
#define VELKARIS_FIND_FRAME(result, name, parameters) \
    isComplete = isComplete && find(glLibrary, "gl" #name, &calls->frame.name);
#define VELKARIS_FIND_GL(result, name, parameters, arguments) \
    isComplete = isComplete && find(glLibrary, "gl" #name, &calls->gl.name);
    VELKARIS_LIBRARY_EGL_CALLS(VELKARIS_FIND_EGL)
    VELKARIS_LIBRARY_FRAME_CALLS(VELKARIS_FIND_FRAME)
    VELKARIS_GL_CALLS(VELKARIS_FIND_GL)
#undef VELKARIS_FIND_EGL
#undef VELKARIS_FIND_FRAME
#undef VELKARIS_FIND_GL
    return isComplete;
}

}  // namespace

const GlLibrary* loadGlLibrary() {
    static GlLibrary library{};
    void* const egl = openLibrary("libEGL.so.1");
    void* const gl = egl ? openLibrary("libGLESv2.so.2") : nullptr;
    return gl && findAll(egl, gl, &library) ? &library : nullptr;
}
