// Every verb on a real console that is stopped and goes on, or is killed and replaced, meanwhile.
#include <gmock/gmock.h>
#include <signal.h>

#include <fstream>

#include "client/e2e/shownConsole.h"

namespace {

using testing::HasSubstr;

// Each that needs a console at once.
const std::vector<std::vector<std::string>> kVerbs = {
    {"status", "x"},        {"percent", "1"},
    {"add", "a", "A"},      {"update", "a", "1"},
    {"set", "a", "A", "1"}, {"write", "x"},
    {"gauge", "a", "A"},    {"tail", "/dev/null"},
    {"run", "true"},        {"demo", "--seconds", "1"},
};

class Disturbed : public ShownConsole {
protected:
    static ReferenceModel item(const std::string& label, int percent) {
        ReferenceModel model;
        model.addItem(label, percent, 0);
        return model;
    }
    static ReferenceModel status(const std::string& text) {
        ReferenceModel model;
        model.status = text;
        return model;
    }
};

TEST_P(Disturbed, OneShotVerbsGiveUpOnAStoppedConsoleInTime) {
    freeze();
    for (const std::vector<std::string>& verb : kVerbs) {
        std::vector<std::string> limited = {"--timeout", "0.1"};
        limited.insert(limited.end(), verb.begin(), verb.end());
        const Outcome outcome = ctl(limited);
        EXPECT_EQ(outcome.status, 1) << verb[0];
        EXPECT_THAT(outcome.errors, HasSubstr("does not answer")) << verb[0];
    }
    EXPECT_EQ(ctl({"wait", "--seconds", "0"}).status, 3);
    thaw();
    EXPECT_EQ(ctl({"wait"}).status, 0);
}

TEST_P(Disturbed, OneShotVerbsWaitForAStoppedConsoleToGoOn) {
    freeze();
    const std::unique_ptr<Command> setting = begin({"status", "went on"});
    const std::unique_ptr<Command> adding = begin({"add", "a", "Added", "20"});
    thaw();
    EXPECT_EQ(setting->finish().status, 0);
    EXPECT_EQ(adding->finish().status, 0);
    ReferenceModel model = item("Added", 20);
    model.status = "went on";
    expectShown(model);
}

TEST_P(Disturbed, OneShotVerbsSayThatAKilledConsoleIsGone) {
    kill();
    EXPECT_EQ(ctl({"status", "x"}).status, 3);
    EXPECT_EQ(ctl({"write"}, "x\n").status, 3);
    start();
    EXPECT_EQ(ctl({"status", "back"}).status, 0);
    expectShown(status("back"));
}

TEST_P(Disturbed, AConsoleKilledWhileItIsStoppedEndsTheWait) {
    freeze();
    std::vector<std::unique_ptr<Command>> waiting;
    for (const std::vector<std::string>& verb : kVerbs) {
        std::vector<std::string> arguments = {"-t", "0"};
        arguments.insert(arguments.end(), verb.begin(), verb.end());
        waiting.push_back(begin(arguments));
    }
    kill();
    for (const std::unique_ptr<Command>& one : waiting)
        EXPECT_EQ(one->finish().status, 3);
}

TEST_P(Disturbed, OneShotVerbsFindTheNextConsole) {
    for (const char* name : {"first", "second"}) {
        EXPECT_EQ(ctl({"status", name}).status, 0);
        EXPECT_EQ(ctl({"percent", "40"}).status, 0);
        EXPECT_EQ(ctl({"add", "a", name, "1"}).status, 0);
        EXPECT_EQ(ctl({"update", "a", "20"}).status, 0);
        EXPECT_EQ(ctl({"set", "a", name, "30"}).status, 0);
        EXPECT_EQ(ctl({"write", name}).status, 0);
        ReferenceModel model = item(name, 30);
        model.status = name;
        addLines(model, name);
        expectShown(model);
        restart();
    }
}

TEST_P(Disturbed, WriteGoesOnAfterAStop) {
    const std::unique_ptr<Command> writing = begin({"-t", "0", "write"});
    writing->write("one\n");
    expectShown(lines("one"));
    freeze();
    writing->write("two\n");
    writing->write("three\n");
    thaw();
    EXPECT_EQ(writing->finish().status, 0);
    expectShown(lines("one\ntwo\nthree"));
}

TEST_P(Disturbed, WriteGoesOnAtTheNextConsole) {
    const std::unique_ptr<Command> writing = begin({"write"});
    writing->write("one\n");
    expectShown(lines("one"));
    restart();
    writing->write("two\n");
    EXPECT_EQ(writing->finish().status, 0);
    expectShown(lines("two"));
}

TEST_P(Disturbed, GaugeGoesOnAfterAStop) {
    const std::unique_ptr<Command> gauge = begin({"gauge", "g", "Gauge"});
    gauge->write("10\n");
    expectShown(item("Gauge", 10));
    freeze();
    for (int percent = 11; percent < 60; ++percent)
        gauge->write(std::to_string(percent) + "\n");
    thaw();
    EXPECT_EQ(gauge->finish().status, 0);
    expectShown(item("Gauge", 59));
}

TEST_P(Disturbed, GaugeGoesOnAtTheNextConsole) {
    const std::unique_ptr<Command> gauge = begin({"gauge", "g", "Gauge"});
    gauge->write("10\n");
    expectShown(item("Gauge", 10));
    kill();
    gauge->write("20\n");
    start();
    gauge->write("30\n");
    expectShown(item("Gauge", 30));
    EXPECT_EQ(gauge->finish().status, 0);
}

TEST_P(Disturbed, RunGoesOnAfterAStop) {
    const std::unique_ptr<Command> running =
        begin({"run", "--label", "Job", "--", "sh", "-c",
               "echo 10%; read go; seq 1 20000; echo passed; read go; echo 20%; exit 3"});
    ReferenceModel model = item("Job", 10);
    addLines(model, "10%");
    expectShown(model);
    freeze();
    running->write("go\n");
    EXPECT_TRUE(running->awaitOutput("passed\n")) << "a stopped console held the command up";
    thaw();
    running->write("go\n");
    EXPECT_EQ(running->finish().status, 3);
    for (int i = 19900; i <= 20000; ++i)
        model.addLine(std::to_string(i));
    addLines(model, "passed\n20%\nJob: failed with status 3");
    expectShown(model);
}

TEST_P(Disturbed, RunGoesOnAtTheNextConsole) {
    const std::unique_ptr<Command> running =
        begin({"run", "--label", "Job", "--", "sh", "-c", "echo 10%; read go; echo after"});
    ReferenceModel before = item("Job", 10);
    addLines(before, "10%");
    expectShown(before);
    restart();
    running->write("go\n");
    EXPECT_EQ(running->finish().status, 0);
    ReferenceModel after = item("Job", 100);
    addLines(after, "after");
    expectShown(after);
}

TEST_P(Disturbed, RunEndsAsItsCommandDoesWithoutAConsole) {
    const std::unique_ptr<Command> running =
        begin({"-t", "5", "run", "--label", "Job", "--", "sh", "-c",
               "echo ready; read go; echo rest; exit 6"});
    ASSERT_TRUE(running->awaitOutput("ready"));
    kill();
    running->write("go\n");
    const Outcome outcome = running->finish();
    EXPECT_EQ(outcome.status, 6);
    EXPECT_EQ(outcome.output, "ready\nrest\n");
    EXPECT_THAT(outcome.errors, HasSubstr("no console is there"));
}

TEST_P(Disturbed, TailGoesOnAfterAStop) {
    std::ofstream(file("log")) << "one\n";
    const std::unique_ptr<Command> tail = begin({"tail", file("log")});
    expectShown(lines("one"));
    freeze();
    std::ofstream(file("log"), std::ios::app) << "two\n";
    thaw();
    expectShown(lines("one\ntwo"));
}

TEST_P(Disturbed, TailGoesOnAtTheNextConsole) {
    std::ofstream(file("log")) << "one\n";
    const std::unique_ptr<Command> tail = begin({"tail", file("log")});
    expectShown(lines("one"));
    kill();
    std::ofstream(file("log"), std::ios::app) << "two\nthree\n";
    start();
    expectShown(lines("two\nthree"));
}

TEST_P(Disturbed, DemoGoesOnAfterAStop) {
    // So long that no busy machine skips the frames with its first status.
    const std::unique_ptr<Command> demo = begin({"-t", "0", "demo", "--seconds", "15"});
    expectStatus("Updating the unit - do not switch it off");
    freeze();
    thaw();
    EXPECT_EQ(demo->finish().status, 0);
    expectStatus("Update complete - the unit may be switched off");
}

TEST_P(Disturbed, DemoGoesOnAtTheNextConsole) {
    // So long that it cannot be over before the next console is there.
    const std::unique_ptr<Command> demo = begin({"demo", "--seconds", "3600"});
    expectStatus("Updating the unit - do not switch it off");
    restart();
    expectStatus("Updating the unit - do not switch it off");
}

TEST_P(Disturbed, WaitEndsWhenTheNextConsoleIsThere) {
    kill();
    const std::unique_ptr<Command> waiting = begin({"wait"});
    start();
    EXPECT_EQ(waiting->finish().status, 0);
}

INSTANTIATE_TEST_SUITE_P(Clients, Disturbed, testing::Values("fuse", "socket"),
                         [](const auto& info) { return info.param; });

}  // namespace
