// The public functions against a node that records what reaches it.
#include "velkaris/velkaris.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>

#include "client/support/fakeConsole.h"
#include "client/support/sentMessages.h"
#include "support/temporaryFolder.h"

namespace {

using testing::ElementsAre;
using testing::SizeIs;

struct CloseConsole {
    void operator()(velkaris_console* console) const { velkaris_close(console); }
};
using Console = std::unique_ptr<velkaris_console, CloseConsole>;

class Velkaris : public testing::Test {
protected:
    int open(unsigned int limit = 60000) {
        velkaris_console* opened = nullptr;
        const int error = velkaris_open(&opened, path.c_str(), limit);
        console.reset(opened);
        return error;
    }
    void restart() {
        // The new one takes the path before the old one lets its clients go.
        node = std::make_unique<FakeConsole>(path);
    }

    TemporaryFolder folder;
    const std::string path = folder.file("node");
    std::unique_ptr<FakeConsole> node = std::make_unique<FakeConsole>(path);
    Console console;
};

TEST_F(Velkaris, SendsEachCommandOnce) {
    ASSERT_EQ(open(), 0);
    EXPECT_EQ(velkaris_set_status(console.get(), "ready"), 0);
    EXPECT_EQ(velkaris_set_percent(console.get(), 42), 0);
    EXPECT_EQ(velkaris_add_item(console.get(), "fw", "Firmware", 1), 0);
    EXPECT_EQ(velkaris_update_item(console.get(), "fw", 2), 0);
    EXPECT_EQ(velkaris_write(console.get(), "line\n", 5), 0);
    EXPECT_THAT(node->received(),
                ElementsAre(sentStatus("ready"), sentPercent(42), sentAdd("fw", "Firmware", 1),
                            sentUpdate("fw", 2), sentText("line\n")));
}

TEST_F(Velkaris, PutsAnItemByAddingAndUpdatingIt) {
    ASSERT_EQ(open(), 0);
    EXPECT_EQ(velkaris_put_item(console.get(), "fw", "Firmware", 7), 0);
    EXPECT_THAT(node->received(), ElementsAre(sentAdd("fw", "Firmware", 7), sentUpdate("fw", 7)));
}

TEST_F(Velkaris, ClampsPercentsUnlessToldOtherwise) {
    ASSERT_EQ(open(), 0);
    velkaris_set_percent(console.get(), 150);
    velkaris_update_item(console.get(), "fw", -3);
    ASSERT_EQ(velkaris_set_percent_mode(console.get(), VELKARIS_PERCENT_PASS), 0);
    velkaris_set_percent(console.get(), 150);
    EXPECT_THAT(node->received(),
                ElementsAre(sentPercent(100), sentUpdate("fw", 0), sentPercent(150)));
}

TEST_F(Velkaris, TransliteratesWhatIsShownAndLeavesTheKeyAlone) {
    ASSERT_EQ(open(), 0);
    velkaris_set_status(console.get(), "größe");
    velkaris_add_item(console.get(), "größe", "größe", 0);
    velkaris_write(console.get(), "größe", 7);
    EXPECT_THAT(node->received(), ElementsAre(sentStatus("grosse"), sentAdd("größe", "grosse", 0),
                                              sentText("grosse")));
}

TEST_F(Velkaris, RefusesBeforeAnythingIsSent) {
    ASSERT_EQ(open(), 0);
    const std::string tooLong(VELKARIS_STATUS_BYTES + 1, 's');
    EXPECT_EQ(velkaris_set_status(console.get(), tooLong.c_str()), EMSGSIZE);
    EXPECT_EQ(velkaris_put_item(console.get(), "n", tooLong.c_str(), 0), EMSGSIZE);
    EXPECT_EQ(velkaris_update_item(console.get(), tooLong.c_str(), 0), EMSGSIZE);
    EXPECT_EQ(velkaris_write(console.get(), "x", size_t{VELKARIS_TEXT_BYTES} + 1), EMSGSIZE);
    velkaris_set_text_mode(console.get(), VELKARIS_TEXT_REFUSE);
    EXPECT_EQ(velkaris_write(console.get(), "größe", 7), EILSEQ);
    EXPECT_EQ(velkaris_set_status(console.get(), nullptr), EINVAL);
    EXPECT_EQ(velkaris_write(console.get(), nullptr, 1), EINVAL);
    EXPECT_EQ(velkaris_set_text_mode(console.get(), static_cast<velkaris_text_mode>(3)), EINVAL);
    EXPECT_EQ(velkaris_set_percent(nullptr, 1), EINVAL);
    EXPECT_THAT(node->received(), ElementsAre());
}

TEST_F(Velkaris, WritesAsOneMessageWhateverTheSize) {
    ASSERT_EQ(open(), 0);
    const std::string large(3'000'000, 'x');
    EXPECT_EQ(velkaris_write(console.get(), large.data(), large.size()), 0);
    EXPECT_THAT(node->received(), ElementsAre(sentText(large)));
}

TEST_F(Velkaris, AnEmptyTextIsNoMessage) {
    ASSERT_EQ(open(), 0);
    EXPECT_EQ(velkaris_write(console.get(), "", 0), 0);
    EXPECT_EQ(velkaris_write(console.get(), nullptr, 0), 0);
    EXPECT_THAT(node->received(), ElementsAre());
}

TEST_F(Velkaris, ReportsWhatTheConsoleAnswers) {
    ASSERT_EQ(open(), 0);
    node->statusOfCommands = EINVAL;
    EXPECT_EQ(velkaris_set_percent(console.get(), 1), EINVAL);
    node->statusOfCommands = ENOSYS;
    EXPECT_EQ(velkaris_set_percent(console.get(), 1), ENOSYS);
    EXPECT_EQ(velkaris_check(console.get()), 0) << "a refusal is an answer";
    node->statusOfCommands = ENOTTY;
    EXPECT_EQ(velkaris_check(console.get()), 0);
    node->statusOfCommands = EINVAL;
    EXPECT_EQ(velkaris_check(console.get()), EINVAL);
}

TEST_F(Velkaris, ReportsATextThatWasNotTakenWhole) {
    ASSERT_EQ(open(), 0);
    node->takesAllOfTexts = false;
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(velkaris_write(console.get(), "text", 4), EIO);
}

TEST_F(Velkaris, AConsoleThatGoesAtEachCallIsTriedOnceMoreAndNoLonger) {
    ASSERT_EQ(open(), 0);
    node->statusOfCommands = ENOTCONN;
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(velkaris_set_percent(console.get(), 1), ENODEV);
    EXPECT_THAT(node->received(), SizeIs(3));
}

TEST_F(Velkaris, SaysThatNoConsoleIsThere) {
    node.reset();
    EXPECT_EQ(open(), ENODEV) << "a socket that nobody serves";
    velkaris_console* left = reinterpret_cast<velkaris_console*>(this);  // as if never set
    EXPECT_EQ(velkaris_open(&left, path.c_str(), 60000), ENODEV);
    EXPECT_EQ(left, nullptr);
    std::filesystem::remove(path);
    EXPECT_EQ(open(), ENODEV) << "nothing at the path";
    ASSERT_TRUE(OwnedFd(::open(path.c_str(), O_CREAT | O_WRONLY, 0600)));
    EXPECT_EQ(open(), ENODEV) << "a file that is no node";
    EXPECT_EQ(std::filesystem::file_size(path), 0u);
}

TEST_F(Velkaris, FindsARestartedConsoleAtTheNextCall) {
    ASSERT_EQ(open(), 0);
    ASSERT_EQ(velkaris_write(console.get(), "one\n", 4), 0);
    restart();
    EXPECT_EQ(velkaris_write(console.get(), "two\n", 4), 0);
    EXPECT_THAT(node->received(), ElementsAre(sentText("two\n")));
    node.reset();
    EXPECT_EQ(velkaris_write(console.get(), "lost\n", 5), ENODEV);
    node = std::make_unique<FakeConsole>(path);
    EXPECT_EQ(velkaris_write(console.get(), "three\n", 6), 0);
    EXPECT_THAT(node->received(), ElementsAre(sentText("three\n")));
}

TEST_F(Velkaris, PutsAnItemWholeOnAConsoleThatIsRestartedInTheMiddle) {
    ASSERT_EQ(open(), 0);
    node->stallAfter(1);
    std::thread disturber([&] {
        node->waitFor(2);
        restart();
    });
    EXPECT_EQ(velkaris_put_item(console.get(), "fw", "Firmware", 7), 0);
    disturber.join();
    EXPECT_THAT(node->received(), ElementsAre(sentAdd("fw", "Firmware", 7), sentUpdate("fw", 7)));
}

TEST_F(Velkaris, AConsoleThatDoesNotAnswerHoldsNobodyUp) {
    ASSERT_EQ(open(), 0);
    node->stall();
    velkaris_set_time_limit(console.get(), 1);
    EXPECT_EQ(velkaris_write(console.get(), "held\n", 5), ETIMEDOUT);
    EXPECT_EQ(velkaris_set_percent(console.get(), 9), ETIMEDOUT);
    EXPECT_EQ(velkaris_check(console.get()), ETIMEDOUT);
    ASSERT_TRUE(node->waitFor(1));
    node->resume();
    velkaris_set_time_limit(console.get(), VELKARIS_NO_TIME_LIMIT);
    EXPECT_EQ(velkaris_write(console.get(), "next\n", 5), 0);
    EXPECT_THAT(node->received(), ElementsAre(sentText("held\n"), sentText("next\n")));
}

TEST_F(Velkaris, ClosingWhileTheConsoleIsStalledLosesNothingThatWasSent) {
    ASSERT_EQ(open(), 0);
    node->stall();
    velkaris_set_time_limit(console.get(), 1);
    EXPECT_EQ(velkaris_write(console.get(), "held\n", 5), ETIMEDOUT);
    console.reset();
    EXPECT_TRUE(node->waitFor(1));
    EXPECT_THAT(node->received(), ElementsAre(sentText("held\n")));
}

void ignoreSignal(int) {}

TEST_F(Velkaris, ASignalNeitherLosesNorRepeatsACommand) {
    ASSERT_EQ(open(VELKARIS_NO_TIME_LIMIT), 0);
    struct sigaction action {};
    action.sa_handler = ignoreSignal;  // without SA_RESTART: waits end early
    sigaction(SIGUSR1, &action, nullptr);
    node->stall();
    const pthread_t caller = pthread_self();
    std::thread disturber([&] {
        node->waitFor(1);
        for (int i = 0; i < 100; ++i)
            pthread_kill(caller, SIGUSR1);
        node->resume();
    });
    EXPECT_EQ(velkaris_write(console.get(), "once\n", 5), 0);
    disturber.join();
    EXPECT_THAT(node->received(), ElementsAre(sentText("once\n")));
}

TEST_F(Velkaris, ThreadsWithAHandleEachDoNotDisturbOneAnother) {
    constexpr int kThreads = 8;
    constexpr int kLines = 50;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            velkaris_console* opened = nullptr;
            ASSERT_EQ(velkaris_open(&opened, path.c_str(), 60000), 0);
            const Console own(opened);
            const std::string line = "größe " + std::to_string(t) + "\n";
            for (int i = 0; i < kLines; ++i)
                EXPECT_EQ(velkaris_write(own.get(), line.data(), line.size()), 0);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_THAT(node->received(), SizeIs(kThreads * kLines));
}

TEST_F(Velkaris, ANullPathMeansTheEnvironmentsNode) {
    setenv("VELKARIS_NODE", path.c_str(), 1);
    velkaris_console* opened = nullptr;
    EXPECT_EQ(velkaris_open(&opened, nullptr, 60000), 0);
    const Console own(opened);
    EXPECT_EQ(velkaris_write(own.get(), "x", 1), 0);
    EXPECT_THAT(node->received(), SizeIs(1));
    unsetenv("VELKARIS_NODE");
}

TEST(VelkarisNode, AnEmptyPathInTheEnvironmentMeansTheUsualNode) {
    const char kUsual[] = "/dev/Velkaris";
    if (access("/dev", W_OK) != 0 || access(kUsual, F_OK) == 0)
        GTEST_SKIP() << "only root may serve " << kUsual << ", where no other console does";
    const FakeConsole node(kUsual);
    setenv("VELKARIS_NODE", "", 1);
    velkaris_console* opened = nullptr;
    EXPECT_EQ(velkaris_open(&opened, nullptr, 60000), 0);
    velkaris_close(opened);
    unsetenv("VELKARIS_NODE");
    unlink(kUsual);
}

TEST(VelkarisErrors, EveryErrorHasAText) {
    EXPECT_STREQ(velkaris_error_text(ENODEV), "no console is there");
    EXPECT_STREQ(velkaris_error_text(ETIMEDOUT), "the console does not answer");
    const std::string ownUser = "too many connections of user " + std::to_string(geteuid());
    EXPECT_EQ(velkaris_error_text(EUSERS), ownUser);
    EXPECT_STREQ(velkaris_error_text(EBUSY), "the console has too many connections");
    for (int error = 0; error < 200; ++error)
        EXPECT_STRNE(velkaris_error_text(error), "");
}

TEST(VelkarisErrors, NothingIsClosedTwiceOrOpenedNowhere) {
    velkaris_close(nullptr);
    EXPECT_EQ(velkaris_open(nullptr, nullptr, 1), EINVAL);
}

}  // namespace
