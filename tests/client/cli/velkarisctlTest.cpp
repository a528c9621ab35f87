// The command as a shell sees it, against a node that records what reaches it.
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string>

#include "client/support/command.h"
#include "client/support/fakeConsole.h"
#include "client/support/sentMessages.h"
#include "support/temporaryFolder.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class Velkarisctl : public testing::Test {
protected:
    Velkarisctl() { signal(SIGPIPE, SIG_IGN); }

    static std::vector<std::string> line(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), VELKARISCTL);
        return arguments;
    }
    Outcome run(std::vector<std::string> arguments, const std::string& input = {}) {
        return runCommand(line(std::move(arguments)), input, environment);
    }

    TemporaryFolder folder;
    const std::string path = folder.file("node");
    const Command::Environment environment = {{"VELKARIS_NODE", path}};
    std::unique_ptr<FakeConsole> node = std::make_unique<FakeConsole>(path);
};

TEST_F(Velkarisctl, EachVerbSendsItsCommand) {
    EXPECT_EQ(run({"status", "ready"}).status, 0);
    EXPECT_EQ(run({"percent", "42"}).status, 0);
    EXPECT_EQ(run({"add", "fw", "Firmware"}).status, 0);
    EXPECT_EQ(run({"add", "os", "System", "5"}).status, 0);
    EXPECT_EQ(run({"update", "fw", "7"}).status, 0);
    EXPECT_EQ(run({"set", "fw", "Firmware", "8%"}).status, 0);
    EXPECT_EQ(run({"write", "two", "words"}).status, 0);
    EXPECT_THAT(
        node->received(),
        ElementsAre(sentStatus("ready"), sentPercent(42), sentAdd("fw", "Firmware", 0),
                    sentAdd("os", "System", 5), sentUpdate("fw", 7), sentAdd("fw", "Firmware", 8),
                    sentUpdate("fw", 8), sentText("two words\n")));
}

TEST_F(Velkarisctl, WritesItsInputAsLinesComeIn) {
    Command writing(line({"write"}), environment);
    writing.write("one\ntwo\nth");
    ASSERT_TRUE(node->waitFor(1));
    writing.write("ree");
    EXPECT_EQ(writing.finish().status, 0);
    EXPECT_THAT(node->received(), ElementsAre(sentText("one\ntwo\n"), sentText("three")));
}

TEST_F(Velkarisctl, LosesNothingOfALargeInput) {
    std::string all;
    for (int i = 0; i < 200000; ++i)
        all += std::to_string(i) + "\n";
    EXPECT_EQ(run({"write"}, all).status, 0);
    std::string arrived;
    for (const Received& piece : node->received())
        arrived += piece.bytes;
    EXPECT_EQ(arrived, all);
}

TEST_F(Velkarisctl, HoldsNoMoreOfALargeInputThanOfASmallOne) {
    constexpr size_t kMegabytes = 64;
    std::string all;
    for (size_t i = 0; i < kMegabytes * 8192; ++i)
        all += std::string(127, 'x') + "\n";
    const Outcome small = run({"write"}, "x\n");
    const Outcome large = run({"write"}, all);
    EXPECT_EQ(large.status, 0);
    EXPECT_LT(large.peakMemory - small.peakMemory, static_cast<long>(kMegabytes * 1024 / 4));
}

