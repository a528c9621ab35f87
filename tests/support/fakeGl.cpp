#include "support/fakeGl.h"

#include <algorithm>
#include <cstring>

#include "support/callLog.h"

FakeGl fakeGl;

namespace {

struct EnumName {
    GLenum value;
    const char* name;
};

// The names that the service uses; each value occurs once among them.
constexpr EnumName kEnumNames[] = {
    {GL_VERTEX_SHADER, "GL_VERTEX_SHADER"},
    {GL_FRAGMENT_SHADER, "GL_FRAGMENT_SHADER"},
    {GL_COMPILE_STATUS, "GL_COMPILE_STATUS"},
    {GL_LINK_STATUS, "GL_LINK_STATUS"},
    {GL_TEXTURE_2D, "GL_TEXTURE_2D"},
    {GL_TEXTURE_MIN_FILTER, "GL_TEXTURE_MIN_FILTER"},
    {GL_TEXTURE_MAG_FILTER, "GL_TEXTURE_MAG_FILTER"},
    {GL_NEAREST, "GL_NEAREST"},
    {GL_LUMINANCE, "GL_LUMINANCE"},
    {GL_RGBA, "GL_RGBA"},
    {GL_UNSIGNED_BYTE, "GL_UNSIGNED_BYTE"},
    {GL_FLOAT, "GL_FLOAT"},
    {GL_BLEND, "GL_BLEND"},
    {GL_CONSTANT_COLOR, "GL_CONSTANT_COLOR"},
    {GL_ONE_MINUS_SRC_COLOR, "GL_ONE_MINUS_SRC_COLOR"},
    {GL_FUNC_ADD, "GL_FUNC_ADD"},
    {GL_TRIANGLE_STRIP, "GL_TRIANGLE_STRIP"},
    {GL_COLOR_BUFFER_BIT, "GL_COLOR_BUFFER_BIT"},
    {GL_VIEWPORT, "GL_VIEWPORT"},
};

const char* nameOf(GLenum value) {
    for (const EnumName& entry : kEnumNames) {
        if (entry.value == value)
            return entry.name;
    }
    return "GL_UNEXPECTED";
}

const char* const kUniforms[] = {"u_vTransform", "u_fColor", "u_sTexture", "u_fTransform"};

const char* uniformAt(GLint location) {
    return location >= 0 && location < 4 ? kUniforms[location] : "no uniform";
}

const char* truth(GLboolean value) {
    return value == GL_FALSE ? "GL_FALSE" : "GL_TRUE";
}

Drawing& currentDrawing() {
    if (fakeGl.drawings.empty())
        fakeGl.drawings.emplace_back();
    return fakeGl.drawings.back();
}

size_t pixelBytes(GLenum format) {
    return format == GL_RGBA ? 4 : 1;
}

}  // namespace

GLuint glCreateShader(GLenum type) {
    recordCall("glCreateShader(%s)", nameOf(type));
    const int index = fakeGl.shaderCount++;
    fakeGl.shaderSources.emplace_back();
    return fakeGl.shadersNotCreated.count(index) ? 0 : kFirstShader + index;
}

void glShaderSource(GLuint shader, GLsizei count, const GLchar* const* strings,
                    const GLint* lengths) {
    recordCall("glShaderSource(%u, %d, %s)", shader, count, lengths ? "lengths" : "null");
    if (shader >= kFirstShader && count == 1)
        fakeGl.shaderSources[shader - kFirstShader] = strings[0];
}

void glCompileShader(GLuint shader) {
    recordCall("glCompileShader(%u)", shader);
}

void glGetShaderiv(GLuint shader, GLenum name, GLint* value) {
    recordCall("glGetShaderiv(%u, %s)", shader, nameOf(name));
    *value = fakeGl.shadersNotCompiled.count(static_cast<int>(shader - kFirstShader)) ? 0 : 1;
}

void glDeleteShader(GLuint shader) {
    recordCall("glDeleteShader(%u)", shader);
}

GLuint glCreateProgram() {
    recordCall("glCreateProgram()");
    const int index = fakeGl.programCount++;
    return fakeGl.programsNotCreated.count(index) ? 0 : kFirstProgram + index;
}

void glAttachShader(GLuint program, GLuint shader) {
    recordCall("glAttachShader(%u, %u)", program, shader);
}

void glBindAttribLocation(GLuint program, GLuint index, const GLchar* name) {
    recordCall("glBindAttribLocation(%u, %u, %s)", program, index, name);
}

void glLinkProgram(GLuint program) {
    recordCall("glLinkProgram(%u)", program);
}

void glGetProgramiv(GLuint program, GLenum name, GLint* value) {
    recordCall("glGetProgramiv(%u, %s)", program, nameOf(name));
    *value = fakeGl.programsNotLinked.count(static_cast<int>(program - kFirstProgram)) ? 0 : 1;
}

void glDeleteProgram(GLuint program) {
    recordCall("glDeleteProgram(%u)", program);
}

void glTexParameteri(GLenum target, GLenum name, GLint value) {
    recordCall("glTexParameteri(%s, %s, %s)", nameOf(target), nameOf(name), nameOf(value));
}

