// gauge, run and tail as a shell sees them, against a node that records what reaches it.
#include <gmock/gmock.h>
#include <signal.h>

#include <fstream>
#include <memory>

#include "client/support/command.h"
#include "client/support/fakeConsole.h"
#include "client/support/sentMessages.h"
#include "support/temporaryFolder.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

class StreamVerbs : public testing::Test {
protected:
    StreamVerbs() { signal(SIGPIPE, SIG_IGN); }

    static std::vector<std::string> line(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), VELKARISCTL);
        return arguments;
    }
    Outcome run(std::vector<std::string> arguments, const std::string& input = {}) {
        return runCommand(line(std::move(arguments)), input, environment);
    }
    Outcome shell(const std::string& script) {
        return runCommand({"/bin/sh", "-c", script}, {}, environment);
    }
    std::string writtenText() const {
        std::string all;
        for (const Received& one : node->received()) {
            if (one.code == 0)
                all += one.bytes;
        }
        return all;
    }
    // Waits until the text written so far contains `text`.
    void awaitText(const std::string& text) const {
        for (size_t count = 1; writtenText().find(text) == std::string::npos; ++count)
            ASSERT_TRUE(node->waitFor(count));
    }
    static std::string stateOf(const std::string& pid) {
        std::string word;
        std::ifstream stat("/proc/" + pid + "/stat");
        stat >> word >> word >> word;
        return word;
    }
    static void awaitGone(const std::string& pid) {
        while (!stateOf(pid).empty())
            std::this_thread::yield();
    }
    void restart() {
        // The new one takes the path before the old one lets its clients go.
        node = std::make_unique<FakeConsole>(path);
    }

    TemporaryFolder folder;
    const std::string path = folder.file("node");
    const Command::Environment environment = {{"VELKARIS_NODE", path}, {"CTL", VELKARISCTL}};
    std::unique_ptr<FakeConsole> node = std::make_unique<FakeConsole>(path);
};

TEST_F(StreamVerbs, GaugeShowsTheItemFromItsStartToItsLastPercent) {
    EXPECT_EQ(run({"gauge", "fw", "Firmware"}, "10\n50\nXXX\n99\nalmost\nXXX\n100\n").status, 0);
    const std::vector<Received> received = node->received();
    EXPECT_EQ(received.front(), sentAdd("fw", "Firmware", 0));
    EXPECT_THAT(received, Contains(sentUpdate("fw", 100)));
    EXPECT_EQ(writtenText(), "almost\n");
}

TEST_F(StreamVerbs, GaugeSendsNoMoreThanCanBeSeen) {
    std::string flood;
    for (int i = 0; i < 100000; ++i)
        flood += std::to_string(i % 100) + "\n";
    EXPECT_EQ(run({"gauge", "fw", "Firmware"}, flood + "42\n").status, 0);
    EXPECT_LT(node->received().size(), 1000u);
    EXPECT_EQ(node->received().back(), sentUpdate("fw", 42));
}

TEST_F(StreamVerbs, GaugeReadsToTheEndWithoutAConsole) {
    Command gauge(line({"-t", "5", "gauge", "fw", "Firmware"}), environment);
    ASSERT_TRUE(node->waitFor(2));
    node.reset();
    gauge.write(std::string(1000000, '\n'));
    gauge.write("7\n");
    EXPECT_EQ(gauge.finish().status, 3);
}

TEST_F(StreamVerbs, GaugeFindsARestartedConsole) {
    Command gauge(line({"gauge", "fw", "Firmware"}), environment);
    ASSERT_TRUE(node->waitFor(2));
    restart();
    gauge.write("7\n");
    EXPECT_EQ(gauge.finish().status, 0);
    EXPECT_THAT(node->received(), ElementsAre(sentAdd("fw", "Firmware", 7), sentUpdate("fw", 7)));
}

