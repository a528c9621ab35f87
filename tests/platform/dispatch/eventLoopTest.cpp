// Watched descriptors, messages and pulses: who goes first, who gets a turn, who is dropped.
#include "dispatch/eventLoop.h"

#include <signal.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <functional>
#include <string>

#include "dispatch/endSignals.h"
#include "ownership/fileDescriptor.h"
#include "platform/dispatch/channelFixture.h"

namespace {

// A descriptor that is ready from the start, and what to do when it is.
struct ReadySource {
    FileDescriptor fd{eventfd(1, EFD_CLOEXEC | EFD_NONBLOCK)};
    std::function<void()> act;
    int calls = 0;

    ~ReadySource() { eventLoopForget(fd.get()); }

    static void ready(void* data) {
        auto* const source = static_cast<ReadySource*>(data);
        ++source->calls;
        if (source->act)
            source->act();
    }
    static void serve(void* data, resmgr_context_t*) { ready(data); }
};

using EventLoopTest = ChannelFixture;

TEST_F(EventLoopTest, APulseThatIsDueComesBeforeWaitingMessages) {
    ReadySource client;
    ASSERT_TRUE(eventLoopServe(client.fd.get(), ReadySource::serve, &client));
    turn();
    EXPECT_EQ(client.calls, 1);
    armInThePast(makeTimer(code_));
    turn();
    EXPECT_EQ(pulses_.size(), 1u);
    EXPECT_EQ(client.calls, 1);
    turn();
    EXPECT_EQ(client.calls, 2);
}

TEST_F(EventLoopTest, AMessageIsHandledOnce) {
    ReadySource client;
    ASSERT_TRUE(eventLoopServe(client.fd.get(), ReadySource::serve, &client));
    turn();
    EXPECT_EQ(dispatch_handler(context_), -1);
    EXPECT_EQ(client.calls, 1);
}

TEST_F(EventLoopTest, AFloodOfMessagesDoesNotHoldUpThePulses) {
    ReadySource clients[3];
    for (ReadySource& client : clients)
        ASSERT_TRUE(eventLoopServe(client.fd.get(), ReadySource::serve, &client));
    const int timer = makeTimer(code_);
    for (int i = 0; i < 10; ++i) {
        const size_t before = pulses_.size();
        armInThePast(timer);
        turn();
        EXPECT_EQ(pulses_.size(), before + 1);
        turn();
    }
}

TEST_F(EventLoopTest, ABacklogOfPulsesDoesNotHoldUpTheWatchers) {
    ReadySource window;
    ASSERT_TRUE(eventLoopWatch(window.fd.get(), ReadySource::ready, &window));
    const uint64_t second = 1000000000, now = static_cast<uint64_t>(time(nullptr)) * second;
    armInThePast(makeTimer(code_), now - 60 * second, second);
    for (int i = 0; i < 10; ++i)
        turn();
    EXPECT_EQ(pulses_.size(), 10u);
    EXPECT_GE(window.calls, 10);
}

TEST_F(EventLoopTest, MessagesThatAreReadyTogetherTakeTurns) {
    ReadySource clients[50];
    for (ReadySource& client : clients)
        ASSERT_TRUE(eventLoopServe(client.fd.get(), ReadySource::serve, &client));
    for (int i = 0; i < 500; ++i)
        turn();
    for (const ReadySource& client : clients)
        EXPECT_GT(client.calls, 0);
}

TEST_F(EventLoopTest, WatchersRunWhileNobodyHasAMessage) {
    ReadySource window;
    window.act = [&] { eventLoopForget(window.fd.get()); };
    ASSERT_TRUE(eventLoopWatch(window.fd.get(), ReadySource::ready, &window));
    const int timer = makeTimer(code_);
    window.act = [&] {
        eventLoopForget(window.fd.get());
        arm(timer, 1);  // so that dispatch_block has something to return for
    };
    turn();
    EXPECT_EQ(window.calls, 1);
    EXPECT_EQ(pulses_.size(), 1u);
}

TEST_F(EventLoopTest, AWatcherThatIsAlwaysReadyStarvesNobody) {
    ReadySource window, client;
    ASSERT_TRUE(eventLoopWatch(window.fd.get(), ReadySource::ready, &window));
    ASSERT_TRUE(eventLoopServe(client.fd.get(), ReadySource::serve, &client));
    for (int i = 0; i < 10; ++i)
        turn();
    EXPECT_EQ(client.calls, 10);
    EXPECT_GE(window.calls, 10);
}

TEST_F(EventLoopTest, AWatcherMayForgetTheMessageThatWasNext) {
    ReadySource window, client, other;
    ASSERT_TRUE(eventLoopServe(client.fd.get(), ReadySource::serve, &client));
    ASSERT_TRUE(eventLoopWatch(window.fd.get(), ReadySource::ready, &window));
    ASSERT_TRUE(eventLoopServe(other.fd.get(), ReadySource::serve, &other));
    window.act = [&] { eventLoopForget(client.fd.get()); };
    turn();
    EXPECT_EQ(client.calls, 0);
    EXPECT_EQ(other.calls, 1);
}

TEST_F(EventLoopTest, ADescriptorThatIsServedAnewDoesNotInheritAMessage) {
    ReadySource window, client, other;
    ASSERT_TRUE(eventLoopServe(client.fd.get(), ReadySource::serve, &client));
    ASSERT_TRUE(eventLoopWatch(window.fd.get(), ReadySource::ready, &window));
    ASSERT_TRUE(eventLoopServe(other.fd.get(), ReadySource::serve, &other));
    window.act = [&] {
        eventfd_t one;
        eventfd_read(client.fd.get(), &one);
        eventLoopForget(client.fd.get());
        eventLoopServe(client.fd.get(), ReadySource::serve, &client);
    };
    turn();
    EXPECT_EQ(client.calls, 0);
    EXPECT_EQ(other.calls, 1);
}

TEST_F(EventLoopTest, ADescriptorIsWatchedOnce) {
    ReadySource source;
    ASSERT_TRUE(eventLoopWatch(source.fd.get(), ReadySource::ready, &source));
    EXPECT_FALSE(eventLoopWatch(source.fd.get(), ReadySource::ready, &source));
    EXPECT_EQ(errno, EEXIST);
    eventLoopForget(source.fd.get());
    eventLoopForget(source.fd.get());
}

TEST_F(EventLoopTest, AClientThatHasHungUpIsServedToItsLastRequest) {
    int pair[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, pair), 0);
    FileDescriptor mine(pair[0]), theirs(pair[1]);
    ReadySource requests, other;
    requests.act = [&] {
        char request;
        recv(mine.get(), &request, 1, MSG_DONTWAIT);
    };
    for (int i = 0; i < 100; ++i)
        ASSERT_EQ(send(theirs.get(), "x", 1, MSG_DONTWAIT), 1);
    theirs.reset();
    ASSERT_TRUE(eventLoopServe(mine.get(), ReadySource::serve, &requests));
    ASSERT_TRUE(eventLoopServe(other.fd.get(), ReadySource::serve, &other));
    for (int i = 0; i < 202; ++i)
        turn();
    eventLoopForget(mine.get());
    EXPECT_EQ(requests.calls, 101);  // the last one finds the end
    EXPECT_EQ(other.calls, 101);
}

