// The record that drawing shares, and where it lives.
#include "gfx/renderContext.h"

#include <gmock/gmock.h>

#include <cstddef>

#include "support/callLog.h"
#include "support/fakeDisplay.h"
#include "support/fakeGl.h"
#include "support/serviceTest.h"

namespace {

using ::testing::ElementsAre;

class RenderContextTest : public ServiceTest {};

TEST_F(RenderContextTest, IsStoredForThisThreadWithItsSizeAndWithoutPrograms) {
    createRenderContext(1280, 480);
    EXPECT_THAT(calls(), ElementsAre("kdSetTLS(pointer)"));
    ASSERT_NE(renderContext(), nullptr);
    EXPECT_EQ(renderContext(), fakeKd.threadPointer);
    EXPECT_EQ(renderContext()->width, 1280u);
    EXPECT_EQ(renderContext()->height, 480u);
    EXPECT_EQ(renderContext()->texturedProgram, 0u);
    EXPECT_EQ(renderContext()->solidProgram, 0u);
}

TEST_F(RenderContextTest, IsNullBeforeOneIsMade) {
    EXPECT_EQ(renderContext(), nullptr);
}

TEST_F(RenderContextTest, IsFetchedAfreshEachTime) {
    useArea(10, 20);
    EXPECT_EQ(renderContext(), &area);
    RenderContext other = {};
    fakeKd.threadPointer = &other;
    EXPECT_EQ(renderContext(), &other);
    fakeKd.threadPointer = &area;
}

TEST_F(RenderContextTest, HoldsItsFieldsInThisOrder) {
    EXPECT_EQ(offsetof(RenderContext, texturedProgram), 0u);
    EXPECT_EQ(offsetof(RenderContext, solidProgram), 4u);
    EXPECT_EQ(offsetof(RenderContext, width), 8u);
    EXPECT_EQ(offsetof(RenderContext, height), 12u);
}

TEST_F(RenderContextTest, UploadsThePixelTransformOfItsSize) {
    useArea(640, 200);
    uploadPixelTransform(kSolidProgram);
    EXPECT_THAT(calls(), ElementsAre("glGetUniformLocation(22, u_vTransform)",
                                     "glUniformMatrix4fv(u_vTransform, 1, GL_FALSE)"));
    EXPECT_EQ(fakeGl.drawings.at(0).pixelTransform[0], 2.0f / 640);
    EXPECT_EQ(fakeGl.drawings.at(0).pixelTransform[5], 2.0f / 200);
}

TEST_F(RenderContextTest, ATextureWithoutASizeScalesToZero) {
    useArea(640, 200);
    const float vertices[12] = {};
    startTexturedDraw(0, 0, vertices, vertices);
    EXPECT_THAT(fakeGl.drawings.at(0).textureTransform, ElementsAre(0, 0, 0, 0));
}

TEST_F(RenderContextTest, TexelsAreScaledByTheTexturesOwnSides) {
    useArea(640, 200);
    const float vertices[12] = {};
    startTexturedDraw(1, 8, vertices, vertices);
    EXPECT_THAT(fakeGl.drawings.at(0).textureTransform, ElementsAre(1, 0, 0, 0.125f));
}

}  // namespace
