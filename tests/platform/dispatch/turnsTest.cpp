// Pulses and messages take turns, however slow either is. Slowness is steps of the test's clock.
#include <sched.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <string>

#include "dispatch/eventLoop.h"
#include "ownership/fileDescriptor.h"
#include "platform/dispatch/channelFixture.h"
#include "platform/dispatch/stepClock.h"

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kStep{1};
constexpr milliseconds kSlowRedraw{1500};
constexpr int kClients = 100;

// Clients behind one descriptor, as those of a kernel's node.
struct Queue {
    FileDescriptor fd{eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK | EFD_SEMAPHORE)};
    milliseconds taken = kStep;  // by one message
    bool floods = false;         // an answered client sends again at once
    std::string* order = nullptr;

    ~Queue() { eventLoopForget(fd.get()); }

    void send(int messages) const { ASSERT_EQ(eventfd_write(fd.get(), messages), 0); }

    static void serve(void* data, resmgr_context_t*) {
        auto* const queue = static_cast<Queue*>(data);
        eventfd_t one;
        if (eventfd_read(queue->fd.get(), &one) != 0)
            return;
        *queue->order += 'm';
        stepClock::advance(queue->taken);
        if (queue->floods)
            queue->send(1);
    }
};

class Turns : public ChannelFixture {
protected:
    void SetUp() override {
        ChannelFixture::SetUp();
        slowCode_ = pulse_attach(channel_, MSG_FLAG_ALLOC_PULSE, 0, redraw, this);
        stepClock::advance(std::chrono::hours(1));  // what tests before have taken is repaid
    }

    void TearDown() override {
        stepClock::whileWaiting = nullptr;
        stepClock::beforeLooking = nullptr;
        ChannelFixture::TearDown();
    }

    static int redraw(message_context_t*, int, unsigned, void* data) {
        auto* const test = static_cast<Turns*>(data);
        test->order_ += 'P';
        stepClock::advance(test->redrawTakes_);
        return 0;
    }

    // Makes so many pulses late, as after a stop of the process, and handles the first of them.
    void fallBehind(uint64_t pulses) {
        const uint64_t hour = 3600ull * 1000000000;
        timespec now;
        clock_gettime(CLOCK_REALTIME, &now);
        const uint64_t since = static_cast<uint64_t>(now.tv_sec) * 1000000000 - hour / 2;
        armInThePast(makeTimer(slowCode_), since - (pulses - 1) * hour, hour);
        turn();
        ASSERT_EQ(order_, "P");
    }

    void addQueue(Queue* queue) {
        queue->order = &order_;
        ASSERT_TRUE(eventLoopServe(queue->fd.get(), Queue::serve, queue));
    }

    void turns(int count) {
        for (int i = 0; i < count; ++i)
            turn();
    }

    int slowCode_ = -1;
    milliseconds redrawTakes_ = kStep;
    std::string order_;  // P: a pulse, m: a message
};

TEST_F(Turns, LatePulsesFollowEachOtherWhileNobodyWaits) {
    fallBehind(5);
    turns(4);
    EXPECT_EQ(order_, "PPPPP");
}

TEST_F(Turns, SlowMessagesGoOneByOneBetweenLatePulses) {
    Queue clients;
    clients.taken = kSlowRedraw;
    clients.floods = true;
    addQueue(&clients);
    redrawTakes_ = milliseconds(0);
    fallBehind(4);
    clients.send(1);
    turns(6);
    EXPECT_EQ(order_, "PmPmPmP");
}

TEST_F(Turns, MissedTicksAreAllDrawnAndNeverTwoInARowWhileAMessageWaits) {
    constexpr int kMissed = 3600;
    Queue clients;
    clients.floods = true;
    addQueue(&clients);
    fallBehind(kMissed);
    clients.send(1);
    turns(2 * (kMissed - 1));
    EXPECT_EQ(std::count(order_.begin(), order_.end(), 'P'), kMissed);
    EXPECT_EQ(order_.find("PP"), std::string::npos);
}

