#include "renderer/cpu/cpuCalls.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <map>
#include <new>
#include <utility>

#include "renderer/cpu/drawing.h"
#include "renderer/cpu/programs.h"

namespace {

constexpr GLuint kSlots = 8;  // vertex attribute arrays, the least that a GL has
constexpr int32_t kLargestSide = 32767;
constexpr int32_t kFarthestViewport = 1 << 20;
constexpr int32_t kUnpackAlignment = 4;  // bytes; rows of an upload begin at multiples of it

struct AttributeArray {
    bool isEnabled = false;
    GLint size = 4;  // floats a vertex
    size_t stride = 0;
    const uint8_t* data = nullptr;
};

struct Context {
    PixelSize surface{};
    FrameRecord* record = nullptr;
    GLenum error = GL_NO_ERROR;
    Viewport viewport{};
    uint32_t clearColour = 0xff000000;

    bool isBlending = false;
    GLenum sourceFactor = GL_ONE, targetFactor = GL_ZERO;
    uint32_t blendColour = 0xff000000;

    std::array<AttributeArray, kSlots> arrays;

    GLuint lastName = 0;  // of shaders and programs, which share theirs
    std::map<GLuint, std::shared_ptr<Shader>> shaders;
    std::map<GLuint, std::shared_ptr<Program>> programs;
    std::shared_ptr<Program> used;

