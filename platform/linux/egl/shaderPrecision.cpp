// Gives fragment shaders that ask for medium precision the highest. Drivers may compute medium
// precision in half floats, whose eleven bits cannot tell neighbouring texels apart from the 1024th
// on: wide logos and the atlases of large fonts would be sampled beside their texels.
#include <GLES2/gl2.h>

#include <cstring>
#include <string>

namespace {

constexpr char kMedium[] = "precision mediump float;";
constexpr char kHigh[] = "precision highp float;";

bool isFragmentShader(GLuint shader) {
    GLint type = 0;
    glGetShaderiv(shader, GL_SHADER_TYPE, &type);
    return type == GL_FRAGMENT_SHADER;
}

// High precision is optional there; it then shows as a range and precision of 0.
bool fragmentShadersHaveHighPrecision() {
    GLint range[2] = {};
    GLint precision = 0;
    glGetShaderPrecisionFormat(GL_FRAGMENT_SHADER, GL_HIGH_FLOAT, range, &precision);
    return precision > 0;
}

}  // namespace

extern "C" {

void __real_glShaderSource(GLuint shader, GLsizei count, const GLchar* const* strings,
                           const GLint* lengths);

// The service passes one terminated string; anything else goes through as it is.
void __wrap_glShaderSource(GLuint shader, GLsizei count, const GLchar* const* strings,
                           const GLint* lengths) {
    const char* declared = count == 1 && !lengths ? strstr(strings[0], kMedium) : nullptr;
    if (!declared || !isFragmentShader(shader) || !fragmentShadersHaveHighPrecision()) {
        __real_glShaderSource(shader, count, strings, lengths);
        return;
    }
    std::string source = strings[0];
    source.replace(static_cast<size_t>(declared - strings[0]), strlen(kMedium), kHigh);
    const GLchar* const raised = source.c_str();
    __real_glShaderSource(shader, 1, &raised, nullptr);
}

}  // extern "C"
