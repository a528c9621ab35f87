// Start-up from the command line to the message loop, in order, and each of its failures. The loop
// ends when a scripted handler fails.
#include <KD/kd.h>
#include <errno.h>
#include <gmock/gmock.h>
#include <signal.h>

#include <cstring>

#include "app/settings.h"
#include "console/clockTick.h"
#include "console/consoleModel.h"
#include "console/controlDevice.h"
#include "display/displayable.h"
#include "gfx/renderContext.h"
#include "support/callLog.h"
#include "support/fakeDispatch.h"
#include "support/fakeDisplay.h"
#include "support/fakeGl.h"
#include "support/fakeImage.h"
#include "support/linkWraps.h"
#include "support/outputCapture.h"
#include "support/serviceTest.h"
#include "text/fontAtlas.h"

namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

using Arguments = std::vector<const char*>;

class KdMain : public ServiceTest {
protected:
    void SetUp() override {
        ServiceTest::SetUp();
        // The one instance outlives the tests; this forgets the size that an earlier one found.
        CDisplayable::getInstance()->evtWindowResized(0, 0, 0, 0, 0, 0, 0);
    }

    void TearDown() override {
        fontAtlas.library = nullptr;  // released by start-up
        ServiceTest::TearDown();
    }

    // Runs the program, which must return 1, the only value it has.
    void run(Arguments arguments = {"-p", VELKARIS_TEST_FONT}) {
        arguments.insert(arguments.begin(), "./console");
        arguments.push_back(nullptr);
        output = outputOf([&] {
            EXPECT_EQ(kdMain(static_cast<KDint>(arguments.size()) - 1, arguments.data()), 1);
        });
    }

    // The first call of each step of start-up, in the order made.
    Calls steps() {
        return callsTo({"eglGetDisplay",
                        "eglMakeCurrent",
                        "kdSetTLS",
                        "glLinkProgram(202)",
                        "img_load_file",
                        "glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA",
                        "FT_Init",
                        "glTexImage2D(GL_TEXTURE_2D, 0, GL_LUMINANCE",
                        "FT_Done",
                        "eglSwapBuffers",
                        "dispatch_create",
                        "iofunc_func_init",
                        "iofunc_attr_init",
                        "resmgr_attach",
                        "dispatch_context_alloc",
                        "pulse_attach",
                        "message_connect",
                        "TimerCreate",
                        "TimerSettime",
                        "dispatch_block",
                        "dispatch_handler"});
    }

    Output output;
};

const char* const kLoopEnd = "dispatch error: Bad file descriptor\n";

TEST_F(KdMain, BringsEverythingUpInThisOrder) {
    run();
    EXPECT_THAT(
        steps(),
        ElementsAre(
            "eglGetDisplay(default)", "eglMakeCurrent(display, surface, surface, context)",
            "kdSetTLS(pointer)", "glLinkProgram(202)", "FT_Init_FreeType(null)",
            "glTexImage2D(GL_TEXTURE_2D, 0, GL_LUMINANCE, 512, 512, 0, GL_LUMINANCE, "
            "GL_UNSIGNED_BYTE)",
            "FT_Done_FreeType(library)", "eglSwapBuffers(display, surface)", "dispatch_create()",
            "iofunc_func_init(8, 26)", "iofunc_attr_init(0x51b6, null, null)",
            "resmgr_attach(dispatch, /dev/Velkaris, 0, 0)", "dispatch_context_alloc(dispatch)",
            "pulse_attach(dispatch, 0x2, 0, null)", "message_connect(dispatch, 0x200)",
            "TimerCreate(0)", "TimerSettime(4, 0, null)", "dispatch_block(first context)",
            "dispatch_handler(second context)"));
    EXPECT_EQ(output.err, kLoopEnd);
}

