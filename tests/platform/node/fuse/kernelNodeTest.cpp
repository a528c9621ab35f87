// Writes to the nodes that the kernel makes: which of their pieces become one message.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "node/fuse/unfinishedWrites.h"
#include "platform/node/servedNode.h"

namespace {

class KernelNodeTest : public testing::TestWithParam<const char*> {
protected:
    void SetUp() override {
        const std::string reason = whyNotServed(GetParam());
        if (!reason.empty())
            GTEST_SKIP() << reason;
        node_ = std::make_unique<ServedNode>(folder_.nodePath(GetParam()), GetParam());
        ASSERT_TRUE(node_->attached()) << strerror(node_->attachError());
        client_ = open(O_RDWR);
        ASSERT_TRUE(client_) << strerror(errno);
    }

    FileDescriptor open(int flags) const {
        return FileDescriptor(::open(node_->path().c_str(), flags | O_CLOEXEC, 0666));
    }

    // The length of all pieces of one block but the last.
    static size_t blockPiece() {
        return (std::string(GetParam()) == "cuse" ? 31 : 255) * size_t{4096} + 1;
    }

    void expectText(const std::string& text) {
        const Report seen = node_->nextReport();
        EXPECT_EQ(seen.xtype, 0u);
        EXPECT_EQ(seen.nbytes, text.size());
        EXPECT_EQ(seen.hash, hashBytes(text.data(), text.size()));
    }

    int sendPiece(int fd, uint32_t number, bool last, size_t size, char filling = 'x') const {
        DevctlText piece;
        piece.number = number;
        piece.flags = last ? kDevctlTextLast : 0;
        memset(piece.bytes, filling, sizeof(piece.bytes));
        const int result = ioctl(fd, DEVCTL_TEXT_IOCTL(offsetof(DevctlText, bytes) + size), &piece);
        return result < 0 ? errno : DEVCTL_RESULT_STATUS(result);
    }

    NodeFolder folder_;
    std::unique_ptr<ServedNode> node_;
    FileDescriptor client_;
};

INSTANTIATE_TEST_SUITE_P(Kinds, KernelNodeTest, testing::Values("cuse", "fuse"),
                         [](const auto& test) { return std::string(test.param); });

TEST_P(KernelNodeTest, ShellRedirectionReachesIt) {
    const std::string path = node_->path();
    ASSERT_EQ(system(("echo hello > '" + path + "' && echo more >> '" + path + "'").c_str()), 0);
    expectText("hello\n");
    expectText("more\n");
}

TEST_P(KernelNodeTest, AWriteOfEveryLengthIsOneMessage) {
    const size_t full = blockPiece();
    for (const size_t size : {size_t{1}, size_t{30}, size_t{31}, size_t{255}, size_t{256}, full - 1,
                              full, full + 1, 2 * full, 3 * full + 7}) {
        const std::string data = patternBytes(size + 16);
        for (const size_t shift : {0, 1, 16}) {
            ASSERT_EQ(write(client_.get(), data.data() + shift, size), static_cast<ssize_t>(size));
            expectText(data.substr(shift, size));
            EXPECT_FALSE(node_->hasReport());
        }
    }
}

TEST_P(KernelNodeTest, EqualWritesOfTheFullLengthStayApart) {
    const std::string data = patternBytes(blockPiece());
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(write(client_.get(), data.data(), data.size()),
                  static_cast<ssize_t>(data.size()));
    for (int i = 0; i < 3; ++i)
        expectText(data);
}

TEST_P(KernelNodeTest, AppendingWritesArePlain) {
    const FileDescriptor log = open(O_WRONLY | O_APPEND);
    const std::string data = patternBytes((2 << 20) + 5);
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(write(log.get(), data.data(), data.size()), static_cast<ssize_t>(data.size()));
        expectText(data);
    }
}

// Memory with each part on pages of its own, so that few bytes fill a request.
class SpreadParts {
public:
    SpreadParts(size_t count, size_t size) {
        memory_ = patternBytes(count * 4096, static_cast<uint32_t>(count));
        for (size_t i = 0; i < count; ++i) {
            parts_.push_back({&memory_[i * 4096], size});
            whole_.append(memory_, i * 4096, size);
        }
    }
    ssize_t writeTo(int fd) const {
        return writev(fd, parts_.data(), static_cast<int>(parts_.size()));
    }
    const std::string& whole() const { return whole_; }

private:
    std::string memory_, whole_;
    std::vector<iovec> parts_;
};

// Each piece of such a vector fills a request, the last one too: nothing in it tells that it is.
constexpr int kPartsOfFullPieces = 512;

