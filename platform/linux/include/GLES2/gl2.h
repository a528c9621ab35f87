// OpenGL ES 2.0, the part that the service uses, with the standard's names and values.
//
// With the renderer "gl" every call goes to the machine's own library. The renderer "cpu" draws
// what a console draws and nothing else:
// - It knows the console's two programs by their sources, blanks aside. Another source does not
//   compile, and another pair of shaders does not link: the status is 0, as any GL says it.
// - It draws triangle strips of four vertices that make a rectangle along the axes, with texels
//   along them too; other shapes are GL_INVALID_OPERATION, other modes GL_INVALID_ENUM.
// - It has texture object 0 of unit 0, level 0, luminance or RGBA, sampled at the nearest texel and
//   repeated; vertices are floats; it blends by the constant colour and one minus the source's.
//   Other values of these kinds are GL_INVALID_ENUM.
// Sizes: textures up to 16384 a side, surfaces up to 32767.
//
// Nothing happens without a current context. All of it belongs to the thread that draws.
#pragma once

#include <KHR/khrplatform.h>

#define GL_APICALL
#define GL_APIENTRY

typedef char GLchar;
typedef unsigned char GLboolean;
typedef unsigned int GLbitfield;
typedef unsigned int GLenum;
typedef int GLint;
typedef int GLsizei;
typedef unsigned int GLuint;
typedef void GLvoid;
typedef khronos_float_t GLfloat;
typedef khronos_uint8_t GLubyte;

#define GL_FALSE 0
#define GL_TRUE 1

// What glGetError says.
#define GL_NO_ERROR 0
#define GL_INVALID_ENUM 0x0500
#define GL_INVALID_VALUE 0x0501
#define GL_INVALID_OPERATION 0x0502
#define GL_OUT_OF_MEMORY 0x0505

#define GL_DEPTH_BUFFER_BIT 0x00000100
#define GL_STENCIL_BUFFER_BIT 0x00000400
#define GL_COLOR_BUFFER_BIT 0x00004000

#define GL_TRIANGLE_STRIP 0x0005

#define GL_ZERO 0
#define GL_ONE 1
#define GL_ONE_MINUS_SRC_COLOR 0x0301
#define GL_CONSTANT_COLOR 0x8001
#define GL_FUNC_ADD 0x8006

#define GL_VIEWPORT 0x0BA2
#define GL_MAX_TEXTURE_SIZE 0x0D33
#define GL_TEXTURE_2D 0x0DE1
#define GL_BLEND 0x0BE2

#define GL_UNSIGNED_BYTE 0x1401
#define GL_FLOAT 0x1406

#define GL_RGBA 0x1908
#define GL_LUMINANCE 0x1909

#define GL_NEAREST 0x2600
#define GL_TEXTURE_MAG_FILTER 0x2800
#define GL_TEXTURE_MIN_FILTER 0x2801

#define GL_FRAGMENT_SHADER 0x8B30
#define GL_VERTEX_SHADER 0x8B31
#define GL_SHADER_TYPE 0x8B4F
#define GL_COMPILE_STATUS 0x8B81
#define GL_LINK_STATUS 0x8B82

#ifdef __cplusplus
extern "C" {
#endif

// GL_NO_ERROR, or the first error since the last call.
GL_APICALL GLenum GL_APIENTRY glGetError(void);
GL_APICALL void GL_APIENTRY glGetIntegerv(GLenum pname, GLint* data);

GL_APICALL GLuint GL_APIENTRY glCreateShader(GLenum type);
GL_APICALL void GL_APIENTRY glShaderSource(GLuint shader, GLsizei count,
                                           const GLchar* const* string, const GLint* length);
GL_APICALL void GL_APIENTRY glCompileShader(GLuint shader);
GL_APICALL void GL_APIENTRY glGetShaderiv(GLuint shader, GLenum pname, GLint* params);
GL_APICALL void GL_APIENTRY glDeleteShader(GLuint shader);

GL_APICALL GLuint GL_APIENTRY glCreateProgram(void);
GL_APICALL void GL_APIENTRY glAttachShader(GLuint program, GLuint shader);
GL_APICALL void GL_APIENTRY glBindAttribLocation(GLuint program, GLuint index, const GLchar* name);
GL_APICALL GLint GL_APIENTRY glGetAttribLocation(GLuint program, const GLchar* name);
GL_APICALL void GL_APIENTRY glLinkProgram(GLuint program);
GL_APICALL void GL_APIENTRY glGetProgramiv(GLuint program, GLenum pname, GLint* params);
GL_APICALL void GL_APIENTRY glUseProgram(GLuint program);
GL_APICALL void GL_APIENTRY glDeleteProgram(GLuint program);

GL_APICALL GLint GL_APIENTRY glGetUniformLocation(GLuint program, const GLchar* name);
GL_APICALL void GL_APIENTRY glUniform1i(GLint location, GLint v0);
GL_APICALL void GL_APIENTRY glUniform4f(GLint location, GLfloat v0, GLfloat v1, GLfloat v2,
                                        GLfloat v3);
GL_APICALL void GL_APIENTRY glUniformMatrix2fv(GLint location, GLsizei count, GLboolean transpose,
                                               const GLfloat* value);
GL_APICALL void GL_APIENTRY glUniformMatrix4fv(GLint location, GLsizei count, GLboolean transpose,
                                               const GLfloat* value);

GL_APICALL void GL_APIENTRY glTexParameteri(GLenum target, GLenum pname, GLint param);
GL_APICALL void GL_APIENTRY glTexImage2D(GLenum target, GLint level, GLint internalformat,
                                         GLsizei width, GLsizei height, GLint border, GLenum format,
                                         GLenum type, const void* pixels);

GL_APICALL void GL_APIENTRY glEnable(GLenum cap);
GL_APICALL void GL_APIENTRY glDisable(GLenum cap);
GL_APICALL void GL_APIENTRY glBlendColor(GLfloat red, GLfloat green, GLfloat blue, GLfloat alpha);
GL_APICALL void GL_APIENTRY glBlendEquation(GLenum mode);
GL_APICALL void GL_APIENTRY glBlendFunc(GLenum sfactor, GLenum dfactor);

GL_APICALL void GL_APIENTRY glViewport(GLint x, GLint y, GLsizei width, GLsizei height);
GL_APICALL void GL_APIENTRY glClearColor(GLfloat red, GLfloat green, GLfloat blue, GLfloat alpha);
GL_APICALL void GL_APIENTRY glClear(GLbitfield mask);

// The pointers are to client memory and are read at each draw.
GL_APICALL void GL_APIENTRY glEnableVertexAttribArray(GLuint index);
GL_APICALL void GL_APIENTRY glDisableVertexAttribArray(GLuint index);
GL_APICALL void GL_APIENTRY glVertexAttribPointer(GLuint index, GLint size, GLenum type,
                                                  GLboolean normalized, GLsizei stride,
                                                  const void* pointer);
GL_APICALL void GL_APIENTRY glDrawArrays(GLenum mode, GLint first, GLsizei count);

#ifdef __cplusplus
}
#endif
