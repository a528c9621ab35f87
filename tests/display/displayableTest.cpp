// Bring-up step by step, each step's failure, and the swap.
#include "display/displayable.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <type_traits>
#include <vector>

#include "display/displayableFixture.h"
#include "support/callLog.h"
#include "support/fakeDisplay.h"
#include "support/fakeGl.h"
#include "support/linkWraps.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

using DisplayableInit = Displayable;

TEST_F(Displayable, StartsWithNothingKnown) {
    EXPECT_FALSE(displayable.initialised);
    EXPECT_EQ(displayable.display, nullptr);
    EXPECT_EQ(displayable.surface, nullptr);
    EXPECT_EQ(displayable.getWidth(), 0u);
    EXPECT_EQ(displayable.getHeight(), 0u);
    EXPECT_EQ(posts(), 0);
}

size_t placeOf(const OpenDisplayable& object, const void* field) {
    return static_cast<size_t>(static_cast<const char*>(field) -
                               reinterpret_cast<const char*>(&object));
}

TEST_F(Displayable, HoldsItsFieldsInThisOrder) {
    const OpenDisplayable& object = displayable;
    const std::vector<size_t> places = {
        placeOf(object, &object.semaphore), placeOf(object, &object.initialised),
        placeOf(object, &object.display),   placeOf(object, &object.surface),
        placeOf(object, &object.width),     placeOf(object, &object.height)};
    EXPECT_EQ(places[0], sizeof(void*));  // behind the table of the virtual operations
    EXPECT_TRUE(std::is_sorted(places.begin(), places.end()));
    EXPECT_EQ(sizeof(object.initialised), 1u);
    EXPECT_EQ(places[5], places[4] + sizeof(int32_t));
}

// Which entry of its class's table a virtual operation is called through. A pointer to one starts
// with the entry's offset in bytes, in some ABIs with one added.
template <typename Operation>
size_t slotOf(Operation operation) {
    size_t offset = 0;
    memcpy(&offset, &operation, sizeof(offset));
    return offset / sizeof(void*);
}

class WithOneOperationMore : public CDisplayable {
public:
    virtual void afterAllOthers() {}
};

TEST_F(Displayable, HasItsVirtualOperationsInThisOrder) {
    EXPECT_EQ(slotOf(&CDisplayable::init), 0u);
    EXPECT_EQ(slotOf(&CDisplayable::swapBuffers), 1u);
    EXPECT_EQ(slotOf(&CDisplayable::evtWindowCreated), 2u);
    EXPECT_EQ(slotOf(&CDisplayable::evtWindowResized), 3u);
    // The two destructors, the plain and the deleting one, are 4 and 5.
    EXPECT_EQ(slotOf(&WithOneOperationMore::afterAllOthers), 6u);
    EXPECT_TRUE(std::has_virtual_destructor<CDisplayable>::value);
}

TEST_F(Displayable, HasOneInstance) {
    CDisplayable* const first = CDisplayable::getInstance();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(CDisplayable::getInstance(), first);
}

// The instance is made once a process; the statement runs in a new one.
TEST(DisplayableDeathTest, WithoutMemoryThereIsNoInstanceAndTheNextCallTriesAgain) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            heapWraps.failsNew = true;
            const bool none = !CDisplayable::getInstance() && !CDisplayable::getInstance();
            heapWraps.failsNew = false;
            CDisplayable* const made = CDisplayable::getInstance();
            heapWraps.failsNew = true;
            _exit(none && made && CDisplayable::getInstance() == made ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST(DisplayableDeathTest, DeletingTheInstanceTearsNothingDown) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            CDisplayable* const instance = CDisplayable::getInstance();
            instance->init();
            clearCalls();
            delete instance;
            _exit(static_cast<int>(calls().size()));
        },
        ::testing::ExitedWithCode(0), "");
}

