// Who may serve a node: one console, and nobody who has no right to keep it from doing so.
#include "node/place/nodeLock.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <functional>

#include "platform/node/servedNode.h"

namespace {

class NodeLockTest : public testing::Test {
protected:
    // Whether the lock can be had, with what is said of it in `said_`.
    bool take(NodeLock* lock, const std::string& path) {
        testing::internal::CaptureStderr();
        const bool taken = lock->take(path);
        const int error = errno;
        said_ = testing::internal::GetCapturedStderr();
        errno = error;
        return taken;
    }

    // The status that `act` returns in a child process of another user, who may write `folder_`.
    int asAnotherUser(const std::function<int()>& act) const {
        chmod(folder_.path().c_str(), 0777);
        const pid_t child = fork();
        if (child == 0) {
            if (setgid(anotherUser_) != 0 || setuid(anotherUser_) != 0)
                _exit(99);
            _exit(act());
        }
        int status = -1;
        waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    // The files that mention this test's own folder in `folder`.
    size_t filesIn(const std::string& folder) const {
        const std::string mine = std::filesystem::path(folder_.path()).filename();
        size_t found = 0;
        for (const auto& file : std::filesystem::directory_iterator(folder))
            found += file.path().string().find(mine) != std::string::npos;
        return found;
    }

    void TearDown() override { rmdir(folderOfAnotherUser().c_str()); }

    std::string folderOfAnotherUser() const {
        return "/tmp/velkaris-" + std::to_string(anotherUser_);
    }

    const uid_t anotherUser_ = 1000000 + static_cast<uid_t>(getpid());  // of this test alone
    NodeFolder folder_;
    std::string path_ = folder_.file("node");
    std::string said_;
};

TEST_F(NodeLockTest, OnlyOneHoldsIt) {
    for (const std::string& path : {path_, path_ + std::string(300, 'x')}) {
        NodeLock first, second, another;
        EXPECT_TRUE(take(&first, path));
        EXPECT_EQ(said_, "");
        EXPECT_FALSE(take(&second, path));
        EXPECT_EQ(errno, EBUSY);
        EXPECT_EQ(said_, "velkaris: " + path + ": another console serves this node\n");
        EXPECT_TRUE(take(&another, path + "2"));
        first.release();
        EXPECT_TRUE(take(&second, path));
    }
}

TEST_F(NodeLockTest, PathsThatLookAlikeHaveTheirOwn) {
    NodeLock folder, percent;
    EXPECT_TRUE(take(&folder, path_ + "/x"));
    EXPECT_TRUE(take(&percent, path_ + "%2fx"));
}

TEST_F(NodeLockTest, ItsFileGoesWithIt) {
    if (geteuid() != 0)
        GTEST_SKIP() << "the folder is another one without root";
    {
        NodeLock lock;
        ASSERT_TRUE(take(&lock, path_));
        EXPECT_EQ(filesIn("/run/velkaris"), 1u);
    }
    EXPECT_EQ(filesIn("/run/velkaris"), 0u);
}

TEST_F(NodeLockTest, AProcessThatIsKilledLosesIt) {
    int ready[2];
    ASSERT_EQ(pipe2(ready, O_CLOEXEC), 0);
    const pid_t child = fork();
    if (child == 0) {
        NodeLock lock;
        const char taken = lock.take(path_) ? 'y' : 'n';
        if (write(ready[1], &taken, 1) == 1)
            pause();
        _exit(1);
    }
    char taken = 0;
    ASSERT_EQ(read(ready[0], &taken, 1), 1);
    EXPECT_EQ(taken, 'y');
    NodeLock lock;
    EXPECT_FALSE(take(&lock, path_));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    EXPECT_TRUE(take(&lock, path_));
    close(ready[0]);
    close(ready[1]);
}

TEST_F(NodeLockTest, ANoteIsFoundByTheNextAfterAKillAlone) {
    for (const bool killed : {false, true, false}) {
        const pid_t child = fork();
        if (child == 0) {
            {
                NodeLock lock;
                if (!lock.take(path_))
                    _exit(1);
                lock.note();
                if (killed)
                    kill(getpid(), SIGKILL);
            }
            _exit(0);
        }
        waitpid(child, nullptr, 0);
        NodeLock next;
        ASSERT_TRUE(take(&next, path_));
        EXPECT_EQ(next.foundNote(), killed);
    }
}

TEST_F(NodeLockTest, AnotherUserCannotKeepRootFromIt) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can act as another user";
    NodeLock lock;
    ASSERT_TRUE(take(&lock, path_));
    EXPECT_EQ(asAnotherUser([&] {
                  NodeLock theirs;  // a lock of their own, which is not this one
                  unsetenv("XDG_RUNTIME_DIR");
                  const bool taken = theirs.take(path_);
                  return taken && access("/run/velkaris", X_OK) != 0 ? 0 : 1;
              }),
              0);
    lock.release();
    EXPECT_TRUE(take(&lock, path_));
}

TEST_F(NodeLockTest, TheFolderOfTheSessionIsTakenUnlessOthersMayWriteIt) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can act as another user";
    EXPECT_EQ(asAnotherUser([&] {
                  setenv("XDG_RUNTIME_DIR", folder_.path().c_str(), 1);
                  NodeLock lock;
                  if (!lock.take(path_) || filesIn(folder_.file("velkaris")) != 1)
                      return 1;
                  lock.release();
                  chmod(folder_.file("velkaris").c_str(), 0777);
                  return lock.take(path_) && filesIn(folder_.file("velkaris")) == 0 ? 0 : 2;
              }),
              0);
}

TEST_F(NodeLockTest, AFolderThatTakesNoFileGivesWayToTheNext) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can act as another user";
    EXPECT_EQ(asAnotherUser([&] {
                  setenv("XDG_RUNTIME_DIR", folder_.path().c_str(), 1);
                  mkdir(folder_.file("velkaris").c_str(), 0500);
                  NodeLock first, second;
                  return take(&first, path_) && said_.empty() && !take(&second, path_) ? 0 : 1;
              }),
              0);
}

TEST_F(NodeLockTest, WithoutAFolderNothingIsLockedAndALineSaysSo) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can act as another user";
    // Somebody else's, where this user's would be.
    ASSERT_EQ(mkdir(folderOfAnotherUser().c_str(), 0755), 0);
    EXPECT_EQ(asAnotherUser([&] {
                  unsetenv("XDG_RUNTIME_DIR");
                  NodeLock first, second;
                  return take(&first, path_) &&
                                 said_.find("no folder for its lock") != said_.npos &&
                                 take(&second, path_)
                             ? 0
                             : 1;
              }),
              0);
}

}  // namespace