TEST_F(StreamVerbs, RunPassesOutputThroughAndShowsItAsLines) {
    const Outcome outcome = run({"run", "--item", "job", "--label", "Job", "--", "/bin/sh", "-c",
                                 "echo out; echo err >&2; printf 'no newline'"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, "out\nno newline");
    EXPECT_EQ(outcome.errors, "err\n");
    EXPECT_THAT(writtenText(), HasSubstr("out\n"));
    EXPECT_THAT(writtenText(), HasSubstr("err\n"));
    EXPECT_THAT(writtenText(), HasSubstr("no newline\n"));
    EXPECT_EQ(node->received().front(), sentAdd("job", "Job", 0));
    EXPECT_THAT(node->received(), Contains(sentUpdate("job", 100)));
}

TEST_F(StreamVerbs, RunKeepsTheOrderOfStreamsThatGoToOnePlace) {
    std::string expected;
    for (int i = 0; i < 200; ++i)
        expected += "o" + std::to_string(i) + "\ne" + std::to_string(i) + "\n";
    const Outcome outcome = shell(
        "\"$CTL\" run -- /bin/sh -c 'i=0; while [ $i -lt 200 ]; do echo o$i; echo e$i >&2; "
        "i=$((i+1)); done' 2>&1");
    EXPECT_EQ(outcome.output, expected);
    EXPECT_EQ(writtenText(), expected);
}

TEST_F(StreamVerbs, RunPassesBinaryOutputThroughUnchanged) {
    std::string bytes;
    for (int i = 0; i < 100000; ++i)
        bytes.push_back(static_cast<char>(i * 7));
    const std::string file = folder.file("binary");
    std::ofstream(file, std::ios::binary) << bytes;
    EXPECT_EQ(run({"run", "cat", file}).output, bytes);
    EXPECT_EQ(run({"run", "cat"}, bytes).output, bytes) << "from standard input";
}

TEST_F(StreamVerbs, RunExitsAsItsCommandDoes) {
    EXPECT_EQ(
        run({"run", "--item", "j", "--label", "Job", "--", "sh", "-c", "echo 40%; exit 7"}).status,
        7);
    EXPECT_THAT(writtenText(), HasSubstr("Job: failed with status 7\n"));
    EXPECT_THAT(node->received(), Contains(sentUpdate("j", 40)));
    EXPECT_THAT(node->received(), Not(Contains(sentUpdate("j", 100))));
}

TEST_F(StreamVerbs, RunTellsWhichSignalEndedItsCommand) {
    EXPECT_EQ(run({"run", "--label", "Job", "sh", "-c", "kill -KILL $$"}).status, 128 + SIGKILL);
    EXPECT_THAT(writtenText(), HasSubstr("Job: killed by signal 9 (Killed)\n"));
}

TEST_F(StreamVerbs, RunTakesNothingElseForAStreamThatIsClosed) {
    for (const std::string closed : {"<&-", ">&-", "2>&-", ">&- 2>&-", "<&- >&- 2>&-"}) {
        const size_t before = writtenText().size();
        EXPECT_EQ(
            shell("timeout 20 \"$CTL\" run --label Job sh -c 'echo shown >&2; exit 5' " + closed)
                .status,
            5)
            << closed;
        EXPECT_EQ(writtenText().substr(before), "shown\nJob: failed with status 5\n") << closed;
    }
}

TEST_F(StreamVerbs, ComplaintsAreNoTextForTheConsole) {
    EXPECT_EQ(shell("\"$CTL\" --ascii=refuse write größe 2>&-").status, 1);
    EXPECT_EQ(shell("\"$CTL\" write ok").status, 0);
    EXPECT_THAT(node->received(), ElementsAre(sentText("ok\n")));
}

TEST_F(StreamVerbs, RunSaysWhyACommandCouldNotRun) {
    const Outcome missing = run({"run", "/nonexistent/program"});
    EXPECT_EQ(missing.status, 127);
    EXPECT_THAT(missing.errors, HasSubstr("No such file"));
    EXPECT_EQ(run({"run", folder.path()}).status, 126);
    EXPECT_THAT(writtenText(), HasSubstr("/nonexistent/program: No such file or directory\n"));
}

TEST_F(StreamVerbs, RunDoesNotStartItsCommandWithoutAConsole) {
    node.reset();
    const std::string trace = folder.file("trace");
    EXPECT_EQ(run({"run", "touch", trace}).status, 3);
    EXPECT_FALSE(std::filesystem::exists(trace));
}

TEST_F(StreamVerbs, RunPassesSignalsOn) {
    for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGUSR1}) {
        Command running(line({"run", "sh", "-c",
                              "trap 'echo caught; exit 9' TERM INT HUP USR1; echo ready; "
                              "while :; do read line || exit 1; done"}),
                        environment);
        ASSERT_TRUE(running.awaitOutput("ready"));
        kill(running.pid(), number);
        // The shell runs its trap once the read is over; then it has seen the signal for certain.
        ASSERT_TRUE((running.write("\n"), running.awaitOutput("caught")));
        EXPECT_EQ(running.finish().status, 9);
    }
}

