// What the two programs make of single texels and bars: the service's drawing on the real OpenGL.
#include <GLES2/gl2.h>
#include <gmock/gmock.h>

#include <array>
#include <cstdlib>
#include <vector>

#include "display/displayable.h"
#include "gfx/renderContext.h"
#include "gfx/shaderPrograms.h"
#include "gfx/solidBar.h"
#include "text/fontAtlas.h"

namespace {

using ::testing::Each;
using ::testing::ElementsAre;

constexpr int kWidth = 48;
constexpr int kHeight = 8;

using Pixel = std::array<uint8_t, 3>;
constexpr Pixel kGround = {10, 20, 30};

class ShaderPictures : public testing::Test {
protected:
    // One a process, as in the service.
    static void SetUpTestSuite() {
        setenv("VELKARIS_WINDOW", "headless:48x8", 1);
        unsetenv("VELKARIS_CAPTURE");
        ASSERT_EQ(CDisplayable::getInstance()->init(), 1);
        createRenderContext(kWidth, kHeight);
        ASSERT_EQ(createShaderPrograms(), 1);
    }

    void SetUp() override {
        fontAtlas.lineHeight = 4;
        glClearColor(kGround[0] / 255.0f, kGround[1] / 255.0f, kGround[2] / 255.0f, 1);
        glClear(GL_COLOR_BUFFER_BIT);
    }

    // The pixels of one row, from the left edge on.
    static std::vector<Pixel> row(int y) {
        std::vector<std::array<uint8_t, 4>> rgba(kWidth);
        glReadPixels(0, y, kWidth, 1, GL_RGBA, GL_UNSIGNED_BYTE, rgba.data());
        std::vector<Pixel> pixels;
        for (const auto& each : rgba)
            pixels.push_back({each[0], each[1], each[2]});
        return pixels;
    }
};

GLint slotOf(GLuint program, const char* name) {
    return glGetAttribLocation(program, name);
}

}  // namespace

TEST_F(ShaderPictures, TheLinkerPutsPositionsWhereTheDrawingFeedsThem) {
    EXPECT_EQ(slotOf(renderContext()->texturedProgram, "a_vPosition"), 0);
    EXPECT_EQ(slotOf(renderContext()->texturedProgram, "a_texCoord"), 2);
    EXPECT_EQ(slotOf(renderContext()->solidProgram, "a_vPosition"), 0);
}

TEST_F(ShaderPictures, ABlackTexelLeavesThePixelWhateverItsAlphaAndAnyOtherReplacesIt) {
    const uint8_t texels[] = {0, 0, 0, 0, 0, 0, 0, 128, 0, 0, 0, 255, 1,   0,   0,   0,
                              0, 1, 0, 0, 0, 0, 1, 0,   9, 8, 7, 0,   255, 255, 255, 255};
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, 8, 1, 0, GL_RGBA, GL_UNSIGNED_BYTE, texels);
    const float corners[] = {0, 0, 0, 0, 1, 0, 8, 0, 0, 8, 1, 0};
    const float places[] = {0, 1, 0, 0, 8, 1, 8, 0};
    startTexturedDraw(8, 1, corners, places);
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    endTexturedDraw();

    std::vector<Pixel> drawn = row(0);
    drawn.resize(9);
    EXPECT_THAT(drawn, ElementsAre(kGround, kGround, kGround, Pixel{1, 0, 0}, Pixel{0, 1, 0},
                                   Pixel{0, 0, 1}, Pixel{9, 8, 7}, Pixel{255, 255, 255}, kGround));
}

TEST_F(ShaderPictures, ABarOfNoWidthIsNotSeen) {
    drawSolidBar(0, 0, 1, 1, 1);
    for (int y = 0; y < kHeight; ++y)
        EXPECT_THAT(row(y), Each(kGround)) << y;
}

TEST_F(ShaderPictures, ABarFillsItsWidthAndOneLinesHeight) {
    drawSolidBar(2, 3, 1, 0, 0);
    for (int y = 0; y < kHeight; ++y) {
        const std::vector<Pixel> drawn = row(y);
        for (int x = 0; x < kWidth; ++x) {
            const bool inside = x >= 10 && x < 13 && y >= 2 && y < 6;
            EXPECT_EQ(drawn[static_cast<size_t>(x)], inside ? (Pixel{255, 0, 0}) : kGround)
                << x << ", " << y;
        }
    }
}
