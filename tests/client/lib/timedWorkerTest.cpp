#include "lib/timedWorker.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

#include <cerrno>
#include <future>
#include <new>

namespace {

constexpr TimedWorker::Limit kNone{0};
constexpr TimedWorker::Limit kShort{1};

TEST(TimedWorker, ReturnsWhatTheJobReturns) {
    TimedWorker worker;
    EXPECT_EQ(worker.run([] { return 42; }, kNone), 42);
    EXPECT_EQ(worker.run([] { return 43; }, TimedWorker::Limit(60000)), 43);
}

TEST(TimedWorker, StopsWaitingAtTheLimitAndKeepsLaterJobsBack) {
    std::promise<void> goOn;
    std::shared_future<void> mayEnd(goOn.get_future());
    TimedWorker worker;
    EXPECT_EQ(worker.run([mayEnd] { return mayEnd.wait(), 1; }, kShort), ETIMEDOUT);
    bool ran = false;
    EXPECT_EQ(worker.run([&ran] { return ran = true, 2; }, kShort), ETIMEDOUT);
    goOn.set_value();
    EXPECT_EQ(worker.run([] { return 3; }, kNone), 3);
    EXPECT_FALSE(ran) << "a job that its caller gave up before it began";
}

TEST(TimedWorker, CanBeGivenUpWhileAJobRuns) {
    std::promise<void> goOn;
    std::promise<void> ended;
    {
        TimedWorker worker;
        auto job = [mayEnd = goOn.get_future().share(), &ended] {
            mayEnd.wait();
            ended.set_value();
            return 0;
        };
        EXPECT_EQ(worker.run(job, kShort), ETIMEDOUT);
    }
    goOn.set_value();
    ended.get_future().wait();
}

TEST(TimedWorker, TakesNoSignals) {
    TimedWorker worker;
    sigset_t mask;
    worker.run([&mask] { return pthread_sigmask(SIG_SETMASK, nullptr, &mask); }, kNone);
    EXPECT_EQ(sigismember(&mask, SIGINT), 1);
    EXPECT_EQ(sigismember(&mask, SIGALRM), 1);
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    EXPECT_EQ(sigismember(&mask, SIGINT), 0) << "the caller's mask was left changed";
}

TEST(TimedWorker, TurnsAnExceptionIntoAnErrorNumber) {
    TimedWorker worker;
    EXPECT_EQ(worker.run([]() -> int { throw std::bad_alloc(); }, kNone), ENOMEM);
}

}  // namespace
