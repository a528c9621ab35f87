// Messages through a node that is really served, on every kind alike.
#include <fcntl.h>
#include <sys/dcmd_all.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "node/share/userShares.h"
#include "platform/node/servedNode.h"

namespace {

class NodeTest : public testing::TestWithParam<const char*> {
protected:
    void SetUp() override {
        const std::string reason = whyNotServed(GetParam());
        if (!reason.empty())
            GTEST_SKIP() << reason;
        node_ = std::make_unique<ServedNode>(folder_.nodePath(GetParam()), GetParam());
        ASSERT_TRUE(node_->attached()) << strerror(node_->attachError());
        client_.reset(devctl_open(node_->path().c_str(), O_RDWR));
        ASSERT_TRUE(client_) << strerror(errno);
    }

    FileDescriptor open(int flags) const {
        return FileDescriptor(devctl_open(node_->path().c_str(), flags));
    }

    int command(uint32_t code, void* data, size_t size, int* info = nullptr) const {
        return devctl(client_.get(), static_cast<int>(code), data, size, info);
    }

    NodeFolder folder_;
    std::unique_ptr<ServedNode> node_;
    FileDescriptor client_;
};

INSTANTIATE_TEST_SUITE_P(Transports, NodeTest, testing::Values("cuse", "fuse", "socket"),
                         [](const auto& test) { return std::string(test.param); });

TEST_P(NodeTest, AWriteIsOneMessageOfAnyLength) {
    const size_t page = 4096, full = 255 * page + 1, mebibyte = 1 << 20;
    for (const size_t size :
         {size_t{1}, size_t{2031}, size_t{2032}, size_t{2033}, size_t{2047}, size_t{2048},
          size_t{65535}, size_t{65536}, size_t{65537}, full - 1, full, full + 1, mebibyte - 1,
          mebibyte, mebibyte + 1, 2 * full, 2 * full + 1, 3 * mebibyte + 7}) {
        const std::string data = patternBytes(size);
        ASSERT_EQ(devctl_write(client_.get(), data.data(), size), static_cast<ssize_t>(size));
        const Report seen = node_->nextReport();
        EXPECT_EQ(seen.nbytes, size);
        EXPECT_EQ(seen.read, size);
        EXPECT_EQ(seen.hash, hashBytes(data.data(), size)) << size;
        EXPECT_EQ(seen.xtype, 0u);
        EXPECT_FALSE(node_->hasReport());
    }
}

TEST_P(NodeTest, ReceiveBufferHoldsTheMessagesFirst2048Bytes) {
    for (const size_t size : {size_t{5}, size_t{2032}, size_t{2033}, size_t{100000}}) {
        const std::string data = patternBytes(size);
        ASSERT_EQ(devctl_write(client_.get(), data.data(), size), static_cast<ssize_t>(size));
        const Report seen = node_->nextReport();
        EXPECT_EQ(seen.size, std::min<size_t>(16 + size, 2048));
        EXPECT_EQ(seen.sent, static_cast<int64_t>(16 + size));
    }
}

TEST_P(NodeTest, UnalignedBuffersAreJoinedAsWell) {
    const size_t size = 3 << 20;
    const std::string data = patternBytes(size + 4096);
    for (const size_t shift : {1, 7, 15, 4095}) {
        ASSERT_EQ(devctl_write(client_.get(), data.data() + shift, size),
                  static_cast<ssize_t>(size));
        EXPECT_EQ(node_->nextReport().hash, hashBytes(data.data() + shift, size));
        EXPECT_FALSE(node_->hasReport());
    }
}

TEST_P(NodeTest, SixtyFourMebibytesAreOneMessage) {
    const size_t size = 64 << 20;
    const std::string data = patternBytes(size);
    ASSERT_EQ(devctl_write(client_.get(), data.data(), size), static_cast<ssize_t>(size));
    const Report seen = node_->nextReport();
    EXPECT_EQ(seen.nbytes, size);
    EXPECT_EQ(seen.hash, hashBytes(data.data(), size));
    EXPECT_FALSE(node_->hasReport());
}

TEST_P(NodeTest, AWriteOfNothingIsAMessageOfNothing) {
    EXPECT_EQ(devctl_write(client_.get(), "", 0), 0);
    EXPECT_EQ(node_->nextReport().nbytes, 0u);
    EXPECT_EQ(devctl_write(client_.get(), "end", 3), 3);
    EXPECT_STREQ(node_->nextReport().start, "end");
}

TEST_P(NodeTest, AWriteOfMoreThanAUsersShareIsRefusedAndShowsNothing) {
    const size_t share = UserShares::ofThisMachine(0).userBytes;
    const std::string data(share + 65536, 'x');
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(devctl_write(client_.get(), data.data(), data.size()), -1);
        EXPECT_EQ(errno, ENOBUFS);
        EXPECT_EQ(devctl_write(client_.get(), "fine", 4), 4);
        EXPECT_STREQ(node_->nextReport().start, "fine");
        EXPECT_FALSE(node_->hasReport());
    }
}

