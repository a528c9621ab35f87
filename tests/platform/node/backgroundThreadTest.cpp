// Work that may block, done by a thread that nobody waits for.
#include "node/backgroundThread.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <future>
#include <thread>
#include <vector>

namespace {

TEST(BackgroundThread, DoesItsTasksInTheirOrder) {
    auto done = std::make_shared<std::vector<int>>();
    auto last = std::make_shared<std::promise<void>>();
    BackgroundThread thread;
    for (int i = 0; i < 100; ++i)
        ASSERT_TRUE(thread.run([=] { done->push_back(i); }));
    ASSERT_TRUE(thread.run([=] { last->set_value(); }));
    last->get_future().wait();
    ASSERT_EQ(done->size(), 100u);
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ((*done)[static_cast<size_t>(i)], i);
}

TEST(BackgroundThread, WorksElsewhereThanItsCaller) {
    auto where = std::make_shared<std::promise<std::thread::id>>();
    BackgroundThread thread;
    ASSERT_TRUE(thread.run([=] { where->set_value(std::this_thread::get_id()); }));
    EXPECT_NE(where->get_future().get(), std::this_thread::get_id());
}

TEST(BackgroundThread, GoesOnWithoutItsOwnerUntilItsTasksAreDone) {
    auto goOn = std::make_shared<std::promise<void>>();
    auto done = std::make_shared<std::promise<void>>();
    {
        BackgroundThread thread;
        ASSERT_TRUE(thread.run([=] { goOn->get_future().wait(); }));
        ASSERT_TRUE(thread.run([=] { done->set_value(); }));
    }
    goOn->set_value();
    done->get_future().wait();
}

TEST(BackgroundThread, LeavesSignalsToTheOthers) {
    auto blocked = std::make_shared<std::promise<bool>>();
    BackgroundThread thread;
    ASSERT_TRUE(thread.run([=] {
        sigset_t mask;
        pthread_sigmask(SIG_BLOCK, nullptr, &mask);
        blocked->set_value(sigismember(&mask, SIGTERM) == 1);
    }));
    EXPECT_TRUE(blocked->get_future().get());
    sigset_t mine;
    pthread_sigmask(SIG_BLOCK, nullptr, &mine);
    EXPECT_EQ(sigismember(&mine, SIGTERM), 0);
}

}  // namespace
