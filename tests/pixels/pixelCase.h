// A picture to be checked: how the program is started, what is sent to it, what it has to show.
#pragma once

#include <string>
#include <vector>

#include "support/consoleScript.h"

struct PixelCase {
    std::string name;                  // also of the files that a mismatch leaves
    std::vector<std::string> options;  // beside the font's
    ReferenceScreen screen;            // what the options have to mean
    ConsoleScript script;
    std::string font = VELKARIS_TEST_FONT;
    int points = 12;
};

// Runs the cases side by side: checks each first, empty picture and the pictures of the next two
// ticks after the script.
//
// VELKARIS_RENDERER chooses the renderer, as for every console. VELKARIS_PIXEL_WINDOW names the
// window, headless unless set. VELKARIS_PIXEL_CARDS is a list of graphics cards, with commas
// between them: the cases are drawn on their displays instead, as many side by side as there are
// cards.
void expectPictures(const std::vector<PixelCase>& cases);
