// Coverage mixed with a colour over another: all values of all three, on each renderer.
#include <gtest/gtest.h>

#include <algorithm>

#include "platform/renderer/drawing.h"
#include "renderer/cpu/cpuRenderer.h"
#include "renderer/gl/glRenderer.h"
#include "support/testRenderer.h"

namespace {

constexpr int kValues = 256;

// 255 stands for 1.
uint32_t product(uint32_t a, uint32_t b) {
    return (a * b + (a * b >> 8) + 128) >> 8;
}

uint32_t mixed(uint32_t coverage, uint32_t colour, uint32_t under) {
    if (coverage == 0)
        return under;
    return std::min(product(coverage, colour) + product(255 - coverage, under), 255u);
}

// Another value in each channel, so that none is taken for its neighbour.
uint32_t colourOf(uint32_t value) {
    return value << 16 | (255 - value) << 8 | (value ^ 0x55);
}

// A column for each coverage and a row, from the top, for each colour below it.
class Mixing {
public:
    explicit Mixing(const Renderer& renderer) : drawing_(renderer, {kValues, kValues}) {
        for (int y = 0; y < kValues; ++y) {
            for (int x = 0; x < kValues; ++x)
                coverage_.push_back(static_cast<uint8_t>(x));
        }
        drawing_.upload(GL_LUMINANCE, kValues, kValues, coverage_);
    }
    Pixels over(uint32_t constant) {
        drawing_.stopMixing();
        drawing_.clear(0);
        for (int y = 0; y < kValues; ++y) {
            const auto bottom = static_cast<float>(kValues - 1 - y);
            drawing_.fill(box(0, bottom, kValues, bottom + 1), colourOf(static_cast<uint32_t>(y)));
        }
        drawing_.mixWith(constant);
        drawing_.image(0, 0, kValues, kValues, 0, 0);
        return drawing_.present();
    }

private:
    Drawing drawing_;
    std::vector<uint8_t> coverage_;
};

Pixels expectedOver(uint32_t constant) {
    Pixels pixels;
    for (uint32_t y = 0; y < kValues; ++y) {
        for (uint32_t x = 0; x < kValues; ++x) {
            uint32_t pixel = 0xff000000;
            for (const unsigned shift : {0u, 8u, 16u})
                pixel |= mixed(x, constant >> shift & 0xff, colourOf(y) >> shift & 0xff) << shift;
            pixels.push_back(pixel);
        }
    }
    return pixels;
}

// The channels of a constant colour are three values at a time.
void expectAllValues(const Renderer& renderer) {
    Mixing mixing(renderer);
    for (uint32_t value = 0; value < kValues; value += 3) {
        const uint32_t constant =
            value << 16 | std::min(value + 1, 255u) << 8 | std::min(value + 2, 255u);
        ASSERT_EQ(mixing.over(constant), expectedOver(constant)) << value;
    }
}

TEST(Blending, RoundsEachProductByItselfWithoutAGpu) {
    expectAllValues(kCpuRenderer);
}

TEST(Blending, RoundsTheSameOnOpenGl) {
    if (const std::string reason = whyNoGl(); !reason.empty())
        GTEST_SKIP() << reason;
    expectAllValues(kGlRenderer);
}

}  // namespace
