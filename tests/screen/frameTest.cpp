// Whole frames: which rows, where, in which order and colours.
#include "screen/frame.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <cstring>

#include "console/consoleModel.h"
#include "support/callLog.h"
#include "support/drawnScreen.h"
#include "support/fakeDisplay.h"
#include "support/fakeGl.h"
#include "support/outputCapture.h"
#include "support/serviceTest.h"
#include "text/fontAtlas.h"

namespace {

using ::testing::ElementsAre;

constexpr size_t kStatusLineDrawings = 4;

class Frame : public ServiceTest {
protected:
    void SetUp() override {
        ServiceTest::SetUp();
        useMonospacedAtlas();
        useArea(1280, 480);
    }

    void draw() { drawFrame(0x6e3b3b, 0xffffff, 0xc49191, 0x000000); }

    // What a frame draws behind the status line.
    std::vector<std::string> rows() {
        fakeGl.drawings.clear();
        draw();
        std::vector<std::string> all = drawnScreen();
        all.erase(all.begin(), all.begin() + kStatusLineDrawings);
        return all;
    }

    void addLines(int count) {
        for (int i = 0; i < count; ++i)
            addLine("line " + std::to_string(i));
    }
};

std::string lineAt(int y, int number) {
    return "text 10 " + std::to_string(y) + " ffffff line " + std::to_string(number);
}

TEST_F(Frame, OfAnEmptyConsoleClearsDrawsTheStatusLineAndSwaps) {
    draw();
    EXPECT_THAT(drawnScreen(), ElementsAre("bar 10..1270 464..480 c49191", "text ffffff",
                                           "text 1190 466 ffffff 00:00:00",
                                           "text 1050 466 ffffff Flashing Time "));
    EXPECT_EQ(calls()[0], "glViewport(0, 0, 1280, 480)");
    EXPECT_EQ(calls()[1], "glClearColor(0.431372553, 0.23137255, 0.23137255, 1)");
    EXPECT_EQ(calls()[2], "glClear(GL_COLOR_BUFFER_BIT)");
    EXPECT_EQ(calls().back().rfind("eglSwapBuffers", 0), 0u);
    EXPECT_EQ(callCount("eglSwapBuffers"), 1);
    EXPECT_EQ(callCount("glClear("), 1);
    EXPECT_EQ(callCount("glViewport"), 1);
}

TEST_F(Frame, ShowsStatusTextAndOverallTime) {
    consoleStatus.statusText = strdup("Flashing unit 3");
    consoleStatus.overallElapsed = 3725;
    draw();
    EXPECT_EQ(drawnScreen()[1], "text 20 466 ffffff Flashing unit 3");
    EXPECT_EQ(drawnScreen()[2], "text 1190 466 ffffff 01:02:05");
}

TEST_F(Frame, AnOverallTimeBeyondTenBytesLosesItsEnd) {
    consoleStatus.overallElapsed = 3600000;
    draw();
    EXPECT_EQ(drawnScreen()[2], "text 1180 466 ffffff 1000:00:0");
}

TEST_F(Frame, ShowsTheNewest23Of30LinesOn480Pixels) {
    addLines(30);
    const std::vector<std::string> drawn = rows();
    ASSERT_EQ(drawn.size(), 23u);
    for (int k = 0; k < 23; ++k)
        EXPECT_EQ(drawn[k], lineAt(440 - 20 * k, 7 + k));
    EXPECT_EQ(drawn.back(), lineAt(0, 29));
}

TEST_F(Frame, ALineHeightOf17LeavesRoomFor21Rows) {
    fontAtlas.lineHeight = 17;
    addLines(30);
    const std::vector<std::string> drawn = rows();
    ASSERT_EQ(drawn.size(), 21u);
    EXPECT_EQ(drawn.front(), lineAt(438, 9));
    EXPECT_EQ(drawn.back(), lineAt(18, 29));
}

TEST_F(Frame, AsManyEntriesAsFitAreAllShownAndOneMoreDropsTheOldest) {
    addLines(23);
    EXPECT_EQ(rows().size(), 23u);
    EXPECT_EQ(rows().front(), lineAt(440, 0));
    addLine("line 23");
    EXPECT_EQ(rows().size(), 23u);
    EXPECT_EQ(rows().front(), lineAt(440, 1));
}

TEST_F(Frame, FewEntriesHangFromTheTop) {
    addLines(2);
    EXPECT_THAT(rows(), ElementsAre(lineAt(440, 0), lineAt(420, 1)));
}

TEST_F(Frame, AnAreaLowerThanTwoRowsShowsTheStatusLineAlone) {
    addLines(3);
    for (const uint32_t height : {39u, 20u, 19u, 1u, 0u}) {
        useArea(1280, height);
        EXPECT_THAT(rows(), ElementsAre()) << height;
        EXPECT_EQ(fakeGl.drawings.size(), kStatusLineDrawings);
    }
    EXPECT_EQ(callCount("eglSwapBuffers"), 5);
}

TEST_F(Frame, AnAreaOfTwoRowsShowsOne) {
    useArea(1280, 40);
    addLines(3);
    EXPECT_THAT(rows(), ElementsAre(lineAt(0, 2)));
}

TEST_F(Frame, ItemsTakeARowLikeLines) {
    addLine("line 0");
    addItem("fw", "Firmware", 50, 61);
    addLine("line 1");
    EXPECT_THAT(rows(), ElementsAre(lineAt(440, 0), "bar 10..565 420..436 ffffff",
                                    "text 20 420 000000 Firmware", "text 1190 420 ffffff 00:01:01",
                                    "text 1140 420 ffffff  50%", lineAt(400, 1)));
}

TEST_F(Frame, AnItemWithAnEmptyNameIsDrawnAsAnItem) {
    addItem("", "label", 0);
    EXPECT_EQ(rows().at(0), "bar 10..10 440..456 ffffff");
}

TEST_F(Frame, ItemsScrollOffLikeLines) {
    addItem("fw", "Firmware", 50);
    addLines(23);
    EXPECT_EQ(rows().front(), lineAt(440, 0));
    EXPECT_EQ(rows().size(), 23u);
}

TEST_F(Frame, EachColourGoesToItsPlace) {
    addLine("x");
    addItem("a", "label", 0);
    drawFrame(0x010203, 0x112233, 0x445566, 0x778899);
    EXPECT_EQ(callCount("glClearColor(0.00392156886, 0.00784313772, 0.0117647061, 1)"), 1);
    EXPECT_THAT(
        drawnScreen(),
        ElementsAre("bar 10..1270 464..480 445566", "text ffffff", "text 1190 466 ffffff 00:00:00",
                    "text 1050 466 ffffff Flashing Time ", "text 10 440 112233 x",
                    "bar 10..10 420..436 112233", "text 20 420 778899 label",
                    "text 1190 420 112233 00:00:00", "text 1140 420 112233   0%"));
}

TEST_F(Frame, TheTopByteOfAColourIsIgnored) {
    addLine("x");
    addItem("a", "label", 0);
    drawFrame(0xff010203, 0xff112233, 0xff445566, 0xff778899);
    const std::vector<std::string> withTopByte = drawnScreen();
    const Calls callsWithTopByte = calls();
    fakeGl.drawings.clear();
    clearCalls();
    drawFrame(0x010203, 0x112233, 0x445566, 0x778899);
    EXPECT_EQ(drawnScreen(), withTopByte);
    EXPECT_EQ(calls(), callsWithTopByte);
}

TEST_F(Frame, ARowPitchOfZeroDrawsNoRow) {
    fontAtlas.lineHeight = -4;
    addLines(5);
    EXPECT_THAT(rows(), ElementsAre());
    EXPECT_EQ(callCount("eglSwapBuffers"), 1);
}

TEST_F(Frame, ANegativePitchDrawsNoRow) {
    fontAtlas.lineHeight = -40;
    addLines(5);
    EXPECT_THAT(rows(), ElementsAre());
}

TEST_F(Frame, WithoutAFontRowsAreFourPixelsApart) {
    fontAtlas = {};
    addLines(2);
    useArea(1280, 12);
    draw();
    EXPECT_EQ(fakeGl.drawings.size(), kStatusLineDrawings + 2);
    EXPECT_EQ(fakeGl.drawings[4].quads.at(0).corners[1], 4);
    EXPECT_EQ(fakeGl.drawings[5].quads.at(0).corners[1], 0);
}

TEST_F(Frame, AFailedSwapIsReportedAndTheNextFrameIsDrawnWhole) {
    fakeEgl.swapResult = EGL_FALSE;
    const Output output = outputOf([this] { draw(); });
    EXPECT_EQ(output.err, "Error: can't swap buffers.\n");
    clearCalls();
    fakeEgl.swapResult = EGL_TRUE;
    draw();
    EXPECT_EQ(callCount("glClear("), 1);
}

TEST_F(Frame, ChangesNothingOfTheModel) {
    consoleStatus = {strdup("status"), 7, 8};
    addItem("a", "label", 42, 9);
    addLine("x");
    draw();
    EXPECT_THAT(consoleRows(), ElementsAre("a|label|42|9", "x"));
    EXPECT_STREQ(consoleStatus.statusText, "status");
    EXPECT_EQ(consoleStatus.overallElapsed, 7);
    EXPECT_EQ(consoleStatus.overallPercent, 8);
}

TEST_F(Frame, UsesTheDrawingAreaNotTheDisplay) {
    useArea(640, 480);
    draw();
    EXPECT_EQ(calls()[0], "glViewport(0, 0, 640, 480)");
    EXPECT_EQ(drawnScreen()[0], "bar 10..630 464..480 c49191");
}

}  // namespace
