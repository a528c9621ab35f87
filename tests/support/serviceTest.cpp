#include "support/serviceTest.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "app/settings.h"
#include "console/consoleModel.h"
#include "gfx/logo.h"
#include "support/callLog.h"
#include "support/fakeDispatch.h"
#include "support/fakeDisplay.h"
#include "support/fakeGl.h"
#include "support/fakeImage.h"
#include "support/linkWraps.h"
#include "text/fontAtlas.h"

namespace {

const AppSettings kInitialSettings = appSettings;

ConsoleEntry* newEntry(const char* name, const std::string& text) {
    ConsoleEntry* entry = static_cast<ConsoleEntry*>(calloc(1, sizeof(ConsoleEntry)));
    entry->name = name ? strdup(name) : nullptr;
    entry->text = strdup(text.c_str());
    return entry;
}

}  // namespace

void ServiceTest::SetUp() {
    fakeGl = {};
    fakeEgl = {};
    fakeKd = {};
    fakeScreen = {};
    fakeImage = {};
    fakeDispatch = {};
    freeTypeWraps = {};
    heapWraps = {0, true, false, heapWraps.live};
    appSettings = kInitialSettings;
    consoleVisibleRows = INT32_MAX;
    fontAtlas = {};
    logoImage = {};
    optind = 0;  // getopt starts all over
    clearConsole();
    clearCalls();
}

void ServiceTest::TearDown() {
    clearConsole();
    if (fakeKd.threadPointer != &area)
        free(fakeKd.threadPointer);
    fakeKd.threadPointer = nullptr;
    if (fontAtlas.library)
        FT_Done_FreeType(fontAtlas.library);
    fontAtlas = {};
    clearCalls();
}

void ServiceTest::useArea(uint32_t width, uint32_t height) {
    area = {kTexturedProgram, kSolidProgram, width, height};
    fakeKd.threadPointer = &area;
}

void useMonospacedAtlas() {
    fontAtlas = {};
    for (int code = 0; code < kGlyphCount; ++code)
        fontAtlas.glyphs[code] = {20 * (code % 16), 20 * (code / 16), 8, 12, 1, 10, 10};
    fontAtlas.lineHeight = 16;
    fontAtlas.descender = -4;
    fontAtlas.maxAdvance = 10;
    fontAtlas.textureWidth = 512;
    fontAtlas.textureHeight = 512;
}

void addLine(const std::string& text) {
    consoleListAppend(&consoleList, newEntry(nullptr, text));
}

void addItem(const std::string& name, const std::string& label, int32_t percent,
             int32_t elapsedSeconds) {
    ConsoleEntry* item = newEntry(name.c_str(), label);
    item->percent = percent;
    item->elapsedSeconds = elapsedSeconds;
    consoleListAppend(&consoleList, item);
}

std::vector<std::string> consoleRows() {
    std::vector<std::string> rows;
    for (const ConsoleNode* node = consoleList; node; node = node->next) {
        const ConsoleEntry& entry = *node->entry;
        if (entry.name)
            rows.push_back(std::string(entry.name) + "|" + entry.text + "|" +
                           std::to_string(entry.percent) + "|" +
                           std::to_string(entry.elapsedSeconds));
        else
            rows.emplace_back(entry.text);
    }
    return rows;
}

void clearConsole() {
    while (ConsoleNode* node = consoleList) {
        consoleList = node->next;
        free(node->entry->name);
        free(node->entry->text);
        free(node->entry);
        free(node);
    }
    free(consoleStatus.statusText);
    consoleStatus = {};
    secondsSinceStart = 0;
}
