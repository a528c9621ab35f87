// Shaders, programs and uniforms of the renderer without a GPU, and what they answer to what they
// do not know.
#include <gmock/gmock.h>

#include <string>

#include "platform/renderer/drawing.h"
#include "renderer/cpu/cpuRenderer.h"

namespace {

using testing::Each;

constexpr GLuint kNoName = 4711;

class CpuPrograms : public testing::Test {
protected:
    void expectError(GLenum error) const { EXPECT_EQ(gl.GetError(), error); }
    GLint shaderValue(GLuint shader, GLenum name) const {
        GLint value = -1;
        gl.GetShaderiv(shader, name, &value);
        return value;
    }
    bool compiles(GLenum type, const std::string& source) const {
        return shaderValue(drawing.compile(type, source.c_str()), GL_COMPILE_STATUS) != 0;
    }
    bool isLinked(GLuint program) const {
        GLint value = -1;
        gl.GetProgramiv(program, GL_LINK_STATUS, &value);
        return value != 0;
    }
    GLint location(GLuint program, const char* name) const {
        return gl.GetUniformLocation(program, name);
    }
    GLuint vertexShader() const { return drawing.compile(GL_VERTEX_SHADER, kSolidVertexShader); }

    Drawing drawing{kCpuRenderer, {4, 4}};
    const GlCalls& gl = drawing.gl;
};

TEST_F(CpuPrograms, CompilesTheConsolesShadersAsTheirTypeAlone) {
    EXPECT_TRUE(compiles(GL_VERTEX_SHADER, kSolidVertexShader));
    EXPECT_TRUE(compiles(GL_VERTEX_SHADER, kTexturedVertexShader));
    EXPECT_TRUE(compiles(GL_FRAGMENT_SHADER, kSolidFragmentShader));
    EXPECT_TRUE(compiles(GL_FRAGMENT_SHADER, kTexturedFragmentShader));
    EXPECT_FALSE(compiles(GL_FRAGMENT_SHADER, kSolidVertexShader));
    EXPECT_FALSE(compiles(GL_VERTEX_SHADER, kTexturedFragmentShader));
    expectError(GL_NO_ERROR);
}

TEST_F(CpuPrograms, CompilesThemWhateverTheirBlanks) {
    std::string source;
    for (const char* c = kSolidVertexShader; *c; ++c)
        source += *c == ';' ? " ;\n\t" : std::string(1, *c);
    EXPECT_TRUE(compiles(GL_VERTEX_SHADER, source));
}

TEST_F(CpuPrograms, CompilesNoOtherShader) {
    EXPECT_FALSE(compiles(GL_FRAGMENT_SHADER, ""));
    EXPECT_FALSE(compiles(GL_FRAGMENT_SHADER, "void main() { gl_FragColor = vec4(1); }"));
    EXPECT_FALSE(compiles(GL_FRAGMENT_SHADER, std::string(kSolidFragmentShader) + ";"));
    expectError(GL_NO_ERROR);
}

TEST_F(CpuPrograms, JoinsTheStringsOfASource) {
    const std::string whole = kSolidVertexShader;
    const GLchar* const strings[] = {whole.c_str(), whole.c_str() + 5, whole.c_str() + 20};
    const GLint lengths[] = {5, 15, -1};
    const GLuint shader = gl.CreateShader(GL_VERTEX_SHADER);
    gl.ShaderSource(shader, 3, strings, lengths);
    gl.CompileShader(shader);
    EXPECT_EQ(shaderValue(shader, GL_COMPILE_STATUS), 1);
}

TEST_F(CpuPrograms, AnswerWithTheStatusOfTheNewestSource) {
    const GLuint shader = vertexShader();
    EXPECT_EQ(shaderValue(shader, GL_SHADER_TYPE), GL_VERTEX_SHADER);
    const GLchar* other = "void main() {}";
    gl.ShaderSource(shader, 1, &other, nullptr);
    EXPECT_EQ(shaderValue(shader, GL_COMPILE_STATUS), 1);
    gl.CompileShader(shader);
    EXPECT_EQ(shaderValue(shader, GL_COMPILE_STATUS), 0);
}

TEST_F(CpuPrograms, LinkTheTwoShadersThatBelongTogether) {
    EXPECT_TRUE(isLinked(drawing.solid));
    EXPECT_TRUE(isLinked(drawing.textured));
    EXPECT_FALSE(isLinked(drawing.link(kSolidVertexShader, kTexturedFragmentShader)));
    EXPECT_FALSE(isLinked(drawing.link(kTexturedVertexShader, kSolidFragmentShader)));
    EXPECT_FALSE(isLinked(drawing.link(kSolidVertexShader, "void main() {}")));
    expectError(GL_NO_ERROR);
}

TEST_F(CpuPrograms, DoNotLinkWithoutBothShaders) {
    const GLuint program = gl.CreateProgram();
    EXPECT_FALSE(isLinked(program));
    gl.LinkProgram(program);
    EXPECT_FALSE(isLinked(program));
    gl.AttachShader(program, vertexShader());
    gl.LinkProgram(program);
    EXPECT_FALSE(isLinked(program));
}

TEST_F(CpuPrograms, KeepAttachedShadersThatAreDeleted) {
    const GLuint program = gl.CreateProgram();
    for (const GLuint shader :
         {vertexShader(), drawing.compile(GL_FRAGMENT_SHADER, kSolidFragmentShader)}) {
        gl.AttachShader(program, shader);
        gl.DeleteShader(shader);
    }
    gl.LinkProgram(program);
    EXPECT_TRUE(isLinked(program));
}

TEST_F(CpuPrograms, PlaceAttributesWhereTheyAreBoundElseAtTheLowestFreeSlot) {
    const GLuint program = gl.CreateProgram();
    gl.AttachShader(program, drawing.compile(GL_VERTEX_SHADER, kTexturedVertexShader));
    gl.AttachShader(program, drawing.compile(GL_FRAGMENT_SHADER, kTexturedFragmentShader));
    gl.BindAttribLocation(program, 0, "vPosition");
    gl.BindAttribLocation(program, 2, "a_texCoord");
    gl.LinkProgram(program);
    EXPECT_EQ(gl.GetAttribLocation(program, "a_vPosition"), 0);
    EXPECT_EQ(gl.GetAttribLocation(program, "a_texCoord"), 2);
    EXPECT_EQ(gl.GetAttribLocation(program, "vPosition"), -1);

    gl.BindAttribLocation(program, 0, "a_texCoord");
    EXPECT_EQ(gl.GetAttribLocation(program, "a_texCoord"), 2) << "before the next link";
    gl.LinkProgram(program);
    EXPECT_EQ(gl.GetAttribLocation(program, "a_vPosition"), 1);
    EXPECT_EQ(gl.GetAttribLocation(program, "a_texCoord"), 0);
    EXPECT_EQ(gl.GetAttribLocation(drawing.solid, "a_texCoord"), -1);
}

TEST_F(CpuPrograms, HaveTheUniformsOfTheirShaders) {
    EXPECT_GE(location(drawing.solid, "u_vTransform"), 0);
    EXPECT_GE(location(drawing.solid, "u_fColor"), 0);
    EXPECT_EQ(location(drawing.solid, "u_fTransform"), -1);
    EXPECT_EQ(location(drawing.solid, "u_sTexture"), -1);
    EXPECT_GE(location(drawing.textured, "u_vTransform"), 0);
    EXPECT_GE(location(drawing.textured, "u_fTransform"), 0);
    EXPECT_GE(location(drawing.textured, "u_sTexture"), 0);
    EXPECT_EQ(location(drawing.textured, "u_fColor"), -1);
    EXPECT_EQ(location(drawing.textured, "a_texCoord"), -1);
    expectError(GL_NO_ERROR);
}

TEST_F(CpuPrograms, StartTheirUniformsFromZeroWithEachLink) {
    drawing.fill(box(0, 0, 4, 4), 0xffffff);
    gl.LinkProgram(drawing.solid);
    const float corners[] = {-1, -1, -1, 1, 1, -1, 1, 1};
    const float unit[] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    gl.UseProgram(drawing.solid);
    gl.UniformMatrix4fv(location(drawing.solid, "u_vTransform"), 1, GL_FALSE, unit);
    gl.EnableVertexAttribArray(0);
    gl.VertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 0, corners);
    gl.DrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    EXPECT_THAT(drawing.present(), Each(0xff000000));
}

