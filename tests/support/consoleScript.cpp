#include "support/consoleScript.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>

ConsoleScript& ConsoleScript::write(const std::string& text) {
    steps.push_back({false, text, 0});
    return *this;
}

ConsoleScript& ConsoleScript::item(const std::string& label, int itemPercent) {
    steps.push_back({true, label, itemPercent});
    return *this;
}

void ConsoleScript::send(ConsoleClient* client) const {
    EXPECT_EQ(status.empty() ? 0 : client->setStatus(status), 0);
    EXPECT_EQ(percent == 0 ? 0 : client->setPercent(percent), 0);
    int number = 0;
    for (const Step& step : steps) {
        if (step.isItem) {
            const std::string name = "item" + std::to_string(++number);
            EXPECT_EQ(client->addItem(name, step.text, step.percent), 0);
        } else {
            EXPECT_EQ(client->write(step.text), static_cast<ssize_t>(step.text.size()));
        }
    }
}

ReferenceModel ConsoleScript::modelAfter(const ReferenceFont& font, uint32_t areaWidth,
                                         int ticks) const {
    ReferenceModel model;
    model.status = status;
    model.elapsed = percent != 0 ? ticks : 0;
    for (const Step& step : steps) {
        if (step.isItem) {
            model.addItem(step.text, step.percent, step.percent <= 99 ? ticks : 0);
        } else {
            for (const std::string& line : referenceLines(font, areaWidth, step.text))
                model.addLine(line);
        }
    }
    return model;
}

int sendBetweenFrames(ConsoleProcess* console, const std::function<void(ConsoleClient*)>& send) {
    if (!console->waitForNode())
        return 0;
    ConsoleClient client(console->node());
    const int before = console->newestFrame();
    send(&client);
    return console->newestFrame() == before ? before : 0;
}

int sendBetweenFrames(ConsoleProcess* console, const ConsoleScript& script) {
    return sendBetweenFrames(console, [&](ConsoleClient* client) { script.send(client); });
}

RgbImage nextFrame(ConsoleProcess* console) {
    const int next = console->newestFrame() + 1;
    if (!console->waitForFrame(next))
        throw std::runtime_error("no further frame: " + console->errors());
    return console->frame(next);
}

void expectSamePicture(const std::string& name, const RgbImage& expected, const RgbImage& actual) {
    const ImageDifference difference = compareImages(expected, actual, 0);
    if (difference.sameSize && difference.differing == 0)
        return;

    const std::string folder = VELKARIS_MISMATCH_FOLDER;
    std::filesystem::create_directories(folder);
    const std::string stem = folder + "/" + name;
    writePng(stem + "-expected.png", expected);
    writePng(stem + "-actual.png", actual);
    writePng(stem + "-difference.png", differencePicture(expected, actual));
    ADD_FAILURE() << name << ": " << actual.width << "x" << actual.height << " instead of "
                  << expected.width << "x" << expected.height << ", " << difference.differing
                  << " pixels differ, by up to " << difference.worst << ", the first at x "
                  << difference.firstX << ", row " << difference.firstRow << "; see " << stem
                  << "-*.png";
}