TEST_F(DisplayableInit, MakesTheseCallsInThisOrder) {
    init(1);
    EXPECT_THAT(
        calls(),
        ElementsAre(
            "eglGetDisplay(default)", "eglInitialize(display, null, null)",
            "eglGetConfigs(display, null, 0)", "eglGetConfigs(display, array, 1)",
            "eglGetConfigAttrib(display, config 0, EGL_CONFIG_ID)",
            "eglGetConfigAttrib(display, config 0, EGL_SURFACE_TYPE)",
            "eglGetConfigAttrib(display, config 0, EGL_RENDERABLE_TYPE)",
            "eglGetConfigAttrib(display, config 0, EGL_RED_SIZE)",
            "eglGetConfigAttrib(display, config 0, EGL_GREEN_SIZE)",
            "eglGetConfigAttrib(display, config 0, EGL_BLUE_SIZE)",
            "eglGetConfigAttrib(display, config 0, EGL_ALPHA_SIZE)", "eglBindAPI(0x30A0)",
            "eglCreateContext(display, config 0, null, {0x3098, 2, 0x3038, 0x3038})",
            "screen_create_context(0)", "screen_get_context_property_iv(screen, 59)",
            "screen_get_context_property_pv(screen, 60)",
            "screen_get_display_property_iv(first display, 40)", "screen_destroy_context(screen)",
            "kdCreateWindow(display, config 0, null)", "kdSetWindowPropertycv(window, 1002, 16)",
            "kdSetWindowPropertycv(window, 69, 16)",
            "kdSetWindowPropertyiv(window, 66, {1280, 480})",
            "kdRealizeWindow(window, null handle)",
            "eglCreateWindowSurface(display, config 0, native window, null)",
            "eglMakeCurrent(display, surface, surface, context)", "glGetIntegerv(GL_VIEWPORT)"));
}

TEST_F(DisplayableInit, PrintsTheseLines) {
    fakeGl.viewport = {1, 2, 800, 600};
    init(1);
    EXPECT_EQ(output.out,
              "[Velkaris] CDisplayable init()\n"
              "[Velkaris] getting display ...\n"
              "[Velkaris] initializing egl...\n"
              "[Velkaris] egl initialized.\n"
              "[Velkaris] Get egl configs\n"
              "[Velkaris] choose config 7\n"
              "[Velkaris] Creating context...\n"
              "[Velkaris] screen resolution fetched: [1280x480]\n"
              "[Velkaris] Context got. Creating KD window...\n"
              "[Velkaris] kdWindow got [1280x480]. Realizing native window...\n"
              "[Velkaris] Window created.  Creating surface ...\n"
              "[Velkaris] Surface created.  Make current\n"
              "[Velkaris] Getting viewport size...\n"
              "[Velkaris] ok\n"
              "[Velkaris] Viewport size got (1, 2, 800, 600)\n");
    EXPECT_EQ(output.err, "");
}

TEST_F(DisplayableInit, TheDrawablesSizeWins) {
    fakeGl.viewport = {0, 0, 800, 600};
    init(1);
    EXPECT_EQ(displayable.getWidth(), 800u);
    EXPECT_EQ(displayable.getHeight(), 600u);
}

TEST_F(DisplayableInit, KeepsDisplayAndSurfaceAndNeverTheFlag) {
    init(1);
    EXPECT_NE(displayable.display, nullptr);
    EXPECT_NE(displayable.surface, nullptr);
    EXPECT_FALSE(displayable.initialised);
}

TEST_F(DisplayableInit, OfAnInitialisedObjectSucceedsAtOnce) {
    displayable.initialised = true;
    init(1);
    EXPECT_EQ(output.out, "[Velkaris] CDisplayable init()\n");
    EXPECT_EQ(output.err, "");
    EXPECT_THAT(calls(), ElementsAre());
}

TEST_F(DisplayableInit, FailsWithoutADisplay) {
    fakeEgl.hasDisplay = false;
    expectFailure("Error: can't get EGL display.", "getting display ...");
    EXPECT_THAT(calls(), ElementsAre("eglGetDisplay(default)"));
}

TEST_F(DisplayableInit, FailsWhenEglDoesNotInitialise) {
    for (const EGLBoolean notTrue : {0u, 2u}) {
        fakeEgl.initializeResult = notTrue;
        expectFailure("Error: can't init EGL display.", "initializing egl...");
        EXPECT_EQ(callCount("eglTerminate"), 0);
        EXPECT_NE(displayable.display, nullptr);
    }
}