TEST_F(KdMain, ShowsALogoInsteadOfTheFirstFrame) {
    run({"-p", VELKARIS_TEST_FONT, "-l", "logo.png"});
    EXPECT_THAT(
        steps(),
        ElementsAre(
            "eglGetDisplay(default)", "eglMakeCurrent(display, surface, surface, context)",
            "kdSetTLS(pointer)", "glLinkProgram(202)",
            "img_load_file(library, logo.png, null, {format 0x01001520, flags 2})",
            "glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, 2, 2, 0, GL_RGBA, GL_UNSIGNED_BYTE)",
            "eglSwapBuffers(display, surface)", "FT_Init_FreeType(null)",
            "glTexImage2D(GL_TEXTURE_2D, 0, GL_LUMINANCE, 512, 512, 0, GL_LUMINANCE, "
            "GL_UNSIGNED_BYTE)",
            "FT_Done_FreeType(library)", "dispatch_create()", "iofunc_func_init(8, 26)",
            "iofunc_attr_init(0x51b6, null, null)", "resmgr_attach(dispatch, /dev/Velkaris, 0, 0)",
            "dispatch_context_alloc(dispatch)", "pulse_attach(dispatch, 0x2, 0, null)",
            "message_connect(dispatch, 0x200)", "TimerCreate(0)", "TimerSettime(4, 0, null)",
            "dispatch_block(first context)", "dispatch_handler(second context)"));
    EXPECT_EQ(callCount("glClearColor"), 0);
}

TEST_F(KdMain, DrawsTheFirstFrameInTheColoursOfTheSettings) {
    addItem("a", "label", 0);
    run({"-p", VELKARIS_TEST_FONT, "-B", "010203", "-S", "ff0000", "-F", "00ff00", "-P", "0000ff"});
    EXPECT_EQ(callCount("glClearColor(0.00392156886, 0.00784313772, 0.0117647061, 1)"), 1);
    EXPECT_EQ(callCount("glUniform4f(u_fColor, 1, 0, 0, 1)"), 1);
    EXPECT_EQ(callCount("glUniform4f(u_fColor, 0, 1, 0, 1)"), 1);
    EXPECT_EQ(callCount("glBlendColor(0, 0, 1, 1)"), 1);
    EXPECT_EQ(callCount("eglSwapBuffers"), 1);
}

TEST_F(KdMain, TakesTheDrawablesSizeForItsDrawingArea) {
    fakeGl.viewport = {0, 0, 801, 601};
    run();
    EXPECT_EQ(renderContext()->width, 801u);
    EXPECT_EQ(renderContext()->height, 601u);
    EXPECT_EQ(renderContext()->texturedProgram, 201u);
}

struct HalfWidth {
    int displayWidth;
    uint32_t areaWidth;
};

TEST_F(KdMain, HalvesTheWidthAloneWhenAsked) {
    for (const HalfWidth& half : {HalfWidth{1280, 640}, {1281, 640}, {1, 0}}) {
        SetUp();
        fakeGl.viewport = {0, 0, half.displayWidth, 481};
        run({"-p", VELKARIS_TEST_FONT, "-R"});
        EXPECT_EQ(renderContext()->width, half.areaWidth);
        EXPECT_EQ(renderContext()->height, 481u);
        free(fakeKd.threadPointer);
        fakeKd.threadPointer = nullptr;
        EXPECT_EQ(
            callCount(("glViewport(0, 0, " + std::to_string(half.areaWidth) + ", 481)").c_str()),
            1);
    }
}

TEST_F(KdMain, BuildsTheAtlasAtTheSizeOfTheSettings) {
    run({"-p", VELKARIS_TEST_FONT, "-f", "30"});
    EXPECT_EQ(callCount("FT_Set_Char_Size(1920, 0, 120, 120)"), 1);
}

TEST_F(KdMain, PassesASizeThatIsNoNumberOnAsZero) {
    run({"-p", VELKARIS_TEST_FONT, "-f", "abc"});
    EXPECT_EQ(callCount("FT_Set_Char_Size(0, 0, 120, 120)"), 1);
}

TEST_F(KdMain, TellsTheModelHowManyRowsAreSeen) {
    run();
    EXPECT_EQ(consoleVisibleRows,
              static_cast<int32_t>(renderContext()->height) / (fontAtlas.lineHeight + 4) - 1);
    EXPECT_GT(consoleVisibleRows, 0);
}

TEST_F(KdMain, GivesFreeTypeBackBeforeItServes) {
    fakeDispatch.atFirstBlock = [] { EXPECT_EQ(callCount("FT_Done_FreeType(library)"), 1); };
    run();
    EXPECT_EQ(callCount("FT_Done_FreeType"), 1);
}

