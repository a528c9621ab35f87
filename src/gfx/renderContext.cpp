#include "gfx/renderContext.h"

#include <KD/kd.h>

#include <cstdlib>

#include "gfx/pixelMath.h"

namespace {

// Texels to normalised coordinates; a texture that was never made has no size.
float texelScale(int32_t size) {
    return size > 0 ? 1.0f / static_cast<float>(size) : 0.0f;
}

}  // namespace

void createRenderContext(uint32_t width, uint32_t height) {
    RenderContext* context = static_cast<RenderContext*>(calloc(1, sizeof(RenderContext)));
    kdSetTLS(context);
    context->width = width;
    context->height = height;
}

RenderContext* renderContext() {
    return static_cast<RenderContext*>(kdGetTLS());
}

void uploadPixelTransform(GLuint program) {
    float transform[16];
    pixelToClip(renderContext()->width, renderContext()->height, transform);
    glUniformMatrix4fv(glGetUniformLocation(program, "u_vTransform"), 1, GL_FALSE, transform);
}

void startTexturedDraw(int32_t textureWidth, int32_t textureHeight, const float* corners,
                       const float* texels) {
    const float textureTransform[4] = {texelScale(textureWidth), 0, 0, texelScale(textureHeight)};

    const GLuint program = renderContext()->texturedProgram;
    glUseProgram(program);
    glUniform1i(glGetUniformLocation(program, "u_sTexture"), 0);
    glUniformMatrix2fv(glGetUniformLocation(program, "u_fTransform"), 1, GL_FALSE,
                       textureTransform);
    uploadPixelTransform(program);

    glEnableVertexAttribArray(kPositionSlot);
    glEnableVertexAttribArray(kTexCoordSlot);
    glVertexAttribPointer(kPositionSlot, 3, GL_FLOAT, GL_FALSE, 0, corners);
    glVertexAttribPointer(kTexCoordSlot, 2, GL_FLOAT, GL_FALSE, 0, texels);
}

void endTexturedDraw() {
    glDisableVertexAttribArray(kPositionSlot);
    glDisableVertexAttribArray(kTexCoordSlot);
}