TEST_F(CpuPrograms, IgnoreUniformsThatTheyDoNotHave) {
    const float values[16] = {};
    gl.UseProgram(drawing.solid);
    gl.Uniform1i(-1, 0);
    gl.Uniform4f(-1, 0, 0, 0, 0);
    gl.UniformMatrix2fv(-1, 1, GL_FALSE, values);
    gl.UniformMatrix4fv(-1, 1, GL_FALSE, values);
    expectError(GL_NO_ERROR);
}

TEST_F(CpuPrograms, RefuseUniformsOfAnotherTypeOrProgram) {
    const float values[16] = {};
    const GLint transform = location(drawing.solid, "u_vTransform");
    const GLint colour = location(drawing.solid, "u_fColor");
    const GLint image = location(drawing.textured, "u_sTexture");
    const GLint scale = location(drawing.textured, "u_fTransform");
    gl.UseProgram(drawing.solid);
    gl.Uniform4f(transform, 0, 0, 0, 0);
    expectError(GL_INVALID_OPERATION);
    gl.UniformMatrix4fv(colour, 1, GL_FALSE, values);
    expectError(GL_INVALID_OPERATION);
    gl.Uniform1i(image, 0);
    expectError(GL_INVALID_OPERATION);
    gl.UniformMatrix2fv(scale, 1, GL_FALSE, values);
    expectError(GL_INVALID_OPERATION);
    gl.UseProgram(drawing.textured);
    gl.Uniform4f(colour, 0, 0, 0, 0);
    expectError(GL_INVALID_OPERATION);
    gl.Uniform4f(99, 0, 0, 0, 0);
    expectError(GL_INVALID_OPERATION);
}