TEST_F(KdMain, AttachesTheDeviceWithTheseTablesAndAttributes) {
    run();
    EXPECT_EQ(fakeDispatch.attachedAttributes.nparts_max, 1u);
    EXPECT_EQ(fakeDispatch.attachedAttributes.msg_max_size, 2048u);
    EXPECT_EQ(fakeDispatch.attachedAttributes.flags, 0u);
    EXPECT_EQ(fakeDispatch.attachedAttributes.other_func, nullptr);
    EXPECT_EQ(fakeDispatch.attachedIo.write, &consoleIoWrite);
    EXPECT_EQ(fakeDispatch.attachedIo.devctl, &consoleIoDevctl);
    EXPECT_NE(fakeDispatch.attachedIo.read, nullptr);  // the framework's
    EXPECT_EQ(fakeDispatch.attachedNode.mode, 0x51b6u);
    EXPECT_EQ(fakeDispatch.attachedPath, "/dev/Velkaris");
}

TEST_F(KdMain, AttachesTheDeviceAtThePathOfTheSettings) {
    appSettings.devicePath = "/dev/another";
    run();
    EXPECT_EQ(fakeDispatch.attachedPath, "/dev/another");
}

TEST_F(KdMain, ArmsAPulseOfOneSecond) {
    run();
    EXPECT_EQ(fakeDispatch.pulseHandler, &ClockTick);
    EXPECT_EQ(fakeDispatch.timerEvent.sigev_notify, SIGEV_PULSE);
    EXPECT_EQ(fakeDispatch.timerEvent.sigev_coid, _NTO_SIDE_CHANNEL | 9);
    EXPECT_EQ(fakeDispatch.timerEvent.sigev_code, 5);
    EXPECT_EQ(fakeDispatch.timerEvent.sigev_priority, -1);
    EXPECT_EQ(fakeDispatch.timerEvent.sigev_value.sival_ptr, nullptr);
    EXPECT_EQ(fakeDispatch.timerInterval.nsec, 1000000000u);
    EXPECT_EQ(fakeDispatch.timerInterval.interval_nsec, 1000000000u);
}

TEST_F(KdMain, APulseCodeOfZeroIsACodeLikeAnyOther) {
    fakeDispatch.pulseCode = 0;
    fakeDispatch.connection = 0;
    fakeDispatch.timer = 0;
    fakeDispatch.attachResult = 0;
    run();
    EXPECT_EQ(output.err, kLoopEnd);
}

TEST_F(KdMain, DoesNotCheckTheArming) {
    fakeDispatch.timerSettimeResult = -1;
    run();
    EXPECT_EQ(output.err, kLoopEnd);
}

TEST_F(KdMain, WithoutADisplaySaysSoWithoutALineFeed) {
    fakeEgl.initializeResult = EGL_FALSE;
    run();
    EXPECT_EQ(output.err,
              "[Velkaris] Error: can't init EGL display.\n"
              "./console: Failed to initialize displayable!");
    EXPECT_EQ(callCount("kdSetTLS"), 0);
    EXPECT_EQ(callCount("dispatch_create"), 0);
}

struct StartFailure {
    void (*script)();
    const char* error;
    const char* lastCall;
};

TEST_F(KdMain, EndsAtTheFirstFailureOfTheMessageSetUp) {
    const StartFailure failures[] = {
        {[] { fakeDispatch.createsDispatch = false; },
         "./console: Unable to allocate dispatch handle.\n", "dispatch_create()"},
        {[] { fakeDispatch.attachResult = -1; }, "./console: Unable to attach name.\n",
         "resmgr_attach(dispatch, /dev/Velkaris, 0, 0)"},
        {[] { fakeDispatch.allocatesContext = false; },
         "./console: Unable to allocate a context structure.\n",
         "dispatch_context_alloc(dispatch)"},
        {[] { fakeDispatch.pulseCode = -1; }, "Unable to attach timer pulse.\n",
         "pulse_attach(dispatch, 0x2, 0, null)"},
        {[] { fakeDispatch.connection = -1; }, "Unable to attach to channel.\n",
         "message_connect(dispatch, 0x200)"},
        {[] { fakeDispatch.timer = -1; }, "Unable to attach channel and connection.\n",
         "TimerCreate(0)"},
    };
    for (const StartFailure& failure : failures) {
        SetUp();
        failure.script();
        run();
        EXPECT_EQ(output.err, failure.error);
        EXPECT_THAT(output.out, EndsWith("[Velkaris] Viewport size got (0, 0, 1280, 480)\n"));
        EXPECT_EQ(calls().back(), failure.lastCall);
        free(fakeKd.threadPointer);
        fakeKd.threadPointer = nullptr;
    }
}