TEST_F(StreamVerbs, RunPassesSignalsOnWhileNobodyReadsItsOutput) {
    Command running(line({"run", "sh", "-c",
                          "trap 'kill $!; echo caught >&2; exit 9' TERM; cat /dev/zero & wait"}),
                    environment);
    running.awaitFullOutput();
    kill(running.pid(), SIGTERM);
    awaitText("caught\n");
    EXPECT_EQ(running.finish().status, 9);
}

TEST_F(StreamVerbs, RunCanBeEndedWhileNobodyReadsTheLastOutput) {
    Command running(
        line({"run", "sh", "-c", "dd if=/dev/zero bs=4096 count=32; echo pid $$. >&2; exit 9"}),
        environment);
    running.awaitFullOutput();
    awaitText(".\n");
    const size_t pid = writtenText().find("pid ") + 4;
    awaitGone(writtenText().substr(pid, writtenText().find('.', pid) - pid));
    kill(running.pid(), SIGTERM);
    EXPECT_EQ(running.awaitEnd(), 128 + SIGTERM);
}

TEST_F(StreamVerbs, RunLeavesTheFlagsOfASharedOutputAlone) {
    EXPECT_EQ(shell("{ \"$CTL\" run echo first; grep flags /proc/self/fdinfo/1; } | cat").output,
              "first\nflags:\t01\n");
}

TEST_F(StreamVerbs, RunGivesItsCommandTheSignalsThatItHadItself) {
    const std::vector<std::string> ignoring = {"env", "--ignore-signal=CHLD,HUP",
                                               "--block-signal=USR1"};
    // The last digits: the system's own library has two signals above them to itself.
    const std::vector<std::string> telling = {
        "sed", "-nE", "s/^(Sig(Blk|Ign)).*[0-9a-f](.{7})$/\\1 \\3/p", "/proc/self/status"};
    std::vector<std::string> wrapped = ignoring;
    wrapped.insert(wrapped.end(), {VELKARISCTL, "run"});
    wrapped.insert(wrapped.end(), telling.begin(), telling.end());
    EXPECT_EQ(runCommand(wrapped, {}, environment).output, "SigBlk 0000200\nSigIgn 0010001\n");
}

TEST_F(StreamVerbs, RunHearsOfTheEndThoughItsParentIgnoresThose) {
    EXPECT_EQ(runCommand({"env", "--ignore-signal=CHLD", VELKARISCTL, "run", "sh", "-c", "exit 6"},
                         {}, environment)
                  .status,
              6);
}

TEST_F(StreamVerbs, RunReadsPercentsOfKnownPrograms) {
    const std::string image = folder.file("image");
    std::ofstream(image) << std::string(2000000, 'x');
    EXPECT_EQ(run({"run", "--item", "dd", "dd", "if=" + image, "of=/dev/null", "count=1000",
                   "status=progress"})
                  .status,
              0);
    const Outcome curl = run({"run", "--item", "curl", "--", "sh", "-c",
                              "curl -o /dev/null 'file://" + image + "'; exit 1"});
    EXPECT_EQ(curl.status, 1);
    EXPECT_THAT(curl.errors, HasSubstr("% Total"));
    EXPECT_THAT(node->received(), Contains(sentUpdate("curl", 100)));
}

TEST_F(StreamVerbs, RunIsNotHeldUpByAStalledConsole) {
    Command running(line({"-t", "5", "run", "sh", "-c", "read go; seq 1 100000; echo done"}),
                    environment);
    ASSERT_TRUE(node->waitFor(2));
    node->stall();
    running.write("go\n");
    const Outcome outcome = running.finish();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.output, testing::EndsWith("100000\ndone\n"));
    EXPECT_THAT(outcome.errors, HasSubstr("does not answer"));
}

TEST_F(StreamVerbs, RunPutsItsItemOnARestartedConsole) {
    Command running(
        line({"run", "--item", "j", "--label", "Job", "sh", "-c", "echo 30%; read go; echo after"}),
        environment);
    ASSERT_TRUE(node->waitFor(3));
    restart();
    running.write("go\n");
    EXPECT_EQ(running.finish().status, 0);
    EXPECT_THAT(node->received(), Contains(sentAdd("j", "Job", 100)));
    EXPECT_THAT(node->received(), Contains(sentUpdate("j", 100)));
    EXPECT_THAT(writtenText(), HasSubstr("after\n"));
}

