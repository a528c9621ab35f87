#include "renderer/gl/shaderPrecision.h"

#include <cstring>
#include <string>

namespace {

constexpr char kMedium[] = "precision mediump float;";
constexpr char kHigh[] = "precision highp float;";
constexpr GLenum kGlHighFloat = 0x8DF2;

const GlCalls* libraryCalls = nullptr;

bool isFragmentShader(GLuint shader) {
    GLint type = 0;
    libraryCalls->GetShaderiv(shader, GL_SHADER_TYPE, &type);
    return type == GL_FRAGMENT_SHADER;
}

// The service passes one terminated string; anything else goes through as it is.
void GL_APIENTRY shaderSource(GLuint shader, GLsizei count, const GLchar* const* strings,
                              const GLint* lengths) {
    const char* const declared =
        count == 1 && !lengths ? std::strstr(strings[0], kMedium) : nullptr;
    if (!declared || !isFragmentShader(shader)) {
        libraryCalls->ShaderSource(shader, count, strings, lengths);
        return;
    }
    std::string source = strings[0];
    source.replace(static_cast<size_t>(declared - strings[0]), std::strlen(kMedium), kHigh);
    const GLchar* const raised = source.c_str();
    libraryCalls->ShaderSource(shader, 1, &raised, nullptr);
}

}  // namespace

void raiseShaderPrecision(const GlLibrary& library, GlCalls* calls) {
    // High precision is optional in fragment shaders; without it its precision is 0.
    GLint range[2] = {};
    GLint precision = 0;
    library.frame.GetShaderPrecisionFormat(GL_FRAGMENT_SHADER, kGlHighFloat, range, &precision);
    if (precision == 0)
        return;
    libraryCalls = &library.gl;
    calls->ShaderSource = shaderSource;
}
