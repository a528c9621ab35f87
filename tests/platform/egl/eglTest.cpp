// What the service draws on when there is no display, within one process: configs, surface, pixels.
#include <EGL/egl.h>
#include <GLES2/gl2.h>
#include <gmock/gmock.h>

#include <cstdlib>
#include <vector>

#include "egl/capture.h"
#include "egl/realEgl.h"
#include "platform/support/consoleSurface.h"
#include "platform/support/pictureFiles.h"
#include "support/temporaryFolder.h"

namespace {

constexpr int kWidth = 67;  // odd, so that rows of three bytes a pixel are aligned to nothing
constexpr int kHeight = 45;

class HeadlessSurface : public testing::Test {
protected:
    static void SetUpTestSuite() {
        setenv("VELKARIS_WINDOW", "headless:67x45", 1);
        unsetenv("VELKARIS_CAPTURE");
        ASSERT_EQ(console().bringUp(), "");
    }
    // One a process, as in the service.
    static ConsoleSurface& console() {
        static ConsoleSurface surface;
        return surface;
    }
    static DecodedPicture captured() {
        const TemporaryFolder folder;
        FrameCapture capture(folder.path());
        capture.read(console().display, console().surface);
        capture.write();
        return readPng(folder.file("latest.png"));
    }
};

TEST_F(HeadlessSurface, IsAsLargeAsTheSettingSays) {
    EXPECT_EQ(console().width, kWidth);
    EXPECT_EQ(console().height, kHeight);
    EXPECT_EQ(console().screenWidth, kWidth);
    EXPECT_EQ(console().screenHeight, kHeight);
}

TEST_F(HeadlessSurface, OffersWindowsForExactlyTheConfigsThatHavePbuffers) {
    EGLint count = 0;
    eglGetConfigs(console().display, nullptr, 0, &count);
    std::vector<EGLConfig> configs(static_cast<size_t>(count));
    eglGetConfigs(console().display, configs.data(), count, &count);
    ASSERT_GT(count, 0);
    for (const EGLConfig config : configs) {
        EGLint real = 0, offered = 0;
        __real_eglGetConfigAttrib(console().display, config, EGL_SURFACE_TYPE, &real);
        eglGetConfigAttrib(console().display, config, EGL_SURFACE_TYPE, &offered);
        EXPECT_EQ(offered, real & EGL_PBUFFER_BIT ? real | EGL_WINDOW_BIT : real);
    }
}

TEST_F(HeadlessSurface, LeavesTheOtherConfigAttributesAlone) {
    for (const EGLint attribute : {EGL_CONFIG_ID, EGL_RED_SIZE, EGL_NATIVE_VISUAL_ID,
                                   EGL_RENDERABLE_TYPE, EGL_MAX_PBUFFER_WIDTH}) {
        EGLint real = -1, offered = -2;
        __real_eglGetConfigAttrib(console().display, console().config, attribute, &real);
        eglGetConfigAttrib(console().display, console().config, attribute, &offered);
        EXPECT_EQ(offered, real) << attribute;
    }
}

TEST_F(HeadlessSurface, PassesErrorsOfTheRealCallsOn) {
    EGLint value = 0;
    EXPECT_EQ(eglGetConfigAttrib(console().display, console().config, 0x7777, &value), EGL_FALSE);
    EXPECT_EQ(eglGetError(), EGL_BAD_ATTRIBUTE);
    EXPECT_EQ(eglSwapBuffers(EGL_NO_DISPLAY, EGL_NO_SURFACE), EGL_FALSE);
    EXPECT_EQ(eglGetError(), EGL_BAD_DISPLAY);
    EXPECT_EQ(eglCreateWindowSurface(EGL_NO_DISPLAY, console().config, 1, nullptr), EGL_NO_SURFACE);
    EXPECT_EQ(eglGetError(), EGL_BAD_DISPLAY);
}

TEST_F(HeadlessSurface, IsTheSameDisplayWheneverAsked) {
    EXPECT_EQ(eglGetDisplay(EGL_DEFAULT_DISPLAY), console().display);
}

TEST_F(HeadlessSurface, SwapsAndDrawsOn) {
    console().fill(0, 0, kWidth, kHeight, 1, 2, 3, 255);
    EXPECT_TRUE(console().swap());
    console().fill(0, 0, kWidth, kHeight, 4, 5, 6, 255);
    EXPECT_TRUE(console().swap());
    EXPECT_EQ(captured().at(0, 0), (Bytes{4, 5, 6, 255}));
}

TEST_F(HeadlessSurface, KeepsEveryPixelWhereItWasDrawn) {
    console().fill(0, 0, kWidth, kHeight, 10, 20, 30, 255);
    console().fill(3, 5, 1, 1, 255, 0, 0, 255);
    console().fill(kWidth - 1, kHeight - 1, 1, 1, 0, 255, 0, 255);
    const DecodedPicture picture = captured();
    ASSERT_EQ(picture.width, uint32_t{kWidth});
    ASSERT_EQ(picture.height, uint32_t{kHeight});
    for (uint32_t y = 0; y < picture.height; ++y) {
        for (uint32_t x = 0; x < picture.width; ++x) {
            Bytes expected{10, 20, 30, 255};
            if (x == 3 && y == kHeight - 1 - 5)
                expected = {255, 0, 0, 255};
            if (x == kWidth - 1 && y == 0)
                expected = {0, 255, 0, 255};
            ASSERT_EQ(picture.at(x, y), expected) << x << ", " << y;
        }
    }
}

TEST_F(HeadlessSurface, ShowsColorsWhateverTheirAlpha) {
    console().fill(0, 0, kWidth, kHeight, 200, 100, 50, 0);
    EXPECT_EQ(captured().at(1, 1), (Bytes{200, 100, 50, 255}));
}

TEST_F(HeadlessSurface, CaptureReadsTheSurfaceAndLeavesTheStateOfGlAlone) {
    GLuint texture = 0, framebuffer = 0;
    glGenTextures(1, &texture);
    glBindTexture(GL_TEXTURE_2D, texture);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, 8, 8, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
    console().fill(0, 0, kWidth, kHeight, 9, 8, 7, 255);
    glGenFramebuffers(1, &framebuffer);
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture, 0);
    glPixelStorei(GL_PACK_ALIGNMENT, 8);

