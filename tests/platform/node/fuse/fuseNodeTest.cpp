// What a client sees of the node as a file, call by call, and the writes that only a file allows.
#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/mount.h>
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

TEST_F(FuseNodeTest, OpensAsTheKernelDoes) {
    EXPECT_TRUE(open(O_WRONLY | O_CREAT | O_TRUNC));
    EXPECT_TRUE(open(O_RDWR | O_APPEND));
    EXPECT_FALSE(open(O_WRONLY | O_CREAT | O_EXCL));
    EXPECT_EQ(errno, EEXIST);
    EXPECT_FALSE(open(O_WRONLY | O_SYNC));
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(FuseNodeTest, HasNoPlacesToWriteAt) {
    for (const off_t offset : {0, 1, 1 << 20}) {
        EXPECT_EQ(pwrite(client_.get(), "abc", 3, offset), -1);
        EXPECT_EQ(errno, ESPIPE);
        EXPECT_EQ(lseek(client_.get(), offset, SEEK_SET), -1);
        EXPECT_EQ(errno, ESPIPE);
    }
    EXPECT_EQ(write(client_.get(), "plain", 5), 5);
    expectText("plain");
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

TEST_F(FuseNodeTest, UnmountedByOthersTheConsoleEndsAndSaysSo) {
    client_.reset();
    ASSERT_TRUE(detachMount(path_)) << strerror(errno);
    const int status = node_->awaitEnd();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1) << status;
    EXPECT_EQ(node_->errorText(),
              "velkaris: " + path_ + ": somebody else has taken the node away; the console ends\n");
    EXPECT_NE(access(path_.c_str(), F_OK), 0);
}

TEST_F(FuseNodeTest, AnotherMountOverItIsLeftAloneAtTheEnd) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only root may mount";
    const std::string other = folder_.file("other");
    std::ofstream(other) << "of others\n";
    client_.reset();
    if (mount(other.c_str(), path_.c_str(), nullptr, MS_BIND, nullptr) != 0)
        GTEST_SKIP() << "may not mount: " << strerror(errno);
    node_->end(SIGTERM);
    std::string text;
    std::getline(std::ifstream(path_), text);
    EXPECT_EQ(text, "of others");
    EXPECT_TRUE(detachMount(path_));
}

TEST_F(FuseNodeTest, TheFileOfAKilledConsoleGoesWithItsSuccessor) {
    client_.reset();
    for (const char* next : {"fuse", "socket"}) {
        node_->end(SIGKILL);
        node_ = std::make_unique<ServedNode>(path_, next);
        ASSERT_TRUE(node_->attached()) << strerror(node_->attachError());
        if (*next == 'f')
            continue;
        node_->end(SIGTERM);
        EXPECT_NE(access(path_.c_str(), F_OK), 0);
    }
}

TEST_F(FuseNodeTest, AFileThatWasThereBeforeStaysThroughAKill) {
    node_->end(SIGTERM);
    std::ofstream(path_).flush();
    for (int i = 0; i < 2; ++i) {
        node_ = std::make_unique<ServedNode>(path_, "fuse");
        ASSERT_TRUE(node_->attached()) << strerror(node_->attachError());
        node_->end(i == 0 ? SIGKILL : SIGTERM);
    }
    EXPECT_EQ(access(path_.c_str(), F_OK), 0);
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
