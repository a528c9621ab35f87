// EGL as the service sees it, within one process: its handles, its errors, what a swap presents.
#include <EGL/egl.h>
#include <GLES2/gl2.h>
#include <gmock/gmock.h>

#include <cstdlib>
#include <utility>
#include <vector>

#include "egl/currentContext.h"
#include "platform/support/consoleSurface.h"

namespace {

constexpr int kWidth = 67;
constexpr int kHeight = 45;

class Egl : public testing::Test {
protected:
    static void SetUpTestSuite() {
        setenv("VELKARIS_WINDOW", "headless:67x45", 1);
        unsetenv("VELKARIS_CAPTURE");
        unsetenv("VELKARIS_RENDERER");
        ASSERT_EQ(console().bringUp(), "");
    }
    // One a process, as in the service.
    static ConsoleSurface& console() {
        static ConsoleSurface surface;
        return surface;
    }
    static std::vector<uint32_t> shown() {
        std::vector<uint32_t> pixels(size_t{kWidth} * kHeight);
        consolePicture()->fill({0, kHeight}, pixels.data(), kWidth);
        return pixels;
    }

    template <typename Handle>
    static void expectError(Handle result, EGLint error) {
        EXPECT_FALSE(result);
        EXPECT_EQ(eglGetError(), error);
    }

