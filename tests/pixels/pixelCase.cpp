#include "pixels/pixelCase.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

constexpr int kAttempts = 5;  // a tick among the commands makes an observation void

struct RunningCase {
    const PixelCase* wanted;
    std::unique_ptr<ConsoleProcess> console;
    int sentAt = 0;  // the frame that was the newest one; 0 while nothing was sent
};

std::unique_ptr<ConsoleProcess> startCase(const PixelCase& wanted) {
    ConsoleOptions options;
    options.window = "headless:" + std::to_string(wanted.screen.width) + "x" +
                     std::to_string(wanted.screen.height);
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

}  // namespace

void expectPictures(const std::vector<PixelCase>& cases) {
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
