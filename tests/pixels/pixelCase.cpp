#include "pixels/pixelCase.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <sstream>

#include "support/testRenderer.h"

namespace {

constexpr int kAttempts = 5;  // a tick among the commands makes an observation void

struct RunningCase {
    const PixelCase* wanted;
    size_t place;  // among those side by side
    std::unique_ptr<ConsoleProcess> console;
    int sentAt = 0;  // the frame that was the newest one; 0 while nothing was sent
};

std::string setting(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

std::string sizeText(const ReferenceScreen& screen) {
    return std::to_string(screen.width) + "x" + std::to_string(screen.height);
}

// The graphics cards that have to serve, each for one case at a time; empty where as many windows
// can be had as there are cases.
std::vector<std::string> cards() {
    std::istringstream names(setting("VELKARIS_PIXEL_CARDS"));
    std::vector<std::string> all;
    for (std::string name; std::getline(names, name, ',');)
        all.push_back(name);
    return all;
}

// The window of a case that `place` others are beside.
std::string windowFor(const ReferenceScreen& screen, size_t place) {
    if (!cards().empty())
        return "kms:" + cards().at(place) + ":" + sizeText(screen);
    const std::string window = setting("VELKARIS_PIXEL_WINDOW");
    return (window.empty() ? "headless" : window) + ":" + sizeText(screen);
}

std::unique_ptr<ConsoleProcess> startCase(const PixelCase& wanted, size_t place) {
    ConsoleOptions options;
    options.window = windowFor(wanted.screen, place);
    options.arguments = {"-p", wanted.font};
    options.arguments.insert(options.arguments.end(), wanted.options.begin(), wanted.options.end());
    return std::make_unique<ConsoleProcess>(options);
}

void sendScript(RunningCase* running) {
    for (int attempt = 1; running->sentAt == 0 && attempt <= kAttempts; ++attempt) {
        if (attempt > 1) {
            running->console.reset();  // its card is needed
            running->console = startCase(*running->wanted, running->place);
            // Right behind a tick there is the longest time before the next one.
            ASSERT_TRUE(running->console->waitForFrame(2)) << running->console->errors();
        }
        running->sentAt = sendBetweenFrames(running->console.get(), running->wanted->script);
    }
    EXPECT_NE(running->sentAt, 0) << running->wanted->name << ": " << running->console->errors();
}

void checkFrames(const RunningCase& running) {
    const PixelCase& wanted = *running.wanted;
    const ReferenceFont font = loadReferenceFont(wanted.font, wanted.points);
    expectSamePicture(wanted.name + "-empty", predictFrame(wanted.screen, font, {}),
                      running.console->frame(1));

    for (int ticks = 1; ticks <= 2; ++ticks) {
        ASSERT_TRUE(running.console->waitForFrame(running.sentAt + ticks));
        const ReferenceModel model =
            wanted.script.modelAfter(font, wanted.screen.areaWidth(), ticks);
        expectSamePicture(wanted.name + "-" + std::to_string(ticks),
                          predictFrame(wanted.screen, font, model),
                          running.console->frame(running.sentAt + ticks));
    }
}

void runSideBySide(const std::vector<PixelCase>& cases, size_t first, size_t count) {
    std::vector<RunningCase> all;
    for (size_t place = 0; place < count; ++place) {
        const PixelCase& wanted = cases[first + place];
        all.push_back({&wanted, place, startCase(wanted, place)});
    }
    for (RunningCase& running : all)
        sendScript(&running);
    for (const RunningCase& running : all) {
        if (running.sentAt != 0)
            checkFrames(running);
    }
}

}  // namespace

void expectPictures(const std::vector<PixelCase>& cases) {
    if (const std::string reason = whyNoRenderer(); !reason.empty())
        GTEST_SKIP() << reason;
    const size_t atATime = cards().empty() ? cases.size() : cards().size();
    for (size_t first = 0; first < cases.size(); first += atATime)
        runSideBySide(cases, first, std::min(atATime, cases.size() - first));
}
