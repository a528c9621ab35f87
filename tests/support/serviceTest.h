// The fixture of every test of the service: scripts, records and the service's process-wide state
// start afresh, and what the console model kept is freed at the end.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "gfx/renderContext.h"

class ServiceTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // A drawing area for this thread, with programs kTexturedProgram and kSolidProgram.
    void useArea(uint32_t width, uint32_t height);

    RenderContext area = {};
};

constexpr GLuint kTexturedProgram = 11;
constexpr GLuint kSolidProgram = 22;

// An atlas of made-up metrics: advance 10, line height 16, descender -4, cells of 20 texels in a
// 512 x 512 texture. Glyphs of 8 x 12 pixels, 1 right of the pen, their tops 10 above the baseline.
void useMonospacedAtlas();

// Model entries that the tests put in; the copies are the model's.
void addLine(const std::string& text);
void addItem(const std::string& name, const std::string& label, int32_t percent,
             int32_t elapsedSeconds = 0);

// The text lines of the console in order; an item shows as "name|label|percent|elapsed".
std::vector<std::string> consoleRows();

void clearConsole();