TEST_F(EventLoopTest, AWatcherThatHasHungUpIsDroppedInTheEnd) {
    int pair[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair), 0);
    FileDescriptor mine(pair[0]), theirs(pair[1]);
    ReadySource counter;
    ASSERT_TRUE(eventLoopWatch(mine.get(), ReadySource::ready, &counter));
    theirs.reset();
    ReadySource client;
    ASSERT_TRUE(eventLoopServe(client.fd.get(), ReadySource::serve, &client));
    testing::internal::CaptureStderr();
    for (int i = 0; i < 200; ++i)
        turn();
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_NE(said.find("hung up"), std::string::npos);
    EXPECT_EQ(said.find("hung up"), said.rfind("hung up"));
    EXPECT_GT(counter.calls, 1);
    EXPECT_LT(counter.calls, 100);
    EXPECT_EQ(client.calls, 200);
}

TEST_F(EventLoopTest, ASignalDoesNotInterruptTheWait) {
    struct sigaction action = {}, before;
    action.sa_handler = [](int) {};
    ASSERT_EQ(sigaction(SIGUSR1, &action, &before), 0);
    // A timer of the system sends the signal while the loop waits; the pulse comes later.
    struct sigevent toMyself = {};
    toMyself.sigev_notify = SIGEV_SIGNAL;
    toMyself.sigev_signo = SIGUSR1;
    timer_t signalTimer;
    ASSERT_EQ(timer_create(CLOCK_MONOTONIC, &toMyself, &signalTimer), 0);
    const itimerspec often = {{0, 1000000}, {0, 1000000}};
    ASSERT_EQ(timer_settime(signalTimer, 0, &often, nullptr), 0);
    arm(makeTimer(code_), 20000000);
    turn();
    timer_delete(signalTimer);
    sigaction(SIGUSR1, &before, nullptr);
    EXPECT_EQ(pulses_.size(), 1u);
}

// Runs in a process of its own, because it ends it.
TEST_F(EventLoopTest, EndSignalsExitInAnOrderlyWay) {
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        EXPECT_EXIT(
            {
                std::atexit([] { fputs("tidied up", stderr); });
                signal(number, SIG_DFL);  // a shell's background job ignores SIGINT
                if (!installEndSignals())
                    abort();
                raise(SIGPIPE);
                raise(number);
                dispatch_block(context_);
            },
            testing::ExitedWithCode(0), "tidied up");
    }
}

TEST_F(EventLoopTest, AnEndSignalThatTheParentIgnoredStaysIgnored) {
    EXPECT_EXIT(
        {
            signal(SIGINT, SIG_IGN);
            if (!installEndSignals())
                abort();
            raise(SIGINT);
            const int timer = makeTimer(code_);
            arm(timer, 1);
            dispatch_block(context_);
            _exit(3);
        },
        testing::ExitedWithCode(3), "");
}

}  // namespace
