#include "renderer/cpu/cpuCalls.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <new>
#include <utility>

#include "renderer/cpu/context.h"
#include "renderer/cpu/programCalls.h"

namespace {

constexpr int32_t kFarthestViewport = 1 << 20;
constexpr int32_t kUnpackAlignment = 4;  // bytes; rows of an upload begin at multiples of it

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
                        std::min(width, kLargestPicture), std::min(height, kLargestPicture)};
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
    Paint paint{};
    paint.isMixed = context.isBlending && context.sourceFactor == GL_CONSTANT_COLOR;
    paint.constant = paint.isMixed ? context.blendColour : 0;
    if (isTextured)
        paint.texture = context.textureNumber;
    else
        paint.colour = pixelOf(program.colour[0], program.colour[1], program.colour[2]);
    context.record->add(paint, rectangle, context.texture);
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
        context.record->giveUp();
        fail(GL_OUT_OF_MEMORY);
    }
}

GlCalls allCalls() {
    GlCalls calls{};
    setProgramCalls(&calls);
    calls.GetError = getError;
    calls.GetIntegerv = getIntegerv;
    calls.TexParameteri = texParameteri;
    calls.TexImage2D = texImage2D;
    calls.Enable = enable;
    calls.Disable = disable;
    calls.BlendColor = blendColor;
    calls.BlendEquation = blendEquation;
    calls.BlendFunc = blendFunc;
    calls.Viewport = viewport;
    calls.ClearColor = clearColor;
    calls.Clear = clear;
    calls.EnableVertexAttribArray = enableVertexAttribArray;
    calls.DisableVertexAttribArray = disableVertexAttribArray;
    calls.VertexAttribPointer = vertexAttribPointer;
    calls.DrawArrays = drawArrays;
    return calls;
}

}  // namespace

void startCpuDrawing(const PixelSize& surface, FrameRecord* record) {
    context = {};
    context.surface = surface;
    context.viewport = {0, 0, surface.width, surface.height};
    context.record = record;
}

const GlCalls* cpuCalls() {
    static const GlCalls calls = allCalls();
    return &calls;
}