TEST_P(KernelNodeTest, AVectorOfManyPartsIsOneMessage) {
    for (const size_t count : {2, 15, 16, 31, 32, 33, 127, 128, 300, 1000}) {
        const SpreadParts parts(count, 3);
        FileDescriptor fresh = open(O_WRONLY);
        ASSERT_EQ(parts.writeTo(fresh.get()), static_cast<ssize_t>(parts.whole().size()));
        fresh.reset();
        expectText(parts.whole());
        EXPECT_FALSE(node_->hasReport()) << count;
    }
}

TEST_P(KernelNodeTest, EqualVectorsStayApart) {
    const SpreadParts parts(kPartsOfFullPieces, 1);
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(parts.writeTo(client_.get()), kPartsOfFullPieces);
    for (int i = 0; i < 3; ++i)
        expectText(parts.whole());
}

TEST_P(KernelNodeTest, AVectorOfLongPartsIsOneMessage) {
    const std::string data = patternBytes(1 << 20);
    std::string whole;
    std::vector<iovec> parts;
    for (size_t i = 0; i < 1000; ++i) {
        const size_t start = i * 1001, size = 1 + i % 977;
        parts.push_back({const_cast<char*>(data.data()) + start, size});
        whole.append(data, start, size);
    }
    const FileDescriptor fresh = open(O_WRONLY);
    ASSERT_EQ(writev(fresh.get(), parts.data(), 1000), static_cast<ssize_t>(whole.size()));
    expectText(whole);
}

TEST_P(KernelNodeTest, ABlockAfterAVectorIsShownAtOnce) {
    const SpreadParts parts(kPartsOfFullPieces, 1);
    ASSERT_EQ(parts.writeTo(client_.get()), kPartsOfFullPieces);
    const std::string data = patternBytes(5000);
    ASSERT_EQ(write(client_.get(), data.data(), data.size()), 5000);
    expectText(parts.whole());
    expectText(data);
}

TEST_P(KernelNodeTest, ARequestOfTheWriterFollowsItsWrite) {
    const SpreadParts parts(kPartsOfFullPieces, 1);
    ASSERT_EQ(parts.writeTo(client_.get()), kPartsOfFullPieces);
    EXPECT_EQ(devctl(client_.get(), static_cast<int>(kCommandNote), nullptr, 0, nullptr), EOK);
    EXPECT_EQ(node_->nextReport().type, static_cast<uint32_t>(_IO_WRITE));
    EXPECT_EQ(node_->nextReport().type, static_cast<uint32_t>(_IO_DEVCTL));
}

TEST_P(KernelNodeTest, ProcessesThatShareAnOpenAreNotMixed) {
    constexpr size_t kSize = 3000000;
    std::map<uint64_t, int> expected;
    std::vector<pid_t> writers;
    for (int i = 0; i < 2; ++i) {
        const std::string data = patternBytes(kSize, 10 + i);
        expected[hashBytes(data.data(), data.size())] = 4;
        const pid_t child = fork();
        if (child == 0) {
            for (int j = 0; j < 4; ++j)
                if (write(client_.get(), data.data(), data.size()) != kSize)
                    _exit(1);
            _exit(0);
        }
        writers.push_back(child);
    }
    for (int i = 0; i < 8; ++i)
        --expected[node_->nextReport().hash];
    for (const auto& [hash, left] : expected)
        EXPECT_EQ(left, 0) << hash;
    for (const pid_t writer : writers) {
        int status = -1;
        waitpid(writer, &status, 0);
        EXPECT_EQ(status, 0);
    }
}

TEST_P(KernelNodeTest, CommandsOfAShellsListReachItWhole) {
    const std::string file = folder_.file("text");
    const std::string data = patternBytes(3000000);
    FileDescriptor(::open(file.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600)).reset();
    ASSERT_EQ(truncate(file.c_str(), 0), 0);
    const FileDescriptor out(::open(file.c_str(), O_WRONLY | O_CLOEXEC));
    ASSERT_EQ(write(out.get(), data.data(), data.size()), static_cast<ssize_t>(data.size()));
    const std::string copy = "dd bs=3000000 status=none if='" + file + "'";
    const std::string list = "(" + copy + " & " + copy + " & wait) > '" + node_->path() + "'";
    ASSERT_EQ(system(list.c_str()), 0);
    expectText(data);
    expectText(data);
    EXPECT_FALSE(node_->hasReport());
}

