// Lines, status, percent and items: sent by real clients, seen in real frames.
#include <errno.h>
#include <unistd.h>

#include "e2e/transport.h"

namespace {

constexpr int kAttempts = 5;  // a tick among the commands makes an observation void

class Commands : public OnEachTransport {
protected:
    // Runs `observe` on fresh consoles until no tick fell among its commands.
    void observeUndisturbed(const std::function<bool(ConsoleProcess*)>& observe) {
        for (int attempt = 0; attempt < kAttempts; ++attempt) {
            ConsoleProcess console(usualOptions());
            // Commands come right behind a tick, when the next one is furthest away.
            ASSERT_TRUE(console.waitForFrame(2)) << console.errors();
            if (observe(&console))
                return;
        }
        FAIL() << "a tick fell among the commands each time";
    }

    // Sends when frame `at` is the newest; false if a tick falls among the commands.
    static bool sendAt(ConsoleProcess* console, int at,
                       const std::function<void(ConsoleClient*)>& send) {
        return console->waitForFrame(at) && sendBetweenFrames(console, send) == at;
    }

    static void expectFrame(ConsoleProcess* console, int number, const ReferenceModel& model) {
        ASSERT_TRUE(console->waitForFrame(number)) << console->errors();
        expectSamePicture("commands-" + std::string(GetParam()) + "-" + std::to_string(number),
                          predictUsual(model), console->frame(number));
    }
};

}  // namespace

TEST_P(Commands, TheNodeIsThereOnlyAfterTheFirstFrame) {
    ConsoleProcess console(usualOptions());
    ASSERT_TRUE(console.waitForNode()) << console.errors();
    EXPECT_GE(console.newestFrame(), 1);
}

TEST_P(Commands, ChangesShowAtTheNextTick) {
    observeUndisturbed([](ConsoleProcess* console) {
        ConsoleScript script;
        script.status = "Installing";
        script.percent = 5;
        script.write("hello").write("a\nb\n").item("Firmware", 42);
        const int sentAt = sendBetweenFrames(console, script);
        if (sentAt == 0)
            return false;
        const ReferenceFont font = loadReferenceFont(VELKARIS_TEST_FONT, 12);
        for (int ticks = 1; ticks <= 3; ++ticks)
            expectFrame(console, sentAt + ticks, script.modelAfter(font, 1280, ticks));
        return true;
    });
}

TEST_P(Commands, AnItemsClockStopsAtAHundredAndGoesOnBelow) {
    observeUndisturbed([](ConsoleProcess* console) {
        const auto update = [](int percent) {
            return [percent](ConsoleClient* client) {
                EXPECT_EQ(client->updateItem("fw", percent), 0);
            };
        };
        const bool undisturbed = sendAt(console, 2,
                                        [](ConsoleClient* client) {
                                            EXPECT_EQ(client->addItem("fw", "Firmware", 99), 0);
                                        }) &&
                                 sendAt(console, 3, update(100)) && sendAt(console, 4, update(50));
        if (!undisturbed)
            return false;

        const std::pair<int, int> kPercentAndSeconds[] = {{99, 1}, {100, 1}, {50, 2}};
        for (int step = 0; step < 3; ++step) {
            ReferenceModel model;
            model.addItem("Firmware", kPercentAndSeconds[step].first,
                          kPercentAndSeconds[step].second);
            expectFrame(console, 3 + step, model);
        }
        return true;
    });
}

TEST_P(Commands, TheOverallClockRunsWhileItsPercentIsNotZero) {
    observeUndisturbed([](ConsoleProcess* console) {
        const int kPercents[] = {100, 0, -1};
        for (int step = 0; step < 3; ++step) {
            const int percent = kPercents[step];
            if (!sendAt(console, 2 + step, [percent](ConsoleClient* client) {
                    EXPECT_EQ(client->setPercent(percent), 0);
                }))
                return false;
        }
        const int kSeconds[] = {1, 1, 2};
        for (int step = 0; step < 3; ++step) {
            ReferenceModel model;
            model.elapsed = kSeconds[step];
            expectFrame(console, 3 + step, model);
        }
        return true;
    });
}

TEST_P(Commands, ASecondItemOfANameChangesNothingAndAnUnknownNameIsNoError) {
    ConsoleProcess console(usualOptions());
    ASSERT_TRUE(console.waitForNode()) << console.errors();
    ConsoleClient client(console.node());
    EXPECT_EQ(client.updateItem("fw", 77), 0);
    EXPECT_EQ(client.addItem("fw", "First", 100), 0);
    EXPECT_EQ(client.addItem("fw", "Second", 200), 0);
    EXPECT_EQ(client.addItem("FW", "Capital", 300), 0);
    EXPECT_EQ(client.addItem("", "Empty name", 400), 0);
    EXPECT_EQ(client.updateItem("", 500), 0);
    EXPECT_EQ(client.setStatus("first"), 0);
    EXPECT_EQ(client.setStatus("second"), 0);

    ReferenceModel model;
    model.status = "second";
    model.addItem("First", 100, 0);
    model.addItem("Capital", 300, 0);
    model.addItem("Empty name", 500, 0);
    expectSamePicture("items", predictUsual(model), nextFrame(&console));
}

TEST_P(Commands, WhatIsRefusedChangesNothing) {
    ConsoleProcess console(usualOptions());
    ASSERT_TRUE(console.waitForNode()) << console.errors();
    ConsoleClient client(console.node());
    EXPECT_EQ(client.command(0x80010505, {'x', '\0'}), ENOSYS);
    EXPECT_EQ(client.command(kSetStatusCode, {}), EINVAL);
    EXPECT_EQ(client.command(kSetPercentCode, {1, 0, 0}), EINVAL);
    EXPECT_EQ(client.command(kAddItemCode, std::vector<char>(11)), EINVAL);
    EXPECT_EQ(client.command(kAddItemCode, std::vector<char>(12)), EINVAL);
    EXPECT_EQ(client.command(kUpdateItemCode, std::vector<char>(12)), EINVAL);
    EXPECT_EQ(client.write(""), 0);
    if (isFuse()) {
        EXPECT_EQ(pwrite(client.fd(), "text", 4, 0), -1);
        EXPECT_EQ(errno, ESPIPE);
    }
    expectSamePicture("refused", predictUsual({}), nextFrame(&console));
}

VELKARIS_ON_EACH_TRANSPORT(Commands);