TEST_F(StreamVerbs, RunGivesItsLastPercentToAConsoleThatComesBackAfterTheEnd) {
    Command running(
        line({"-t", "0", "run", "--item", "j", "--label", "Job", "sh", "-c", "read go; echo $$."}),
        environment);
    ASSERT_TRUE(node->waitFor(2));
    node.reset();
    running.write("go\n");
    ASSERT_TRUE(running.awaitOutput(".\n"));
    awaitGone(running.output().substr(0, running.output().find('.')));
    node = std::make_unique<FakeConsole>(path);
    EXPECT_EQ(running.finish().status, 0);
    EXPECT_THAT(node->received(), Contains(sentUpdate("j", 100)));
    EXPECT_EQ(writtenText(), running.output());
}

TEST_F(StreamVerbs, RunCanBeEndedWhileItWaitsForAConsole) {
    Command running(line({"-t", "0", "run", "sh", "-c", "read go; echo $$."}), environment);
    ASSERT_TRUE(node->waitFor(2));
    node.reset();
    running.write("go\n");
    ASSERT_TRUE(running.awaitOutput(".\n"));
    awaitGone(running.output().substr(0, running.output().find('.')));
    kill(running.pid(), SIGTERM);
    EXPECT_EQ(running.finish().status, 128 + SIGTERM);
}

TEST_F(StreamVerbs, RunDoesNotWaitForThoseWhoInheritItsOutput) {
    const Outcome outcome = shell(
        "\"$CTL\" run sh -c 'echo first; sleep 1000 & echo $!' > out.$$ 2>/dev/null; "
        "cat out.$$; kill $(tail -n 1 out.$$); rm out.$$");
    EXPECT_THAT(outcome.output, HasSubstr("first\n"));
}

TEST_F(StreamVerbs, RunEndsACommandWhoseReaderIsGone) {
    EXPECT_EQ(shell("\"$CTL\" run yes | head -n 1").output, "y\n");
}

TEST_F(StreamVerbs, RunGivesATerminalWhereItHasOne) {
    const Outcome outcome = shell(
        "script -qec '\"$CTL\" run -- sh -c \"test -t 0 && test -t 1 && test -t 2 && echo all; "
        "stty size; echo two\"' /dev/null </dev/null");
    EXPECT_THAT(outcome.output, HasSubstr("all\r\n"));
    EXPECT_THAT(outcome.output, HasSubstr("two\r\n"));
    EXPECT_THAT(outcome.output, Not(HasSubstr("\r\r\n")));
    EXPECT_THAT(writtenText(), HasSubstr("all\n"));
}

TEST_F(StreamVerbs, RunOnATerminalPassesKeysAndTheirSignalsOn) {
    Command session({"script", "-qec",
                     std::string(VELKARISCTL) +
                         " run -- sh -c 'trap \"echo got it; exit 5\" INT; echo ready; "
                         "read line; echo line is $line; echo more; while :; do read x; done'",
                     "/dev/null"},
                    environment);
    ASSERT_TRUE(session.awaitOutput("ready"));
    session.write("typed\n");
    ASSERT_TRUE(session.awaitOutput("more"));
    session.write("\x03");
    ASSERT_TRUE(session.awaitOutput("got it"));
    const Outcome outcome = session.finish();
    EXPECT_EQ(outcome.status, 5);
    EXPECT_THAT(outcome.output, HasSubstr("line is typed\r\n"));
}

// What is typed before the shell has the keys back is the command's.
constexpr char kGoOn[] = "fg; echo is \"over\"\n";
constexpr char kOver[] = "is over\r";

// The key that suspends, once with a terminal of the command's own and once on the caller's.
TEST_F(StreamVerbs, RunStopsAndGoesOnWithItsCommand) {
    for (const std::string rest : {"", " | cat"}) {
        Command session({"script", "-qec", "bash --norc --noprofile -i", "/dev/null"}, environment);
        const std::string pidFile = folder.file("pid");
        session.write("\"$CTL\" run -- sh -c 'echo $$ > " + pidFile +
                      "; echo is ready; read word; echo the word is $word'" + rest + "\n");
        ASSERT_TRUE(session.awaitOutput("is ready\r"));
        session.write("\x1a");
        ASSERT_TRUE(session.awaitOutput("Stopped"));
        std::string pid;
        std::ifstream(pidFile) >> pid;
        EXPECT_EQ(stateOf(pid), "T") << "the command itself";
        session.write(kGoOn);
        while (stateOf(pid) == "T")
            std::this_thread::yield();
        session.write("typed\n");
        EXPECT_TRUE(session.awaitOutput("the word is typed"));
        ASSERT_TRUE(session.awaitOutput(kOver));
        session.write("exit\n");
        session.finish();
    }
}