TEST_F(DisplayableInit, FailsWhenConfigsCannotBeCounted) {
    for (const EGLBoolean notTrue : {0u, 2u}) {
        fakeEgl.countConfigsResult = notTrue;
        clearCalls();
        expectFailure("Error: can't get EGL configs.", "Get egl configs");
        EXPECT_EQ(calls().back(), "eglTerminate(display)");
        EXPECT_EQ(displayable.display, nullptr);
    }
}

TEST_F(DisplayableInit, FailsWithoutConfigs) {
    fakeEgl.configs.clear();
    expectFailure("Error: can't get EGL configs.", "Get egl configs");
    EXPECT_EQ(calls().back(), "eglTerminate(display)");
    EXPECT_EQ(displayable.display, nullptr);
}

TEST_F(DisplayableInit, FailsWithoutMemoryForTheConfigs) {
    fakeEgl.configs.assign(1234, fittingConfig(7));
    heapWraps.failingSize = 1234 * sizeof(EGLConfig);
    expectFailure("could not allocate memory for 1234 EGL configs", "Get egl configs");
    EXPECT_EQ(callCount("eglTerminate"), 0);
    EXPECT_NE(displayable.display, nullptr);
}

TEST_F(DisplayableInit, FailsWhenTheConfigsCannotBeRead) {
    fakeEgl.configs.assign(3, fittingConfig(7));
    fakeEgl.configsMissingAtFill = 1;
    fakeEgl.fillConfigsResult = EGL_FALSE;
    const HeapWatch heap;
    expectFailure("can't get 2 configs", "Get egl configs");
    EXPECT_EQ(heap.kept(), 0);
    EXPECT_EQ(callCount("eglTerminate"), 0);
}

TEST_F(DisplayableInit, AnyResultOfReadingTheConfigsButFalseIsSuccess) {
    fakeEgl.fillConfigsResult = 2;
    init(1);
}

TEST_F(DisplayableInit, GoesOnWhenTheApiIsNotBound) {
    fakeEgl.bindApiResult = EGL_FALSE;
    init(1);
    EXPECT_EQ(output.err, "");
}

TEST_F(DisplayableInit, FailsWithoutAContext) {
    fakeEgl.createsContext = false;
    expectFailure("ERROR: can't create EGL context.", "Creating context...");
    EXPECT_EQ(calls().back(), "eglTerminate(display)");
    EXPECT_EQ(displayable.display, nullptr);
    EXPECT_EQ(callCount("screen_"), 0);
}

TEST_F(DisplayableInit, FailsWithoutAWindow) {
    fakeKd.createsWindow = false;
    fakeKd.error = 25;
    expectFailure("Error: kdCreateWindow() failed with error: 25",
                  "Context got. Creating KD window...");
    EXPECT_EQ(calls().back(), "kdGetError()");
    EXPECT_EQ(callCount("eglTerminate"), 0);
}

TEST_F(DisplayableInit, GoesOnWhenThePropertiesAreRefused) {
    fakeKd.propertyResult = -1;
    init(1);
    EXPECT_EQ(output.err, "");
    EXPECT_EQ(callCount("kdSetWindowProperty"), 3);
}

TEST_F(DisplayableInit, FailsWhenTheWindowIsNotRealised) {
    fakeKd.realizeResult = -1;
    fakeKd.error = 33;
    expectFailure("Error: kdRealizeWindow() failed with error: 33",
                  "kdWindow got [1280x480]. Realizing native window...");
    EXPECT_EQ(callCount("eglCreateWindowSurface"), 0);
}

TEST_F(DisplayableInit, FailsWithoutANativeWindow) {
    fakeKd.givesNativeWindow = false;
    fakeKd.error = 0;
    expectFailure("Error: kdRealizeWindow() failed with error: 0",
                  "kdWindow got [1280x480]. Realizing native window...");
    EXPECT_EQ(callCount("eglCreateWindowSurface"), 0);
}