// A mapping whose second half cannot be read: a write from it stops in the middle.
class HalfReadable {
public:
    explicit HalfReadable(size_t readable) : readable_(readable) {
        start_ = static_cast<char*>(mmap(nullptr, 2 * readable, PROT_READ | PROT_WRITE,
                                         MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        const std::string data = patternBytes(readable);
        memcpy(start_, data.data(), readable);
        mprotect(start_ + readable, readable, PROT_NONE);
    }
    ~HalfReadable() { munmap(start_, 2 * readable_); }
    const char* data() const { return start_; }

private:
    size_t readable_;
    char* start_;
};

TEST_P(KernelNodeTest, AWriteThatStopsHalfwayIsDeliveredAsFarAsItCame) {
    const size_t readable = 4 << 20;
    const HalfReadable memory(readable);
    for (int i = 0; i < 2; ++i) {
        const ssize_t written = write(client_.get(), memory.data(), 2 * readable);
        ASSERT_GT(written, 0);
        ASSERT_LE(written, static_cast<ssize_t>(readable));
        // The next write shows that the first one is over, and comes after it.
        ASSERT_EQ(write(client_.get(), "next", 4), 4);
        expectText(std::string(memory.data(), static_cast<size_t>(written)));
        expectText("next");
    }
}

TEST_P(KernelNodeTest, AWriteThatStopsHalfwayIsDeliveredWithoutFurtherRequests) {
    const size_t readable = 4 << 20;
    const HalfReadable memory(readable);
    for (int i = 0; i < 2; ++i) {
        const ssize_t written = write(client_.get(), memory.data(), 2 * readable);
        ASSERT_GT(written, 0);
        expectText(std::string(memory.data(), static_cast<size_t>(written)));
    }
}

TEST_P(KernelNodeTest, AClientThatIsKilledInTheMiddleLosesNothingAcknowledged) {
    const std::string data = patternBytes(60 << 20);
    const pid_t writer = fork();
    if (writer == 0) {
        [[maybe_unused]] const ssize_t written = write(client_.get(), data.data(), data.size());
        _exit(0);
    }
    kill(writer, SIGKILL);  // wherever it is then
    int status = 0;
    waitpid(writer, &status, 0);

    ASSERT_EQ(write(client_.get(), "after", 5), 5);
    std::vector<Report> seen = {node_->nextReport()};
    if (seen[0].nbytes != 5 || std::string(GetParam()) == "cuse") {
        // On a device another writer does not show that the first one is over.
        client_.reset();
        seen.push_back(seen[0].nbytes != 5 || node_->hasReport() ? node_->nextReport() : Report());
    }
    bool after = false;
    for (const Report& report : seen) {
        if (report.nbytes == 5) {
            after = memcmp(report.start, "after", 5) == 0;
        } else if (report.nbytes > 0) {
            EXPECT_EQ(report.hash, hashBytes(data.data(), report.nbytes));
        }
    }
    EXPECT_TRUE(after);
}

TEST_P(KernelNodeTest, MoreThanAUsersShareIsCutWhereItWasRefused) {
    const size_t share = UserShares::ofThisMachine(0).userBytes;
    const std::string data = patternBytes(share + (4 << 20));
    for (int i = 0; i < 2; ++i) {
        const ssize_t written = write(client_.get(), data.data(), data.size());
        ASSERT_GT(written, 0) << strerror(errno);
        ASSERT_LE(written, static_cast<ssize_t>(share));
        expectText(data.substr(0, static_cast<size_t>(written)));
        ASSERT_EQ(write(client_.get(), "fine", 4), 4);
        expectText("fine");
    }
}

TEST_P(KernelNodeTest, TextPiecesAreOneMessageAtTheLast) {
    const std::string data = patternBytes(40000);
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(devctlWriteText(client_.get(), data.data(), data.size()), 40000);
        expectText(data);
        EXPECT_FALSE(node_->hasReport());
    }
}

TEST_P(KernelNodeTest, PiecesOutOfOrderAreRefusedAndForgotten) {
    EXPECT_EQ(sendPiece(client_.get(), 1, false, kDevctlTextBytes), EINVAL);
    EXPECT_EQ(sendPiece(client_.get(), 1, true, 5), EINVAL);
    EXPECT_EQ(sendPiece(client_.get(), 0, false, 5), EINVAL);
    EXPECT_EQ(sendPiece(client_.get(), 0, false, kDevctlTextBytes), EOK);
    EXPECT_EQ(sendPiece(client_.get(), 2, true, 5), EINVAL);
    EXPECT_EQ(sendPiece(client_.get(), 1, true, 5), EINVAL);
    EXPECT_EQ(sendPiece(client_.get(), 0, false, kDevctlTextBytes), EOK);
    EXPECT_EQ(sendPiece(client_.get(), 0, true, 3, 'y'), EOK);
    expectText("yyy");
    EXPECT_FALSE(node_->hasReport());
    EXPECT_EQ(ioctl(client_.get(), DEVCTL_TEXT_IOCTL(7), "1234567"), -1);
    EXPECT_EQ(errno, ENOTTY);
}

TEST_P(KernelNodeTest, ATextOfADeadClientIsForgotten) {
    for (int i = 0; i < 3; ++i) {
        const pid_t client = fork();
        if (client == 0) {
            const FileDescriptor mine = open(O_WRONLY);
            _exit(sendPiece(mine.get(), 0, false, kDevctlTextBytes));
        }
        int status = -1;
        waitpid(client, &status, 0);
        EXPECT_EQ(status, 0);
    }
    ASSERT_EQ(write(client_.get(), "after", 5), 5);
    expectText("after");
    EXPECT_FALSE(node_->hasReport());
}

TEST_P(KernelNodeTest, UnfinishedTextsOfAUserAreBounded) {
    const size_t share = UserShares::ofThisMachine(0).userBytes;
    const size_t most = share / UnfinishedWrites::kShareOfOne;
    const rlimit enough = {4096, 4096};  // for the most and the test itself
    if (setrlimit(RLIMIT_NOFILE, &enough) != 0)
        GTEST_SKIP() << "may not open " << most << " descriptors: " << strerror(errno);
    std::vector<FileDescriptor> opens;
    for (int round = 0; round < 2; ++round) {
        int error = EOK;
        while (error == EOK && opens.size() <= most) {
            opens.push_back(open(O_WRONLY));
            ASSERT_TRUE(opens.back()) << strerror(errno);
            error = sendPiece(opens.back().get(), 0, false, kDevctlTextBytes);
        }
        EXPECT_EQ(error, ENOBUFS);
        EXPECT_EQ(opens.size(), most + 1);
        // What is not kept needs no share.
        EXPECT_EQ(devctlWriteText(client_.get(), "short", 5), 5);
        expectText("short");
        opens.clear();
        // The kernel tells of a close when it likes, but in order.
        ASSERT_EQ(write(client_.get(), "closed", 6), 6);
        expectText("closed");
    }
}

TEST_P(KernelNodeTest, OpensOfAUserAreBoundedAndGivenBack) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can act as another user";
    chmod(folder_.path().c_str(), 0755);
    const rlimit enough = {4096, 4096};
    const pid_t user = fork();
    if (user == 0) {
        if (setrlimit(RLIMIT_NOFILE, &enough) != 0 || setgid(4321) != 0 || setuid(4321) != 0)
            _exit(1);
        const size_t share = UserShares::ofThisMachine(4096).userConnections;
        for (int round = 0; round < 2; ++round) {
            std::vector<FileDescriptor> opens;
            for (size_t i = 0; i < share; ++i) {
                opens.push_back(open(O_WRONLY));
                if (!opens.back())
                    _exit(2);
            }
            if (open(O_WRONLY) || errno != EUSERS)
                _exit(3);
        }
        _exit(0);
    }
    int status = -1;
    waitpid(user, &status, 0);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_TRUE(open(O_WRONLY));
}

