#include "renderer/gl/glRenderer.h"

#include <algorithm>
#include <memory>
#include <new>
#include <vector>

#include "renderer/gl/glLibrary.h"
#include "renderer/gl/offScreenContext.h"
#include "renderer/gl/shaderPrecision.h"
#include "report/layerError.h"

namespace {

// Of OpenGL ES 2.0, what the service does not use.
constexpr GLenum kGlFramebuffer = 0x8D40;
constexpr GLenum kGlColorAttachment0 = 0x8CE0;
constexpr GLenum kGlFramebufferComplete = 0x8CD5;

constexpr size_t kBytesPerPixel = 4;

const GlLibrary* library = nullptr;
GlCalls calls{};

// The library's rows come from the bottom, four bytes a pixel.
class GlPicture : public Picture {
public:
    explicit GlPicture(const PixelSize& size)
        : Picture(size),
          width_(static_cast<size_t>(size.width)),
          frame_(width_ * static_cast<size_t>(size.height)),
          read_(frame_.size() * kBytesPerPixel),
          row_(width_) {}

    void fill(const RowSpan& rows, uint32_t* pixels, size_t stridePixels) const override {
        for (int32_t y = rows.first; y < rows.end; ++y, pixels += stridePixels)
            std::copy_n(frame_.data() + rowStart(y), width_, pixels);
    }

    void finishFrame() {
        library->frame.ReadPixels(0, 0, size().width, size().height, GL_RGBA, GL_UNSIGNED_BYTE,
                                  read_.data());
        addFrame();
        for (int32_t y = 0; y < size().height; ++y) {
            convertRow(y);
            uint32_t* const shown = frame_.data() + rowStart(y);
            if (std::equal(row_.begin(), row_.end(), shown))
                continue;
            std::copy(row_.begin(), row_.end(), shown);
            markChanged(y);
        }
    }

private:
    size_t rowStart(int32_t y) const { return static_cast<size_t>(y) * width_; }

    void convertRow(int32_t y) {
        const uint8_t* from = read_.data() + rowStart(size().height - 1 - y) * kBytesPerPixel;
        for (uint32_t& pixel : row_) {
            pixel = 0xff000000 | static_cast<uint32_t>(from[0]) << 16 |
                    static_cast<uint32_t>(from[1]) << 8 | from[2];
            from += kBytesPerPixel;
        }
    }

    size_t width_;
    std::vector<uint32_t> frame_;  // the newest one, rows from the top
    std::vector<uint8_t> read_;    // what the library had
    std::vector<uint32_t> row_;    // one row of it in the form of the frame
};

std::unique_ptr<GlPicture> picture;

// A texture, because every library can draw on one of four bytes a pixel. The service's own texture
// is bound again afterwards: the one that was there from the start.
bool makeFrame(const PixelSize& size) {
    GLuint texture = 0, framebuffer = 0;
    library->frame.GenTextures(1, &texture);
    library->frame.BindTexture(GL_TEXTURE_2D, texture);
    calls.TexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, size.width, size.height, 0, GL_RGBA,
                     GL_UNSIGNED_BYTE, nullptr);
    library->frame.BindTexture(GL_TEXTURE_2D, 0);

    library->frame.GenFramebuffers(1, &framebuffer);
    library->frame.BindFramebuffer(kGlFramebuffer, framebuffer);
    library->frame.FramebufferTexture2D(kGlFramebuffer, kGlColorAttachment0, GL_TEXTURE_2D, texture,
                                        0);
    if (calls.GetError() != GL_NO_ERROR ||
        library->frame.CheckFramebufferStatus(kGlFramebuffer) != kGlFramebufferComplete)
        return false;

    calls.Viewport(0, 0, size.width, size.height);
    calls.Clear(GL_COLOR_BUFFER_BIT);
    return true;
}

bool open() {
    library = loadGlLibrary();
    if (!library || !makeOffScreenContext(library->egl))
        return false;
    calls = library->gl;
    raiseShaderPrecision(*library, &calls);
    return true;
}

const Picture* createPicture(const PixelSize& size) {
    if (!makeFrame(size)) {
        layerError("gl: the library draws no picture of %dx%d", size.width, size.height);
        return nullptr;
    }
    try {
        picture = std::make_unique<GlPicture>(size);
    } catch (const std::bad_alloc&) {
        layerError("gl: no memory for a picture of %dx%d", size.width, size.height);
    }
    return picture.get();
}

const GlCalls* glCalls() {
    return &calls;
}

bool finishFrame() {
    picture->finishFrame();
    return true;
}

}  // namespace

const Renderer kGlRenderer = {"gl", open, createPicture, glCalls, finishFrame};
