#include "cli/outputTarget.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <signal.h>
#include <sys/socket.h>

#include <string>

#include "support/temporaryFolder.h"

namespace {

const std::string kMuch(1000000, 'x');

TEST(OutputTarget, WritesAsMuchAsAPipeTakesAndIsNotHeldUp) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const OwnedFd reader(ends[0]);
    const OwnedFd writer(ends[1]);
    const OutputTarget target(writer.get());
    EXPECT_EQ(target.write(kMuch), fcntl(writer.get(), F_GETPIPE_SZ));
    EXPECT_EQ(target.write(kMuch), 0);
    EXPECT_EQ(fcntl(writer.get(), F_GETFL) & O_NONBLOCK, 0) << "the shared flag was changed";
}

TEST(OutputTarget, SaysThatThereIsNobodyToReadAnyMore) {
    signal(SIGPIPE, SIG_IGN);
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    OwnedFd reader(ends[0]);
    const OwnedFd writer(ends[1]);
    const OutputTarget target(writer.get());
    reader.reset();
    EXPECT_EQ(target.write("x"), -1);
}

TEST(OutputTarget, WritesLittleToWhatCannotBeOpenedOnceMore) {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    const OwnedFd reader(ends[0]);
    const OwnedFd writer(ends[1]);
    EXPECT_EQ(OutputTarget(writer.get()).write(kMuch), PIPE_BUF);
}

TEST(OutputTarget, WritesAFileWhereTheOthersWhoShareItLeftOff) {
    const TemporaryFolder folder;
    const OwnedFd file(open(folder.file("out").c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600));
    ASSERT_EQ(write(file.get(), "one", 3), 3);
    EXPECT_EQ(OutputTarget(file.get()).write(kMuch), static_cast<ssize_t>(kMuch.size()));
    EXPECT_EQ(lseek(file.get(), 0, SEEK_CUR), static_cast<off_t>(3 + kMuch.size()));
}

}  // namespace
