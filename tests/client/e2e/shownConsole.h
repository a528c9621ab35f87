// A real console for the clients to drive, judged by the frames that it presents. Times run while a
// test goes on, so everything left of the column of times is compared, and nothing right of it.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "client/support/command.h"
#include "pixels/referenceFont.h"
#include "pixels/referenceRenderer.h"
#include "support/consoleProcess.h"
#include "support/temporaryFolder.h"

// The parameter is the kind of node, "fuse" or "socket".
class ShownConsole : public testing::TestWithParam<std::string> {
protected:
    void SetUp() override;

    // Starts a console at the test's node, as the first or after another one was killed there.
    void start();
    void kill() { console_->stop(SIGKILL); }
    void restart() {
        kill();
        start();
    }
    void freeze() { console_->process().signal(SIGSTOP); }
    void thaw() { console_->process().signal(SIGCONT); }

    // Waits for a frame that shows this. Fails, and keeps the newest frame beside what was
    // expected, if none comes within more frames than anything here takes.
    void expectShown(const ReferenceModel& model) { expectShown(model, screen_.height); }
    // The same for the status line alone, whatever is below it.
    void expectStatus(const std::string& text);

    // The model with these lines as its last ones, as they are cut for the screen.
    ReferenceModel lines(const std::string& text) const;
    void addLines(ReferenceModel& model, const std::string& text) const;

    // velkarisctl with these arguments: to its end, or to be gone on with.
    Outcome ctl(std::vector<std::string> arguments, const std::string& input = {}) const;
    std::unique_ptr<Command> begin(std::vector<std::string> arguments) const;
    Outcome shell(const std::string& script) const;

    std::string file(const std::string& name) const { return folder_.file(name); }
    const ReferenceScreen& screen() const { return screen_; }

private:
    void expectShown(const ReferenceModel& model, int rows);
    RgbImage leftOfTimes(const RgbImage& picture, int rows) const;

    TemporaryFolder folder_;
    const std::string node_ = folder_.file("node");
    // The search for leaks stops every thread first, which cannot be done to one that waits for a
    // stopped console. The same verbs are searched where they talk to a recording node.
    const Command::Environment environment_ = {
        {"VELKARIS_NODE", node_}, {"CTL", VELKARISCTL}, {"ASAN_OPTIONS", "detect_leaks=0"}};
    const ReferenceScreen screen_;
    const ReferenceFont font_ = loadReferenceFont(VELKARIS_TEST_FONT, 12);
    std::unique_ptr<ConsoleProcess> console_;
};