TEST_F(CpuPrograms, RefuseMatricesOfAWrongCountOrThatAreTransposed) {
    const float values[32] = {};
    const GLint transform = location(drawing.solid, "u_vTransform");
    gl.UseProgram(drawing.solid);
    gl.UniformMatrix4fv(transform, -1, GL_FALSE, values);
    expectError(GL_INVALID_VALUE);
    gl.UniformMatrix4fv(transform, 1, GL_TRUE, values);
    expectError(GL_INVALID_VALUE);
    gl.UniformMatrix4fv(transform, 2, GL_FALSE, values);
    expectError(GL_INVALID_OPERATION);
    gl.UniformMatrix4fv(transform, 0, GL_FALSE, values);
    expectError(GL_NO_ERROR);
}

TEST_F(CpuPrograms, RefuseUniformsWhileNoneIsUsed) {
    const GLint colour = location(drawing.solid, "u_fColor");
    gl.UseProgram(0);
    gl.Uniform4f(colour, 1, 1, 1, 1);
    expectError(GL_INVALID_OPERATION);
}

TEST_F(CpuPrograms, RefuseNamesThatAreNone) {
    GLint value = 0;
    gl.CompileShader(kNoName);
    expectError(GL_INVALID_VALUE);
    gl.GetShaderiv(kNoName, GL_SHADER_TYPE, &value);
    expectError(GL_INVALID_VALUE);
    gl.ShaderSource(kNoName, 0, nullptr, nullptr);
    expectError(GL_INVALID_VALUE);
    gl.AttachShader(drawing.solid, kNoName);
    expectError(GL_INVALID_VALUE);
    gl.LinkProgram(kNoName);
    expectError(GL_INVALID_VALUE);
    gl.UseProgram(kNoName);
    expectError(GL_INVALID_VALUE);
    gl.GetProgramiv(kNoName, GL_LINK_STATUS, &value);
    expectError(GL_INVALID_VALUE);
    EXPECT_EQ(gl.GetUniformLocation(kNoName, "u_fColor"), -1);
    expectError(GL_INVALID_VALUE);
    gl.DeleteShader(kNoName);
    expectError(GL_INVALID_VALUE);
    gl.DeleteProgram(kNoName);
    expectError(GL_INVALID_VALUE);
    gl.DeleteShader(0);
    gl.DeleteProgram(0);
    expectError(GL_NO_ERROR);
}

