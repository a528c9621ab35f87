// What a frame costs the renderer that draws without a GPU: one of 3840x2160 full of text, drawn by
// the service's own calls and filled into memory, against filling and copying that many pixels in
// the same run; then a frame that is the same, and one whose clock has moved on. Best of all
// rounds, because whatever else runs can only add to a time.
//
// usage: rendererBench [FONT [POINTS]]
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "console/consoleModel.h"
#include "display/displayable.h"
#include "egl/currentContext.h"
#include "gfx/renderContext.h"
#include "gfx/shaderPrograms.h"
#include "screen/frame.h"
#include "screen/layout.h"
#include "text/fontAtlas.h"

namespace {

constexpr int kWidth = 3840;
constexpr int kHeight = 2160;
constexpr size_t kPixels = size_t{kWidth} * kHeight;
constexpr int kRounds = 30;
constexpr double kNanosecondsPerGlyphRow = 50;

const char* const kWords = "The quick brown fox jumps over the lazy dog, 0123456789 times; ";

template <typename Work>
double milliseconds(const Work& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
        .count();
}

class Best {
public:
    void add(double time) { time_ = std::min(time_, time); }
    double time() const { return time_; }

private:
    double time_ = std::numeric_limits<double>::infinity();
};

// As wide as the drawing area.
std::string fullLine() {
    std::string line;
    int width = fontAtlas.glyphs[static_cast<int>(kWords[0])].advance;
    for (size_t i = 0; width < kWidth && i < size_t{kWidth}; ++i) {
        line += kWords[i % std::strlen(kWords)];
        width += fontAtlas.glyphs[static_cast<int>(line.back())].advance;
    }
    return line;
}

// Fills the console and returns how many rows of pixels its glyphs have.
long fillConsole() {
    const std::string line = fullLine();
    const int rows = kHeight / (fontAtlas.lineHeight + kRowGap) - 1;
    long glyphRows = 0;
    for (int row = 0; row < rows; ++row) {
        auto* const entry = static_cast<ConsoleEntry*>(std::calloc(1, sizeof(ConsoleEntry)));
        entry->text = strdup(line.c_str());
        consoleListAppend(&consoleList, entry);
        for (const char character : line)
            glyphRows += fontAtlas.glyphs[static_cast<int>(character)].height;
    }
    return glyphRows;
}

void draw() {
    drawFrame(0x6e3b3b, 0xffffff, 0xc49191, 0x000000);
}

// Draws a frame and fills what changed since the one before.
void drawAndFill(std::vector<uint32_t>* memory) {
    const uint32_t before = consolePicture()->frame();
    draw();
    for (const RowSpan& span : consolePicture()->changedSince(before))
        consolePicture()->fill(span, memory->data() + static_cast<size_t>(span.first) * kWidth,
                               kWidth);
}

bool openConsole(const char* font, int points) {
    setenv("VELKARIS_WINDOW", "headless:3840x2160", 1);
    unsetenv("VELKARIS_CAPTURE");
    unsetenv("VELKARIS_RENDERER");
    if (CDisplayable::getInstance()->init() == 0)
        return false;
    createRenderContext(kWidth, kHeight);
    createShaderPrograms();
    initFont(font);
    buildFontAtlas(points);
    return fontAtlas.lineHeight > 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (!openConsole(argc > 1 ? argv[1] : VELKARIS_BENCH_FONT, argc > 2 ? std::atoi(argv[2]) : 12))
        return 1;
    const long glyphRows = fillConsole();
    std::vector<uint32_t> memory(kPixels), copy(kPixels);

    Best filling, copying, full, same, clock;
    for (int round = 0; round < kRounds; ++round) {
        filling.add(milliseconds([&] { std::fill(memory.begin(), memory.end(), 0xff6e3b3b); }));
        copying.add(milliseconds([&] { std::copy(memory.begin(), memory.end(), copy.begin()); }));
        full.add(milliseconds([&] {
            draw();
            consolePicture()->fill({0, kHeight}, memory.data(), kWidth);
        }));
        same.add(milliseconds([&] { drawAndFill(&memory); }));
        ++consoleStatus.overallElapsed;
        clock.add(milliseconds([&] { drawAndFill(&memory); }));
    }

    const double base = filling.time() + copying.time();
    const double allowed =
        2 * base + static_cast<double>(glyphRows) * kNanosecondsPerGlyphRow / 1e6;
    std::printf("%dx%d, %ld rows of glyphs\n", kWidth, kHeight, glyphRows);
    std::printf("filling %.2f ms, copying %.2f ms\n", filling.time(), copying.time());
    std::printf("full frame %.2f ms: %.2f times filling and copying;\n", full.time(),
                full.time() / base);
    std::printf("    %.2f of twice that and %.0f ns a row of glyphs (%.2f ms)\n",
                full.time() / allowed, kNanosecondsPerGlyphRow, allowed);
    std::printf("unchanged frame %.2f ms, with the service's calls\n", same.time());
    std::printf("frame with a changed clock %.2f ms\n", clock.time());
    return full.time() <= allowed ? 0 : 1;
}
