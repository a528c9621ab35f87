// What /proc tells of a thread: its texts, and threads that really wait.
#include "node/fuse/threadCall.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <string>
#include <thread>

namespace {

using Kind = ThreadCall::Kind;

struct Line {
    const char* text;
    Kind kind;
    uint64_t count;
};

TEST(ThreadCallOf, ReadsBlocksAndVectorsAndNothingElse) {
    const Line lines[] = {
        {"1 0x3 0x7f00 0x2dc6c0 0x0 0x0 0x0 0x7ffe 0x7f01\n", Kind::block, 3000000},
        {"18 0x3 0x7f00 0x5 0x0 0x0 0x0 0x7ffe 0x7f01\n", Kind::block, 5},
        {"20 0x3 0x7f00 0x12c 0x0 0x0 0x0 0x7ffe 0x7f01\n", Kind::vector, 300},
        {"296 0x3 0x7f00 0x10 0x0 0x0 0x0 0x7ffe 0x7f01\n", Kind::vector, 16},
        {"328 0x3 0x7f00 0x11 0x0 0x0 0x0 0x7ffe 0x7f01\n", Kind::vector, 17},
        {"40 0x3 0x7f00 0x5 0x0 0x0 0x0 0x7ffe 0x7f01\n", Kind::unseen, 0},
        {"running\n", Kind::running, 0},
        {"-1 0x7ffe 0x7f01\n", Kind::unseen, 0},
        {"1 0x3\n", Kind::unseen, 0},
        {"", Kind::unseen, 0},
        {"rubbish", Kind::unseen, 0},
    };
    for (const Line& line : lines) {
        const ThreadCall call = threadCallOf(line.text, "");
        EXPECT_EQ(call.kind, line.kind) << line.text;
        EXPECT_EQ(call.count, line.count) << line.text;
        EXPECT_EQ(call.ended, 0u);
    }
}

TEST(ThreadCallOf, CountsTheWritesThatEnded) {
    const char* const io = "rchar: 11\nwchar: 12\nsyscr: 13\nsyscw: 14\nread_bytes: 15\n";
    EXPECT_EQ(threadCallOf("1 0x3 0x7f00 0x5 0x0 0x0 0x0 0x0 0x0", io).ended, 14u);
}

TEST(LookAtThread, SeesAWriteThatWaits) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
        const std::string data(1 << 20, 'x');  // more than a pipe takes
        [[maybe_unused]] const ssize_t written = write(ends[1], data.data(), data.size());
        _exit(0);
    }
    ThreadCall call;
    while ((call = lookAtThread(child)).kind != Kind::block && kill(child, 0) == 0)
        usleep(1000);
    EXPECT_EQ(call.kind, Kind::block);
    EXPECT_EQ(call.count, size_t{1} << 20);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    close(ends[0]);
    close(ends[1]);
}

TEST(LookAtThread, CountsTheWritesOfTheThreadAlone) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    std::atomic<pid_t> writer = 0;
    std::thread blocked([&] {
        writer = static_cast<pid_t>(syscall(SYS_gettid));
        const std::string data(1 << 20, 'x');
        [[maybe_unused]] const ssize_t written = write(ends[1], data.data(), data.size());
    });
    ThreadCall before;
    while ((before = lookAtThread(writer)).kind != Kind::block)
        usleep(1000);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(write(nowhere, "x", 1), 1);
    EXPECT_EQ(lookAtThread(writer).ended, before.ended);
    char room[65536];
    size_t left = 1 << 20;
    while (left > 0)
        left -= static_cast<size_t>(read(ends[0], room, sizeof room));
    blocked.join();
    for (const int fd : {nowhere, ends[0], ends[1]})
        close(fd);
}

TEST(LookAtThread, SeesNothingOfAThreadThatIsNotThere) {
    const pid_t child = fork();
    if (child == 0)
        _exit(0);
    waitpid(child, nullptr, 0);
    EXPECT_EQ(lookAtThread(child).kind, Kind::unseen);
    EXPECT_EQ(lookAtThread(0).kind, Kind::unseen);
}

}  // namespace