TEST_F(KdMain, GoesOnWhenTheShadersFail) {
    fakeGl.programsNotLinked = {0, 1};
    run();
    EXPECT_EQ(output.err, kLoopEnd);
    EXPECT_EQ(renderContext()->texturedProgram, 0u);
}

TEST_F(KdMain, GoesOnWithoutAFont) {
    run({"-p", "/nonexistent/font.ttf"});
    EXPECT_EQ(output.err, std::string("FreeType: create new face failed, error: 1\n") + kLoopEnd);
    EXPECT_EQ(callCount("eglSwapBuffers"), 1);
    EXPECT_EQ(callCount("resmgr_attach"), 1);
    EXPECT_EQ(callCount("FT_Done_FreeType"), 1);
}

TEST_F(KdMain, ALogoThatCannotBeLoadedEndsTheProcessBeforeTheFont) {
    fakeImage.loadResult = IMG_ERR_FILE;
    const ChildEnd end = runInChild([] {
        const char* const arguments[] = {"./console", "-p", "f.ttf", "-l", "no.png", nullptr};
        atexit([] { printf("fonts opened: %d\n", callCount("FT_Init")); });
        kdMain(5, arguments);
    });
    EXPECT_EQ(end.exitStatus, 255);
    EXPECT_EQ(end.err, "img_load_file(no.png) failed: 9\n");
    EXPECT_THAT(end.out, EndsWith("fonts opened: 0\n"));
}

TEST_F(KdMain, AUsageErrorEndsTheProcessBeforeAnythingElse) {
    const ChildEnd end = runInChild([] {
        const char* const arguments[] = {"./console", nullptr};
        atexit([] { printf("calls: %zu\n", calls().size()); });
        kdMain(1, arguments);
    });
    EXPECT_EQ(end.exitStatus, 1);
    EXPECT_EQ(end.out, "calls: 0\n");
}

TEST_F(KdMain, BlocksAgainWithTheSameContextAfterABlockError) {
    fakeDispatch.blocks = {false, true, false, true};
    fakeDispatch.handlerResults = {0, -1};
    const FlushWatch flushes;
    run();
    EXPECT_THAT(
        callsTo({"dispatch_block", "dispatch_handler", "flushall"}),
        ElementsAre("dispatch_block(first context)", "flushall()", "dispatch_block(first context)",
                    "dispatch_handler(second context)", "dispatch_block(second context)",
                    "flushall()", "dispatch_block(second context)",
                    "dispatch_handler(second context)", "flushall()"));
    EXPECT_THAT(output.out, EndsWith("480)\nblock error\nblock error\n"));
    EXPECT_EQ(output.err, kLoopEnd);
}

TEST_F(KdMain, ServesUntilAHandlerFails) {
    fakeDispatch.handlerResults = {0, 0, 0, 1};
    fakeDispatch.handlerError = ENOMEM;
    run();
    EXPECT_EQ(callCount("dispatch_handler"), 4);
    EXPECT_EQ(output.err, std::string("dispatch error: ") + strerror(ENOMEM) + "\n");
}

TEST_F(KdMain, TicksDrawFromTheLoop) {
    fakeDispatch.atFirstBlock = [] {
        consoleStatus.overallPercent = 1;
        EXPECT_EQ(fakeDispatch.pulseHandler(nullptr, 5, 0, nullptr), 0);
    };
    run();
    EXPECT_EQ(callCount("eglSwapBuffers"), 2);
    EXPECT_EQ(consoleStatus.overallElapsed, 1);
}

// What a process that is killed in the middle of its start has written into a file.
TEST_F(KdMain, EachLineOfItsLogIsWholeInAFileAtOnce) {
    const ChildEnd end = runInChild([] {
        setvbuf(stdout, nullptr, _IOFBF, BUFSIZ);  // as a file begins
        fakeEgl.atGetDisplay = [] { raise(SIGKILL); };
        const char* const arguments[] = {"./console", "-p", "f.ttf", nullptr};
        kdMain(3, arguments);
    });
    EXPECT_EQ(end.exitStatus, -1);
    EXPECT_EQ(end.out, "[Velkaris] CDisplayable init()\n[Velkaris] getting display ...\n");
}

}  // namespace
