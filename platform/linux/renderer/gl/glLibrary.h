// The machine's own libraries of EGL and OpenGL ES 2.0. They are looked for when they are asked for
// and not when the program starts: no other renderer needs them.
#pragma once

#include <EGL/egl.h>

#include "renderer/glCalls.h"

// EGL: X(result, name without "egl", parameters) for each call.
// clang-format off
#define VELKARIS_LIBRARY_EGL_CALLS(X) \
    X(AnyCall, GetProcAddress, (const char* name)) \
    X(EGLBoolean, Initialize, (EGLDisplay display, EGLint* major, EGLint* minor)) \
    X(EGLBoolean, Terminate, (EGLDisplay display)) \
    X(EGLBoolean, BindAPI, (EGLenum api)) \
    X(EGLBoolean, ChooseConfig, (EGLDisplay display, const EGLint* attributes, \
                                 EGLConfig* configs, EGLint size, EGLint* count)) \
    X(EGLContext, CreateContext, (EGLDisplay display, EGLConfig config, EGLContext shared, \
                                  const EGLint* attributes)) \
    X(EGLSurface, CreatePbufferSurface, (EGLDisplay display, EGLConfig config, \
                                         const EGLint* attributes)) \
    X(EGLBoolean, MakeCurrent, (EGLDisplay display, EGLSurface draw, EGLSurface read, \
                                EGLContext context))

// What a frame in memory needs besides the service's calls, likewise.
#define VELKARIS_LIBRARY_FRAME_CALLS(X) \
    X(void, GenTextures, (GLsizei count, GLuint* textures)) \
    X(void, BindTexture, (GLenum target, GLuint texture)) \
    X(void, GenFramebuffers, (GLsizei count, GLuint* framebuffers)) \
    X(void, BindFramebuffer, (GLenum target, GLuint framebuffer)) \
    X(void, FramebufferTexture2D, (GLenum target, GLenum attachment, GLenum textureTarget, \
                                   GLuint texture, GLint level)) \
    X(GLenum, CheckFramebufferStatus, (GLenum target)) \
    X(void, ReadPixels, (GLint x, GLint y, GLsizei width, GLsizei height, GLenum format, \
                         GLenum type, void* pixels)) \
    X(void, GetShaderPrecisionFormat, (GLenum shaderType, GLenum precisionType, GLint* range, \
                                       GLint* precision))
// clang-format on

using AnyCall = void (*)();  // to be cast to what its name says

struct GlLibrary {
#define VELKARIS_LIBRARY_MEMBER(result, name, parameters) result(*name) parameters;
    struct Egl {
        VELKARIS_LIBRARY_EGL_CALLS(VELKARIS_LIBRARY_MEMBER)
    } egl;
    struct Frame {
        VELKARIS_LIBRARY_FRAME_CALLS(VELKARIS_LIBRARY_MEMBER)
    } frame;
#undef VELKARIS_LIBRARY_MEMBER
    GlCalls gl;
};

// Loads both. Null after printing what is missing.
const GlLibrary* loadGlLibrary();
