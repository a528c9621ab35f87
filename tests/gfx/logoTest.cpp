// Loading the splash image into the texture, drawing it, and ending when there is none.
#include "gfx/logo.h"

#include <gmock/gmock.h>

#include "support/callLog.h"
#include "support/fakeDisplay.h"
#include "support/fakeGl.h"
#include "support/fakeImage.h"
#include "support/linkWraps.h"
#include "support/outputCapture.h"
#include "support/serviceTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::StartsWith;

constexpr int kFailureStatus = 255;  // -1 as a parent sees it

class Logo : public ServiceTest {
protected:
    void SetUp() override {
        ServiceTest::SetUp();
        useArea(1280, 480);
    }

    void load(unsigned width, unsigned height) {
        fakeImage.width = width;
        fakeImage.height = height;
        loadLogoTexture("logo.png");
    }

    const std::array<float, 12>& corners() { return fakeGl.drawings.at(0).quads.at(0).corners; }
};

using LoadLogo = Logo;
using DrawLogo = Logo;

TEST_F(LoadLogo, MakesTheseCallsInThisOrder) {
    load(100, 50);
    EXPECT_THAT(calls(),
                ElementsAre("img_lib_attach(null)",
                            "img_load_file(library, logo.png, null, {format 0x01001520, flags 2})",
                            "img_lib_detach(library)",
                            "glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, 128, 64, 0, GL_RGBA, "
                            "GL_UNSIGNED_BYTE)"));
}

TEST_F(LoadLogo, RecordsImageAndTextureSizes) {
    load(100, 50);
    EXPECT_EQ(logoImage.width, 100);
    EXPECT_EQ(logoImage.height, 50);
    EXPECT_EQ(logoImage.textureWidth, 128);
    EXPECT_EQ(logoImage.textureHeight, 64);
}

TEST_F(LoadLogo, PutsTheRowsIntoTheTopLeftCornerOfTheTexture) {
    load(3, 5);
    const std::vector<uint8_t> pixels = imagePixels();
    const TextureImage& texture = fakeGl.textures.at(0);
    ASSERT_EQ(texture.bytes.size(), 4u * 8u * 4u);
    for (int row = 0; row < 5; ++row) {
        for (int byte = 0; byte < 3 * 4; ++byte)
            EXPECT_EQ(texture.bytes[row * 16 + byte], pixels[row * 12 + byte])
                << row << " " << byte;
    }
}

TEST_F(LoadLogo, APowerOfTwoImageIsUploadedWithoutPadding) {
    load(16, 8);
    EXPECT_EQ(fakeGl.textures.at(0).width, 16);
    EXPECT_EQ(fakeGl.textures.at(0).height, 8);
    EXPECT_EQ(fakeGl.textures.at(0).bytes, imagePixels());
}

TEST_F(LoadLogo, DoesNotConsultTheStride) {
    fakeImage.stride = 4096;
    load(4, 4);
    EXPECT_EQ(fakeGl.textures.at(0).bytes, imagePixels());
}

TEST_F(LoadLogo, GivesImageAndBufferBack) {
    const HeapWatch heap;
    load(3, 5);
    EXPECT_EQ(heap.kept(), 0);
}

TEST_F(LoadLogo, WithoutTheLibraryEndsTheProcess) {
    for (const int error : {static_cast<int>(IMG_ERR_CFG), -1}) {
        fakeImage.attachResult = error;
        const ChildEnd end = runInChild([] { loadLogoTexture("logo.png"); });
        EXPECT_EQ(end.exitStatus, kFailureStatus);
        EXPECT_EQ(end.err, "img_lib_attach() failed: " + std::to_string(error) + "\n");
        EXPECT_EQ(end.out, "");
    }
}

TEST_F(LoadLogo, OfAFileThatCannotBeLoadedEndsTheProcess) {
    for (const int error : {IMG_ERR_FORMAT, IMG_ERR_FILE, -1}) {
        fakeImage.loadResult = error;
        const ChildEnd end = runInChild([] { loadLogoTexture("some/logo.png"); });
        EXPECT_EQ(end.exitStatus, kFailureStatus);
        EXPECT_EQ(end.err, "img_load_file(some/logo.png) failed: " + std::to_string(error) + "\n");
        EXPECT_EQ(end.out, "");
    }
}