// Nobody hears of such a stop before it; the shell then sets the terminal up for itself.
TEST_F(StreamVerbs, RunTakesTheKeysAgainAfterAStopThatCannotBeHeard) {
    const std::string command = folder.file("command");
    std::ofstream(command) << "sleep 1000 &\n"
                              "trap 'stty -a <$OUTER | grep -o .icanon; kill $!' CONT\n"
                              "echo is ready\nwait\n";
    const std::string pidFile = folder.file("pid");
    Command session({"script", "-qec", "bash --norc --noprofile -i", "/dev/null"}, environment);
    session.write("export OUTER=$(tty)\nsh -c 'echo $$ >" + pidFile + "; exec \"$CTL\" run sh " +
                  command + "'\n");
    ASSERT_TRUE(session.awaitOutput("is ready\r"));
    pid_t pid = 0;
    std::ifstream(pidFile) >> pid;
    ASSERT_GT(pid, 0);
    kill(pid, SIGSTOP);
    ASSERT_TRUE(session.awaitOutput("Stopped"));
    session.write(kGoOn);
    EXPECT_TRUE(session.awaitOutput("icanon"));
    ASSERT_TRUE(session.awaitOutput(kOver));
    session.write("exit\n");
    EXPECT_THAT(session.finish().output, HasSubstr("-icanon"));
}

TEST_F(StreamVerbs, RunInTheBackgroundOfATerminalLeavesTheKeysAlone) {
    Command session({"script", "-qec",
                     "bash -ic '\"$CTL\" run -- sh -c \"test -t 1 && echo shown\" & wait $!; "
                     "echo ended $?; read line; echo line is $line'",
                     "/dev/null"},
                    environment);
    ASSERT_TRUE(session.awaitOutput("ended 0"));
    session.write("mine\n");
    EXPECT_TRUE(session.awaitOutput("line is mine"));
    EXPECT_THAT(session.finish().output, HasSubstr("shown"));
}

TEST_F(StreamVerbs, TailShowsTheEndOfAFileAndWhatComesAfter) {
    const std::string log = folder.file("log");
    std::ofstream(log) << "one\ntwo\nthree\n";
    Command tail(line({"tail", "-n", "2", log}), environment);
    awaitText("two\nthree\n");
    std::ofstream(log, std::ios::app) << "\x1b[1mfour\x1b[0m\npart";
    awaitText("four\n");
    std::filesystem::rename(log, folder.file("log.1"));
    std::ofstream(log) << "five\n";
    awaitText("five\n");
    EXPECT_EQ(writtenText(), "two\nthree\nfour\npart\nfive\n");
    kill(tail.pid(), SIGTERM);
    EXPECT_EQ(tail.finish().status, 128 + SIGTERM);
}

TEST_F(StreamVerbs, TailLosesNothingWhileTheConsoleIsAway) {
    const std::string log = folder.file("log");
    std::ofstream(log) << "one\n";
    Command tail(line({"-q", "tail", log}), environment);
    awaitText("one\n");
    node.reset();
    std::ofstream(log, std::ios::app) << "two\nthree\n";
    node = std::make_unique<FakeConsole>(path);
    awaitText("three\n");
    EXPECT_EQ(writtenText(), "two\nthree\n");
    kill(tail.pid(), SIGTERM);
}

TEST_F(StreamVerbs, TailSaysWhoseLinesFollow) {
    const std::string first = folder.file("first");
    const std::string second = folder.file("second");
    std::ofstream(first) << "a\n";
    std::ofstream(second) << "b\n";
    Command tail(line({"tail", first, second}), environment);
    awaitText("b\n");
    EXPECT_EQ(writtenText(), "==> " + first + " <==\na\n==> " + second + " <==\nb\n");
    kill(tail.pid(), SIGTERM);
}

TEST_F(StreamVerbs, VerbsWithoutAConsoleSaySo) {
    node.reset();
    EXPECT_EQ(run({"gauge", "a", "b"}).status, 3);
    EXPECT_EQ(run({"tail", path}).status, 3);
    EXPECT_EQ(run({"run"}).status, 2);
    EXPECT_EQ(run({"gauge", "a"}).status, 2);
    for (const char* verb : {"gauge", "run", "tail"})
        EXPECT_THAT(run({verb, "--help"}).output, HasSubstr("Usage: velkarisctl"));
}

}  // namespace