TEST_F(Velkarisctl, TreatsTextBeyondAsciiAsAskedTo) {
    EXPECT_EQ(run({"write", "größe"}).status, 0);
    EXPECT_EQ(run({"--ascii=pass", "write", "größe"}).status, 0);
    const Outcome refused = run({"--ascii=refuse", "write", "größe"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.errors, HasSubstr("characters that the console cannot show"));
    EXPECT_THAT(node->received(), ElementsAre(sentText("grosse\n"), sentText("größe\n")));
}

TEST_F(Velkarisctl, SaysThatNoConsoleIsThere) {
    node.reset();
    for (const char* verb : {"status", "percent", "write"}) {
        const Outcome outcome = run({verb, "1"});
        EXPECT_EQ(outcome.status, 3);
        EXPECT_EQ(outcome.errors, "velkarisctl: " + path + ": no console is there\n");
    }
    EXPECT_EQ(run({"--quiet", "status", "1"}).errors, "");
    EXPECT_EQ(run({"wait", "--seconds", "0"}).status, 3);
}

TEST_F(Velkarisctl, SaysWhoseConnectionsAreTooMany) {
    node->statusOfCommands = EUSERS;
    const Outcome outcome = run({"percent", "1"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, "velkarisctl: " + path + ": too many connections of user " +
                                  std::to_string(geteuid()) + "\n");
}

TEST_F(Velkarisctl, TheDeviceOptionWinsOverTheEnvironment) {
    const std::string other = folder.file("other");
    FakeConsole second(other);
    EXPECT_EQ(run({"-d", other, "write", "x"}).status, 0);
    EXPECT_THAT(second.received(), ElementsAre(sentText("x\n")));
    EXPECT_THAT(node->received(), ElementsAre());
}

TEST_F(Velkarisctl, UsageErrorsSendNothing) {
    for (const std::vector<std::string>& wrong :
         std::vector<std::vector<std::string>>{{},
                                               {"bogus"},
                                               {"status"},
                                               {"status", "a", "b"},
                                               {"percent", "x"},
                                               {"add", "a"},
                                               {"update", "a", ""},
                                               {"set", "a", "b", "c"},
                                               {"--bogus"},
                                               {"wait", "1"}}) {
        const Outcome outcome = run(wrong);
        EXPECT_EQ(outcome.status, 2);
        EXPECT_THAT(outcome.errors, HasSubstr("velkarisctl: "));
    }
    EXPECT_THAT(node->received(), ElementsAre());
}

TEST_F(Velkarisctl, HelpAndVersionNeedNoConsole) {
    node.reset();
    EXPECT_THAT(run({"--help"}).output, HasSubstr("Usage: velkarisctl"));
    EXPECT_THAT(run({"--version"}).output, HasSubstr("velkarisctl "));
    for (const char* verb :
         {"write", "status", "percent", "add", "update", "set", "demo", "wait"}) {
        const Outcome outcome = run({verb, "--help"});
        EXPECT_EQ(outcome.status, 0);
        EXPECT_THAT(outcome.output, HasSubstr(std::string("[OPTION...] ") + verb));
    }
}

TEST_F(Velkarisctl, AStalledConsoleCostsNoMoreThanTheTimeout) {
    node->stall();
    const Outcome outcome = run({"--timeout", "0.01", "status", "x"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.errors, HasSubstr("does not answer"));
}

TEST_F(Velkarisctl, WaitsForAConsoleThatComesLater) {
    node.reset();
    Command waiting(line({"wait"}), environment);
    node = std::make_unique<FakeConsole>(path);
    EXPECT_EQ(waiting.finish().status, 0);
}

TEST_F(Velkarisctl, WaitingEndsAtOnceWhereItMendsNothing) {
    std::filesystem::create_symlink("circle", folder.file("circle"));
    for (const std::string& hopeless :
         {path + "/below", folder.file("circle"), folder.file(std::string(300, 'x'))}) {
        const Outcome outcome = run({"-d", hopeless, "wait"});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_THAT(outcome.errors, HasSubstr(hopeless + ": "));
    }
}

TEST_F(Velkarisctl, WaitingSaysInTheEndWhatStoodInTheWay) {
    const Outcome none = run({"-d", folder.file("none"), "wait", "--seconds", "0"});
    EXPECT_EQ(none.status, 3);
    EXPECT_THAT(none.errors, HasSubstr("no console is there"));
    node->stall();
    const Outcome stalled = run({"wait", "--seconds", "0"});
    EXPECT_EQ(stalled.status, 3);
    EXPECT_THAT(stalled.errors, HasSubstr("does not answer"));
}

// Root gets in everywhere.
TEST_F(Velkarisctl, WaitsForANodeThatIsItsOwnersAloneYet) {
    std::vector<std::string> other;
    if (geteuid() == 0)
        other = {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
    ASSERT_EQ(chmod(folder.path().c_str(), 0755), 0);
    const auto waitAsOther = [&](mode_t mode) {
        EXPECT_EQ(chmod(path.c_str(), mode), 0);
        std::vector<std::string> words = other;
        for (const std::string& word : line({"wait", "--seconds", "0"}))
            words.push_back(word);
        return runCommand(words, {}, environment);
    };
    const Outcome beingMade = waitAsOther(0000);
    EXPECT_EQ(beingMade.status, 3);
    EXPECT_THAT(beingMade.errors, HasSubstr("Permission denied"));
    EXPECT_EQ(waitAsOther(0060).status, 1);
    EXPECT_EQ(waitAsOther(0666).status, 0);
}

TEST_F(Velkarisctl, TheDemoBringsEveryItemTo100) {
    EXPECT_EQ(run({"demo", "--seconds", "1"}).status, 0);
    const std::vector<Received> received = node->received();
    for (const char* item : {"bootloader", "kernel", "rootfs", "maps", "radio"})
        EXPECT_THAT(received, testing::Contains(sentUpdate(item, 100))) << item;
    EXPECT_THAT(received, testing::Contains(sentPercent(100)));
    EXPECT_THAT(received, testing::Contains(sentText("Update complete")));
}

}  // namespace
