// Errors of the calls that draw and set state: each is kept until it is read, and changes nothing.
#include <gmock/gmock.h>

#include <vector>

#include "platform/renderer/drawing.h"
#include "renderer/cpu/cpuRenderer.h"

namespace {

using testing::Each;
using testing::ElementsAre;

class CpuState : public testing::Test {
protected:
    void expectError(GLenum error) const {
        EXPECT_EQ(gl.GetError(), error);
        EXPECT_EQ(gl.GetError(), GLenum{GL_NO_ERROR});
    }
    void uploadWith(GLenum target, GLint level, GLint internalFormat, GLsizei width, GLsizei height,
                    GLint border, GLenum format, GLenum type) const {
        const uint8_t texels[16] = {};
        gl.TexImage2D(target, level, internalFormat, width, height, border, format, type, texels);
    }

    Drawing drawing{kCpuRenderer, {4, 4}};
    const GlCalls& gl = drawing.gl;
};

TEST_F(CpuState, KeepsTheFirstErrorUntilItIsRead) {
    gl.Viewport(0, 0, -1, 1);
    gl.Enable(GL_TEXTURE_2D);
    gl.Clear(GL_COLOR_BUFFER_BIT);
    drawing.present();
    expectError(GL_INVALID_VALUE);
}

TEST_F(CpuState, TellsItsLargestTexture) {
    GLint size = 0;
    gl.GetIntegerv(GL_MAX_TEXTURE_SIZE, &size);
    EXPECT_EQ(size, 16384);
    gl.GetIntegerv(GL_TEXTURE_2D, &size);
    expectError(GL_INVALID_ENUM);
    EXPECT_EQ(size, 16384);
}

TEST_F(CpuState, KeepsTheViewportOnAWrongOne) {
    GLint viewport[4] = {};
    gl.Viewport(1, 2, 3, 4);
    gl.Viewport(0, 0, -1, 1);
    expectError(GL_INVALID_VALUE);
    gl.Viewport(0, 0, 1, -1);
    expectError(GL_INVALID_VALUE);
    gl.GetIntegerv(GL_VIEWPORT, viewport);
    EXPECT_THAT(viewport, ElementsAre(1, 2, 3, 4));
}

TEST_F(CpuState, TakesViewportsLargerThanItsLargestAsThat) {
    GLint viewport[4] = {};
    gl.Viewport(0, 0, 1 << 30, 1 << 30);
    gl.GetIntegerv(GL_VIEWPORT, viewport);
    EXPECT_THAT(viewport, ElementsAre(0, 0, 32767, 32767));
    expectError(GL_NO_ERROR);
}

TEST_F(CpuState, RefusesToClearWhatItDoesNotHave) {
    drawing.clear(0x111111);
    gl.ClearColor(1, 1, 1, 1);
    gl.Clear(GL_COLOR_BUFFER_BIT | 1);
    expectError(GL_INVALID_VALUE);
    EXPECT_THAT(drawing.present(), Each(0xff111111));
}

TEST_F(CpuState, BlendsByOneRuleOrNotAtAll) {
    gl.BlendFunc(GL_ONE, GL_ZERO);
    gl.BlendFunc(GL_CONSTANT_COLOR, GL_ONE_MINUS_SRC_COLOR);
    gl.BlendEquation(GL_FUNC_ADD);
    expectError(GL_NO_ERROR);
    gl.BlendFunc(GL_ONE, GL_ONE);
    expectError(GL_INVALID_ENUM);
    gl.BlendFunc(GL_CONSTANT_COLOR, GL_ZERO);
    expectError(GL_INVALID_ENUM);
    gl.BlendEquation(GL_ONE);
    expectError(GL_INVALID_ENUM);
    gl.Enable(GL_TEXTURE_2D);
    expectError(GL_INVALID_ENUM);
    gl.Disable(GL_TEXTURE_2D);
    expectError(GL_INVALID_ENUM);
}

TEST_F(CpuState, ReplacesWhileBlendingIsOffOrItsRuleSaysSo) {
    drawing.upload(GL_LUMINANCE, 1, 1, {128});
    gl.Enable(GL_BLEND);
    gl.BlendFunc(GL_ONE, GL_ZERO);
    drawing.image(box(0, 0, 4, 2), box(0, 1, 1, 0));
    drawing.mixWith(0xff0000);
    drawing.stopMixing();
    drawing.image(box(0, 2, 4, 4), box(0, 1, 1, 0));
    EXPECT_THAT(drawing.present(), Each(0xff808080));
}

TEST_F(CpuState, SamplesTheNearestTexelAndKnowsNoOtherParameter) {
    gl.TexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_ONE);
    expectError(GL_INVALID_ENUM);
    gl.TexParameteri(GL_TEXTURE_2D, GL_BLEND, GL_NEAREST);
    expectError(GL_INVALID_ENUM);
    gl.TexParameteri(GL_BLEND, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    expectError(GL_INVALID_ENUM);
}

TEST_F(CpuState, RefusesWrongTexturesAndKeepsTheOneBefore) {
    drawing.upload(GL_LUMINANCE, 1, 1, {9});
    constexpr GLint kGrey = GL_LUMINANCE;
    uploadWith(GL_BLEND, 0, kGrey, 1, 1, 0, GL_LUMINANCE, GL_UNSIGNED_BYTE);
    expectError(GL_INVALID_ENUM);
    uploadWith(GL_TEXTURE_2D, 0, GL_BLEND, 1, 1, 0, GL_BLEND, GL_UNSIGNED_BYTE);
    expectError(GL_INVALID_ENUM);
    uploadWith(GL_TEXTURE_2D, 0, kGrey, 1, 1, 0, GL_LUMINANCE, GL_FLOAT);
    expectError(GL_INVALID_ENUM);
    uploadWith(GL_TEXTURE_2D, 0, GL_RGBA, 1, 1, 0, GL_LUMINANCE, GL_UNSIGNED_BYTE);
    expectError(GL_INVALID_OPERATION);
    for (const GLint level : {-1, 1}) {
        uploadWith(GL_TEXTURE_2D, level, kGrey, 1, 1, 0, GL_LUMINANCE, GL_UNSIGNED_BYTE);
        expectError(GL_INVALID_VALUE);
    }
    for (const GLsizei size : {-1, 16385}) {
        uploadWith(GL_TEXTURE_2D, 0, kGrey, size, 1, 0, GL_LUMINANCE, GL_UNSIGNED_BYTE);
        expectError(GL_INVALID_VALUE);
        uploadWith(GL_TEXTURE_2D, 0, kGrey, 1, size, 0, GL_LUMINANCE, GL_UNSIGNED_BYTE);
        expectError(GL_INVALID_VALUE);
    }
    uploadWith(GL_TEXTURE_2D, 0, kGrey, 1, 1, 1, GL_LUMINANCE, GL_UNSIGNED_BYTE);
    expectError(GL_INVALID_VALUE);
    drawing.image(box(0, 0, 4, 4), box(0, 1, 1, 0));
    EXPECT_THAT(drawing.present(), Each(0xff090909));
}

TEST_F(CpuState, TakesATextureWithoutTexelsAsBlack) {
    drawing.upload(GL_LUMINANCE, 1, 1, {9});
    gl.TexImage2D(GL_TEXTURE_2D, 0, GL_LUMINANCE, 1, 1, 0, GL_LUMINANCE, GL_UNSIGNED_BYTE, nullptr);
    drawing.clear(0x222222);
    drawing.image(box(0, 0, 4, 4), box(0, 1, 1, 0));
    expectError(GL_NO_ERROR);
    EXPECT_THAT(drawing.present(), Each(0xff222222));
}

TEST_F(CpuState, RefusesWrongVertexArrays) {
    const float corners[8] = {};
    gl.EnableVertexAttribArray(8);
    expectError(GL_INVALID_VALUE);
    gl.DisableVertexAttribArray(8);
    expectError(GL_INVALID_VALUE);
    gl.VertexAttribPointer(8, 2, GL_FLOAT, GL_FALSE, 0, corners);
    expectError(GL_INVALID_VALUE);
    for (const GLint size : {0, 5}) {
        gl.VertexAttribPointer(0, size, GL_FLOAT, GL_FALSE, 0, corners);
        expectError(GL_INVALID_VALUE);
    }
    gl.VertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, -1, corners);
    expectError(GL_INVALID_VALUE);
    gl.VertexAttribPointer(0, 2, GL_UNSIGNED_BYTE, GL_FALSE, 0, corners);
    expectError(GL_INVALID_ENUM);
}

TEST_F(CpuState, RefusesWrongDraws) {
    drawing.fill(box(0, 0, 0, 0), 0xffffff);
    gl.DrawArrays(GL_TEXTURE_2D, 0, 4);
    expectError(GL_INVALID_ENUM);
    gl.DrawArrays(GL_TRIANGLE_STRIP, -1, 4);
    expectError(GL_INVALID_VALUE);
    gl.DrawArrays(GL_TRIANGLE_STRIP, 0, -1);
    expectError(GL_INVALID_VALUE);
    for (const GLsizei count : {3, 5}) {
        gl.DrawArrays(GL_TRIANGLE_STRIP, 0, count);
        expectError(GL_INVALID_OPERATION);
    }
}

}  // namespace