    EXPECT_EQ(captured().at(0, 0), (Bytes{9, 8, 7, 255}));
    GLint boundFramebuffer = 0, packAlignment = 0;
    glGetIntegerv(GL_FRAMEBUFFER_BINDING, &boundFramebuffer);
    glGetIntegerv(GL_PACK_ALIGNMENT, &packAlignment);
    EXPECT_EQ(boundFramebuffer, static_cast<GLint>(framebuffer));
    EXPECT_EQ(packAlignment, 8);
    EXPECT_EQ(glGetError(), GLenum{GL_NO_ERROR});

    glPixelStorei(GL_PACK_ALIGNMENT, 4);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glDeleteFramebuffers(1, &framebuffer);
    glDeleteTextures(1, &texture);
}

TEST_F(HeadlessSurface, IsTheOnlyWindow) {
    EXPECT_EQ(kdCreateWindow(console().display, console().config, nullptr), nullptr);
    EXPECT_EQ(kdGetError(), KD_EPERM);
}

TEST_F(HeadlessSurface, IsRealizedOnce) {
    EGLNativeWindowType native = 0;
    EXPECT_EQ(kdRealizeWindow(console().window, &native), -1);
    EXPECT_EQ(kdGetError(), KD_EPERM);
    EXPECT_EQ(native, EGLNativeWindowType{0});
}

TEST_F(HeadlessSurface, KeepsItsPropertiesOnceRealized) {
    const KDint32 size[2] = {10, 10};
    EXPECT_EQ(kdSetWindowPropertyiv(console().window, KD_WINDOWPROPERTY_SIZE, size), -1);
    EXPECT_EQ(kdGetError(), KD_EPERM);
    EXPECT_EQ(kdSetWindowPropertycv(console().window, KD_WINDOWPROPERTY_CAPTION, "x"), -1);
    EXPECT_EQ(kdGetError(), KD_EPERM);
}

}  // namespace