TEST_P(KernelNodeTest, OpensThatAreClosedAreForgotten) {
    for (int i = 0; i < 100; ++i)
        ASSERT_TRUE(open(O_WRONLY));
    int opens = -1;
    EXPECT_EQ(devctl(client_.get(), static_cast<int>(kCommandOpens), nullptr, 0, &opens), EOK);
    EXPECT_EQ(opens, 1);
}

TEST_P(KernelNodeTest, ACallOfTheSameLengthWithAnotherCodeIsNoCommand) {
    DevctlMessage message = {};
    message.header.request.command = static_cast<int>(kCommandNote);
    EXPECT_EQ(ioctl(client_.get(), _IOWR('V', 3, DevctlMessage), &message), -1);
    EXPECT_EQ(errno, ENOTTY);
    EXPECT_FALSE(node_->hasReport());
}

TEST_P(KernelNodeTest, DescriptorsAndFlagsAreTheKernels) {
    EXPECT_EQ(fcntl(client_.get(), F_GETFL) & O_ACCMODE, O_RDWR);
    ASSERT_EQ(fcntl(client_.get(), F_SETFL, O_NONBLOCK), 0);
    EXPECT_NE(fcntl(client_.get(), F_GETFL) & O_NONBLOCK, 0);
    EXPECT_EQ(isatty(client_.get()), 0);
    EXPECT_EQ(ioctl(client_.get(), 0x1234), -1);
    EXPECT_EQ(errno, ENOTTY);
}

}  // namespace
