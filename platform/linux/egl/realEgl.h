// The EGL library's own calls behind those that egl/windowCalls.cpp steps into. The linker makes
// both names (--wrap): a call of eglSwapBuffers anywhere in the program reaches
// __wrap_eglSwapBuffers, and only who writes __real_eglSwapBuffers reaches the library.
#pragma once

#include <EGL/egl.h>

extern "C" {
EGLDisplay __real_eglGetDisplay(EGLNativeDisplayType nativeDisplay);
EGLBoolean __real_eglGetConfigAttrib(EGLDisplay display, EGLConfig config, EGLint attribute,
                                     EGLint* value);
EGLSurface __real_eglCreateWindowSurface(EGLDisplay display, EGLConfig config,
                                         EGLNativeWindowType window, const EGLint* attributes);
EGLBoolean __real_eglSwapBuffers(EGLDisplay display, EGLSurface surface);
}
