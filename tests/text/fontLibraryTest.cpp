// Opening the font with exactly three of FreeType's modules, shutting FreeType down again, and each
// failure on the way.
#include "text/fontAtlas.h"

#include <gmock/gmock.h>
#include FT_MODULE_H

#include <cstring>
#include <set>

#include "support/callLog.h"
#include "support/fakeGl.h"
#include "support/linkWraps.h"
#include "support/outputCapture.h"
#include "support/serviceTest.h"
#include "text/fontFile.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

const char* const kFont = VELKARIS_TEST_FONT;

class FontLibrary : public ServiceTest {};
using InitFont = FontLibrary;
using ReleaseFont = FontLibrary;

void buildAtlas() {
    initFont(kFont);
    buildFontAtlas(12);
}

TEST_F(InitFont, MakesTheseCallsInThisOrder) {
    initFont(kFont);
    EXPECT_THAT(calls(), ElementsAre("FT_Init_FreeType(null)", "FT_Add_Module(smooth)",
                                     "FT_Add_Module(sfnt)", "FT_Add_Module(truetype)",
                                     std::string("FT_New_Face(") + kFont + ", 0)"));
    EXPECT_NE(fontAtlas.face, nullptr);
}

TEST_F(InitFont, SaysNothingWhenAllGoesWell) {
    const Output output = outputOf([] { initFont(kFont); });
    EXPECT_EQ(output.out, "");
    EXPECT_EQ(output.err, "");
}

TEST_F(InitFont, LeavesExactlyItsThreeModulesInTheLibrary) {
    initFont(kFont);
    const std::set<std::string> wanted = {"smooth", "sfnt", "truetype"};
    for (const std::string& name : wanted)
        EXPECT_NE(FT_Get_Module(fontAtlas.library, name.c_str()), nullptr) << name;
    // What this build of FreeType starts with, whatever that is.
    EXPECT_THAT(freeTypeWraps.defaultModules, Not(IsEmpty()));
    for (const std::string& name : freeTypeWraps.defaultModules)
        EXPECT_EQ(FT_Get_Module(fontAtlas.library, name.c_str()) != nullptr,
                  wanted.count(name) == 1)
            << name;
}

TEST_F(InitFont, PrintsAFailedInitialisationAndGoesOn) {
    freeTypeWraps.initError = 7;
    const Output output = outputOf([] { initFont(kFont); });
    EXPECT_EQ(output.err, "FreeType: initialisation failed, error: 7\n");
    EXPECT_EQ(output.out, "");
    EXPECT_EQ(callCount("FT_Add_Module"), 3);
    EXPECT_EQ(callCount("FT_New_Face"), 1);
}

TEST_F(InitFont, WithoutALibraryPrintsEveryStepAndOpensNoFace) {
    freeTypeWraps.initError = 64;
    freeTypeWraps.makesLibrary = false;
    const Output output = outputOf([] {
        initFont(kFont);
        buildFontAtlas(12);
        releaseFont();
    });
    EXPECT_EQ(output.err,
              "FreeType: initialisation failed, error: 64\n"
              "FreeType: smooth renderer module insert failed, error: 33\n"
              "FreeType: sfnt module insert failed, error: 33\n"
              "FreeType: TrueType font driver module insert failed, error: 33\n"
              "FreeType: create new face failed, error: 33\n"
              "FreeType: deinitialisation failed, error: 33\n");
    EXPECT_EQ(output.out, "");
    EXPECT_EQ(fontAtlas.face, nullptr);
    EXPECT_THAT(fakeGl.textures, IsEmpty());
}

TEST_F(InitFont, PrintsEachFailedModuleAndGoesOn) {
    freeTypeWraps.moduleErrors = {{0, 11}, {1, 12}, {2, 13}};
    const Output output = outputOf([] { initFont(nullptr); });
    EXPECT_EQ(output.err,
              "FreeType: smooth renderer module insert failed, error: 11\n"
              "FreeType: sfnt module insert failed, error: 12\n"
              "FreeType: TrueType font driver module insert failed, error: 13\n");
    EXPECT_EQ(output.out, "");
}

