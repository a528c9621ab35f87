#include "pixels/pixelCase.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>

namespace {

constexpr int kAttempts = 5;  // a tick among the commands makes an observation void

struct RunningCase {
    const PixelCase* wanted;
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

// The size of the display that all cases share, one after the other. Empty: each has a window.
std::string displaySize() {
    return setting("VELKARIS_PIXEL_DISPLAY");
}

std::string windowFor(const ReferenceScreen& screen) {
    const std::string backend = setting("VELKARIS_PIXEL_WINDOW");
    if (!displaySize().empty())
        return backend;
    return (backend.empty() ? "headless" : backend) + ":" + sizeText(screen);
}

std::unique_ptr<ConsoleProcess> startCase(const PixelCase& wanted) {
    ConsoleOptions options;
    options.window = windowFor(wanted.screen);
    options.arguments = {"-p", wanted.font};
    options.arguments.insert(options.arguments.end(), wanted.options.begin(), wanted.options.end());
    return std::make_unique<ConsoleProcess>(options);
}

void sendScript(RunningCase* running) {
    for (int attempt = 1; running->sentAt == 0 && attempt <= kAttempts; ++attempt) {
        if (attempt > 1) {
            running->console = startCase(*running->wanted);
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

void runSideBySide(const std::vector<PixelCase>& cases) {
    std::vector<RunningCase> all;
    for (const PixelCase& wanted : cases)
        all.push_back({&wanted, startCase(wanted)});
    for (RunningCase& running : all)
        sendScript(&running);
    for (const RunningCase& running : all) {
        if (running.sentAt != 0)
            checkFrames(running);
    }
}

}  // namespace

void expectPictures(const std::vector<PixelCase>& cases) {
    if (displaySize().empty())
        return runSideBySide(cases);

    int fitting = 0;
    for (const PixelCase& wanted : cases) {
        if (sizeText(wanted.screen) != displaySize())
            continue;
        ++fitting;
        runSideBySide({wanted});
    }
    if (fitting == 0)
        GTEST_SKIP() << "no case here has the size of the display, " << displaySize();
}
