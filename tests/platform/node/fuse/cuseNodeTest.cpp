// What a client sees of the node as a character device, and what becomes of its place in /dev.
#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>

#include "platform/node/servedNode.h"

namespace {

class CuseNodeTest : public testing::Test {
protected:
    void SetUp() override {
        const std::string reason = whyNotServed("cuse");
        if (!reason.empty())
            GTEST_SKIP() << reason;
        unlink(path_.c_str());
    }

    void serve(const char* kind = "cuse", const std::function<void()>& before = {}) {
        node_ = std::make_unique<ServedNode>(path_, kind, before);
        ASSERT_TRUE(node_->attached()) << strerror(node_->attachError());
    }

    FileDescriptor open(int flags) const {
        return FileDescriptor(::open(path_.c_str(), flags | O_CLOEXEC));
    }

    void expectServes() {
        const FileDescriptor client = open(O_WRONLY);
        EXPECT_EQ(write(client.get(), "served", 6), 6) << strerror(errno);
        EXPECT_STREQ(node_->nextReport().start, "served");
    }

    mode_t modeAtPath() const {
        struct stat found = {};
        EXPECT_EQ(lstat(path_.c_str(), &found), 0) << strerror(errno);
        return found.st_mode;
    }

    NodeFolder folder_;
    const std::string path_ = folder_.nodePath("cuse");
    std::unique_ptr<ServedNode> node_;
};

TEST_F(CuseNodeTest, IsADeviceThatEverybodyMayUse) {
    serve();
    EXPECT_EQ(modeAtPath(), static_cast<mode_t>(S_IFCHR | 0666));
    expectServes();
}

TEST_F(CuseNodeTest, IsTheFirstChoiceInDev) {
    serve("");
    EXPECT_TRUE(S_ISCHR(modeAtPath()));
    expectServes();
}

TEST_F(CuseNodeTest, OutsideDevItIsRefusedAndOtherKindsServe) {
    const std::string elsewhere = folder_.file("node");
    ServedNode refused(elsewhere, "cuse");
    EXPECT_EQ(refused.attachError(), EXDEV);
    refused.end(SIGTERM);
    EXPECT_EQ(refused.errorText(),
              "velkaris: " + elsewhere + ": cannot be served by cuse: " + strerror(EXDEV) + "\n");
    ServedNode served(elsewhere, "");
    EXPECT_TRUE(served.attached());
}

TEST_F(CuseNodeTest, IsGoneAfterAKillAndServedAgain) {
    for (int i = 0; i < 3; ++i) {
        serve();
        expectServes();
        node_->end(SIGKILL);
        EXPECT_NE(access(path_.c_str(), F_OK), 0);
    }
}

TEST_F(CuseNodeTest, StatNeedsNoAnswerOfAConsoleThatIsStopped) {
    serve();
    kill(node_->process(), SIGSTOP);
    EXPECT_EQ(modeAtPath(), static_cast<mode_t>(S_IFCHR | 0666));
    struct statfs found;
    EXPECT_EQ(statfs(path_.c_str(), &found), 0);
    kill(node_->process(), SIGCONT);
    expectServes();
}

TEST_F(CuseNodeTest, APositionedWriteIsText) {
    serve();
    const FileDescriptor client = open(O_WRONLY);
    for (const off_t offset : {0, 5000}) {
        EXPECT_EQ(pwrite(client.get(), "placed", 6, offset), 6);
        EXPECT_STREQ(node_->nextReport().start, "placed");
    }
}

TEST_F(CuseNodeTest, AnOrdinaryFileIsReplacedWithOneLine) {
    for (const char* contents : {"", "echoed while nobody served\n"}) {
        std::ofstream(path_) << contents;
        serve();
        EXPECT_TRUE(S_ISCHR(modeAtPath()));
        expectServes();
        node_->end(SIGTERM);
        EXPECT_EQ(node_->errorText(),
                  "velkaris: " + path_ + ": an ordinary file was there; the device replaces it\n");
        EXPECT_NE(access(path_.c_str(), F_OK), 0);
    }
}

// Its lock is elsewhere, so that it reaches the kernel's own refusal.
TEST_F(CuseNodeTest, ASecondServerOfTheNameIsRefused) {
    serve();
    const auto hideLocks = [] {
        if (unshare(CLONE_NEWNS) != 0 ||
            mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) ||
            mount("none", "/run", "tmpfs", 0, nullptr) != 0)
            _exit(4);
    };
    ServedNode second(path_, "cuse", hideLocks);
    EXPECT_NE(second.attachError(), 0);
    expectServes();
}

TEST_F(CuseNodeTest, WhereDevIsNotTheKernelsTheNodeIsMadeAndRemoved) {
    // What a container has in its /dev, over /dev in a name space.
    const auto replaceDev = [] {
        if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr))
            _exit(4);
        struct stat server;
        if (stat("/dev/cuse", &server) != 0 || mount("none", "/dev", "tmpfs", 0, nullptr) != 0 ||
            mknod("/dev/cuse", S_IFCHR | 0600, server.st_rdev) != 0)
            _exit(5);
    };
    serve("", replaceDev);
    const std::string seen = "/proc/" + std::to_string(node_->process()) + "/root" + path_;
    struct stat found = {};
    ASSERT_EQ(lstat(seen.c_str(), &found), 0) << strerror(errno);
    EXPECT_EQ(found.st_mode, static_cast<mode_t>(S_IFCHR | 0666));
    const FileDescriptor client(::open(seen.c_str(), O_WRONLY | O_CLOEXEC));
    EXPECT_EQ(write(client.get(), "made", 4), 4);
    EXPECT_STREQ(node_->nextReport().start, "made");
}

TEST_F(CuseNodeTest, TakenAwayTheConsoleEndsAndSaysSo) {
    serve();
    const std::string name = path_.substr(strlen("/dev/"));
    std::ofstream("/sys/class/cuse/" + name + "/abort") << "1\n";
    const int status = node_->awaitEnd();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1) << status;
    EXPECT_EQ(node_->errorText(),
              "velkaris: " + path_ + ": somebody else has taken the node away; the console ends\n");
}

}  // namespace
