// Start, end, and what is left: signals, kills, two consoles on one node, an idle console.
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>

#include "e2e/transport.h"

namespace {

class Life : public OnEachTransport {
protected:
    ConsoleOptions optionsOnNode() const {
        ConsoleOptions options = usualOptions();
        options.nodePath = folder.path() + "/node";
        return options;
    }

    static void expectServes(ConsoleProcess* console) {
        ASSERT_TRUE(console->waitForNode()) << console->errors();
        ConsoleClient client(console->node());
        EXPECT_EQ(client.write("served"), 6);
        ReferenceModel model;
        model.addLine("served");
        expectSamePicture("life", predictUsual(model), nextFrame(console));
    }

    TemporaryFolder folder;
};

// What the bring-up says, but for the number of the config.
std::string bringUpLog(const std::string& config) {
    return "[Velkaris] CDisplayable init()\n"
           "[Velkaris] getting display ...\n"
           "[Velkaris] initializing egl...\n"
           "[Velkaris] egl initialized.\n"
           "[Velkaris] Get egl configs\n"
           "[Velkaris] choose config " +
           config +
           "\n"
           "[Velkaris] Creating context...\n"
           "[Velkaris] screen resolution fetched: [1280x480]\n"
           "[Velkaris] Context got. Creating KD window...\n"
           "[Velkaris] kdWindow got [1280x480]. Realizing native window...\n"
           "[Velkaris] Window created.  Creating surface ...\n"
           "[Velkaris] Surface created.  Make current\n"
           "[Velkaris] Getting viewport size...\n"
           "[Velkaris] ok\n"
           "[Velkaris] Viewport size got (0, 0, 1280, 480)\n";
}

// Resident memory that no file holds.
long ownKilobytes(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    const std::string key = "RssAnon:";
    for (std::string line; std::getline(status, line);) {
        if (line.compare(0, key.size(), key) == 0)
            return std::stol(line.substr(key.size()));
    }
    return -1;
}

// Voluntary context switches of all threads: each is a wait that began, so at most that many
// wake-ups.
long waitsBegun(pid_t pid) {
    long sum = 0;
    const std::string tasks = "/proc/" + std::to_string(pid) + "/task";
    for (const auto& task : std::filesystem::directory_iterator(tasks)) {
        std::ifstream status(task.path() / "status");
        const std::string key = "voluntary_ctxt_switches:";
        for (std::string line; std::getline(status, line);) {
            if (line.compare(0, key.size(), key) == 0)
                sum += std::stol(line.substr(key.size()));
        }
    }
    return sum;
}

}  // namespace

TEST_P(Life, TerminationSignalsLeaveNothingBehind) {
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        ConsoleProcess console(optionsOnNode());
        expectServes(&console);
        EXPECT_EQ(isMounted(console.node()), isFuse());
        const std::optional<int> status = console.stop(number);
        ASSERT_TRUE(status.has_value()) << "signal " << number;
        EXPECT_TRUE(WIFEXITED(*status) && WEXITSTATUS(*status) == 0) << *status;
        EXPECT_FALSE(isMounted(console.node()));
        EXPECT_NE(access(console.node().c_str(), F_OK), 0) << "the node is still there";
    }
}

TEST_P(Life, AnEndWhileClientsHoldTheNodeLeavesNothingMounted) {
    ConsoleProcess console(optionsOnNode());
    ASSERT_TRUE(console.waitForNode()) << console.errors();
    ConsoleClient client(console.node());
    EXPECT_EQ(client.write("text"), 4);
    ASSERT_TRUE(console.stop(SIGTERM).has_value());
    EXPECT_FALSE(isMounted(console.node()));
    EXPECT_EQ(client.write("text"), -1);
    EXPECT_EQ(errno, ENOTCONN);
}

TEST_P(Life, SigpipeDoesNotEndIt) {
    ConsoleProcess console(usualOptions());
    ASSERT_TRUE(console.waitForNode()) << console.errors();
    console.process().signal(SIGPIPE);
    expectServes(&console);
}

TEST_P(Life, AfterAKillTheNextOneTakesTheNodeOver) {
    for (int round = 0; round < 2; ++round) {
        ConsoleProcess console(optionsOnNode());
        expectServes(&console);
        EXPECT_TRUE(console.stop(SIGKILL).has_value());
    }
    ConsoleProcess last(optionsOnNode());
    expectServes(&last);
    EXPECT_TRUE(last.stop(SIGTERM).has_value());
    EXPECT_FALSE(isMounted(last.node()));
}