TEST_F(Turns, AHundredClientsBehindOneDescriptorAreServedBetweenTwoSlowPulses) {
    Queue clients;
    addQueue(&clients);
    redrawTakes_ = kSlowRedraw;
    fallBehind(2);
    clients.send(kClients);
    turns(kClients + 1);
    EXPECT_EQ(order_, "P" + std::string(kClients, 'm') + "P");
}

TEST_F(Turns, AHundredClientsWithDescriptorsOfTheirOwnAreServedBetweenTwoSlowPulses) {
    Queue clients[kClients];
    for (Queue& client : clients)
        addQueue(&client);
    redrawTakes_ = kSlowRedraw;
    fallBehind(2);
    for (Queue& client : clients)
        client.send(1);
    turns(kClients + 1);
    EXPECT_EQ(order_, "P" + std::string(kClients, 'm') + "P");
}

TEST_F(Turns, AFloodHasAsLongAsThePulseBeforeIt) {
    Queue clients;
    clients.floods = true;
    addQueue(&clients);
    redrawTakes_ = 10 * kStep;
    fallBehind(3);
    clients.send(1);
    turns(22);
    EXPECT_EQ(order_, "PmmmmmmmmmmPmmmmmmmmmmP");
}

TEST_F(Turns, AFloodAfterAPulseOfAnHourHasASecond) {
    Queue clients;
    clients.floods = true;
    addQueue(&clients);
    redrawTakes_ = std::chrono::hours(1);
    fallBehind(2);
    clients.send(1);
    turns(1001);
    EXPECT_EQ(order_, "P" + std::string(1000, 'm') + "P");
}

TEST_F(Turns, APulseThatIsNotLateGoesBeforeAFlood) {
    Queue clients;
    clients.floods = true;
    addQueue(&clients);
    redrawTakes_ = 10 * kStep;
    fallBehind(1);
    clients.send(1);
    turns(20);
    order_.clear();
    fallBehind(1);
}

TEST_F(Turns, APulseThatComesTogetherWithAMessageGoesFirst) {
    Queue client;
    addQueue(&client);
    client.send(1);
    turn();
    const int timer = makeTimer(slowCode_);
    stepClock::whileWaiting = [&](int) {
        stepClock::whileWaiting = nullptr;
        client.send(1);
        armInThePast(timer);
    };
    turns(2);
    EXPECT_EQ(order_, "mPm");
}

TEST_F(Turns, AClientThatGoesOnAfterItsAnswerIsWaitedForBetweenSlowPulses) {
    Queue client;
    addQueue(&client);
    redrawTakes_ = kSlowRedraw;
    fallBehind(2);
    int calls = 2;
    stepClock::whileWaiting = [&](int patience) {
        stepClock::advance(milliseconds(patience));
        if (calls-- > 0)
            client.send(1);
    };
    client.send(1);
    turns(4);
    EXPECT_EQ(order_, "PmmmP");
}

TEST_F(Turns, NobodyIsWaitedForBetweenQuickPulsesOrWhereNobodyWasServed) {
    Queue client;
    addQueue(&client);
    stepClock::whileWaiting = [](int) { ADD_FAILURE() << "the loop waited"; };
    fallBehind(2);
    client.send(1);
    turns(2);
    EXPECT_EQ(order_, "PmP");

    redrawTakes_ = kSlowRedraw;
    order_.clear();
    fallBehind(3);
    turns(2);
    EXPECT_EQ(order_, "PPP");

    client.taken = kSlowRedraw;
    order_.clear();
    fallBehind(2);
    client.send(1);
    turns(2);
    EXPECT_EQ(order_, "PmP");
}

