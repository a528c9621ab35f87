// Thread-local values, the error of the thread, and what a window that is not realised yet takes.
#include <KD/kd.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>

namespace {

TEST(KdThreadValue, StartsNullAndIsKeptForEachThread) {
    int mine = 0;
    kdSetTLS(&mine);
    std::thread([] {
        EXPECT_EQ(kdGetTLS(), nullptr);
        int other = 0;
        kdSetTLS(&other);
        EXPECT_EQ(kdGetTLS(), &other);
    }).join();
    EXPECT_EQ(kdGetTLS(), &mine);
    kdSetTLS(nullptr);
    EXPECT_EQ(kdGetTLS(), nullptr);
}

TEST(KdError, StartsAtZeroAndBelongsToTheThread) {
    EXPECT_EQ(kdSetWindowPropertycv(nullptr, KD_WINDOWPROPERTY_CAPTION, "x"), -1);
    EXPECT_EQ(kdGetError(), KD_EINVAL);
    std::thread([] { EXPECT_EQ(kdGetError(), 0); }).join();
}

TEST(KdError, IsKeptByReadingIt) {
    kdSetWindowPropertycv(nullptr, KD_WINDOWPROPERTY_CAPTION, "x");
    kdGetError();
    EXPECT_EQ(kdGetError(), KD_EINVAL);
}

// One window a process: the tests share it.
class KdWindow : public testing::Test {
protected:
    static void SetUpTestSuite() {
        setenv("VELKARIS_WINDOW", "headless:64x48", 1);
        display = eglGetDisplay(EGL_DEFAULT_DISPLAY);
        ASSERT_EQ(eglInitialize(display, nullptr, nullptr), EGLBoolean{EGL_TRUE});
        EGLint count = 0;
        ASSERT_EQ(eglGetConfigs(display, &config, 1, &count), EGLBoolean{EGL_TRUE});
        EXPECT_EQ(kdCreateWindow(display, nullptr, nullptr), nullptr);
        EXPECT_EQ(kdGetError(), KD_EINVAL);
        EXPECT_EQ(kdCreateWindow(EGL_NO_DISPLAY, config, nullptr), nullptr);
        EXPECT_EQ(kdGetError(), KD_EINVAL);
        window = kdCreateWindow(display, config, nullptr);
        ASSERT_NE(window, nullptr);
    }
    static void expectError(KDint result, KDint error) {
        EXPECT_EQ(result, -1);
        EXPECT_EQ(kdGetError(), error);
    }

    static EGLDisplay display;
    static EGLConfig config;
    static KDWindow* window;
};
EGLDisplay KdWindow::display;
EGLConfig KdWindow::config;
KDWindow* KdWindow::window;

TEST_F(KdWindow, IsTheOnlyOne) {
    EXPECT_EQ(kdCreateWindow(display, config, nullptr), nullptr);
    EXPECT_EQ(kdGetError(), KD_EPERM);
}

TEST_F(KdWindow, TakesItsCaptionAndId) {
    EXPECT_EQ(kdSetWindowPropertycv(window, KD_WINDOWPROPERTY_CAPTION, "Kapti\xc3\xb3n"), 0);
    EXPECT_EQ(kdSetWindowPropertycv(window, 1002, "16"), 0);
}

TEST_F(KdWindow, TakesASizeAndNone) {
    const KDint32 size[2] = {20, 10}, none[2] = {0, 0};
    EXPECT_EQ(kdSetWindowPropertyiv(window, KD_WINDOWPROPERTY_SIZE, size), 0);
    EXPECT_EQ(kdSetWindowPropertyiv(window, KD_WINDOWPROPERTY_SIZE, none), 0);
}

TEST_F(KdWindow, RefusesSizesThatAreNone) {
    for (const auto& size : {std::pair{-1, 5}, {5, -1}, {0, 5}, {5, 0}, {-2, -2}}) {
        const KDint32 pair[2] = {size.first, size.second};
        expectError(kdSetWindowPropertyiv(window, KD_WINDOWPROPERTY_SIZE, pair), KD_EINVAL);
    }
}

TEST_F(KdWindow, RefusesUnknownProperties) {
    const KDint32 value[2] = {1, 1};
    expectError(kdSetWindowPropertyiv(window, 67, value), KD_EOPNOTSUPP);
    expectError(kdSetWindowPropertycv(window, KD_WINDOWPROPERTY_SIZE, "x"), KD_EOPNOTSUPP);
    expectError(kdSetWindowPropertyiv(window, KD_WINDOWPROPERTY_CAPTION, value), KD_EOPNOTSUPP);
}

TEST_F(KdWindow, RefusesBadPointers) {
    const KDint32 size[2] = {1, 1};
    EGLNativeWindowType native = 0;
    auto* const other = reinterpret_cast<KDWindow*>(&native);
    expectError(kdSetWindowPropertyiv(nullptr, KD_WINDOWPROPERTY_SIZE, size), KD_EINVAL);
    expectError(kdSetWindowPropertyiv(other, KD_WINDOWPROPERTY_SIZE, size), KD_EINVAL);
    expectError(kdSetWindowPropertyiv(window, KD_WINDOWPROPERTY_SIZE, nullptr), KD_EINVAL);
    expectError(kdSetWindowPropertycv(window, KD_WINDOWPROPERTY_CAPTION, nullptr), KD_EINVAL);
    expectError(kdRealizeWindow(nullptr, &native), KD_EINVAL);
    expectError(kdRealizeWindow(other, &native), KD_EINVAL);
    expectError(kdRealizeWindow(window, nullptr), KD_EINVAL);
}

}  // namespace