    int other = 0;  // nothing of EGL's
};

TEST_F(Egl, HasASurfaceAsLargeAsTheSettingSays) {
    EXPECT_EQ(console().width, kWidth);
    EXPECT_EQ(console().height, kHeight);
    EXPECT_EQ(console().screenWidth, kWidth);
    EXPECT_EQ(console().screenHeight, kHeight);
}

TEST_F(Egl, IsTheSameDisplayWheneverAsked) {
    EXPECT_EQ(eglGetDisplay(EGL_DEFAULT_DISPLAY), console().display);
    EXPECT_EQ(eglGetDisplay(&other), EGL_NO_DISPLAY);
}

TEST_F(Egl, TellsItsVersion) {
    EGLint major = 0, minor = 0;
    EXPECT_TRUE(eglInitialize(console().display, &major, &minor));
    EXPECT_EQ(major, 1);
    EXPECT_EQ(minor, 4);
    EXPECT_TRUE(eglInitialize(console().display, nullptr, nullptr));
}

TEST_F(Egl, ReportsAnErrorUntilItIsReadOrACallSucceeds) {
    eglBindAPI(0);
    EXPECT_EQ(eglGetError(), EGL_BAD_PARAMETER);
    EXPECT_EQ(eglGetError(), EGL_SUCCESS);
    eglBindAPI(0);
    EXPECT_TRUE(eglBindAPI(EGL_OPENGL_ES_API));
    EXPECT_EQ(eglGetError(), EGL_SUCCESS);
}

TEST_F(Egl, HasOneConfig) {
    EGLConfig configs[2] = {};
    EGLint count = 0;
    EXPECT_TRUE(eglGetConfigs(console().display, nullptr, 0, &count));
    EXPECT_EQ(count, 1);
    EXPECT_TRUE(eglGetConfigs(console().display, configs, 2, &count));
    EXPECT_EQ(count, 1);
    EXPECT_EQ(configs[0], console().config);
    EXPECT_TRUE(eglGetConfigs(console().display, configs, 0, &count));
    EXPECT_EQ(count, 0);
    expectError(eglGetConfigs(console().display, configs, 2, nullptr), EGL_BAD_PARAMETER);
}

TEST_F(Egl, HasAConfigOfEightBitsForWindowsAndOpenGlEs2) {
    const std::pair<EGLint, EGLint> kAttributes[] = {
        {EGL_CONFIG_ID, 1},
        {EGL_SURFACE_TYPE, EGL_WINDOW_BIT},
        {EGL_RENDERABLE_TYPE, EGL_OPENGL_ES2_BIT},
        {EGL_RED_SIZE, 8},
        {EGL_GREEN_SIZE, 8},
        {EGL_BLUE_SIZE, 8},
        {EGL_ALPHA_SIZE, 8},
    };
    for (const auto& [attribute, expected] : kAttributes) {
        EGLint value = -1;
        EXPECT_TRUE(eglGetConfigAttrib(console().display, console().config, attribute, &value));
        EXPECT_EQ(value, expected) << attribute;
    }
}

TEST_F(Egl, RefusesAttributesAndConfigsThatItDoesNotHave) {
    EGLint value = 0;
    expectError(eglGetConfigAttrib(console().display, console().config, 0x7777, &value),
                EGL_BAD_ATTRIBUTE);
    expectError(eglGetConfigAttrib(console().display, &other, EGL_RED_SIZE, &value),
                EGL_BAD_CONFIG);
}

// Every call that takes one: what makes them fail comes before everything else.
void expectDisplayError(const ConsoleSurface& console, EGLDisplay display, EGLint error) {
    const EGLint version[] = {EGL_CONTEXT_CLIENT_VERSION, 2, EGL_NONE};
    EGLint value = 0;
    EXPECT_FALSE(eglGetConfigs(display, nullptr, 0, &value));
    EXPECT_EQ(eglGetError(), error);
    EXPECT_FALSE(eglGetConfigAttrib(display, console.config, EGL_RED_SIZE, &value));
    EXPECT_EQ(eglGetError(), error);
    EXPECT_FALSE(eglCreateContext(display, console.config, EGL_NO_CONTEXT, version));
    EXPECT_EQ(eglGetError(), error);
    EXPECT_FALSE(eglCreateWindowSurface(display, console.config, nullptr, nullptr));
    EXPECT_EQ(eglGetError(), error);
    EXPECT_FALSE(eglMakeCurrent(display, console.surface, console.surface, console.context));
    EXPECT_EQ(eglGetError(), error);
    EXPECT_FALSE(eglSwapBuffers(display, console.surface));
    EXPECT_EQ(eglGetError(), error);
}

TEST_F(Egl, RefusesADisplayThatIsNone) {
    expectDisplayError(console(), EGL_NO_DISPLAY, EGL_BAD_DISPLAY);
    expectDisplayError(console(), &other, EGL_BAD_DISPLAY);
    expectError(eglInitialize(&other, nullptr, nullptr), EGL_BAD_DISPLAY);
    expectError(eglTerminate(&other), EGL_BAD_DISPLAY);
}

TEST_F(Egl, RefusesADisplayThatIsNotInitialized) {
    EXPECT_TRUE(eglTerminate(console().display));
    expectDisplayError(console(), console().display, EGL_NOT_INITIALIZED);
    EXPECT_TRUE(eglInitialize(console().display, nullptr, nullptr));
    EXPECT_TRUE(console().swap());
}

TEST_F(Egl, HasOneContext) {
    const EGLint version[] = {EGL_CONTEXT_CLIENT_VERSION, 2, EGL_NONE};
    expectError(eglCreateContext(console().display, console().config, EGL_NO_CONTEXT, version),
                EGL_BAD_ALLOC);
}

TEST_F(Egl, RefusesContextsOfAnotherKind) {
    const EGLint version1[] = {EGL_CONTEXT_CLIENT_VERSION, 1, EGL_NONE};
    const EGLint version2[] = {EGL_CONTEXT_CLIENT_VERSION, 2, EGL_NONE};
    const EGLint more[] = {EGL_CONTEXT_CLIENT_VERSION, 2, EGL_RED_SIZE, 8, EGL_NONE};
    const EGLint nothing[] = {EGL_NONE};
    for (const EGLint* attributes : {version1, more, nothing, static_cast<const EGLint*>(nullptr)})
        expectError(
            eglCreateContext(console().display, console().config, EGL_NO_CONTEXT, attributes),
            EGL_BAD_ATTRIBUTE);
    expectError(eglCreateContext(console().display, &other, EGL_NO_CONTEXT, version2),
                EGL_BAD_CONFIG);
    expectError(eglCreateContext(console().display, console().config, &other, version2),
                EGL_BAD_CONTEXT);
}

TEST_F(Egl, HasOneSurface) {
    PixelSize window{kWidth, kHeight};
    expectError(eglCreateWindowSurface(console().display, console().config, &window, nullptr),
                EGL_BAD_ALLOC);
}

TEST_F(Egl, RefusesSurfacesOfAnotherKind) {
    PixelSize window{kWidth, kHeight};
    const EGLint attributes[] = {EGL_RED_SIZE, 8, EGL_NONE};
    expectError(eglCreateWindowSurface(console().display, console().config, nullptr, nullptr),
                EGL_BAD_NATIVE_WINDOW);
    expectError(eglCreateWindowSurface(console().display, console().config, &window, attributes),
                EGL_BAD_ATTRIBUTE);
    expectError(eglCreateWindowSurface(console().display, &other, &window, nullptr),
                EGL_BAD_CONFIG);
}

TEST_F(Egl, MakesTheSurfaceAndTheContextCurrentAndNoOthers) {
    const EGLDisplay display = console().display;
    const EGLSurface surface = console().surface;
    const EGLContext context = console().context;
    expectError(eglMakeCurrent(display, surface, EGL_NO_SURFACE, context), EGL_BAD_MATCH);
    expectError(eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, context), EGL_BAD_MATCH);
    expectError(eglMakeCurrent(display, surface, surface, EGL_NO_CONTEXT), EGL_BAD_MATCH);
    expectError(eglMakeCurrent(display, &other, &other, context), EGL_BAD_SURFACE);
    expectError(eglMakeCurrent(display, surface, surface, &other), EGL_BAD_CONTEXT);
    EXPECT_TRUE(console().swap());
}

