// The four sources byte for byte, the calls that build the programs, and each failure.
#include "gfx/shaderPrograms.h"

#include <gmock/gmock.h>

#include "support/callLog.h"
#include "support/fakeGl.h"
#include "support/outputCapture.h"
#include "support/serviceTest.h"

namespace {

using ::testing::ElementsAre;

const char* const kSources[] = {
    "attribute vec4 a_vPosition; \nattribute vec2 a_texCoord; \nvarying vec2 v_texCoord; \n"
    "uniform mat4 u_vTransform; \n \nvoid main() \n{ \n"
    "   gl_Position = u_vTransform * a_vPosition; \n   v_texCoord = a_texCoord; \n} \n",

    "attribute vec4 a_vPosition; \nuniform mat4 u_vTransform; \n \nvoid main() \n{ \n"
    "   gl_Position = u_vTransform * a_vPosition; \n} \n",

    "precision mediump float; \nvarying vec2 v_texCoord; \nuniform sampler2D u_sTexture; \n"
    "uniform mat2 u_fTransform; \n \nvoid main() \n{ \n"
    "   vec4 tex = texture2D( u_sTexture, v_texCoord  * u_fTransform); \n"
    "   if (tex.rgb == vec3(0, 0, 0)) \n   { \n      discard; \n   } \n"
    "   gl_FragColor = tex; \n} \n",

    "precision mediump float; \nuniform vec4 u_fColor; \n \nvoid main() \n{ \n"
    "   gl_FragColor = u_fColor; \n} \n",
};

class ShaderPrograms : public ServiceTest {
protected:
    void SetUp() override {
        ServiceTest::SetUp();
        useArea(1280, 480);
        area.texturedProgram = 0;
        area.solidProgram = 0;
    }

    void expectFailure() {
        const Output output = outputOf([] { EXPECT_EQ(createShaderPrograms(), 0); });
        EXPECT_EQ(output.out + output.err, "");
        EXPECT_EQ(area.texturedProgram, 0u);
        EXPECT_EQ(area.solidProgram, 0u);
        EXPECT_EQ(callCount("glTexParameteri"), 0);
    }
};

using CompileShader = ShaderPrograms;

TEST_F(CompileShader, CompilesOneStringAndGivesItsName) {
    EXPECT_EQ(compileShader(GL_FRAGMENT_SHADER, "source"), 101u);
    EXPECT_THAT(calls(),
                ElementsAre("glCreateShader(GL_FRAGMENT_SHADER)", "glShaderSource(101, 1, null)",
                            "glCompileShader(101)", "glGetShaderiv(101, GL_COMPILE_STATUS)"));
    EXPECT_THAT(fakeGl.shaderSources, ElementsAre("source"));
}

TEST_F(CompileShader, ThatCannotBeCreatedIsZero) {
    fakeGl.shadersNotCreated = {0};
    EXPECT_EQ(compileShader(GL_VERTEX_SHADER, "source"), 0u);
    EXPECT_THAT(calls(), ElementsAre("glCreateShader(GL_VERTEX_SHADER)"));
}

TEST_F(CompileShader, ThatDoesNotCompileIsDeletedSilently) {
    fakeGl.shadersNotCompiled = {0};
    const Output output = outputOf([] { EXPECT_EQ(compileShader(GL_VERTEX_SHADER, "x"), 0u); });
    EXPECT_EQ(output.out + output.err, "");
    EXPECT_EQ(calls().back(), "glDeleteShader(101)");
}

TEST_F(ShaderPrograms, HaveTheseSources) {
    createShaderPrograms();
    ASSERT_EQ(fakeGl.shaderSources.size(), 4u);
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(fakeGl.shaderSources[i], kSources[i]) << i;
}

TEST_F(ShaderPrograms, AreBuiltByTheseCallsInThisOrder) {
    EXPECT_EQ(createShaderPrograms(), 1);
    const auto ofBuilding = callsTo({"glCreate", "glAttach", "glBind", "glLink", "glGetProgram",
                                     "glTexParameteri", "glDelete", "glDetach"});
    EXPECT_THAT(
        ofBuilding,
        ElementsAre(
            "glCreateShader(GL_VERTEX_SHADER)", "glCreateShader(GL_VERTEX_SHADER)",
            "glCreateShader(GL_FRAGMENT_SHADER)", "glCreateShader(GL_FRAGMENT_SHADER)",
            "glCreateProgram()", "glCreateProgram()", "glAttachShader(201, 101)",
            "glAttachShader(201, 103)", "glAttachShader(202, 102)", "glAttachShader(202, 104)",
            "glBindAttribLocation(201, 0, vPosition)", "glBindAttribLocation(201, 2, a_texCoord)",
            "glLinkProgram(201)", "glLinkProgram(202)", "glGetProgramiv(201, GL_LINK_STATUS)",
            "glGetProgramiv(202, GL_LINK_STATUS)", "glBindAttribLocation(201, 2, v_texcoord)",
            "glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST)",
            "glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST)"));
}

TEST_F(ShaderPrograms, EndUpInTheRenderContext) {
    createShaderPrograms();
    EXPECT_EQ(area.texturedProgram, 201u);
    EXPECT_EQ(area.solidProgram, 202u);
}

TEST_F(ShaderPrograms, AFailedShaderIsAttachedAsZeroLikeAnyOther) {
    fakeGl.shadersNotCompiled = {2};
    EXPECT_EQ(createShaderPrograms(), 1);
    EXPECT_EQ(callCount("glAttachShader(201, 0)"), 1);
    EXPECT_EQ(callCount("glDeleteShader(103)"), 1);
    EXPECT_EQ(callCount("glDeleteShader"), 1);
    EXPECT_EQ(callCount("glLinkProgram"), 2);
}

TEST_F(ShaderPrograms, AProgramThatCannotBeCreatedIsAFailureWithNothingDeleted) {
    for (const int failing : {0, 1}) {
        SetUp();
        fakeGl.programsNotCreated = {failing};
        expectFailure();
        EXPECT_EQ(callCount("glCreateProgram"), 2);
        EXPECT_EQ(callCount("glAttachShader"), 0);
        EXPECT_EQ(callCount("glDelete"), 0);
    }
}

TEST_F(ShaderPrograms, AnUnlinkedTexturedProgramIsDeletedAlone) {
    fakeGl.programsNotLinked = {0};
    expectFailure();
    EXPECT_THAT(callsTo({"glGetProgramiv", "glDelete"}),
                ElementsAre("glGetProgramiv(201, GL_LINK_STATUS)", "glDeleteProgram(201)"));
}

TEST_F(ShaderPrograms, AnUnlinkedSolidProgramIsDeletedAlone) {
    fakeGl.programsNotLinked = {1};
    expectFailure();
    EXPECT_THAT(callsTo({"glGetProgramiv", "glDelete"}),
                ElementsAre("glGetProgramiv(201, GL_LINK_STATUS)",
                            "glGetProgramiv(202, GL_LINK_STATUS)", "glDeleteProgram(202)"));
}

TEST_F(ShaderPrograms, SayNothing) {
    const Output output = outputOf([] { createShaderPrograms(); });
    EXPECT_EQ(output.out + output.err, "");
}

}  // namespace
