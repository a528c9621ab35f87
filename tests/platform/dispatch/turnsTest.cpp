// Pulses and messages take turns, however slow either is. Slowness is steps of the test's clock.
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
}

}  // namespace
