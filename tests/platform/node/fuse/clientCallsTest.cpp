// What a thread's system call says about its write.
#include "node/fuse/clientCalls.h"

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

namespace {

std::string line(long number, uint64_t second, uint64_t third, uint64_t fourth = 0) {
    char text[256];
    snprintf(text, sizeof(text),
             "%ld 0x3 0x%" PRIx64 " 0x%" PRIx64 " 0x%" PRIx64 " 0x0 0x0 0x7ffc0 0x7f00\n", number,
             second, third, fourth);
    return text;
}

CallFacts facts(const std::string& text) {
    ClientMemory memory(std::chrono::hours(1));  // however busy the machine is
    return factsOfSyscall(text.c_str(), getpid(), &memory);
}

TEST(ClientCalls, AWriteTellsItsLength) {
    const CallFacts found = facts(line(SYS_write, 0x5000, 70000));
    EXPECT_EQ(found.call, ClientCall::plain);
    EXPECT_EQ(found.total, 70000u);
    EXPECT_EQ(found.argument, 0x5000u);
    EXPECT_TRUE(found.oneBlock);
}

TEST(ClientCalls, AWriteIsNoLongerThanTheSystemWrites) {
    EXPECT_EQ(facts(line(SYS_write, 0x5000, 0xffffffffu)).total, 0x7ffff000u);
}

TEST(ClientCalls, AVectorWriteIsAsLongAsItsParts) {
    char bytes[100];
    std::vector<iovec> parts(1024, iovec{bytes, 3});
    const uint64_t address = reinterpret_cast<uint64_t>(parts.data());
    const CallFacts found = facts(line(SYS_writev, address, parts.size()));
    EXPECT_EQ(found.call, ClientCall::plain);
    EXPECT_EQ(found.total, 3072u);
    EXPECT_FALSE(found.oneBlock);
}

TEST(ClientCalls, AVectorThatCannotBeReadIsUnknown) {
    EXPECT_EQ(facts(line(SYS_writev, 8, 2)).call, ClientCall::unknown);
}

TEST(ClientCalls, PositionedWritesAreTold) {
    for (const long number : {SYS_pwrite64, SYS_pwritev})
        EXPECT_EQ(facts(line(number, 0x5000, 10, 0)).call, ClientCall::positioned);
    char bytes[4];
    iovec part = {bytes, 4};
    const uint64_t address = reinterpret_cast<uint64_t>(&part);
    EXPECT_EQ(facts(line(SYS_pwritev2, address, 1, 0)).call, ClientCall::positioned);
    EXPECT_EQ(facts(line(SYS_pwritev2, address, 1, UINT64_MAX)).call, ClientCall::plain);
}

TEST(ClientCalls, AnythingElseIsUnknown) {
    EXPECT_EQ(facts(line(SYS_sendfile, 0x5000, 10)).call, ClientCall::unknown);
    for (const char* text : {"", "-1 0x7ffc 0x7f00\n", "1 0x3\n", "rubbish"})
        EXPECT_EQ(facts(text).call, ClientCall::unknown);
}

TEST(ClientCalls, AThreadThatDoesNotSleepIsRunning) {
    EXPECT_EQ(facts("running\n").call, ClientCall::running);
    std::atomic<pid_t> thread{0};
    std::atomic<bool> enough{false};
    std::thread busy([&] {
        thread = static_cast<pid_t>(syscall(SYS_gettid));
        while (!enough) {
        }
    });
    while (thread == 0)
        std::this_thread::yield();
    ClientCalls calls;
    EXPECT_EQ(calls.look(thread).call, ClientCall::running);
    EXPECT_EQ(calls.read(thread).call, ClientCall::running);
    enough = true;
    busy.join();
}

TEST(ClientCalls, AThreadThatDoesNotExistIsUnknown) {
    ClientCalls calls;
    EXPECT_EQ(calls.read(0).call, ClientCall::unknown);
    EXPECT_EQ(calls.read(-1).call, ClientCall::unknown);
    EXPECT_EQ(calls.read(0x7ffffff0).call, ClientCall::unknown);
}

}  // namespace