TEST_F(InitFont, AFailedDriverStillLeadsToTheFace) {
    freeTypeWraps.moduleErrors = {{2, 13}};
    outputOf([] { initFont(kFont); });
    EXPECT_EQ(callCount("FT_New_Face"), 1);
    EXPECT_EQ(fontAtlas.face, nullptr);
}

TEST_F(InitFont, WithoutAPathOpensNoFace) {
    initFont(nullptr);
    EXPECT_EQ(callCount("FT_New_Face"), 0);
    EXPECT_EQ(fontAtlas.face, nullptr);
}

TEST_F(InitFont, PrintsAnUnknownFormatOnStandardOutput) {
    freeTypeWraps.newFaceError = 2;
    const Output output = outputOf([] { initFont("any"); });
    EXPECT_EQ(output.out, "FreeType: unknown file format\n");
    EXPECT_EQ(output.err, "");
    EXPECT_EQ(fontAtlas.face, nullptr);
}

TEST_F(InitFont, PrintsAnyOtherFailureOnStandardError) {
    freeTypeWraps.newFaceError = 85;
    const Output output = outputOf([] { initFont("any"); });
    EXPECT_EQ(output.err, "FreeType: create new face failed, error: 85\n");
    EXPECT_EQ(output.out, "");
    EXPECT_EQ(fontAtlas.face, nullptr);
}

TEST_F(InitFont, AMissingFileIsAFailedFace) {
    const Output output = outputOf([] { initFont("/nonexistent/font.ttf"); });
    EXPECT_EQ(output.err, "FreeType: create new face failed, error: 1\n");
}

TEST_F(InitFont, AFontWithCffOutlinesIsOfUnknownFormat) {
    // The tag alone tells it from TrueType outlines.
    const TestFile font("OTTO" + contentsOf(kFont).substr(4));
    const Output output = outputOf([&] { initFont(font.path.c_str()); });
    EXPECT_EQ(output.out, "FreeType: unknown file format\n");
    EXPECT_EQ(output.err, "");
    EXPECT_EQ(fontAtlas.face, nullptr);
}

TEST_F(InitFont, AType1FontIsOfUnknownFormat) {
    const TestFile font("%!PS-AdobeFont-1.0: Test\n/FontName /Test def\n" + std::string(600, ' '));
    const Output output = outputOf([&] { initFont(font.path.c_str()); });
    EXPECT_EQ(output.out, "FreeType: unknown file format\n");
}

TEST_F(InitFont, SomethingThatIsNoFontIsOfUnknownFormat) {
    const TestFile text(std::string(1000, 'x'));
    const Output output = outputOf([&] { initFont(text.path.c_str()); });
    EXPECT_EQ(output.out, "FreeType: unknown file format\n");
}

TEST_F(ReleaseFont, ShutsTheLibraryDownSilently) {
    buildAtlas();
    clearCalls();
    const Output output = outputOf([] { releaseFont(); });
    fontAtlas.library = nullptr;
    EXPECT_THAT(calls(), ElementsAre("FT_Done_FreeType(library)"));
    EXPECT_EQ(output.out + output.err, "");
}

TEST_F(ReleaseFont, GivesAllOfFreeTypesMemoryBack) {
    const HeapWatch heap;
    buildAtlas();
    releaseFont();
    fontAtlas.library = nullptr;
    EXPECT_EQ(heap.kept(), 0);
}

TEST_F(ReleaseFont, PrintsAFailure) {
    initFont(kFont);
    freeTypeWraps.doneError = 9;
    const Output output = outputOf([] { releaseFont(); });
    fontAtlas.library = nullptr;
    EXPECT_EQ(output.err, "FreeType: deinitialisation failed, error: 9\n");
    EXPECT_EQ(output.out, "");
}

TEST_F(ReleaseFont, KeepsTheTable) {
    buildAtlas();
    const GlyphInfo before = fontAtlas.glyphs['A'];
    releaseFont();
    fontAtlas.library = nullptr;
    EXPECT_EQ(memcmp(&fontAtlas.glyphs['A'], &before, sizeof(before)), 0);
}

}  // namespace
