#include "gfx/shaderPrograms.h"

#include "gfx/renderContext.h"

namespace {

// clang-format off
const char* const kTexturedVertexShader =
    "attribute vec4 a_vPosition; \n"
    "attribute vec2 a_texCoord; \n"
    "varying vec2 v_texCoord; \n"
    "uniform mat4 u_vTransform; \n"
    " \n"
    "void main() \n"
    "{ \n"
    "   gl_Position = u_vTransform * a_vPosition; \n"
    "   v_texCoord = a_texCoord; \n"
    "} \n";

const char* const kSolidVertexShader =
    "attribute vec4 a_vPosition; \n"
    "uniform mat4 u_vTransform; \n"
    " \n"
    "void main() \n"
    "{ \n"
    "   gl_Position = u_vTransform * a_vPosition; \n"
    "} \n";

// Texture coordinates come in texels. Pure black is transparent, whatever its alpha.
const char* const kTexturedFragmentShader =
    "precision mediump float; \n"
    "varying vec2 v_texCoord; \n"
    "uniform sampler2D u_sTexture; \n"
    "uniform mat2 u_fTransform; \n"
    " \n"
    "void main() \n"
    "{ \n"
    "   vec4 tex = texture2D( u_sTexture, v_texCoord  * u_fTransform); \n"
    "   if (tex.rgb == vec3(0, 0, 0)) \n"
    "   { \n"
    "      discard; \n"
    "   } \n"
    "   gl_FragColor = tex; \n"
    "} \n";

const char* const kSolidFragmentShader =
    "precision mediump float; \n"
    "uniform vec4 u_fColor; \n"
    " \n"
    "void main() \n"
    "{ \n"
    "   gl_FragColor = u_fColor; \n"
    "} \n";
// clang-format on

void attachShaders(GLuint program, GLuint vertexShader, GLuint fragmentShader) {
    glAttachShader(program, vertexShader);
    glAttachShader(program, fragmentShader);
}

// A program that did not link is deleted.
bool linked(GLuint program) {
    GLint status = 0;
    glGetProgramiv(program, GL_LINK_STATUS, &status);
    if (status == 0)
        glDeleteProgram(program);
    return status != 0;
}

}  // namespace

GLuint compileShader(GLenum type, const char* source) {
    const GLuint shader = glCreateShader(type);
    if (shader == 0)
        return 0;

    glShaderSource(shader, 1, &source, nullptr);
    glCompileShader(shader);

    GLint compiled = 0;
    glGetShaderiv(shader, GL_COMPILE_STATUS, &compiled);
    if (compiled == 0) {
        glDeleteShader(shader);
        return 0;
    }
    return shader;
}

int32_t createShaderPrograms() {
    // A shader that failed shows at the link: its name is 0.
    const GLuint texturedVertex = compileShader(GL_VERTEX_SHADER, kTexturedVertexShader);
    const GLuint solidVertex = compileShader(GL_VERTEX_SHADER, kSolidVertexShader);
    const GLuint texturedFragment = compileShader(GL_FRAGMENT_SHADER, kTexturedFragmentShader);
    const GLuint solidFragment = compileShader(GL_FRAGMENT_SHADER, kSolidFragmentShader);

    const GLuint textured = glCreateProgram();
    const GLuint solid = glCreateProgram();
    if (textured == 0 || solid == 0)
        return 0;
    attachShaders(textured, texturedVertex, texturedFragment);
    attachShaders(solid, solidVertex, solidFragment);

    // No shader has a "vPosition": the linker places a_vPosition itself, at slot 0 once slot 2 is
    // taken, and the drawing relies on that placement.
    glBindAttribLocation(textured, kPositionSlot, "vPosition");
    glBindAttribLocation(textured, kTexCoordSlot, "a_texCoord");
    glLinkProgram(textured);
    glLinkProgram(solid);
    if (!linked(textured) || !linked(solid))
        return 0;

    renderContext()->texturedProgram = textured;
    renderContext()->solidProgram = solid;

    // Deliberately after the link and to a name that no shader has: nothing changes.
    glBindAttribLocation(textured, kTexCoordSlot, "v_texcoord");
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    return 1;
}
