// The console's two programs on one renderer, and shorthands for what a test draws with them.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "renderer/renderer.h"

extern const char* const kTexturedVertexShader;
extern const char* const kSolidVertexShader;
extern const char* const kTexturedFragmentShader;
extern const char* const kSolidFragmentShader;

constexpr GLuint kPositionSlot = 0;
constexpr GLuint kTexCoordSlot = 2;

using Points = std::array<float, 8>;   // x and y of four vertices
using Pixels = std::vector<uint32_t>;  // 0xffRRGGBB, rows from the top

// Two triangles from the left edge to the right one; y upwards.
Points box(float left, float bottom, float right, float top);

class Drawing {
public:
    // Opens the renderer, makes a picture of that size and the programs. Nothing is left of what
    // was drawn with the renderer before. Throws std::runtime_error.
    Drawing(const Renderer& renderer, const PixelSize& size);

    const GlCalls& gl;
    const Picture* const picture;
    GLuint solid, textured;

    GLuint compile(GLenum type, const char* source) const;
    GLuint link(const char* vertexSource, const char* fragmentSource) const;

    // Sizes count from the bottom left corner, as the service's do.
    void clear(uint32_t rgb) const;
    void fill(const Points& corners, uint32_t rgb) const;
    void image(const Points& corners, const Points& texels) const;
    // One texel a pixel, with the texel (u, v) at the top left.
    void image(int x, int y, int width, int height, int u, int v) const;

    void upload(GLenum format, int width, int height, const std::vector<uint8_t>& texels);
    void mixWith(uint32_t rgb) const;
    void stopMixing() const;

    // The finished frame.
    Pixels present() const;

private:
    void useTransform(GLuint program) const;

    const Renderer& renderer_;
    PixelSize size_;
    int textureWidth_ = 0, textureHeight_ = 0;
};