void glTexImage2D(GLenum target, GLint level, GLint internalFormat, GLsizei width, GLsizei height,
                  GLint border, GLenum format, GLenum type, const void* pixels) {
    recordCall("glTexImage2D(%s, %d, %s, %d, %d, %d, %s, %s)", nameOf(target), level,
               nameOf(internalFormat), width, height, border, nameOf(format), nameOf(type));
    TextureImage image = {internalFormat, width, height, format, {}};
    const uint8_t* first = static_cast<const uint8_t*>(pixels);
    if (first)
        image.bytes.assign(first, first + static_cast<size_t>(width) * height * pixelBytes(format));
    fakeGl.textures.push_back(image);
}

void glGetIntegerv(GLenum name, GLint* values) {
    recordCall("glGetIntegerv(%s)", nameOf(name));
    if (name == GL_VIEWPORT)
        std::copy(fakeGl.viewport.begin(), fakeGl.viewport.end(), values);
}

void glViewport(GLint x, GLint y, GLsizei width, GLsizei height) {
    recordCall("glViewport(%d, %d, %d, %d)", x, y, width, height);
}

void glClearColor(GLfloat red, GLfloat green, GLfloat blue, GLfloat alpha) {
    recordCall("glClearColor(%.9g, %.9g, %.9g, %.9g)", red, green, blue, alpha);
}

void glClear(GLbitfield mask) {
    recordCall("glClear(%s)", nameOf(mask));
}

void glEnable(GLenum capability) {
    recordCall("glEnable(%s)", nameOf(capability));
    fakeGl.blending |= capability == GL_BLEND;
}

void glDisable(GLenum capability) {
    recordCall("glDisable(%s)", nameOf(capability));
    fakeGl.blending &= capability != GL_BLEND;
}

void glBlendFunc(GLenum source, GLenum destination) {
    recordCall("glBlendFunc(%s, %s)", nameOf(source), nameOf(destination));
}

void glBlendEquation(GLenum mode) {
    recordCall("glBlendEquation(%s)", nameOf(mode));
}

void glBlendColor(GLfloat red, GLfloat green, GLfloat blue, GLfloat alpha) {
    recordCall("glBlendColor(%.9g, %.9g, %.9g, %.9g)", red, green, blue, alpha);
    fakeGl.blendColour = {red, green, blue, alpha};
}

void glUseProgram(GLuint program) {
    recordCall("glUseProgram(%u)", program);
    fakeGl.drawings.push_back({program, fakeGl.blending, fakeGl.blendColour, {}, {}, {}, {}});
}

GLint glGetUniformLocation(GLuint program, const GLchar* name) {
    recordCall("glGetUniformLocation(%u, %s)", program, name);
    for (GLint location = 0; location < 4; ++location) {
        if (strcmp(name, kUniforms[location]) == 0)
            return location;
    }
    return -1;
}

void glUniform1i(GLint location, GLint value) {
    recordCall("glUniform1i(%s, %d)", uniformAt(location), value);
}

void glUniform4f(GLint location, GLfloat x, GLfloat y, GLfloat z, GLfloat w) {
    recordCall("glUniform4f(%s, %.9g, %.9g, %.9g, %.9g)", uniformAt(location), x, y, z, w);
    currentDrawing().solidColour = {x, y, z, w};
}

void glUniformMatrix2fv(GLint location, GLsizei count, GLboolean transpose, const GLfloat* value) {
    recordCall("glUniformMatrix2fv(%s, %d, %s)", uniformAt(location), count, truth(transpose));
    std::copy(value, value + 4, currentDrawing().textureTransform.begin());
}

void glUniformMatrix4fv(GLint location, GLsizei count, GLboolean transpose, const GLfloat* value) {
    recordCall("glUniformMatrix4fv(%s, %d, %s)", uniformAt(location), count, truth(transpose));
    std::copy(value, value + 16, currentDrawing().pixelTransform.begin());
}

void glEnableVertexAttribArray(GLuint index) {
    recordCall("glEnableVertexAttribArray(%u)", index);
    fakeGl.enabledArrays.insert(index);
}

void glDisableVertexAttribArray(GLuint index) {
    recordCall("glDisableVertexAttribArray(%u)", index);
    fakeGl.enabledArrays.erase(index);
}

void glVertexAttribPointer(GLuint index, GLint size, GLenum type, GLboolean normalised,
                           GLsizei stride, const void* pointer) {
    recordCall("glVertexAttribPointer(%u, %d, %s, %s, %d)", index, size, nameOf(type),
               truth(normalised), stride);
    fakeGl.arrays.at(index) = static_cast<const float*>(pointer);
}

// Reads the arrays at the draw, as GL does with client memory.
void glDrawArrays(GLenum mode, GLint first, GLsizei count) {
    recordCall("glDrawArrays(%s, %d, %d)", nameOf(mode), first, count);
    DrawnQuad quad = {};
    if (fakeGl.enabledArrays.count(0))
        std::copy(fakeGl.arrays[0], fakeGl.arrays[0] + 12, quad.corners.begin());
    if (fakeGl.enabledArrays.count(2))
        std::copy(fakeGl.arrays[2], fakeGl.arrays[2] + 8, quad.texels.begin());
    currentDrawing().quads.push_back(quad);
}