TEST_P(NodeTest, AReadOnlyDescriptorCannotWrite) {
    const FileDescriptor reader = open(O_RDONLY);
    ASSERT_TRUE(reader);
    EXPECT_EQ(devctl_write(reader.get(), "x", 1), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_FALSE(node_->hasReport());
}

TEST_P(NodeTest, ReadFindsTheEndOfFileAtOnce) {
    char byte;
    EXPECT_EQ(read(client_.get(), &byte, 1), 0);
    const FileDescriptor reader = open(O_RDONLY);
    EXPECT_EQ(read(reader.get(), &byte, 1), 0);
}

TEST_P(NodeTest, TheHandlersErrorReachesTheWriter) {
    EXPECT_EQ(devctl_write(client_.get(), "refuse", 6), -1);
    EXPECT_EQ(errno, ENOMEM);
    EXPECT_EQ(devctl_write(client_.get(), "fine", 4), 4);
}

TEST_P(NodeTest, OpenAcceptsWhatARedirectionPasses) {
    for (const int flags : {O_WRONLY | O_CREAT | O_TRUNC, O_WRONLY | O_CREAT | O_APPEND, O_RDONLY,
                            O_RDWR | O_NONBLOCK}) {
        const FileDescriptor client = open(flags);
        EXPECT_TRUE(client) << strerror(errno);
    }
    EXPECT_FALSE(open(O_WRONLY | O_CREAT | O_EXCL));
    EXPECT_EQ(errno, EEXIST);
}

TEST_P(NodeTest, SynchronisedOpensAreRefused) {
    for (const int flags : {O_WRONLY | O_SYNC, O_WRONLY | O_DSYNC, O_RDONLY | O_SYNC}) {
        EXPECT_FALSE(open(flags));
        EXPECT_EQ(errno, EINVAL);
    }
}

TEST_P(NodeTest, OpeningNeverWaitsForAMessage) {
    for (int i = 0; i < 10; ++i)
        EXPECT_TRUE(open(O_WRONLY));
    EXPECT_FALSE(node_->hasReport());
}

TEST_P(NodeTest, PayloadsOfEveryLengthArrive) {
    for (size_t size = 0; size <= 2048; size += size < 40 || size > 2000 ? 1 : 61) {
        std::string payload = patternBytes(size);
        ASSERT_EQ(command(kCommandNote, payload.data(), size), EOK);
        const Report seen = node_->nextReport();
        const size_t arrived = std::min<size_t>(size, 2032);
        EXPECT_EQ(seen.type, static_cast<uint32_t>(_IO_DEVCTL));
        EXPECT_EQ(seen.nbytes, size);
        EXPECT_EQ(seen.read, arrived);
        EXPECT_EQ(seen.hash, hashBytes(payload.data(), arrived));
        EXPECT_EQ(seen.size, 16 + arrived);
        EXPECT_EQ(seen.sent, static_cast<int64_t>(16 + size));
    }
}

TEST_P(NodeTest, APayloadTravelsOnlyTheWaysItsCodeSays) {
    char text[] = "abc";
    EXPECT_EQ(command(kCommandReverse, text, 3), EOK);
    EXPECT_STREQ(text, "cba");
    EXPECT_EQ(command(kCommandNote, text, 3), EOK);
    EXPECT_STREQ(text, "cba");
    EXPECT_EQ(command(kCommandQuiet, text, 3), EOK);
    EXPECT_STREQ(text, "cba");
}

TEST_P(NodeTest, ALongReplyComesBackAsFarAsItTravels) {
    std::string payload = patternBytes(2100);
    const std::string before = payload;
    ASSERT_EQ(command(kCommandReverse, payload.data(), payload.size()), EOK);
    EXPECT_EQ(payload.substr(0, 2032), std::string(before.rend() - 2032, before.rend()));
    EXPECT_EQ(payload.substr(2032), before.substr(2032));
}

TEST_P(NodeTest, TheServersErrorsComeBackAsTheyAre) {
    char byte = 0;
    EXPECT_EQ(command(kCommandUnknown, &byte, 1), ENOSYS);
    EXPECT_EQ(command(kCommandRefuse, &byte, 1), EDOM);
}

TEST_P(NodeTest, TheReplysValueComesBackWhereItIsWanted) {
    int info = -1;
    EXPECT_EQ(command(kCommandValue, nullptr, 0, &info), EOK);
    EXPECT_EQ(info, 1234);
    EXPECT_EQ(command(kCommandValue, nullptr, 0, nullptr), EOK);
    EXPECT_EQ(command(kCommandNote, nullptr, 0, &info), EOK);
    EXPECT_EQ(info, 0);
}

TEST_P(NodeTest, CommandsWorkOnAReadOnlyDescriptor) {
    const FileDescriptor reader = open(O_RDONLY);
    EXPECT_EQ(devctl(reader.get(), static_cast<int>(kCommandNote), nullptr, 0, nullptr), EOK);
}

TEST_P(NodeTest, FlagsOfADescriptorCanBeReadAndSet) {
    int flags = -1;
    ASSERT_EQ(command(DCMD_ALL_GETFLAGS, &flags, sizeof(flags)), EOK);
    EXPECT_EQ(flags & O_ACCMODE, O_RDWR);
    EXPECT_EQ(flags & O_NONBLOCK, 0);
    int wanted = O_NONBLOCK;
    ASSERT_EQ(command(DCMD_ALL_SETFLAGS, &wanted, sizeof(wanted)), EOK);
    ASSERT_EQ(command(DCMD_ALL_GETFLAGS, &flags, sizeof(flags)), EOK);
    EXPECT_NE(flags & O_NONBLOCK, 0);
    wanted = O_SYNC;
    EXPECT_EQ(command(DCMD_ALL_SETFLAGS, &wanted, sizeof(wanted)), EINVAL);
}

TEST_P(NodeTest, FlagsTellTheAccessModeOfTheOpen) {
    for (const int mode : {O_RDONLY, O_WRONLY, O_RDWR}) {
        const FileDescriptor client = open(mode | O_NONBLOCK | O_TRUNC);
        for (int round = 0; round < 2; ++round) {
            int flags = -1;
            ASSERT_EQ(devctl(client.get(), DCMD_ALL_GETFLAGS, &flags, sizeof flags, nullptr), EOK);
            EXPECT_EQ(flags & O_ACCMODE, mode);
            EXPECT_NE(flags & O_NONBLOCK, 0);
        }
    }
}

TEST_P(NodeTest, FlagsAreThoseOfTheOpenForAllWhoShareIt) {
    const FileDescriptor copy(fcntl(client_.get(), F_DUPFD_CLOEXEC, 0));
    const FileDescriptor other = open(O_RDWR);
    const pid_t child = fork();
    if (child == 0) {
        int wanted = O_NONBLOCK;
        _exit(command(DCMD_ALL_SETFLAGS, &wanted, sizeof wanted));
    }
    int status = -1, flags = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    ASSERT_EQ(devctl(copy.get(), DCMD_ALL_GETFLAGS, &flags, sizeof flags, nullptr), EOK);
    EXPECT_EQ(flags & (O_ACCMODE | O_NONBLOCK), O_RDWR | O_NONBLOCK);
    ASSERT_EQ(devctl(other.get(), DCMD_ALL_GETFLAGS, &flags, sizeof flags, nullptr), EOK);
    EXPECT_EQ(flags & (O_ACCMODE | O_NONBLOCK), O_RDWR);
    int none = 0;
    ASSERT_EQ(command(DCMD_ALL_SETFLAGS, &none, sizeof none), EOK);
    ASSERT_EQ(devctl(copy.get(), DCMD_ALL_GETFLAGS, &flags, sizeof flags, nullptr), EOK);
    EXPECT_EQ(flags & O_NONBLOCK, 0);
}

TEST_P(NodeTest, TwentyClientsLoseNoLineAndMixNone) {
    constexpr int kClients = 20, kLines = 40;
    std::vector<pid_t> clients;
    for (int client = 0; client < kClients; ++client) {
        const pid_t child = fork();
        if (child == 0) {
            const FileDescriptor mine = open(O_WRONLY);
            for (int line = 0; line < kLines; ++line) {
                const std::string text =
                    "c" + std::to_string(client) + "l" + std::to_string(line) + ".";
                if (devctl_write(mine.get(), text.data(), text.size()) !=
                    static_cast<ssize_t>(text.size()))
                    _exit(1);
            }
            _exit(0);
        }
        clients.push_back(child);
    }
    std::set<std::string> lines;
    for (int i = 0; i < kClients * kLines; ++i) {
        const Report seen = node_->nextReport();
        lines.insert(std::string(seen.start, seen.nbytes));
    }
    EXPECT_EQ(lines.size(), static_cast<size_t>(kClients * kLines));
    EXPECT_TRUE(lines.count("c19l39.") && lines.count("c0l0."));
    for (const pid_t client : clients) {
        int status = -1;
        waitpid(client, &status, 0);
        EXPECT_EQ(status, 0);
    }
}

TEST_P(NodeTest, LongWritesAtTheSameTimeAreNotMixed) {
    constexpr size_t kSize = 5 << 20;
    constexpr int kWriters = 4, kWrites = 3;
    std::set<uint64_t> expected;
    std::vector<std::thread> writers;
    for (int i = 0; i < kWriters; ++i) {
        const std::string data = patternBytes(kSize + i, 100 + i);
        expected.insert(hashBytes(data.data(), data.size()));
        writers.emplace_back([this, data] {
            const FileDescriptor mine = open(O_WRONLY);
            for (int j = 0; j < kWrites; ++j)
                EXPECT_EQ(devctl_write(mine.get(), data.data(), data.size()),
                          static_cast<ssize_t>(data.size()));
        });
    }
    for (int i = 0; i < kWriters * kWrites; ++i)
        EXPECT_TRUE(expected.count(node_->nextReport().hash));
    for (std::thread& writer : writers)
        writer.join();
    EXPECT_FALSE(node_->hasReport());
}

TEST_P(NodeTest, ThreadsMayShareADescriptor) {
    constexpr int kThreads = 4, kRounds = 50;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back([this, i] {
            for (int round = 0; round < kRounds; ++round) {
                std::string payload = patternBytes(100 + i, round);
                const std::string reversed(payload.rbegin(), payload.rend());
                EXPECT_EQ(command(kCommandReverse, payload.data(), payload.size()), EOK);
                EXPECT_EQ(payload, reversed);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
}

TEST_P(NodeTest, ForkedProcessesMayShareADescriptor) {
    constexpr int kProcesses = 4, kRounds = 50;
    std::vector<pid_t> children;
    for (int i = 0; i < kProcesses; ++i) {
        children.push_back(fork());
        if (children.back() != 0)
            continue;
        for (int round = 0; round < kRounds; ++round) {
            std::string payload = patternBytes(100 + i, round);
            const std::string reversed(payload.rbegin(), payload.rend());
            if (command(kCommandReverse, payload.data(), payload.size()) != EOK ||
                payload != reversed)
                _exit(1);
        }
        _exit(0);
    }
    for (int i = 0; i < kProcesses * kRounds; ++i)
        node_->nextReport();
    for (const pid_t child : children) {
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
}

TEST_P(NodeTest, AMessageInTheMiddleOfALongWriteDoesNotCutIt) {
    const std::string data = patternBytes(32 << 20);
    std::thread writer([&] {
        const FileDescriptor mine = open(O_WRONLY);
        EXPECT_EQ(devctl_write(mine.get(), data.data(), data.size()),
                  static_cast<ssize_t>(data.size()));
    });
    // Commands of another thread go on until the write is through.
    uint64_t writes = 0;
    while (writes == 0) {
        ASSERT_EQ(command(kCommandNote, nullptr, 0), EOK);
        while (node_->hasReport()) {
            const Report seen = node_->nextReport();
            if (seen.type != static_cast<uint32_t>(_IO_WRITE))
                continue;
            ++writes;
            EXPECT_EQ(seen.hash, hashBytes(data.data(), data.size()));
        }
    }
    writer.join();
    EXPECT_EQ(writes, 1u);
}

TEST_P(NodeTest, ItsModeAndItsGroupAreThoseOfTheSettings) {
    const gid_t group = geteuid() == 0 ? 44 : getegid();
    const auto choose = [group] {
        setenv("VELKARIS_NODE_MODE", "0620", 1);
        setenv("VELKARIS_NODE_GROUP", std::to_string(group).c_str(), 1);
        umask(0077);  // has no say in it
    };
    const std::string path = node_->path();
    client_.reset();
    node_.reset();
    node_ = std::make_unique<ServedNode>(path, GetParam(), choose);
    ASSERT_TRUE(node_->attached()) << strerror(node_->attachError());
    struct stat found = {};
    ASSERT_EQ(stat(path.c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 07777, 0620u);
    EXPECT_EQ(found.st_gid, group);
}

TEST_P(NodeTest, ARightThatIsNoneEndsItsStartWithOneLine) {
    client_.reset();
    for (const char* setting : {"VELKARIS_NODE_MODE", "VELKARIS_NODE_GROUP"}) {
        const std::string path = folder_.file("second");
        ServedNode refused(path, GetParam(), [setting] { setenv(setting, "no right", 1); });
        EXPECT_EQ(refused.attachError(), EINVAL);
        refused.end(SIGTERM);
        const std::string text = refused.errorText();
        EXPECT_EQ(text.rfind(std::string("velkaris: ") + setting + " is \"no right\"", 0), 0u)
            << text;
        EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1);
        EXPECT_NE(access(path.c_str(), F_OK), 0);
    }
}

TEST_P(NodeTest, TerminationLeavesNothingBehind) {
    const int status = node_->end(SIGTERM);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_NE(access(node_->path().c_str(), F_OK), 0);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(open(O_WRONLY));
    EXPECT_EQ(errno, ENOENT);
}

TEST_P(NodeTest, ACallAfterTheConsolesDeathFails) {
    node_->end(SIGKILL);
    EXPECT_EQ(devctl_write(client_.get(), "x", 1), -1);
    EXPECT_TRUE(errno == ENOTCONN || errno == ECONNABORTED) << strerror(errno);
    EXPECT_FALSE(open(O_WRONLY));
    EXPECT_TRUE(errno == ENOTCONN || errno == ECONNREFUSED || errno == ENOENT) << strerror(errno);
}

TEST_P(NodeTest, AKilledConsolesNodeIsReplaced) {
    for (const std::string next : {"fuse", "socket", GetParam()}) {
        if (!whyNotServed(next).empty())
            continue;
        node_->end(SIGKILL);
        node_ = std::make_unique<ServedNode>(node_->path(), next);
        ASSERT_TRUE(node_->attached()) << next << ": " << strerror(node_->attachError());
        const FileDescriptor client = open(O_WRONLY);
        EXPECT_EQ(devctl_write(client.get(), "again", 5), 5);
        EXPECT_STREQ(node_->nextReport().start, "again");
    }
}

TEST_P(NodeTest, ASecondConsoleIsRefusedAndTheFirstGoesOn) {
    client_.reset();  // a rival that inherited it would wait for the stopped one when it ends
    for (const bool stopped : {false, true}) {
        kill(node_->process(), stopped ? SIGSTOP : SIGCONT);
        for (const char* kind : {"cuse", "fuse", "socket", ""}) {
            ServedNode second(node_->path(), kind);
            EXPECT_EQ(second.attachError(), EBUSY);
            second.end(SIGTERM);
            EXPECT_NE(second.errorText().find("another console serves this node"),
                      std::string::npos);
        }
        kill(node_->process(), SIGCONT);
    }
    client_ = open(O_WRONLY);
    EXPECT_EQ(devctl_write(client_.get(), "still here", 10), 10);
    EXPECT_STREQ(node_->nextReport().start, "still here");
}

}  // namespace
