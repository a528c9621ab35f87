// The state of the one context of the renderer that draws without a GPU, as OpenGL ES 2.0 has it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>

#include "renderer/cpu/drawing.h"
#include "renderer/cpu/frameRecord.h"
#include "renderer/cpu/programs.h"

constexpr GLuint kSlots = 8;  // vertex attribute arrays, the least that a GL has

struct AttributeArray {
    bool isEnabled = false;
    GLint size = 4;  // floats a vertex
    size_t stride = 0;
    const uint8_t* data = nullptr;  // borrowed, read at each draw
};

struct Context {
    PixelSize surface{};
    FrameRecord* record = nullptr;  // borrowed
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

extern Context context;

// Keeps the first error until it is asked for.
void fail(GLenum error);
