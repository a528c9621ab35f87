// The renderer of the machine's own OpenGL: sizes, rows that change, precision, and a library that
// cannot be loaded.
#include "renderer/gl/glRenderer.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "platform/renderer/drawing.h"
#include "platform/support/childProcess.h"
#include "platform/support/pictureFiles.h"
#include "support/temporaryFolder.h"
#include "support/testRenderer.h"

namespace {

using testing::Each;
using testing::MatchesRegex;

class GlRenderer : public testing::Test {
protected:
    void SetUp() override {
        if (const std::string reason = whyNoGl(); !reason.empty())
            GTEST_SKIP() << reason;
    }
};

TEST_F(GlRenderer, StartsBlackWithTheViewportOfTheSurface) {
    const Drawing drawing(kGlRenderer, {5, 3});
    GLint viewport[4] = {};
    drawing.gl.GetIntegerv(GL_VIEWPORT, viewport);
    EXPECT_THAT(viewport, testing::ElementsAre(0, 0, 5, 3));
    EXPECT_THAT(drawing.present(), Each(0xff000000));
}

TEST_F(GlRenderer, ShowsEachPixelWhereItWasDrawn) {
    const Drawing drawing(kGlRenderer, {3, 2});
    drawing.clear(0x010203);
    drawing.fill(box(0, 1, 1, 2), 0xff0000);
    drawing.fill(box(2, 0, 3, 1), 0x0000ff);
    EXPECT_EQ(drawing.present(),
              (Pixels{0xffff0000, 0xff010203, 0xff010203, 0xff010203, 0xff010203, 0xff0000ff}));
}

TEST_F(GlRenderer, ChangesInTheRowsWhosePixelsDiffer) {
    const Drawing drawing(kGlRenderer, {4, 4});
    drawing.clear(0x112233);
    drawing.present();
    drawing.clear(0x112233);
    drawing.present();
    EXPECT_TRUE(drawing.picture->changedSince(1).empty());
    drawing.fill(box(0, 1, 1, 2), 0xffffff);
    drawing.present();
    const std::vector<RowSpan> changed = drawing.picture->changedSince(2);
    ASSERT_EQ(changed.size(), 1u);
    EXPECT_EQ(changed[0].first, 2);
    EXPECT_EQ(changed[0].end, 3);
}

TEST_F(GlRenderer, DrawsOnSurfacesLargerThanAnyDisplay) {
    const Drawing drawing(kGlRenderer, {8192, 3});
    drawing.fill(box(8191, 0, 8192, 3), 0xabcdef);
    const Pixels pixels = drawing.present();
    EXPECT_EQ(pixels[8190], 0xff000000);
    EXPECT_EQ(pixels[8191], 0xffabcdef);
}

TEST_F(GlRenderer, RefusesASizeThatTheLibraryLacksWithOneLine) {
    ASSERT_TRUE(kGlRenderer.open());
    testing::internal::CaptureStderr();
    EXPECT_EQ(kGlRenderer.createPicture({32767, 32767}), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "velkaris: gl: the library draws no picture of 32767x32767\n");
}

// Half floats would not tell these columns apart.
TEST_F(GlRenderer, SamplesTheFarEndOfWideTextures) {
    constexpr int kTexels = 16384;
    Drawing drawing(kGlRenderer, {4, 1});
    std::vector<uint8_t> texels(kTexels, 1);
    for (int i = 0; i < 4; ++i)
        texels[static_cast<size_t>(kTexels - 4 + i)] = static_cast<uint8_t>(10 + i);
    drawing.upload(GL_LUMINANCE, kTexels, 1, texels);
    drawing.image(0, 0, 4, 1, kTexels - 4, 0);
    EXPECT_EQ(drawing.present(), (Pixels{0xff0a0a0a, 0xff0b0b0b, 0xff0c0c0c, 0xff0d0d0d}));
}

TEST_F(GlRenderer, DrawsForTheProcessThatAsksForIt) {
    ChildProcess child({VELKARIS_WINDOW_PROGRAM},
                       {"VELKARIS_WINDOW=headless:40x30", "VELKARIS_RENDERER=gl"});
    EXPECT_EQ(child.readLine(), "screen 40x30, drawing 40x30");
    child.send("fill 1 2 3 4 5 6 7");
    child.send("swap");
    EXPECT_EQ(child.readLine(), "swapped");
}

TEST(GlLibrary, ThatCannotBeLoadedIsOneLineAndTheEndOfTheStart) {
    for (const std::string name : {"libEGL.so.1", "libGLESv2.so.2"}) {
        const TemporaryFolder folder;
        writeFile(folder.file(name), {'n', 'o', 'n', 'e'});
        if (name != "libEGL.so.1" && !whyNoGl().empty())
            GTEST_SKIP() << whyNoGl();
        ChildProcess child({VELKARIS_WINDOW_PROGRAM},
                           {"VELKARIS_WINDOW=headless:40x30", "VELKARIS_RENDERER=gl",
                            "LD_LIBRARY_PATH=" + folder.path()});
        EXPECT_EQ(child.readLine(), "failed: eglInitialize, kd error 0");
        EXPECT_EQ(child.wait(), 3);
        EXPECT_THAT(child.errors(), MatchesRegex("velkaris: gl: [^\n]*" + name + "[^\n]*\n"));
    }
}

TEST(GlLibrary, IsNotLookedForByTheOtherRenderer) {
    const TemporaryFolder folder;
    for (const char* name : {"libEGL.so.1", "libGLESv2.so.2"})
        writeFile(folder.file(name), {'n', 'o', 'n', 'e'});
    ChildProcess child({VELKARIS_WINDOW_PROGRAM},
                       {"VELKARIS_WINDOW=headless:40x30", "LD_LIBRARY_PATH=" + folder.path()});
    EXPECT_EQ(child.readLine(), "screen 40x30, drawing 40x30");
    EXPECT_EQ(child.errors(), "");
}

}  // namespace
