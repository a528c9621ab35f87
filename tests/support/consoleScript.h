// What a test shows on a console, and what the console has to look like for it some ticks later.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "pixels/referenceFont.h"
#include "pixels/referenceRenderer.h"
#include "support/consoleClient.h"
#include "support/consoleProcess.h"
#include "support/rgbImage.h"

struct ConsoleScript {
    struct Step {
        bool isItem;
        std::string text;
        int percent;
    };

    std::string status;  // not sent while empty
    int percent = 0;     // not sent while 0
    std::vector<Step> steps;

    ConsoleScript& write(const std::string& text);
    ConsoleScript& item(const std::string& label, int itemPercent);

    // Each command is expected to succeed.
    void send(ConsoleClient* client) const;

    // The model when `ticks` ticks have come since the sending.
    ReferenceModel modelAfter(const ReferenceFont& font, uint32_t areaWidth, int ticks) const;
};

// Sends it while no frame is presented, so that later frames tell how many ticks it is old: frame
// n + k is k ticks after. Returns n, or 0 if a tick fell among the commands or the console is gone.
int sendBetweenFrames(ConsoleProcess* console, const std::function<void(ConsoleClient*)>& send);
int sendBetweenFrames(ConsoleProcess* console, const ConsoleScript& script);

// The next frame to come, which shows all that was answered before the call.
RgbImage nextFrame(ConsoleProcess* console);

// Expects every pixel as predicted; keeps both pictures and their difference as PNG files named
// after `name` if not.
void expectSamePicture(const std::string& name, const RgbImage& expected, const RgbImage& actual);
