// What a client sees of the node as a file, call by call, and the writes that only a file allows.
#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <fstream>
#include <string>
#include <vector>

#include "node/place/mountTable.h"
#include "platform/node/servedNode.h"

namespace {

class FuseNodeTest : public testing::Test {
protected:
    void SetUp() override {
        const std::string reason = whyNotServed("fuse");
        if (!reason.empty())
            GTEST_SKIP() << reason;
        node_ = std::make_unique<ServedNode>(folder_.file("node"), "fuse");
        ASSERT_TRUE(node_->attached()) << strerror(node_->attachError());
        path_ = node_->path();
        client_ = open(O_RDWR);
        ASSERT_TRUE(client_) << strerror(errno);
    }

    FileDescriptor open(int flags) const {
        return FileDescriptor(::open(path_.c_str(), flags | O_CLOEXEC, 0666));
    }

    struct stat found() const {
        struct stat found = {};
        EXPECT_EQ(stat(path_.c_str(), &found), 0);
        return found;
    }

    // Expects `text` to be the next message, as a plain write.
    void expectText(const std::string& text) {
        const Report seen = node_->nextReport();
        EXPECT_EQ(seen.xtype, 0u);
        EXPECT_EQ(seen.nbytes, text.size());
        EXPECT_EQ(seen.hash, hashBytes(text.data(), text.size()));
    }

