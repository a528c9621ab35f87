#include "fuzzModel.h"

#include <KD/kd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "console/consoleModel.h"
#include "gfx/renderContext.h"
#include "text/fontAtlas.h"

namespace {

RenderContext area;

}  // namespace

void* kdGetTLS() {
    return &area;
}

void kdSetTLS(void*) {}

uint8_t InputReader::byte() {
    if (left_ == 0)
        return 0;
    --left_;
    return *data_++;
}

uint32_t InputReader::number() {
    uint32_t value = 0;
    for (int i = 0; i < 4; ++i)
        value = value << 8 | byte();
    return value;
}

std::string InputReader::rest() {
    return std::string(reinterpret_cast<const char*>(data_), left_);
}

void setUpArea(uint32_t width, uint8_t advanceSeed) {
    area.width = width;
    area.height = 480;
    for (int code = 0; code < kGlyphCount; ++code) {
        fontAtlas.glyphs[code].advance = (code * advanceSeed + advanceSeed) % 37;
        fontAtlas.glyphs[code].width = fontAtlas.glyphs[code].height = 1;
    }
}

void emptyModel() {
    consoleListFree(consoleList);
    consoleList = nullptr;
    free(consoleStatus.statusText);
    consoleStatus = {};
}

std::vector<std::string> listTexts(const ConsoleNode* list) {
    std::vector<std::string> texts;
    for (const ConsoleNode* node = list; node; node = node->next)
        texts.push_back(node->entry->text);
    return texts;
}

void require(bool holds, const char* property) {
    if (holds)
        return;
    fprintf(stderr, "does not hold: %s\n", property);
    abort();
}
