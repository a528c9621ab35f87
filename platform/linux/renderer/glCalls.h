// The drawing calls as a record of functions, one for each of <GLES2/gl2.h>: what a renderer offers
// and what the calls of the service go to.
#pragma once

#include <GLES2/gl2.h>

// X(result, name without "gl", parameters, arguments) for each call.
// clang-format off
#define VELKARIS_GL_CALLS(X) \
    X(GLenum, GetError, (), ()) \
    X(void, GetIntegerv, (GLenum pname, GLint* data), (pname, data)) \
    X(GLuint, CreateShader, (GLenum type), (type)) \
    X(void, ShaderSource, (GLuint shader, GLsizei count, const GLchar* const* string, \
                           const GLint* length), (shader, count, string, length)) \
    X(void, CompileShader, (GLuint shader), (shader)) \
    X(void, GetShaderiv, (GLuint shader, GLenum pname, GLint* params), (shader, pname, params)) \
    X(void, DeleteShader, (GLuint shader), (shader)) \
    X(GLuint, CreateProgram, (), ()) \
    X(void, AttachShader, (GLuint program, GLuint shader), (program, shader)) \
    X(void, BindAttribLocation, (GLuint program, GLuint index, const GLchar* name), \
      (program, index, name)) \
    X(GLint, GetAttribLocation, (GLuint program, const GLchar* name), (program, name)) \
    X(void, LinkProgram, (GLuint program), (program)) \
    X(void, GetProgramiv, (GLuint program, GLenum pname, GLint* params), (program, pname, params)) \
    X(void, UseProgram, (GLuint program), (program)) \
    X(void, DeleteProgram, (GLuint program), (program)) \
    X(GLint, GetUniformLocation, (GLuint program, const GLchar* name), (program, name)) \
    X(void, Uniform1i, (GLint location, GLint v0), (location, v0)) \
    X(void, Uniform4f, (GLint location, GLfloat v0, GLfloat v1, GLfloat v2, GLfloat v3), \
      (location, v0, v1, v2, v3)) \
    X(void, UniformMatrix2fv, (GLint location, GLsizei count, GLboolean transpose, \
                               const GLfloat* value), (location, count, transpose, value)) \
    X(void, UniformMatrix4fv, (GLint location, GLsizei count, GLboolean transpose, \
                               const GLfloat* value), (location, count, transpose, value)) \
    X(void, TexParameteri, (GLenum target, GLenum pname, GLint param), (target, pname, param)) \
    X(void, TexImage2D, (GLenum target, GLint level, GLint internalformat, GLsizei width, \
                         GLsizei height, GLint border, GLenum format, GLenum type, \
                         const void* pixels), \
      (target, level, internalformat, width, height, border, format, type, pixels)) \
    X(void, Enable, (GLenum cap), (cap)) \
    X(void, Disable, (GLenum cap), (cap)) \
    X(void, BlendColor, (GLfloat red, GLfloat green, GLfloat blue, GLfloat alpha), \
      (red, green, blue, alpha)) \
    X(void, BlendEquation, (GLenum mode), (mode)) \
    X(void, BlendFunc, (GLenum sfactor, GLenum dfactor), (sfactor, dfactor)) \
    X(void, Viewport, (GLint x, GLint y, GLsizei width, GLsizei height), (x, y, width, height)) \
    X(void, ClearColor, (GLfloat red, GLfloat green, GLfloat blue, GLfloat alpha), \
      (red, green, blue, alpha)) \
    X(void, Clear, (GLbitfield mask), (mask)) \
    X(void, EnableVertexAttribArray, (GLuint index), (index)) \
    X(void, DisableVertexAttribArray, (GLuint index), (index)) \
    X(void, VertexAttribPointer, (GLuint index, GLint size, GLenum type, GLboolean normalized, \
                                  GLsizei stride, const void* pointer), \
      (index, size, type, normalized, stride, pointer)) \
    X(void, DrawArrays, (GLenum mode, GLint first, GLsizei count), (mode, first, count))
// clang-format on

struct GlCalls {
#define VELKARIS_GL_MEMBER(result, name, parameters, arguments) \
    result(GL_APIENTRY* name) parameters;
    VELKARIS_GL_CALLS(VELKARIS_GL_MEMBER)
#undef VELKARIS_GL_MEMBER
};