    std::shared_ptr<const Texture> texture = std::make_shared<Texture>();
    uint32_t textureNumber = 0;  // a new one for each upload
    bool isSampledNearest = false;
};

Context context;

void fail(GLenum error) {
    if (context.error == GL_NO_ERROR)
        context.error = error;
}

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

uint32_t channel(GLfloat value) {
    return static_cast<uint32_t>(std::lround(std::clamp(value, 0.0f, 1.0f) * 255.0f));
}

uint32_t pixelOf(GLfloat red, GLfloat green, GLfloat blue) {
    return 0xff000000 | channel(red) << 16 | channel(green) << 8 | channel(blue);
}

GLenum getError() {
    return std::exchange(context.error, GL_NO_ERROR);
}

void getIntegerv(GLenum pname, GLint* data) {
    if (pname == GL_MAX_TEXTURE_SIZE) {
        *data = kLargestTexture;
    } else if (pname == GL_VIEWPORT) {
        const Viewport& viewport = context.viewport;
        const GLint values[] = {viewport.x, viewport.y, viewport.width, viewport.height};
        std::copy(std::begin(values), std::end(values), data);
    } else {
        fail(GL_INVALID_ENUM);
    }
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

void texParameteri(GLenum target, GLenum pname, GLint param) {
    const bool isFilter = pname == GL_TEXTURE_MIN_FILTER || pname == GL_TEXTURE_MAG_FILTER;
    if (target != GL_TEXTURE_2D || !isFilter || param != GL_NEAREST)
        return fail(GL_INVALID_ENUM);
    // A texture is looked at in its own size: the smaller filter decides whether it is complete.
    if (pname == GL_TEXTURE_MIN_FILTER)
        context.isSampledNearest = true;
}

std::vector<uint8_t> unpackRows(const uint8_t* from, size_t rowBytes, size_t rows) {
    std::vector<uint8_t> texels(rowBytes * rows);
    const size_t stride = (rowBytes + kUnpackAlignment - 1) / kUnpackAlignment * kUnpackAlignment;
    for (size_t row = 0; from && row < rows; ++row)
        std::copy_n(from + row * stride, rowBytes, texels.data() + row * rowBytes);
    return texels;
}

void texImage2D(GLenum target, GLint level, GLint internalFormat, GLsizei width, GLsizei height,
                GLint border, GLenum format, GLenum type, const void* pixels) {
    const bool isKnown = format == GL_LUMINANCE || format == GL_RGBA;
    if (target != GL_TEXTURE_2D || !isKnown || type != GL_UNSIGNED_BYTE)
        return fail(GL_INVALID_ENUM);
    if (level != 0 || border != 0 || width < 0 || height < 0 || width > kLargestTexture ||
        height > kLargestTexture)
        return fail(GL_INVALID_VALUE);
    if (static_cast<GLenum>(internalFormat) != format)
        return fail(GL_INVALID_OPERATION);
    const size_t rowBytes = static_cast<size_t>(width) * (format == GL_RGBA ? 4 : 1);
    try {
        context.texture =
            std::make_shared<Texture>(Texture{format, width, height,
                                              unpackRows(static_cast<const uint8_t*>(pixels),
                                                         rowBytes, static_cast<size_t>(height))});
        ++context.textureNumber;
    } catch (const std::bad_alloc&) {
        fail(GL_OUT_OF_MEMORY);
    }
}

void setBlending(GLenum capability, bool isOn) {
    if (capability != GL_BLEND)
        return fail(GL_INVALID_ENUM);
    context.isBlending = isOn;
}

void enable(GLenum capability) {
    setBlending(capability, true);
}

void disable(GLenum capability) {
    setBlending(capability, false);
}

void blendColor(GLfloat red, GLfloat green, GLfloat blue, GLfloat) {
    context.blendColour = pixelOf(red, green, blue);
}

void blendEquation(GLenum mode) {
    if (mode != GL_FUNC_ADD)
        fail(GL_INVALID_ENUM);
}

void blendFunc(GLenum source, GLenum target) {
    const bool mixes = source == GL_CONSTANT_COLOR && target == GL_ONE_MINUS_SRC_COLOR;
    const bool replaces = source == GL_ONE && target == GL_ZERO;
    if (!mixes && !replaces)
        return fail(GL_INVALID_ENUM);
    context.sourceFactor = source;
    context.targetFactor = target;
}

void viewport(GLint x, GLint y, GLsizei width, GLsizei height) {
    if (width < 0 || height < 0)
        return fail(GL_INVALID_VALUE);
    context.viewport = {std::clamp(x, -kFarthestViewport, kFarthestViewport),
                        std::clamp(y, -kFarthestViewport, kFarthestViewport),
                        std::min(width, kLargestSide), std::min(height, kLargestSide)};
}

void clearColor(GLfloat red, GLfloat green, GLfloat blue, GLfloat) {
    context.clearColour = pixelOf(red, green, blue);
}

// Whatever the viewport is: it does not limit a clear.
void clear(GLbitfield mask) {
    constexpr GLbitfield kBuffers =
        GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT;
    if (mask & ~kBuffers)
        return fail(GL_INVALID_VALUE);
    if (mask & GL_COLOR_BUFFER_BIT)
        context.record->clear(context.clearColour);
}

void enableArray(GLuint index, bool isOn) {
    if (index >= kSlots)
        return fail(GL_INVALID_VALUE);
    context.arrays[index].isEnabled = isOn;
}

void enableVertexAttribArray(GLuint index) {
    enableArray(index, true);
}

void disableVertexAttribArray(GLuint index) {
    enableArray(index, false);
}

void vertexAttribPointer(GLuint index, GLint size, GLenum type, GLboolean, GLsizei stride,
                         const void* pointer) {
    if (index >= kSlots || size < 1 || size > 4 || stride < 0)
        return fail(GL_INVALID_VALUE);
    if (type != GL_FLOAT)
        return fail(GL_INVALID_ENUM);
    AttributeArray& array = context.arrays[index];
    array.size = size;
    array.stride =
        stride != 0 ? static_cast<size_t>(stride) : static_cast<size_t>(size) * sizeof(float);
    array.data = static_cast<const uint8_t*>(pointer);
}

// What a vertex has of an attribute; what is not fed is 0, 0, 0, 1.
std::array<float, 4> attribute(GLint slot, size_t vertex) {
    std::array<float, 4> value{0, 0, 0, 1};
    const AttributeArray& array = context.arrays[static_cast<size_t>(slot)];
    if (array.isEnabled && array.data)
        std::memcpy(value.data(), array.data + vertex * array.stride,
                    static_cast<size_t>(array.size) * sizeof(float));
    return value;
}

Strip fetchStrip(const Program& program, size_t first) {
    Strip strip{};
    for (size_t i = 0; i < strip.size(); ++i) {
        strip[i].position = attribute(program.positionSlot, first + i);
        if (program.kind != ProgramKind::textured)
            continue;
        const std::array<float, 4> texCoord = attribute(program.texCoordSlot, first + i);
        strip[i].texCoord = {texCoord[0], texCoord[1]};
    }
    return strip;
}

bool isPowerOfTwo(int32_t value) {
    return value > 0 && (value & (value - 1)) == 0;
}

// One that is not complete samples as black, which the textured program drops.
bool isTextureSeen(const Program& program) {
    return program.textureUnit == 0 && context.isSampledNearest &&
           isPowerOfTwo(context.texture->width) && isPowerOfTwo(context.texture->height);
}

void drawStrip(const Program& program, const Strip& strip) {
    const bool isTextured = program.kind == ProgramKind::textured;
    if (isTextured && !isTextureSeen(program))
        return;
    const PixelSize image =
        isTextured ? PixelSize{context.texture->width, context.texture->height} : PixelSize{0, 0};
    Rectangle rectangle{};
    const StripShape shape = placeStrip(strip, {program.transform, program.textureTransform},
                                        context.viewport, context.surface, image, &rectangle);
    if (shape == StripShape::other)
        return fail(GL_INVALID_OPERATION);
    if (shape == StripShape::empty)
        return;
    const bool mixes = context.isBlending && context.sourceFactor == GL_CONSTANT_COLOR;
    if (mixes)
        rectangle.constant = context.blendColour;
    if (isTextured) {
        rectangle.fill = mixes ? Fill::mixedTexels : Fill::texels;
        rectangle.texture = context.textureNumber;
    } else {
        rectangle.fill = mixes ? Fill::mixedColour : Fill::colour;
        rectangle.colour = pixelOf(program.colour[0], program.colour[1], program.colour[2]);
    }
    context.record->add(rectangle, context.texture);
}

void drawArrays(GLenum mode, GLint first, GLsizei count) {
    if (mode != GL_TRIANGLE_STRIP)
        return fail(GL_INVALID_ENUM);
    if (first < 0 || count < 0)
        return fail(GL_INVALID_VALUE);
    if (!context.used || count < 3)
        return;
    if (static_cast<size_t>(count) != Strip().size())
        return fail(GL_INVALID_OPERATION);
    try {
        drawStrip(*context.used, fetchStrip(*context.used, static_cast<size_t>(first)));
    } catch (const std::bad_alloc&) {
        fail(GL_OUT_OF_MEMORY);
    }
}

constexpr GlCalls kCalls = {
    getError,
    getIntegerv,
    createShader,
    shaderSource,
    compileShader,
    getShaderiv,
    deleteShader,
    createProgram,
    attachShader,
    bindAttribLocation,
    getAttribLocation,
    linkNamedProgram,
    getProgramiv,
    useProgram,
    deleteProgram,
    getUniformLocation,
    uniform1i,
    uniform4f,
    uniformMatrix2fv,
    uniformMatrix4fv,
    texParameteri,
    texImage2D,
    enable,
    disable,
    blendColor,
    blendEquation,
    blendFunc,
    viewport,
    clearColor,
    clear,
    enableVertexAttribArray,
    disableVertexAttribArray,
    vertexAttribPointer,
    drawArrays,
};

}  // namespace

void startCpuDrawing(const PixelSize& surface, FrameRecord* record) {
    context = {};
    context.surface = surface;
    context.viewport = {0, 0, surface.width, surface.height};
    context.record = record;
}

const GlCalls* cpuCalls() {
    return &kCalls;
}