    NodeFolder folder_;
    std::unique_ptr<ServedNode> node_;
    std::string path_;
    FileDescriptor client_;
};

TEST_F(FuseNodeTest, IsAnEmptyFileThatEverybodyMayUse) {
    EXPECT_EQ(found().st_mode, static_cast<mode_t>(S_IFREG | 0666));
    EXPECT_EQ(found().st_size, 0);
    EXPECT_EQ(found().st_uid, geteuid());
}

TEST_F(FuseNodeTest, StaysEmptyWhateverIsWritten) {
    ASSERT_EQ(write(client_.get(), "hello", 5), 5);
    expectText("hello");
    EXPECT_EQ(found().st_size, 0);
    EXPECT_EQ(lseek(client_.get(), 0, SEEK_END), 0);
}

TEST_F(FuseNodeTest, AWriteMakesItsTimesNow) {
    const timespec past[2] = {{1000, 0}, {2000, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, path_.c_str(), past, 0), 0);
    EXPECT_EQ(found().st_atim.tv_sec, 1000);
    EXPECT_EQ(found().st_mtim.tv_sec, 2000);
    ASSERT_EQ(write(client_.get(), "x", 1), 1);
    EXPECT_GT(found().st_mtim.tv_sec, 2000);
    EXPECT_EQ(found().st_atim.tv_sec, 1000);
}

TEST_F(FuseNodeTest, ShellRedirectionReachesIt) {
    const std::string command = "echo hello > '" + path_ + "' && echo more >> '" + path_ + "'";
    ASSERT_EQ(system(command.c_str()), 0);
    expectText("hello\n");
    expectText("more\n");
}

TEST_F(FuseNodeTest, OpensAsTheKernelDoes) {
    EXPECT_TRUE(open(O_WRONLY | O_CREAT | O_TRUNC));
    EXPECT_TRUE(open(O_RDWR | O_APPEND));
    EXPECT_FALSE(open(O_WRONLY | O_CREAT | O_EXCL));
    EXPECT_EQ(errno, EEXIST);
    EXPECT_FALSE(open(O_WRONLY | O_SYNC));
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(FuseNodeTest, PositionedWritesAreRefusedAtEveryPlace) {
    const FileDescriptor fresh = open(O_WRONLY);
    for (const off_t offset : {0, 1, 1 << 20}) {
        EXPECT_EQ(pwrite(fresh.get(), "abc", 3, offset), -1);
        EXPECT_EQ(errno, ENOSYS);
    }
    const std::string data = patternBytes(3 << 20);
    EXPECT_EQ(pwrite(fresh.get(), data.data(), data.size(), 0), -1);
    EXPECT_EQ(errno, ENOSYS);
    EXPECT_EQ(write(fresh.get(), "plain", 5), 5);
    expectText("plain");
    const FileDescriptor reader = open(O_RDONLY);
    EXPECT_EQ(pwrite(reader.get(), "abc", 3, 0), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST_F(FuseNodeTest, AMovedDescriptorStillWritesPlainly) {
    for (const off_t offset : {100, 0, 1 << 30}) {
        EXPECT_EQ(lseek(client_.get(), offset, SEEK_SET), offset);
        ASSERT_EQ(write(client_.get(), "moved", 5), 5) << strerror(errno);
        expectText("moved");
    }
    EXPECT_EQ(lseek(client_.get(), -1, SEEK_SET), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(lseek(client_.get(), 0, 99), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(FuseNodeTest, AppendingWritesArePlain) {
    const FileDescriptor log = open(O_WRONLY | O_APPEND);
    const std::string data = patternBytes((2 << 20) + 5);
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(write(log.get(), data.data(), data.size()), static_cast<ssize_t>(data.size()));
        expectText(data);
    }
}

TEST_F(FuseNodeTest, AVectorWriteIsOneMessage) {
    const std::string data = patternBytes(1 << 20);
    std::string whole;
    std::vector<iovec> parts;
    for (size_t i = 0; i < 1000; ++i) {  // more parts than fit one piece
        const size_t start = i * 1001, size = 1 + i % 977;
        parts.push_back({const_cast<char*>(data.data()) + start, size});
        whole.append(data, start, size);
    }
    ASSERT_EQ(writev(client_.get(), parts.data(), static_cast<int>(parts.size())),
              static_cast<ssize_t>(whole.size()));
    expectText(whole);
    EXPECT_FALSE(node_->hasReport());
}

TEST_F(FuseNodeTest, ItsSizeCannotBeChanged) {
    EXPECT_EQ(ftruncate(client_.get(), 0), -1);
    EXPECT_EQ(errno, ENOSYS);
    EXPECT_EQ(truncate(path_.c_str(), 10), -1);
    EXPECT_EQ(errno, ENOSYS);
}

TEST_F(FuseNodeTest, ModeAndOwnerCanBeChangedByTheirOwner) {
    ASSERT_EQ(chmod(path_.c_str(), 0640), 0);
    EXPECT_EQ(found().st_mode, static_cast<mode_t>(S_IFREG | 0640));
    if (geteuid() != 0)
        GTEST_SKIP() << "only root may change an owner";
    ASSERT_EQ(chown(path_.c_str(), 12, 34), 0);
    EXPECT_EQ(found().st_uid, 12u);
    EXPECT_EQ(found().st_gid, 34u);
}

TEST_F(FuseNodeTest, CannotBeRemovedOrRenamedWhileItIsServed) {
    EXPECT_EQ(unlink(path_.c_str()), -1);
    EXPECT_EQ(errno, EBUSY);
    EXPECT_EQ(rename(path_.c_str(), folder_.file("other").c_str()), -1);
    EXPECT_EQ(errno, EBUSY);
}

TEST_F(FuseNodeTest, IsNoTerminalNoMapAndAlwaysReady) {
    EXPECT_EQ(isatty(client_.get()), 0);
    EXPECT_EQ(errno, ENOTTY);
    EXPECT_EQ(ioctl(client_.get(), 0x1234), -1);
    EXPECT_EQ(errno, ENOTTY);
    EXPECT_EQ(mmap(nullptr, 4096, PROT_READ, MAP_SHARED, client_.get(), 0), MAP_FAILED);
    EXPECT_EQ(errno, ENODEV);
    pollfd ready = {client_.get(), POLLIN | POLLOUT, 0};
    EXPECT_EQ(poll(&ready, 1, 0), 1);
    EXPECT_EQ(fsync(client_.get()), 0);
    EXPECT_EQ(fdatasync(client_.get()), 0);
}

TEST_F(FuseNodeTest, FlagsAreTheDescriptorsOwn) {
    EXPECT_EQ(fcntl(client_.get(), F_GETFL) & O_ACCMODE, O_RDWR);
    ASSERT_EQ(fcntl(client_.get(), F_SETFL, O_NONBLOCK), 0);
    EXPECT_NE(fcntl(client_.get(), F_GETFL) & O_NONBLOCK, 0);
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

TEST_F(FuseNodeTest, AWriteThatStopsHalfwayIsDeliveredAsFarAsItCame) {
    const size_t readable = 4 << 20;
    const HalfReadable memory(readable);
    const ssize_t written = write(client_.get(), memory.data(), 2 * readable);
    ASSERT_GT(written, 0);
    ASSERT_LE(written, static_cast<ssize_t>(readable));
    // The next write shows that the first one is over, and comes after it.
    ASSERT_EQ(write(client_.get(), "next", 4), 4);
    expectText(std::string(memory.data(), static_cast<size_t>(written)));
    expectText("next");
}

TEST_F(FuseNodeTest, AWriteThatStopsHalfwayIsDeliveredWithoutFurtherRequests) {
    const size_t readable = 4 << 20;
    const HalfReadable memory(readable);
    const ssize_t written = write(client_.get(), memory.data(), 2 * readable);
    ASSERT_GT(written, 0);
    expectText(std::string(memory.data(), static_cast<size_t>(written)));
}

TEST_F(FuseNodeTest, AClientThatIsKilledInTheMiddleLosesNothingAcknowledged) {
    const std::string data = patternBytes(256 << 20);
    kill(node_->process(), SIGSTOP);
    const pid_t writer = fork();
    if (writer == 0) {
        kill(node_->process(), SIGCONT);
        [[maybe_unused]] const ssize_t written = write(client_.get(), data.data(), data.size());
        _exit(0);
    }
    // The writer's counter tells that it is under way; it is killed wherever it is then.
    kill(writer, SIGKILL);
    int status = 0;
    waitpid(writer, &status, 0);
    kill(node_->process(), SIGCONT);

    ASSERT_EQ(write(client_.get(), "after", 5), 5);
    Report seen = node_->nextReport();
    if (seen.nbytes != 5) {
        EXPECT_LE(seen.nbytes, data.size());
        EXPECT_EQ(seen.hash, hashBytes(data.data(), seen.nbytes));
        seen = node_->nextReport();
    }
    EXPECT_STREQ(seen.start, "after");
}

TEST_F(FuseNodeTest, UnmountedByOthersTheServiceGoesOn) {
    client_.reset();
    if (!detachMount(path_))
        GTEST_SKIP() << "may not unmount: " << strerror(errno);
    // It ends in an orderly way when asked to, so its loop has not failed.
    const int status = node_->end(SIGTERM);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

TEST_F(FuseNodeTest, SomethingElseMountedThereIsLeftAlone) {
    EXPECT_EQ(mountAt(path_)->type, "fuse.velkaris");
    node_->end(SIGTERM);
    EXPECT_FALSE(mountAt(path_));
}

// What a shell wrote to the path while no console ran.
class NodeOverAFileWithContents : public testing::TestWithParam<const char*> {
protected:
    void SetUp() override {
        const std::string reason = whyNotServed("fuse");
        if (!reason.empty())
            GTEST_SKIP() << reason;
        std::ofstream(path_) << "early\n";
    }

    std::string contents() const {
        std::string text;
        std::getline(std::ifstream(path_), text);
        return text;
    }

    void expectServes(ServedNode* node) const {
        ASSERT_TRUE(node->attached()) << strerror(node->attachError());
        const FileDescriptor client(open(path_.c_str(), O_WRONLY | O_CLOEXEC));
        EXPECT_EQ(write(client.get(), "late", 4), 4);
        EXPECT_STREQ(node->nextReport().start, "late");
        EXPECT_EQ(contents(), "");
    }

    NodeFolder folder_;
    const std::string path_ = folder_.file("node");
};

TEST_P(NodeOverAFileWithContents, HidesItAndSaysSo) {
    ServedNode node(path_, GetParam());
    expectServes(&node);
    node.end(SIGTERM);
    EXPECT_EQ(node.errorText(), "velkaris: " + path_ +
                                    ": a file with contents is there; the node hides it until the "
                                    "console ends\n");
    EXPECT_EQ(contents(), "early");
}

TEST_P(NodeOverAFileWithContents, HidesItAgainAfterAKill) {
    ServedNode killed(path_, GetParam());
    expectServes(&killed);
    killed.end(SIGKILL);
    ServedNode next(path_, GetParam());
    expectServes(&next);
    next.end(SIGTERM);
    EXPECT_FALSE(mountAt(path_));
    EXPECT_EQ(contents(), "early");
}

INSTANTIATE_TEST_SUITE_P(Kinds, NodeOverAFileWithContents, testing::Values("fuse", ""),
                         [](const auto& test) { return *test.param ? "fuse" : "unset"; });

TEST(UnknownNodeKind, IsRefused) {
    NodeFolder folder;
    ServedNode node(folder.file("node"), "pipe");
    EXPECT_EQ(node.attachError(), EINVAL);
    node.end(SIGTERM);
    EXPECT_NE(node.errorText().find("VELKARIS_NODE_KIND"), std::string::npos);
}

}  // namespace
