#include "egl/surfacePixels.h"

#include <GLES2/gl2.h>

#include <cstddef>

namespace {

constexpr size_t kBytesPerPixel = 4;

}  // namespace

void readSurfacePixels(EGLDisplay display, EGLSurface surface, SurfacePixels* pixels) {
    eglQuerySurface(display, surface, EGL_WIDTH, &pixels->width);
    eglQuerySurface(display, surface, EGL_HEIGHT, &pixels->height);
    pixels->rgba.resize(static_cast<size_t>(pixels->width) * static_cast<size_t>(pixels->height) *
                        kBytesPerPixel);

    GLint framebuffer = 0, packAlignment = 0;
    glGetIntegerv(GL_FRAMEBUFFER_BINDING, &framebuffer);
    glGetIntegerv(GL_PACK_ALIGNMENT, &packAlignment);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glPixelStorei(GL_PACK_ALIGNMENT, kBytesPerPixel);

    glReadPixels(0, 0, pixels->width, pixels->height, GL_RGBA, GL_UNSIGNED_BYTE,
                 pixels->rgba.data());

    glPixelStorei(GL_PACK_ALIGNMENT, packAlignment);
    glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(framebuffer));
}
