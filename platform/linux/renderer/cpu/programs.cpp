#include "renderer/cpu/programs.h"

#include <algorithm>
#include <cctype>

namespace {

constexpr char kPosition[] = "a_vPosition";
constexpr char kTexCoord[] = "a_texCoord";

struct KnownShader {
    ShaderKind kind;
    GLenum type;
    const char* source;  // without blanks
};

constexpr KnownShader kKnownShaders[] = {
    {ShaderKind::texturedVertex, GL_VERTEX_SHADER,
     "attributevec4a_vPosition;attributevec2a_texCoord;varyingvec2v_texCoord;"
     "uniformmat4u_vTransform;voidmain(){gl_Position=u_vTransform*a_vPosition;"
     "v_texCoord=a_texCoord;}"},
    {ShaderKind::solidVertex, GL_VERTEX_SHADER,
     "attributevec4a_vPosition;uniformmat4u_vTransform;"
     "voidmain(){gl_Position=u_vTransform*a_vPosition;}"},
    {ShaderKind::texturedFragment, GL_FRAGMENT_SHADER,
     "precisionmediumpfloat;varyingvec2v_texCoord;uniformsampler2Du_sTexture;"
     "uniformmat2u_fTransform;voidmain(){"
     "vec4tex=texture2D(u_sTexture,v_texCoord*u_fTransform);"
     "if(tex.rgb==vec3(0,0,0)){discard;}gl_FragColor=tex;}"},
    {ShaderKind::solidFragment, GL_FRAGMENT_SHADER,
     "precisionmediumpfloat;uniformvec4u_fColor;voidmain(){gl_FragColor=u_fColor;}"},
};

bool has(const Program& program, ShaderKind kind) {
    return std::any_of(program.shaders.begin(), program.shaders.end(),
                       [&](const auto& shader) { return shader->kind == kind; });
}

// One shader of each type, as the language demands, and the two that belong together.
ProgramKind linkedKind(const Program& program) {
    if (program.shaders.size() != 2)
        return ProgramKind::unlinked;
    if (has(program, ShaderKind::texturedVertex) && has(program, ShaderKind::texturedFragment))
        return ProgramKind::textured;
    if (has(program, ShaderKind::solidVertex) && has(program, ShaderKind::solidFragment))
        return ProgramKind::solid;
    return ProgramKind::unlinked;
}

// As bound, else the lowest that `taken` leaves.
GLint slotFor(const Program& program, const char* name, GLint taken) {
    const auto bound = program.boundSlots.find(name);
    if (bound != program.boundSlots.end())
        return static_cast<GLint>(bound->second);
    return taken == 0 ? 1 : 0;
}

GLint boundSlot(const Program& program, const char* name) {
    const auto bound = program.boundSlots.find(name);
    return bound == program.boundSlots.end() ? -1 : static_cast<GLint>(bound->second);
}

}  // namespace

ShaderKind shaderKind(GLenum type, const std::string& source) {
    std::string plain;
    std::copy_if(source.begin(), source.end(), std::back_inserter(plain),
                 [](unsigned char c) { return !std::isspace(c); });
    for (const KnownShader& known : kKnownShaders) {
        if (known.type == type && known.source == plain)
            return known.kind;
    }
    return ShaderKind::unknown;
}

void linkProgram(Program* program) {
    program->kind = linkedKind(*program);
    program->transform = {};
    program->textureTransform = {};
    program->colour = {};
    program->textureUnit = 0;
    const bool isTextured = program->kind == ProgramKind::textured;
    program->positionSlot =
        slotFor(*program, kPosition, isTextured ? boundSlot(*program, kTexCoord) : -1);
    program->texCoordSlot = isTextured ? slotFor(*program, kTexCoord, program->positionSlot) : -1;
}

GLint uniformLocation(const Program& program, const std::string& name) {
    const bool isTextured = program.kind == ProgramKind::textured;
    if (name == "u_vTransform")
        return kTransformUniform;
    if (name == "u_fColor" && !isTextured)
        return kColourUniform;
    if (name == "u_fTransform" && isTextured)
        return kTextureTransformUniform;
    if (name == "u_sTexture" && isTextured)
        return kTextureUniform;
    return kNoUniform;
}

GLint attributeSlot(const Program& program, const std::string& name) {
    if (name == kPosition)
        return program.positionSlot;
    return name == kTexCoord ? program.texCoordSlot : -1;
}
