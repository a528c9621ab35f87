// Shaders and programs of the renderer that draws without a GPU. It runs no shading language: it
// knows the console's four shaders by their texts, and what their two programs do.
#pragma once

#include <GLES2/gl2.h>

#include <array>
#include <map>
#include <memory>
#include <string>
#include <vector>

enum class ShaderKind { unknown, texturedVertex, solidVertex, texturedFragment, solidFragment };
enum class ProgramKind { unlinked, textured, solid };

struct Shader {
    GLenum type;
    std::string source;
    ShaderKind kind = ShaderKind::unknown;  // of the source that was compiled last
};

// The locations of the uniforms, the same in each program that has them.
constexpr GLint kNoUniform = -1;
constexpr GLint kTransformUniform = 0;  // mat4: vertices to clip coordinates
constexpr GLint kColourUniform = 1;     // vec4, of the solid program
constexpr GLint kTextureTransformUniform =
    2;                                // mat2: texture coordinates to fractions of the image
constexpr GLint kTextureUniform = 3;  // sampler2D

struct Program {
    std::vector<std::shared_ptr<const Shader>> shaders;
    std::map<std::string, GLuint> boundSlots;  // what the next linking goes by

    ProgramKind kind = ProgramKind::unlinked;
    GLint positionSlot = -1;
    GLint texCoordSlot = -1;

    std::array<GLfloat, 16> transform{};        // column by column
    std::array<GLfloat, 4> textureTransform{};  // likewise
    std::array<GLfloat, 4> colour{};
    GLint textureUnit = 0;
};

// Which of the console's shaders a source is, blanks aside.
ShaderKind shaderKind(GLenum type, const std::string& source);

// Links what is attached; program->kind says what came of it. Uniforms start from 0.
void linkProgram(Program* program);

GLint uniformLocation(const Program& program, const std::string& name);
GLint attributeSlot(const Program& program, const std::string& name);
