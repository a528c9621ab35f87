#include "gfx/solidBar.h"

#include <GLES2/gl2.h>

#include "gfx/renderContext.h"
#include "text/fontAtlas.h"

void drawSolidBar(int32_t y, int32_t width, float red, float green, float blue) {
    const float left = kSideMargin;
    const float right = left + static_cast<float>(width);
    const float bottom = static_cast<float>(y);
    const float top = static_cast<float>(y + fontAtlas.lineHeight);
    const float corners[] = {
        left,  bottom, 0,  //
        left,  top,    0,  //
        right, bottom, 0,  //
        right, top,    0,
    };

    const GLuint program = renderContext()->solidProgram;
    glUseProgram(program);
    uploadPixelTransform(program);
    glUniform4f(glGetUniformLocation(program, "u_fColor"), red, green, blue, 1.0f);

    glEnableVertexAttribArray(kPositionSlot);
    glVertexAttribPointer(kPositionSlot, 3, GL_FLOAT, GL_FALSE, 0, corners);

    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    glDisableVertexAttribArray(kPositionSlot);
}