TEST_F(Egl, DrawsNothingWithoutACurrentContext) {
    const EGLDisplay display = console().display;
    EXPECT_TRUE(eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT));
    EXPECT_EQ(glCreateShader(GL_VERTEX_SHADER), 0u);
    glViewport(0, 0, -1, -1);
    EXPECT_EQ(glGetError(), GLenum{GL_NO_ERROR});
    expectError(eglSwapBuffers(display, console().surface), EGL_BAD_SURFACE);

    EXPECT_TRUE(eglMakeCurrent(display, console().surface, console().surface, console().context));
    EXPECT_EQ(glGetError(), GLenum{GL_NO_ERROR});
    EXPECT_NE(glCreateShader(GL_VERTEX_SHADER), 0u);
    EXPECT_TRUE(console().swap());
}

TEST_F(Egl, PresentsTheSurfaceAndNothingElse) {
    expectError(eglSwapBuffers(console().display, EGL_NO_SURFACE), EGL_BAD_SURFACE);
    expectError(eglSwapBuffers(console().display, &other), EGL_BAD_SURFACE);
}

TEST_F(Egl, PresentsAFrameWithEachSwap) {
    const uint32_t before = consolePicture()->frame();
    console().fill(0, 0, kWidth, kHeight, 1, 2, 3);
    EXPECT_TRUE(console().swap());
    console().fill(0, 0, kWidth, kHeight, 4, 5, 6);
    EXPECT_EQ(shown(), std::vector<uint32_t>(size_t{kWidth} * kHeight, 0xff010203));
    EXPECT_TRUE(console().swap());
    EXPECT_EQ(consolePicture()->frame(), before + 2);
    EXPECT_EQ(shown(), std::vector<uint32_t>(size_t{kWidth} * kHeight, 0xff040506));
}

TEST_F(Egl, KeepsEveryPixelWhereItWasDrawn) {
    console().fill(0, 0, kWidth, kHeight, 10, 20, 30);
    console().fill(3, 5, 1, 1, 255, 0, 0);
    console().fill(kWidth - 1, kHeight - 1, 1, 1, 0, 255, 0);
    EXPECT_TRUE(console().swap());
    std::vector<uint32_t> expected(size_t{kWidth} * kHeight, 0xff0a141e);
    expected[(kHeight - 1 - 5) * kWidth + 3] = 0xffff0000;
    expected[kWidth - 1] = 0xff00ff00;
    EXPECT_EQ(shown(), expected);
}

TEST_F(Egl, DrawsOnTheOnlyWindow) {
    EXPECT_EQ(kdCreateWindow(console().display, console().config, nullptr), nullptr);
    EXPECT_EQ(kdGetError(), KD_EPERM);
}

TEST_F(Egl, DrawsOnAWindowThatIsRealizedOnce) {
    EGLNativeWindowType native = nullptr;
    EXPECT_EQ(kdRealizeWindow(console().window, &native), -1);
    EXPECT_EQ(kdGetError(), KD_EPERM);
    EXPECT_EQ(native, EGLNativeWindowType{});
}

TEST_F(Egl, DrawsOnAWindowThatKeepsItsPropertiesOnceRealized) {
    const KDint32 size[2] = {10, 10};
    EXPECT_EQ(kdSetWindowPropertyiv(console().window, KD_WINDOWPROPERTY_SIZE, size), -1);
    EXPECT_EQ(kdGetError(), KD_EPERM);
    EXPECT_EQ(kdSetWindowPropertycv(console().window, KD_WINDOWPROPERTY_CAPTION, "x"), -1);
    EXPECT_EQ(kdGetError(), KD_EPERM);
}

}  // namespace
