// Which EGL config is taken.
#include "display/displayable.h"

#include <gmock/gmock.h>

#include "display/displayableFixture.h"
#include "support/callLog.h"
#include "support/fakeDisplay.h"

namespace {

using ::testing::HasSubstr;

using ConfigChoice = Displayable;

TEST_F(ConfigChoice, TakesTheFirstThatFits) {
    fakeEgl.configs = {fittingConfigBut(1, EGL_ALPHA_SIZE, 0), fittingConfig(2), fittingConfig(3)};
    init(1);
    EXPECT_THAT(output.out, HasSubstr("[Velkaris] choose config 2\n"));
    EXPECT_EQ(callCount("eglCreateContext(display, config 1,"), 1);
    EXPECT_EQ(callCount("kdCreateWindow(display, config 1,"), 1);
    EXPECT_EQ(callCount("eglCreateWindowSurface(display, config 1,"), 1);
    EXPECT_EQ(callCount("eglGetConfigAttrib(display, config 2,"), 0);
}

struct Misfit {
    EGLint attribute;
    EGLint value;
    int queries;  // how many attributes are read before the config is dropped
};

TEST_F(ConfigChoice, RefusesAConfigAtItsFirstMisfit) {
    for (const Misfit& misfit : {Misfit{EGL_SURFACE_TYPE, EGL_PBUFFER_BIT, 2},
                                 {EGL_RENDERABLE_TYPE, EGL_OPENGL_ES_BIT | EGL_OPENGL_BIT, 3},
                                 {EGL_RED_SIZE, 10, 4},
                                 {EGL_RED_SIZE, 5, 4},
                                 {EGL_GREEN_SIZE, 10, 5},
                                 {EGL_GREEN_SIZE, 6, 5},
                                 {EGL_BLUE_SIZE, 10, 6},
                                 {EGL_BLUE_SIZE, 0, 6},
                                 {EGL_ALPHA_SIZE, 2, 7},
                                 {EGL_ALPHA_SIZE, 0, 7},
                                 {EGL_ALPHA_SIZE, 9, 7}}) {
        fakeEgl.configs = {fittingConfigBut(1, misfit.attribute, misfit.value)};
        clearCalls();
        expectFailure("ERROR: can't choose config", "Get egl configs");
        EXPECT_EQ(callCount("eglGetConfigAttrib"), misfit.queries) << misfit.attribute;
        EXPECT_EQ(callCount("eglTerminate"), 0);
    }
}

TEST_F(ConfigChoice, LooksAtTheBitsAlone) {
    fakeEgl.configs = {fittingConfigBut(1, EGL_SURFACE_TYPE, EGL_WINDOW_BIT)};
    init(1);
    fakeEgl.configs = {fittingConfigBut(1, EGL_SURFACE_TYPE, 0xffff)};
    init(1);
    fakeEgl.configs = {fittingConfigBut(1, EGL_RENDERABLE_TYPE, EGL_OPENGL_ES2_BIT)};
    init(1);
}

TEST_F(ConfigChoice, AFailingQueryReadsAsTheOneBeforeIt) {
    ConfigAttributes noGreen = fittingConfig(1);
    noGreen.erase(EGL_GREEN_SIZE);  // reads as the 8 of red
    fakeEgl.configs = {noGreen};
    init(1);

    ConfigAttributes noRed = fittingConfig(1);
    noRed.erase(EGL_RED_SIZE);  // reads as the renderable type
    fakeEgl.configs = {noRed};
    init(0);
}

TEST_F(ConfigChoice, TheLastValueOfOneConfigIsWhatAFailingQueryOfTheNextReads) {
    ConfigAttributes noSurfaceType = fittingConfig(2);
    noSurfaceType.erase(EGL_SURFACE_TYPE);
    fakeEgl.configs = {fittingConfigBut(1, EGL_ALPHA_SIZE, 4), noSurfaceType};
    init(1);
    fakeEgl.configs = {fittingConfigBut(1, EGL_ALPHA_SIZE, 0), noSurfaceType};
    init(0);
}

TEST_F(ConfigChoice, TheIdIsReadIntoAnIntegerOfItsOwn) {
    ConfigAttributes nothing = {{EGL_CONFIG_ID, 0x4}};  // would pass for a window bit
    fakeEgl.configs = {nothing};
    init(0);
    EXPECT_EQ(callCount("eglGetConfigAttrib"), 2);
}

TEST_F(ConfigChoice, ANullHandleIsNoConfig) {
    fakeEgl.configsAreNull = true;
    expectFailure("ERROR: can't choose config", "choose config 7");
    EXPECT_EQ(callCount("eglCreateContext"), 0);
}

TEST_F(ConfigChoice, NoneLeftAtTheSecondCountIsNoConfig) {
    fakeEgl.configsMissingAtFill = 1;
    expectFailure("ERROR: can't choose config", "Get egl configs");
}

}  // namespace