TEST_F(DisplayableInit, FailsWithoutASurface) {
    fakeEgl.createsSurface = false;
    fakeEgl.error = EGL_BAD_NATIVE_WINDOW;
    displayable.surface = &displayable;  // what an earlier start may have left
    expectFailure("eglCreateWindowSurface failed with error: 0x300B",
                  "Window created.  Creating surface ...");
    EXPECT_EQ(displayable.surface, EGL_NO_SURFACE);
    EXPECT_EQ(callCount("eglMakeCurrent"), 0);
    EXPECT_EQ(callCount("eglTerminate"), 0);
}

TEST_F(DisplayableInit, FailsWhenTheContextIsNotMadeCurrent) {
    for (const EGLBoolean notTrue : {0u, 2u}) {
        fakeEgl.makeCurrentResult = notTrue;
        fakeEgl.error = EGL_BAD_ALLOC;
        displayable.evtWindowResized(0, 0, 0, 0, 0, 0, 0);
        expectFailure("Error: can't make current surface. err=12291",
                      "Surface created.  Make current");
        EXPECT_EQ(callCount("glGetIntegerv"), 0);
        EXPECT_NE(displayable.display, nullptr);
        EXPECT_NE(displayable.surface, nullptr);
    }
}

TEST_F(DisplayableInit, AsksForAnEmptyWindowWhenTheScreenTellsNothing) {
    fakeScreen.createResult = -1;
    init(1);
    EXPECT_EQ(output.err, "[Velkaris] ERROR: screen_create_context\n");
    EXPECT_EQ(callCount("kdSetWindowPropertyiv(window, 66, {0, 0})"), 1);
    EXPECT_THAT(output.out, HasSubstr("kdWindow got [0x0]. Realizing"));
    EXPECT_EQ(displayable.getWidth(), 1280u);
}

TEST_F(Displayable, SwapPresentsTheSurface) {
    init(1);
    clearCalls();
    output = outputOf([&] { EXPECT_EQ(displayable.swapBuffers(), 1); });
    EXPECT_THAT(calls(), ElementsAre("eglSwapBuffers(display, surface)"));
    EXPECT_EQ(output.out + output.err, "");
}

TEST_F(Displayable, AFailedSwapIsPrintedWithoutThePrefixAndNotRetried) {
    for (const EGLBoolean notTrue : {0u, 2u}) {
        fakeEgl.swapResult = notTrue;
        clearCalls();
        output = outputOf([&] { EXPECT_EQ(displayable.swapBuffers(), 0); });
        EXPECT_EQ(output.err, "Error: can't swap buffers.\n");
        EXPECT_EQ(output.out, "");
        EXPECT_EQ(callCount("eglSwapBuffers"), 1);
    }
}

TEST_F(Displayable, SwapDisplayBuffersIsTheOneInstances) {
    EXPECT_EQ(swapDisplayBuffers(), 1);
    fakeEgl.swapResult = EGL_FALSE;
    outputOf([] { EXPECT_EQ(swapDisplayBuffers(), 0); });
    EXPECT_EQ(callCount("eglSwapBuffers"), 2);
}

TEST_F(Displayable, AWindowThatWasCreatedIsPrinted) {
    output = outputOf([&] { displayable.evtWindowCreated(4000000000UL); });
    EXPECT_EQ(output.out, "evtWindowCreated called id=4000000000\n");
    EXPECT_EQ(output.err, "");
}

TEST_F(Displayable, AResizeStoresTheSizeAndPosts) {
    displayable.evtWindowResized(0, 1, 2, 3, 4, 640, 200);
    EXPECT_EQ(displayable.getWidth(), 640u);
    EXPECT_EQ(displayable.getHeight(), 200u);
    EXPECT_EQ(posts(), 1);
}

TEST_F(Displayable, AResizeOfAnotherCodeDoesNothing) {
    for (const int32_t code : {1, -1, 256}) {
        displayable.evtWindowResized(code, 1, 2, 3, 4, 640, 200);
        EXPECT_EQ(displayable.getWidth(), 0u);
        EXPECT_EQ(displayable.getHeight(), 0u);
        EXPECT_EQ(posts(), 0);
    }
}

TEST_F(Displayable, ItsEndTearsNothingDown) {
    outputOf([] {
        OpenDisplayable ending;
        ending.init();
        clearCalls();
    });
    EXPECT_THAT(calls(), ElementsAre());
}

}  // namespace