TEST_P(Life, AKilledOneLeavesItsLogWhole) {
    ConsoleProcess console(usualOptions());
    ASSERT_TRUE(console.waitForFrame(1)) << console.errors();
    ASSERT_TRUE(console.stop(SIGKILL).has_value());
    const std::string log = console.output();
    const std::string before = "choose config ";
    const size_t config = log.find(before);
    ASSERT_NE(config, std::string::npos) << log;
    const size_t end = log.find('\n', config);
    const size_t start = config + before.size();
    EXPECT_EQ(log, bringUpLog(log.substr(start, end - start)));
}

TEST_P(Life, ASecondConsoleOnTheNodeFailsAndLeavesTheFirstAlone) {
    ConsoleProcess first(optionsOnNode());
    ASSERT_TRUE(first.waitForNode()) << first.errors();
    ConsoleProcess second(optionsOnNode());
    const std::optional<int> status = second.process().waitForEnd();
    ASSERT_TRUE(status.has_value());
    EXPECT_TRUE(WIFEXITED(*status) && WEXITSTATUS(*status) == 1) << *status;
    const std::string message = std::string(VELKARIS_PROGRAM) + ": Unable to attach name.\n";
    const std::string errors = second.errors();
    ASSERT_GE(errors.size(), message.size()) << errors;
    EXPECT_EQ(errors.substr(errors.size() - message.size()), message);
    expectServes(&first);
}

TEST_P(Life, ASecondConsoleIsRefusedAlsoWhileTheFirstIsStopped) {
    ConsoleProcess first(optionsOnNode());
    ASSERT_TRUE(first.waitForNode()) << first.errors();
    first.process().signal(SIGSTOP);
    siginfo_t stopped = {};
    ASSERT_EQ(waitid(P_PID, static_cast<id_t>(first.process().pid()), &stopped, WSTOPPED), 0);
    {
        ConsoleProcess second(optionsOnNode());
        const std::optional<int> status = second.process().waitForEnd();
        first.process().signal(SIGCONT);
        ASSERT_TRUE(status.has_value());
        EXPECT_TRUE(WIFEXITED(*status) && WEXITSTATUS(*status) == 1) << *status;
    }
    expectServes(&first);
}

TEST_P(Life, TwoConsolesOnTwoNodesServeSideBySide) {
    ConsoleProcess first(usualOptions()), second(usualOptions());
    expectServes(&first);
    expectServes(&second);
}

TEST_P(Life, LargeWritesLeaveNoMemoryBehind) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "an instrumented console keeps memory on purpose";
#endif
    constexpr long kSlack = 2048;  // kilobytes; the rows of a screen, and what malloc() keeps
    ConsoleProcess console(usualOptions());
    expectServes(&console);
    const long before = ownKilobytes(console.process().pid());
    for (const size_t size : {4 << 20, 11 << 20, 32 << 20}) {
        ConsoleClient client(console.node());
        const std::string text(size, size == 32 << 20 ? 'w' : '\n');
        EXPECT_EQ(client.write(text), static_cast<ssize_t>(text.size()));
    }
    nextFrame(&console);
    EXPECT_LE(ownKilobytes(console.process().pid()), before + kSlack);
}

TEST_P(Life, AnIdleConsoleWakesForItsFramesAlone) {
    // One wait for the tick, perhaps one for the disk; polling would add its own to each frame.
    constexpr int kFrames = 4;
    constexpr long kWaitsPerFrame = 4;
    ConsoleOptions options = usualOptions();
    options.window = "headless:64x64";
    options.environment["LP_NUM_THREADS"] = "0";  // the software renderer's threads are not ours
    ConsoleProcess console(options);
    ASSERT_TRUE(console.waitForFrame(2)) << console.errors();
    const long before = waitsBegun(console.process().pid());
    ASSERT_TRUE(console.waitForFrame(2 + kFrames));
    const long waits = waitsBegun(console.process().pid()) - before;
    RecordProperty("waits", static_cast<int>(waits));
    EXPECT_LE(waits, kWaitsPerFrame * kFrames);
    EXPECT_GE(waits, 1);  // one that is late does not wait for each tick
}

VELKARIS_ON_EACH_TRANSPORT(Life);
