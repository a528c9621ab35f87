// The same calls, at random from a fixed seed, on both renderers: no pixel may differ.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "platform/renderer/drawing.h"
#include "renderer/cpu/cpuRenderer.h"
#include "renderer/gl/glRenderer.h"
#include "support/testRenderer.h"

namespace {

constexpr PixelSize kSize{97, 61};
constexpr int kFrames = 100;
constexpr int kMostCalls = 60;  // a frame

class RandomDrawing {
public:
    void frame(std::array<Drawing*, 2> both) {
        both_ = both;
        const uint32_t background = colour();
        each([&](Drawing* drawing) { drawing->clear(background); });
        const int calls = between(1, kMostCalls);
        for (int i = 0; i < calls; ++i)
            draw();
        each([](Drawing* drawing) { drawing->gl.Viewport(0, 0, kSize.width, kSize.height); });
    }

private:
    int between(int lowest, int highest) {
        return std::uniform_int_distribution<int>(lowest, highest)(numbers_);
    }
    uint32_t colour() { return numbers_() & 0xffffff; }
    float place() { return static_cast<float>(between(-40, 140)); }

    template <typename Call>
    void each(const Call& call) {
        for (Drawing* drawing : both_)
            call(drawing);
    }

    void draw() {
        switch (between(0, 9)) {
            case 0: upload(); break;
            case 1: viewport(); break;
            case 2: stretched(); break;
            case 3:
            case 4:
            case 5: bar(); break;
            default: text(); break;
        }
    }

    void upload() {
        const GLenum format = between(0, 1) ? GL_LUMINANCE : GL_RGBA;
        const int width = 4 << between(0, 4), height = 4 << between(0, 4);
        std::vector<uint8_t> texels(static_cast<size_t>(width * height) *
                                    (format == GL_RGBA ? 4 : 1));
        // Many of the extremes, as in a text.
        std::generate(texels.begin(), texels.end(),
                      [&] { return static_cast<uint8_t>(std::clamp(between(-200, 455), 0, 255)); });
        each([&](Drawing* drawing) { drawing->upload(format, width, height, texels); });
        hasTexture_ = true;
    }

    void viewport() {
        // Of the picture's own size, so that places stay whole pixels.
        const int x = between(-40, 40), y = between(-40, 40);
        each([&](Drawing* drawing) { drawing->gl.Viewport(x, y, kSize.width, kSize.height); });
    }

    void setMixing(bool on, uint32_t constant) {
        each([&](Drawing* drawing) { on ? drawing->mixWith(constant) : drawing->stopMixing(); });
    }

    void bar() {
        setMixing(between(0, 3) == 0, colour());
        const float left = place();
        // Far out at one end alone: the diagonal of one that is far out at both would lie on the
        // centres of pixels, and the two triangles part there on some machines.
        const float right = between(0, 9) != 0 ? place()
                            : between(0, 1)    ? 2147483648.0f
                                               : -2147483648.0f;
        const Points corners = box(left, place(), right, place());
        const uint32_t rgb = colour();
        each([&](Drawing* drawing) { drawing->fill(corners, rgb); });
    }

    // Glyphs side by side: each of some texels, at the size of the image, somewhere in it or
    // beyond.
    void text() {
        if (!hasTexture_)
            return;
        setMixing(between(0, 4) != 0, colour());
        int x = between(-40, 100);
        const int y = between(-20, 70);
        for (int glyphs = between(1, 12); glyphs > 0; --glyphs) {
            const int width = between(0, 14), height = between(0, 14);
            const int u = between(-8, 40), v = between(-8, 40);
            each([&](Drawing* drawing) { drawing->image(x, y, width, height, u, v); });
            x += width + between(-2, 4);
        }
    }

    // Enlarged or mirrored, so that no centre of a pixel lies on a texel's edge.
    void stretched() {
        if (!hasTexture_)
            return;
        setMixing(between(0, 1) != 0, colour());
        const float left = place(), bottom = place();
        const auto columns = static_cast<float>(between(1, 12));
        const auto rows = static_cast<float>(between(1, 12));
        const auto times = static_cast<float>(1 << between(0, 2));
        const auto u = static_cast<float>(between(-8, 8)), v = static_cast<float>(between(-8, 8));
        const Points corners = box(left, bottom, left + columns * times, bottom + rows * times);
        const Points texels =
            between(0, 1) ? box(u, v + rows, u + columns, v) : box(u + columns, v, u, v + rows);
        each([&](Drawing* drawing) { drawing->image(corners, texels); });
    }

    std::mt19937 numbers_{20240611};
    std::array<Drawing*, 2> both_{};
    bool hasTexture_ = false;
};

// The first pixel that differs, for the message.
std::string difference(const Pixels& left, const Pixels& right) {
    const auto place = std::mismatch(left.begin(), left.end(), right.begin());
    const auto at = place.first - left.begin();
    char text[96];
    std::snprintf(text, sizeof text, "at %d, %d: %08x and %08x", static_cast<int>(at % kSize.width),
                  static_cast<int>(at / kSize.width), *place.first, *place.second);
    return text;
}

bool covers(const std::vector<RowSpan>& spans, const RowSpan& wanted) {
    return std::any_of(spans.begin(), spans.end(), [&](const RowSpan& span) {
        return span.first <= wanted.first && span.end >= wanted.end;
    });
}

TEST(BothRenderers, DrawTheSame) {
    if (const std::string reason = whyNoGl(); !reason.empty())
        GTEST_SKIP() << reason;
    Drawing cpu(kCpuRenderer, kSize), gl(kGlRenderer, kSize);
    RandomDrawing random;
    for (uint32_t frame = 1; frame <= kFrames; ++frame) {
        random.frame({&cpu, &gl});
        const Pixels left = cpu.present(), right = gl.present();
        ASSERT_TRUE(left == right) << "frame " << frame << ": " << difference(left, right);
        EXPECT_EQ(cpu.gl.GetError(), GLenum{GL_NO_ERROR});
        EXPECT_EQ(gl.gl.GetError(), GLenum{GL_NO_ERROR});
        // What one knows from the calls holds for what the other sees in the pixels.
        for (const RowSpan& span : gl.picture->changedSince(frame - 1))
            EXPECT_TRUE(covers(cpu.picture->changedSince(frame - 1), span)) << "frame " << frame;
    }
}

}  // namespace
