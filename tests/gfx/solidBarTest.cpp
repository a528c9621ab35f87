// The one solid primitive: its calls and its corners.
#include "gfx/solidBar.h"

#include <gmock/gmock.h>

#include <climits>

#include "support/callLog.h"
#include "support/fakeGl.h"
#include "support/serviceTest.h"
#include "text/fontAtlas.h"

namespace {

using ::testing::ElementsAre;

class SolidBar : public ServiceTest {
protected:
    void SetUp() override {
        ServiceTest::SetUp();
        useMonospacedAtlas();
        useArea(1280, 480);
    }

    const std::array<float, 12>& corners() { return fakeGl.drawings.at(0).quads.at(0).corners; }
};

TEST_F(SolidBar, MakesTheseCallsInThisOrder) {
    drawSolidBar(100, 300, 0.25f, 0.5f, 0.75f);
    EXPECT_THAT(
        calls(),
        ElementsAre("glUseProgram(22)", "glGetUniformLocation(22, u_vTransform)",
                    "glUniformMatrix4fv(u_vTransform, 1, GL_FALSE)",
                    "glGetUniformLocation(22, u_fColor)",
                    "glUniform4f(u_fColor, 0.25, 0.5, 0.75, 1)", "glEnableVertexAttribArray(0)",
                    "glVertexAttribPointer(0, 3, GL_FLOAT, GL_FALSE, 0)",
                    "glDrawArrays(GL_TRIANGLE_STRIP, 0, 4)", "glDisableVertexAttribArray(0)"));
}

TEST_F(SolidBar, IsOneTextLineHighFromTenPixelsOn) {
    drawSolidBar(100, 300, 1, 1, 1);
    EXPECT_THAT(corners(), ElementsAre(10, 100, 0, 10, 116, 0, 310, 100, 0, 310, 116, 0));
}

TEST_F(SolidBar, FollowsTheLineHeight) {
    fontAtlas.lineHeight = 23;
    drawSolidBar(-5, 1, 1, 1, 1);
    EXPECT_THAT(corners(), ElementsAre(10, -5, 0, 10, 18, 0, 11, -5, 0, 11, 18, 0));
}

TEST_F(SolidBar, OfNoWidthIsDegenerate) {
    drawSolidBar(100, 0, 1, 1, 1);
    EXPECT_THAT(corners(), ElementsAre(10, 100, 0, 10, 116, 0, 10, 100, 0, 10, 116, 0));
}

TEST_F(SolidBar, OfNegativeWidthGoesLeftwards) {
    drawSolidBar(100, -50, 1, 1, 1);
    EXPECT_THAT(corners(), ElementsAre(10, 100, 0, 10, 116, 0, -40, 100, 0, -40, 116, 0));
}

TEST_F(SolidBar, OfTheGreatestWidthDoesNotWrapRound) {
    drawSolidBar(0, INT32_MAX, 1, 1, 1);
    EXPECT_EQ(corners()[6], 2147483648.0f);
}

TEST_F(SolidBar, ItsTopIsSummedBeforeItBecomesAFloat) {
    // Floats of this size are two apart: the bottom would lose one, and the sum with it.
    fontAtlas.lineHeight = 18;
    drawSolidBar(16777219, 1, 1, 1, 1);
    EXPECT_EQ(corners()[4], 16777236.0f);
}

TEST_F(SolidBar, UploadsTheTransformOfTheArea) {
    useArea(640, 200);
    drawSolidBar(0, 1, 1, 1, 1);
    EXPECT_THAT(fakeGl.drawings.at(0).pixelTransform,
                ElementsAre(2.0f / 640, 0, 0, 0, 0, 2.0f / 200, 0, 0, 0, 0, 1, 0, -1, -1, 0, 1));
}

}  // namespace