TEST_F(CpuPrograms, RefuseNamesOfTheOtherKind) {
    const GLuint shader = vertexShader();
    gl.LinkProgram(shader);
    expectError(GL_INVALID_OPERATION);
    gl.UseProgram(shader);
    expectError(GL_INVALID_OPERATION);
    gl.CompileShader(drawing.solid);
    expectError(GL_INVALID_OPERATION);
    gl.AttachShader(drawing.solid, drawing.textured);
    expectError(GL_INVALID_OPERATION);
}

TEST_F(CpuPrograms, RefuseWhatWantsALinkedProgram) {
    const GLuint program = gl.CreateProgram();
    gl.UseProgram(program);
    expectError(GL_INVALID_OPERATION);
    EXPECT_EQ(gl.GetUniformLocation(program, "u_fColor"), -1);
    expectError(GL_INVALID_OPERATION);
    EXPECT_EQ(gl.GetAttribLocation(program, "a_vPosition"), -1);
    expectError(GL_INVALID_OPERATION);
}

TEST_F(CpuPrograms, RefuseOtherWrongArguments) {
    GLint value = 0;
    EXPECT_EQ(gl.CreateShader(GL_TEXTURE_2D), 0u);
    expectError(GL_INVALID_ENUM);
    gl.ShaderSource(vertexShader(), -1, nullptr, nullptr);
    expectError(GL_INVALID_VALUE);
    gl.GetShaderiv(vertexShader(), GL_LINK_STATUS, &value);
    expectError(GL_INVALID_ENUM);
    gl.GetProgramiv(drawing.solid, GL_COMPILE_STATUS, &value);
    expectError(GL_INVALID_ENUM);
    gl.AttachShader(drawing.solid, vertexShader());
    expectError(GL_INVALID_OPERATION);
    gl.BindAttribLocation(drawing.solid, 8, "a_vPosition");
    expectError(GL_INVALID_VALUE);
    gl.BindAttribLocation(drawing.solid, 0, "gl_Position");
    expectError(GL_INVALID_OPERATION);
}

TEST_F(CpuPrograms, DrawNothingWhileNoneIsUsed) {
    const Points corners = box(0, 0, 4, 4);
    drawing.fill(box(0, 0, 0, 0), 0xffffff);
    gl.UseProgram(0);
    gl.EnableVertexAttribArray(kPositionSlot);
    gl.VertexAttribPointer(kPositionSlot, 2, GL_FLOAT, GL_FALSE, 0, corners.data());
    gl.DrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    expectError(GL_NO_ERROR);
    EXPECT_THAT(drawing.present(), Each(0xff000000));
}

TEST_F(CpuPrograms, GoOnWhileTheyAreUsedWhenTheyAreDeleted) {
    const Points corners = box(0, 0, 4, 4);
    drawing.fill(box(0, 0, 0, 0), 0xffffff);
    gl.DeleteProgram(drawing.solid);
    gl.EnableVertexAttribArray(kPositionSlot);
    gl.VertexAttribPointer(kPositionSlot, 2, GL_FLOAT, GL_FALSE, 0, corners.data());
    gl.DrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    EXPECT_THAT(drawing.present(), Each(0xffffffff));
    gl.UseProgram(drawing.solid);
    expectError(GL_INVALID_VALUE);
}

}  // namespace