// Serves one message after another of a client that calls when the test says so.
class BusyPolling : public Turns {
protected:
    void SetUp() override {
        Turns::SetUp();
        addQueue(&client_);
        stepClock::beforeLooking = [&] { callAt(++looks_); };
        stepClock::whileWaiting = [&](int) { client_.send(1); };
        client_.send(1);
        turn();
    }

    // The next message comes at that look, or when the loop sleeps. Returns how often it looked.
    int looksUntilMessage(int callingLook) {
        looks_ = 0;
        callingLook_ = callingLook;
        turn();
        return looks_;
    }

    // Until a client was found by looking, whatever tests before have left.
    void findOne() {
        while (looksUntilMessage(3) != 3) {
        }
    }

    void callAt(int look) {
        if (look == callingLook_)
            client_.send(1);
    }

    static constexpr int kNever = -1;
    Queue client_;
    int callingLook_ = kNever;
    int looks_ = 0;
};

bool isOneProcessor() {
    cpu_set_t processors;
    sched_getaffinity(0, sizeof processors, &processors);
    return CPU_COUNT(&processors) == 1;
}

TEST_F(BusyPolling, FindsAClientThatCallsAgainAtOnce) {
    if (isOneProcessor())
        GTEST_SKIP() << "this process has one processor";
    findOne();
    EXPECT_EQ(looksUntilMessage(1), 1);
    EXPECT_EQ(looksUntilMessage(100), 100);
    EXPECT_EQ(looksUntilMessage(100), 100);
}

TEST_F(BusyPolling, IsGivenUpForTwiceAsManyMessagesAfterEachTryInVain) {
    if (isOneProcessor())
        GTEST_SKIP() << "this process has one processor";
    findOne();
    for (const int skipped : {1, 2, 4, 8, 16, 32, 64, 128, 256, 256}) {
        EXPECT_EQ(looksUntilMessage(kNever), 100);
        for (int i = 0; i < skipped; ++i)
            ASSERT_EQ(looksUntilMessage(kNever), 0) << i << " of " << skipped;
    }
    EXPECT_EQ(looksUntilMessage(kNever), 100);
    findOne();
    EXPECT_EQ(looksUntilMessage(kNever), 100);
    EXPECT_EQ(looksUntilMessage(kNever), 0);
    EXPECT_EQ(looksUntilMessage(kNever), 100);
}

TEST_F(BusyPolling, EndsForAPulse) {
    if (isOneProcessor())
        GTEST_SKIP() << "this process has one processor";
    findOne();
    const int timer = makeTimer(code_);
    stepClock::beforeLooking = [&] {
        stepClock::beforeLooking = nullptr;
        armInThePast(timer);
    };
    stepClock::whileWaiting = [](int) { ADD_FAILURE() << "the loop slept"; };
    turn();
    EXPECT_EQ(pulses_.size(), 1u);
}

TEST_F(BusyPolling, IsForMessagesAlone) {
    findOne();
    eventLoopForget(client_.fd.get());
    const int timer = makeTimer(code_);
    std::vector<int> looksBeforeSleeps;
    stepClock::whileWaiting = [&](int) {
        looksBeforeSleeps.push_back(looks_);
        armInThePast(timer);
    };
    callingLook_ = kNever;
    for (int i = 0; i < 5; ++i) {
        looks_ = 0;
        turn();
    }
    ASSERT_EQ(pulses_.size(), 5u);
    EXPECT_EQ(std::vector<int>(looksBeforeSleeps.begin() + 1, looksBeforeSleeps.end()),
              std::vector<int>(4, 0));
}

// In a process of its own, because the answer is kept.
TEST_F(BusyPolling, NeedsASecondProcessor) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            cpu_set_t one;
            CPU_ZERO(&one);
            CPU_SET(sched_getcpu(), &one);
            sched_setaffinity(0, sizeof one, &one);
            int looks = 0;
            for (int i = 0; i < 10; ++i)
                looks += looksUntilMessage(kNever);
            _exit(looks);
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace
