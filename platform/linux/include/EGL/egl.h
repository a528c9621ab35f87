// EGL, the part that the service uses, with the standard's names and values. There is one display
// (the default one), one config (8 bits each of red, green, blue and alpha, for windows and OpenGL
// ES 2), one context and one window surface.
//
// A call that fails returns EGL_FALSE, a null handle or EGL_NO_DISPLAY; eglGetError says why. All
// of it belongs to the thread that draws.
#pragma once

#include <KHR/khrplatform.h>

#define EGLAPI
#define EGLAPIENTRY

typedef khronos_int32_t EGLint;
typedef unsigned int EGLBoolean;
typedef unsigned int EGLenum;
typedef void* EGLDisplay;
typedef void* EGLConfig;
typedef void* EGLContext;
typedef void* EGLSurface;
typedef void* EGLNativeDisplayType;
typedef void* EGLNativeWindowType;

#define EGL_FALSE 0
#define EGL_TRUE 1

#define EGL_DEFAULT_DISPLAY ((EGLNativeDisplayType)0)
#define EGL_NO_DISPLAY ((EGLDisplay)0)
#define EGL_NO_CONTEXT ((EGLContext)0)
#define EGL_NO_SURFACE ((EGLSurface)0)

// What eglGetError says.
#define EGL_SUCCESS 0x3000
#define EGL_NOT_INITIALIZED 0x3001
#define EGL_BAD_ALLOC 0x3003
#define EGL_BAD_ATTRIBUTE 0x3004
#define EGL_BAD_CONFIG 0x3005
#define EGL_BAD_CONTEXT 0x3006
#define EGL_BAD_DISPLAY 0x3008
#define EGL_BAD_MATCH 0x3009
#define EGL_BAD_NATIVE_WINDOW 0x300B
#define EGL_BAD_PARAMETER 0x300C
#define EGL_BAD_SURFACE 0x300D

// Attributes of a config.
#define EGL_ALPHA_SIZE 0x3021
#define EGL_BLUE_SIZE 0x3022
#define EGL_GREEN_SIZE 0x3023
#define EGL_RED_SIZE 0x3024
#define EGL_CONFIG_ID 0x3028
#define EGL_SURFACE_TYPE 0x3033
#define EGL_NONE 0x3038  // also ends a list of attributes
#define EGL_RENDERABLE_TYPE 0x3040

#define EGL_PBUFFER_BIT 0x0001  // of EGL_SURFACE_TYPE
#define EGL_WINDOW_BIT 0x0004

#define EGL_OPENGL_ES_BIT 0x0001  // of EGL_RENDERABLE_TYPE
#define EGL_OPENGL_ES2_BIT 0x0004
#define EGL_OPENGL_BIT 0x0008

#define EGL_CONTEXT_CLIENT_VERSION 0x3098  // attribute of a context
#define EGL_OPENGL_ES_API 0x30A0           // for eglBindAPI

#ifdef __cplusplus
extern "C" {
#endif

// EGL_SUCCESS, or what the last failed call reported. Reading it resets it.
EGLAPI EGLint EGLAPIENTRY eglGetError(void);

// The display of the window that the settings choose, which this call opens; EGL_NO_DISPLAY for
// another native display than the default one, and when no window can be opened (printed).
EGLAPI EGLDisplay EGLAPIENTRY eglGetDisplay(EGLNativeDisplayType nativeDisplay);

// Gets the renderer ready that the settings choose. Says version 1.4 where *major and *minor are
// given.
EGLAPI EGLBoolean EGLAPIENTRY eglInitialize(EGLDisplay display, EGLint* major, EGLint* minor);

// Until the next eglInitialize no other call takes the display. What was made stays.
EGLAPI EGLBoolean EGLAPIENTRY eglTerminate(EGLDisplay display);

EGLAPI EGLBoolean EGLAPIENTRY eglGetConfigs(EGLDisplay display, EGLConfig* configs, EGLint size,
                                            EGLint* count);
EGLAPI EGLBoolean EGLAPIENTRY eglGetConfigAttrib(EGLDisplay display, EGLConfig config,
                                                 EGLint attribute, EGLint* value);

EGLAPI EGLBoolean EGLAPIENTRY eglBindAPI(EGLenum api);
EGLAPI EGLContext EGLAPIENTRY eglCreateContext(EGLDisplay display, EGLConfig config,
                                               EGLContext shared, const EGLint* attributes);

// `window` is what kdRealizeWindow gave. No attributes are known. The surface has the window's
// size. There is one a process; a second one is EGL_BAD_ALLOC, as a second context is.
EGLAPI EGLSurface EGLAPIENTRY eglCreateWindowSurface(EGLDisplay display, EGLConfig config,
                                                     EGLNativeWindowType window,
                                                     const EGLint* attributes);

// The same surface for drawing and reading, or none of all three. The first time a context is made
// current, its viewport becomes the surface's size.
EGLAPI EGLBoolean EGLAPIENTRY eglMakeCurrent(EGLDisplay display, EGLSurface draw, EGLSurface read,
                                             EGLContext context);

// Presents what was drawn since the last swap; the surface has to be current. Never waits for the
// display. What the surface holds afterwards is undefined.
EGLAPI EGLBoolean EGLAPIENTRY eglSwapBuffers(EGLDisplay display, EGLSurface surface);

#ifdef __cplusplus
}
#endif