TEST_F(LoadLogo, AFailedLoadDetachesNothing) {
    fakeImage.loadResult = IMG_ERR_FILE;
    const ChildEnd end = runInChild([] {
        atexit([] { printf("%d", callCount("img_lib_detach")); });
        loadLogoTexture("logo.png");
    });
    EXPECT_EQ(end.out, "0");
}

TEST_F(DrawLogo, MakesTheseCallsInThisOrder) {
    load(100, 50);
    clearCalls();
    drawLogo();
    EXPECT_THAT(
        calls(),
        ElementsAre("glViewport(0, 0, 1280, 480)", "glClear(GL_COLOR_BUFFER_BIT)",
                    "glUseProgram(11)", "glGetUniformLocation(11, u_sTexture)",
                    "glUniform1i(u_sTexture, 0)", "glGetUniformLocation(11, u_fTransform)",
                    "glUniformMatrix2fv(u_fTransform, 1, GL_FALSE)",
                    "glGetUniformLocation(11, u_vTransform)",
                    "glUniformMatrix4fv(u_vTransform, 1, GL_FALSE)", "glEnableVertexAttribArray(0)",
                    "glEnableVertexAttribArray(2)",
                    "glVertexAttribPointer(0, 3, GL_FLOAT, GL_FALSE, 0)",
                    "glVertexAttribPointer(2, 2, GL_FLOAT, GL_FALSE, 0)",
                    "glDrawArrays(GL_TRIANGLE_STRIP, 0, 4)", "glDisableVertexAttribArray(0)",
                    "glDisableVertexAttribArray(2)", StartsWith("eglSwapBuffers(")));
}

TEST_F(DrawLogo, CentresTheImageAtItsOwnSize) {
    load(100, 50);
    drawLogo();
    EXPECT_THAT(corners(), ElementsAre(590, 265, 0, 690, 265, 0, 590, 215, 0, 690, 215, 0));
}

TEST_F(DrawLogo, TakesItsTexelsWithRowZeroAtTheTop) {
    load(100, 50);
    drawLogo();
    const Drawing& drawing = fakeGl.drawings.at(0);
    EXPECT_THAT(drawing.quads.at(0).texels, ElementsAre(0, 0, 100, 0, 0, 50, 100, 50));
    EXPECT_THAT(drawing.textureTransform, ElementsAre(1.0f / 128, 0, 0, 1.0f / 64));
}

TEST_F(DrawLogo, AnOddDifferenceLeavesHalfPixels) {
    load(101, 51);
    drawLogo();
    EXPECT_EQ(corners()[0], 589.5f);
    EXPECT_EQ(corners()[7], 214.5f);
}

TEST_F(DrawLogo, FillsAnAreaOfItsSize) {
    useArea(64, 32);
    load(64, 32);
    drawLogo();
    EXPECT_THAT(corners(), ElementsAre(0, 32, 0, 64, 32, 0, 0, 0, 0, 64, 0, 0));
}

TEST_F(DrawLogo, OneWiderThanTheAreaLiesFarOutside) {
    load(1281, 50);
    drawLogo();
    EXPECT_EQ(corners()[0], 4294967295.0f * 0.5f);
    EXPECT_EQ(corners()[3], 4294967295.0f * 0.5f + 1281);
    EXPECT_EQ(corners()[7], 215);
}

TEST_F(DrawLogo, OneHigherThanTheAreaLiesFarOutside) {
    load(100, 481);
    drawLogo();
    EXPECT_EQ(corners()[0], 590);
    EXPECT_EQ(corners()[1], 4294967295.0f * 0.5f + 481);
    EXPECT_EQ(corners()[7], 4294967295.0f * 0.5f);
}

TEST_F(DrawLogo, IsOpaqueAndSetsNoClearColour) {
    load(100, 50);
    drawLogo();
    EXPECT_FALSE(fakeGl.drawings.at(0).blending);
    EXPECT_EQ(callCount("glClearColor"), 0);
    EXPECT_EQ(callCount("glEnable("), 0);
}

}  // namespace
