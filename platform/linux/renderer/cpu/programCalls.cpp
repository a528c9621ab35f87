#include "renderer/cpu/programCalls.h"

#include <algorithm>
#include <cstring>

#include "renderer/cpu/context.h"

namespace {

// Null after the error that names of another kind, and of nothing, are.
template <typename Object>
Object* find(const std::map<GLuint, std::shared_ptr<Object>>& objects, GLuint name) {
    const auto found = objects.find(name);
    if (found != objects.end())
        return found->second.get();
    const bool isOther = context.shaders.count(name) + context.programs.count(name) > 0;
    fail(isOther ? GL_INVALID_OPERATION : GL_INVALID_VALUE);
    return nullptr;
}

GLuint createShader(GLenum type) {
    if (type != GL_VERTEX_SHADER && type != GL_FRAGMENT_SHADER) {
        fail(GL_INVALID_ENUM);
        return 0;
    }
    context.shaders[++context.lastName] = std::make_shared<Shader>(Shader{type, "", {}});
    return context.lastName;
}

void shaderSource(GLuint name, GLsizei count, const GLchar* const* strings, const GLint* lengths) {
    Shader* const shader = find(context.shaders, name);
    if (!shader)
        return;
    if (count < 0)
        return fail(GL_INVALID_VALUE);
    shader->source.clear();
    for (GLsizei i = 0; i < count; ++i) {
        if (lengths && lengths[i] >= 0)
            shader->source.append(strings[i], static_cast<size_t>(lengths[i]));
        else
            shader->source.append(strings[i]);
    }
}

void compileShader(GLuint name) {
    if (Shader* const shader = find(context.shaders, name))
        shader->kind = shaderKind(shader->type, shader->source);
}

void getShaderiv(GLuint name, GLenum pname, GLint* params) {
    const Shader* const shader = find(context.shaders, name);
    if (!shader)
        return;
    if (pname == GL_SHADER_TYPE)
        *params = static_cast<GLint>(shader->type);
    else if (pname == GL_COMPILE_STATUS)
        *params = shader->kind != ShaderKind::unknown;
    else
        fail(GL_INVALID_ENUM);
}

// Programs that it is attached to keep it.
void deleteShader(GLuint name) {
    if (name != 0 && find(context.shaders, name))
        context.shaders.erase(name);
}

GLuint createProgram() {
    context.programs[++context.lastName] = std::make_shared<Program>();
    return context.lastName;
}

void attachShader(GLuint programName, GLuint shaderName) {
    Program* const program = find(context.programs, programName);
    if (!program || !find(context.shaders, shaderName))
        return;
    const std::shared_ptr<Shader>& shader = context.shaders[shaderName];
    for (const auto& attached : program->shaders) {
        if (attached->type == shader->type)
            return fail(GL_INVALID_OPERATION);
    }
    program->shaders.push_back(shader);
}

void bindAttribLocation(GLuint programName, GLuint index, const GLchar* name) {
    if (index >= kSlots)
        return fail(GL_INVALID_VALUE);
    if (std::strncmp(name, "gl_", 3) == 0)
        return fail(GL_INVALID_OPERATION);
    if (Program* const program = find(context.programs, programName))
        program->boundSlots[name] = index;
}

void linkNamedProgram(GLuint name) {
    if (Program* const program = find(context.programs, name))
        linkProgram(program);
}

// Null after the error of a program that is not linked.
const Program* findLinked(GLuint name) {
    const Program* const program = find(context.programs, name);
    if (program && program->kind == ProgramKind::unlinked) {
        fail(GL_INVALID_OPERATION);
        return nullptr;
    }
    return program;
}

GLint getAttribLocation(GLuint name, const GLchar* attribute) {
    const Program* const program = findLinked(name);
    return program ? attributeSlot(*program, attribute) : -1;
}

GLint getUniformLocation(GLuint name, const GLchar* uniform) {
    const Program* const program = findLinked(name);
    return program ? uniformLocation(*program, uniform) : kNoUniform;
}

void getProgramiv(GLuint name, GLenum pname, GLint* params) {
    const Program* const program = find(context.programs, name);
    if (program && pname == GL_LINK_STATUS)
        *params = program->kind != ProgramKind::unlinked;
    else if (program)
        fail(GL_INVALID_ENUM);
}

void useProgram(GLuint name) {
    if (name == 0)
        context.used.reset();
    else if (findLinked(name))
        context.used = context.programs[name];
}

// The one in use goes on until another takes its place.
void deleteProgram(GLuint name) {
    if (name != 0 && find(context.programs, name))
        context.programs.erase(name);
}

// The program in use where it has that uniform. Null without an error for no uniform, which is
// ignored, and with one for a uniform of another type.
Program* programWith(GLint location, GLint wanted) {
    if (!context.used) {
        fail(GL_INVALID_OPERATION);
        return nullptr;
    }
    if (location == kNoUniform)
        return nullptr;
    const bool isTextured = context.used->kind == ProgramKind::textured;
    const bool isThere =
        location == kTransformUniform || (location == kColourUniform ? !isTextured : isTextured);
    if (location != wanted || !isThere) {
        fail(GL_INVALID_OPERATION);
        return nullptr;
    }
    return context.used.get();
}

void uniform1i(GLint location, GLint value) {
    if (Program* const program = programWith(location, kTextureUniform))
        program->textureUnit = value;
}

void uniform4f(GLint location, GLfloat x, GLfloat y, GLfloat z, GLfloat w) {
    if (Program* const program = programWith(location, kColourUniform))
        program->colour = {x, y, z, w};
}

template <size_t size>
void setMatrix(GLint location, GLint wanted, std::array<GLfloat, size> Program::*matrix,
               GLsizei count, GLboolean transpose, const GLfloat* value) {
    if (count < 0 || transpose)
        return fail(GL_INVALID_VALUE);
    Program* const program = programWith(location, wanted);
    if (program && count > 1)
        return fail(GL_INVALID_OPERATION);
    if (program && count == 1)
        std::copy_n(value, size, (program->*matrix).begin());
}

void uniformMatrix2fv(GLint location, GLsizei count, GLboolean transpose, const GLfloat* value) {
    setMatrix(location, kTextureTransformUniform, &Program::textureTransform, count, transpose,
              value);
}

void uniformMatrix4fv(GLint location, GLsizei count, GLboolean transpose, const GLfloat* value) {
    setMatrix(location, kTransformUniform, &Program::transform, count, transpose, value);
}

}  // namespace

void setProgramCalls(GlCalls* calls) {
    calls->CreateShader = createShader;
    calls->ShaderSource = shaderSource;
    calls->CompileShader = compileShader;
    calls->GetShaderiv = getShaderiv;
    calls->DeleteShader = deleteShader;
    calls->CreateProgram = createProgram;
    calls->AttachShader = attachShader;
    calls->BindAttribLocation = bindAttribLocation;
    calls->GetAttribLocation = getAttribLocation;
    calls->LinkProgram = linkNamedProgram;
    calls->GetProgramiv = getProgramiv;
    calls->UseProgram = useProgram;
    calls->DeleteProgram = deleteProgram;
    calls->GetUniformLocation = getUniformLocation;
    calls->Uniform1i = uniform1i;
    calls->Uniform4f = uniform4f;
    calls->UniformMatrix2fv = uniformMatrix2fv;
    calls->UniformMatrix4fv = uniformMatrix4fv;
}
