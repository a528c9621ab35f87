#include "platform/renderer/drawing.h"

#include <stdexcept>
#include <string>

const char* const kTexturedVertexShader =
    "attribute vec4 a_vPosition; attribute vec2 a_texCoord; varying vec2 v_texCoord;"
    "uniform mat4 u_vTransform;"
    "void main() { gl_Position = u_vTransform * a_vPosition; v_texCoord = a_texCoord; }";

const char* const kSolidVertexShader =
    "attribute vec4 a_vPosition; uniform mat4 u_vTransform;"
    "void main() { gl_Position = u_vTransform * a_vPosition; }";

const char* const kTexturedFragmentShader =
    "precision mediump float; varying vec2 v_texCoord; uniform sampler2D u_sTexture;"
    "uniform mat2 u_fTransform;"
    "void main() { vec4 tex = texture2D(u_sTexture, v_texCoord * u_fTransform);"
    "if (tex.rgb == vec3(0, 0, 0)) { discard; } gl_FragColor = tex; }";

const char* const kSolidFragmentShader =
    "precision mediump float; uniform vec4 u_fColor; void main() { gl_FragColor = u_fColor; }";

namespace {

float channel(uint32_t rgb, unsigned shift) {
    return static_cast<float>(rgb >> shift & 0xff) / 255.0f;
}

const Renderer& opened(const Renderer& renderer) {
    if (!renderer.open())
        throw std::runtime_error(std::string("cannot open ") + renderer.name);
    return renderer;
}

const Picture* createPicture(const Renderer& renderer, const PixelSize& size) {
    const Picture* const picture = renderer.createPicture(size);
    if (!picture)
        throw std::runtime_error("no picture");
    return picture;
}

}  // namespace

Points box(float left, float bottom, float right, float top) {
    return {left, bottom, left, top, right, bottom, right, top};
}

Drawing::Drawing(const Renderer& renderer, const PixelSize& size)
    : gl(*opened(renderer).calls()),
      picture(createPicture(renderer, size)),
      renderer_(renderer),
      size_(size) {
    solid = link(kSolidVertexShader, kSolidFragmentShader);
    textured = link(kTexturedVertexShader, kTexturedFragmentShader);
    gl.TexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    gl.TexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
}

GLuint Drawing::compile(GLenum type, const char* source) const {
    const GLuint shader = gl.CreateShader(type);
    gl.ShaderSource(shader, 1, &source, nullptr);
    gl.CompileShader(shader);
    return shader;
}

GLuint Drawing::link(const char* vertexSource, const char* fragmentSource) const {
    const GLuint program = gl.CreateProgram();
    gl.AttachShader(program, compile(GL_VERTEX_SHADER, vertexSource));
    gl.AttachShader(program, compile(GL_FRAGMENT_SHADER, fragmentSource));
    gl.BindAttribLocation(program, kPositionSlot, "a_vPosition");
    gl.BindAttribLocation(program, kTexCoordSlot, "a_texCoord");
    gl.LinkProgram(program);
    return program;
}

void Drawing::useTransform(GLuint program) const {
    const float xScale = 2.0f / static_cast<float>(size_.width);
    const float yScale = 2.0f / static_cast<float>(size_.height);
    const float columns[] = {xScale, 0, 0, 0, 0, yScale, 0, 0, 0, 0, 1, 0, -1, -1, 0, 1};
    gl.UseProgram(program);
    gl.UniformMatrix4fv(gl.GetUniformLocation(program, "u_vTransform"), 1, GL_FALSE, columns);
}

void Drawing::clear(uint32_t rgb) const {
    gl.ClearColor(channel(rgb, 16), channel(rgb, 8), channel(rgb, 0), 1);
    gl.Clear(GL_COLOR_BUFFER_BIT);
}

void Drawing::fill(const Points& corners, uint32_t rgb) const {
    useTransform(solid);
    gl.Uniform4f(gl.GetUniformLocation(solid, "u_fColor"), channel(rgb, 16), channel(rgb, 8),
                 channel(rgb, 0), 1);
    gl.EnableVertexAttribArray(kPositionSlot);
    gl.VertexAttribPointer(kPositionSlot, 2, GL_FLOAT, GL_FALSE, 0, corners.data());
    gl.DrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    gl.DisableVertexAttribArray(kPositionSlot);
}

void Drawing::image(const Points& corners, const Points& texels) const {
    const float scale[] = {1.0f / static_cast<float>(textureWidth_), 0, 0,
                           1.0f / static_cast<float>(textureHeight_)};
    useTransform(textured);
    gl.Uniform1i(gl.GetUniformLocation(textured, "u_sTexture"), 0);
    gl.UniformMatrix2fv(gl.GetUniformLocation(textured, "u_fTransform"), 1, GL_FALSE, scale);
    gl.EnableVertexAttribArray(kPositionSlot);
    gl.EnableVertexAttribArray(kTexCoordSlot);
    gl.VertexAttribPointer(kPositionSlot, 2, GL_FLOAT, GL_FALSE, 0, corners.data());
    gl.VertexAttribPointer(kTexCoordSlot, 2, GL_FLOAT, GL_FALSE, 0, texels.data());
    gl.DrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    gl.DisableVertexAttribArray(kPositionSlot);
    gl.DisableVertexAttribArray(kTexCoordSlot);
}

void Drawing::image(int x, int y, int width, int height, int u, int v) const {
    const auto real = [](int value) { return static_cast<float>(value); };
    image(box(real(x), real(y), real(x + width), real(y + height)),
          box(real(u), real(v + height), real(u + width), real(v)));
}

void Drawing::upload(GLenum format, int width, int height, const std::vector<uint8_t>& texels) {
    textureWidth_ = width;
    textureHeight_ = height;
    gl.TexImage2D(GL_TEXTURE_2D, 0, static_cast<GLint>(format), width, height, 0, format,
                  GL_UNSIGNED_BYTE, texels.data());
}

void Drawing::mixWith(uint32_t rgb) const {
    gl.Enable(GL_BLEND);
    gl.BlendFunc(GL_CONSTANT_COLOR, GL_ONE_MINUS_SRC_COLOR);
    gl.BlendEquation(GL_FUNC_ADD);
    gl.BlendColor(channel(rgb, 16), channel(rgb, 8), channel(rgb, 0), 1);
}

void Drawing::stopMixing() const {
    gl.Disable(GL_BLEND);
}

Pixels Drawing::present() const {
    if (!renderer_.finishFrame())
        throw std::runtime_error("the frame is lost");
    Pixels pixels(static_cast<size_t>(size_.width) * static_cast<size_t>(size_.height));
    picture->fill({0, size_.height}, pixels.data(), static_cast<size_t>(size_.width));
    return pixels;
}
