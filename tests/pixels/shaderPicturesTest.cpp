// What the two programs make of single texels and bars: the service's drawing on each renderer.
#include <GLES2/gl2.h>
#include <gmock/gmock.h>

#include <array>
#include <cstdlib>
#include <string>
#include <vector>

#include "display/displayable.h"
#include "egl/currentContext.h"
#include "gfx/renderContext.h"
#include "gfx/shaderPrograms.h"
#include "gfx/solidBar.h"
#include "support/testRenderer.h"
#include "text/fontAtlas.h"

namespace {

using ::testing::Each;
using ::testing::ElementsAre;

constexpr int kWidth = 48;
constexpr int kHeight = 8;

constexpr uint32_t kGround = 0xff0a141e;

using Row = std::array<uint32_t, kWidth>;

class ShaderPictures : public testing::Test {
protected:
    // One a process, as in the service.
    static void SetUpTestSuite() {
        if (!whyNoRenderer().empty())
            return;
        setenv("VELKARIS_WINDOW", "headless:48x8", 1);
        unsetenv("VELKARIS_CAPTURE");
        ASSERT_EQ(CDisplayable::getInstance()->init(), 1);
        createRenderContext(kWidth, kHeight);
        ASSERT_EQ(createShaderPrograms(), 1);
    }

    void SetUp() override {
        if (const std::string reason = whyNoRenderer(); !reason.empty())
            GTEST_SKIP() << reason;
        fontAtlas.lineHeight = 4;
        glClearColor(10 / 255.0f, 20 / 255.0f, 30 / 255.0f, 1);
        glClear(GL_COLOR_BUFFER_BIT);
    }

    // What was drawn, 0xffRRGGBB a pixel, rows from the bottom.
    static std::vector<Row> present() {
        EXPECT_EQ(swapDisplayBuffers(), 1);
        std::vector<Row> rows(kHeight);
        for (int y = 0; y < kHeight; ++y)
            consolePicture()->fill({y, y + 1}, rows[static_cast<size_t>(kHeight - 1 - y)].data(),
                                   kWidth);
        return rows;
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

    const Row drawn = present()[0];
    EXPECT_THAT(std::vector<uint32_t>(drawn.begin(), drawn.begin() + 9),
                ElementsAre(kGround, kGround, kGround, 0xff010000, 0xff000100, 0xff000001,
                            0xff090807, 0xffffffff, kGround));
}

TEST_F(ShaderPictures, ABarOfNoWidthIsNotSeen) {
    drawSolidBar(0, 0, 1, 1, 1);
    EXPECT_THAT(present(), Each(Each(kGround)));
}

TEST_F(ShaderPictures, ABarFillsItsWidthAndOneLinesHeight) {
    drawSolidBar(2, 3, 1, 0, 0);
    const std::vector<Row> drawn = present();
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            const bool inside = x >= 10 && x < 13 && y >= 2 && y < 6;
            EXPECT_EQ(drawn[static_cast<size_t>(y)][static_cast<size_t>(x)],
                      inside ? 0xffff0000 : kGround)
                << x << ", " << y;
        }
    }
}
