#include "client/e2e/shownConsole.h"

#include <algorithm>
#include <csignal>

#include "support/consoleScript.h"

namespace {

constexpr int kMostFrames = 40;
constexpr int kTolerance = 1;
constexpr int kTimesRightMargin = 10;

}  // namespace

void ShownConsole::SetUp() {
    signal(SIGPIPE, SIG_IGN);
    const std::string why = whyNotServed(GetParam());
    if (!why.empty())
        GTEST_SKIP() << why;
    start();
}

void ShownConsole::start() {
    console_.reset();  // its end takes away what is mounted at the node, so it comes first
    ConsoleOptions options;
    options.arguments = {"-p", VELKARIS_TEST_FONT};
    options.nodeKind = GetParam();
    options.nodePath = node_;
    console_ = std::make_unique<ConsoleProcess>(options);
    ASSERT_TRUE(console_->waitForFrame(1)) << console_->errors();
    ASSERT_TRUE(console_->waitForNode()) << console_->errors();
}

RgbImage ShownConsole::leftOfTimes(const RgbImage& picture, int rows) const {
    const int columns = screen_.width - kTimesRightMargin - referenceWidth(font_, "00:00:00");
    RgbImage left(columns, rows, {});
    for (int row = 0; row < rows; ++row) {
        for (int x = 0; x < columns; ++x)
            left.at(x, row) = picture.at(x, row);
    }
    return left;
}

void ShownConsole::expectStatus(const std::string& text) {
    ReferenceModel model;
    model.status = text;
    expectShown(model, font_.lineHeight);
}

void ShownConsole::expectShown(const ReferenceModel& model, int rows) {
    const RgbImage expected = leftOfTimes(predictFrame(screen_, font_, model), rows);
    RgbImage shown;
    for (int number = console_->newestFrame(), last = number + kMostFrames; number < last;
         ++number) {
        ASSERT_TRUE(console_->waitForFrame(number)) << console_->errors();
        shown = leftOfTimes(console_->frame(number), rows);
        if (compareImages(expected, shown, kTolerance).differing == 0)
            return;
    }
    const auto* test = testing::UnitTest::GetInstance()->current_test_info();
    std::string name = std::string("clients-") + test->name();
    std::replace(name.begin(), name.end(), '/', '-');
    expectSamePicture(name, expected, shown);
}

ReferenceModel ShownConsole::lines(const std::string& text) const {
    ReferenceModel model;
    addLines(model, text);
    return model;
}

void ShownConsole::addLines(ReferenceModel& model, const std::string& text) const {
    for (const std::string& line : referenceLines(font_, screen_.areaWidth(), text))
        model.addLine(line);
}

Outcome ShownConsole::ctl(std::vector<std::string> arguments, const std::string& input) const {
    arguments.insert(arguments.begin(), VELKARISCTL);
    return runCommand(std::move(arguments), input, environment_);
}

std::unique_ptr<Command> ShownConsole::begin(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), VELKARISCTL);
    return std::make_unique<Command>(std::move(arguments), environment_);
}

Outcome ShownConsole::shell(const std::string& script) const {
    return runCommand(std::vector<std::string>{"/bin/sh", "-c", script}, std::string(),
                      environment_);
}
