// OpenGL ES 2.0 without a GPU: records each call, keeps what was uploaded and drawn, and fails
// where a test says so.
#pragma once

#include <GLES2/gl2.h>

#include <array>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

// Four vertices as the arrays held them at the draw; texels are zero while array 2 is off.
struct DrawnQuad {
    std::array<float, 12> corners;
    std::array<float, 8> texels;
};

// What follows one glUseProgram: the state it was drawn with, and its quads.
struct Drawing {
    GLuint program;
    bool blending;
    std::array<float, 4> blendColour;
    std::array<float, 4> solidColour;       // u_fColor
    std::array<float, 4> textureTransform;  // u_fTransform, column by column
    std::array<float, 16> pixelTransform;   // u_vTransform, column by column
    std::vector<DrawnQuad> quads;
};

struct TextureImage {
    GLint internalFormat;
    GLsizei width;
    GLsizei height;
    GLenum format;
    std::vector<uint8_t> bytes;
};

struct FakeGl {
    // Scripted. Shaders and programs are counted from 0 in the order of their creation.
    std::set<int> shadersNotCreated;
    std::set<int> shadersNotCompiled;
    std::set<int> programsNotCreated;
    std::set<int> programsNotLinked;
    std::array<GLint, 4> viewport = {0, 0, 1280, 480};

    // Recorded.
    int shaderCount = 0;
    int programCount = 0;
    std::vector<std::string> shaderSources;
    std::vector<TextureImage> textures;  // each upload, the newest last
    std::vector<Drawing> drawings;
    std::set<GLuint> enabledArrays;
    std::array<const float*, 3> arrays = {};
    bool blending = false;
    std::array<float, 4> blendColour = {};
};

// Names that the fake gives out: shader n is kFirstShader + n, program n is kFirstProgram + n.
constexpr GLuint kFirstShader = 101;
constexpr GLuint kFirstProgram = 201;

extern FakeGl fakeGl;
