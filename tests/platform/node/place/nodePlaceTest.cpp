// Whose place in the file system may be taken for a node, and what is left alone.
#include "node/place/nodePlace.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>

#include "node/place/socketAddress.h"
#include "platform/node/servedNode.h"

namespace {

class NodePlace : public testing::Test {
protected:
    void fill(const std::string& text) { std::ofstream(path_) << text; }

    // The verdict, and the line that it comes with in `said_`.
    PlaceContent clear() {
        testing::internal::CaptureStderr();
        const PlaceContent content = clearNodePlace(path_, madeByConsole_);
        const int error = errno;
        said_ = testing::internal::GetCapturedStderr();
        errno = error;
        return content;
    }

    FileDescriptor listenAt() {
        FileDescriptor listener(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
        const SocketAddress address(path_);
        EXPECT_EQ(bind(listener.get(), address.get(), address.size()), 0);
        EXPECT_EQ(listen(listener.get(), 1), 0);
        return listener;
    }

    NodeFolder folder_;
    std::string path_ = folder_.file("node");
    std::string said_;
    bool madeByConsole_ = false;
};

TEST_F(NodePlace, AnEmptyPlaceIsTaken) {
    EXPECT_EQ(clear(), PlaceContent::nothing);
}

TEST_F(NodePlace, AnEmptyFileIsTaken) {
    fill("");
    EXPECT_EQ(clear(), PlaceContent::emptyFile);
    EXPECT_EQ(said_, "");
}

TEST_F(NodePlace, AFileWithContentsIsToldFromAnEmptyOneAndKept) {
    fill("precious");
    EXPECT_EQ(clear(), PlaceContent::filledFile);
    EXPECT_EQ(said_, "");
    {
        MountPoint point;
        ASSERT_TRUE(point.make(path_, PlaceContent::filledFile));
        point.remove();
    }
    std::string text;
    std::ifstream(path_) >> text;
    EXPECT_EQ(text, "precious");
}

TEST_F(NodePlace, WhatADeadConsoleHadMadeGoes) {
    madeByConsole_ = true;
    fill("");
    EXPECT_EQ(clear(), PlaceContent::nothing);
    EXPECT_NE(access(path_.c_str(), F_OK), 0);
    if (mknod(path_.c_str(), S_IFCHR | 0600, makedev(0xfff, 0xfff)) != 0)
        GTEST_SKIP() << "may not make a device's node: " << strerror(errno);
    EXPECT_EQ(clear(), PlaceContent::nothing);
    EXPECT_NE(access(path_.c_str(), F_OK), 0);
    EXPECT_EQ(said_, "");
}

TEST_F(NodePlace, WhatWasWrittenToAFileOfADeadConsoleStays) {
    madeByConsole_ = true;
    fill("precious");
    EXPECT_EQ(clear(), PlaceContent::filledFile);
}

TEST_F(NodePlace, ADeviceOfOthersIsRefused) {
    if (mknod(path_.c_str(), S_IFCHR | 0600, makedev(1, 3)) != 0)
        GTEST_SKIP() << "may not make a device's node: " << strerror(errno);
    EXPECT_EQ(clear(), PlaceContent::refused);
    EXPECT_EQ(errno, EEXIST);
    EXPECT_EQ(access(path_.c_str(), F_OK), 0);
}

TEST_F(NodePlace, AFolderIsRefused) {
    mkdir(path_.c_str(), 0700);
    EXPECT_EQ(clear(), PlaceContent::refused);
    EXPECT_EQ(errno, EISDIR);
}

TEST_F(NodePlace, ALinkIsRefusedWhereverItLeads) {
    ASSERT_EQ(symlink("/dev/null", path_.c_str()), 0);
    EXPECT_EQ(clear(), PlaceContent::refused);
    EXPECT_EQ(errno, ELOOP);
}

TEST_F(NodePlace, APipeIsRefused) {
    mkfifo(path_.c_str(), 0600);
    EXPECT_EQ(clear(), PlaceContent::refused);
    EXPECT_EQ(errno, EEXIST);
}

TEST_F(NodePlace, ADeadSocketIsRemoved) {
    listenAt().reset();
    EXPECT_EQ(clear(), PlaceContent::nothing);
    EXPECT_NE(access(path_.c_str(), F_OK), 0);
}

TEST_F(NodePlace, ALiveSocketIsRefused) {
    const FileDescriptor listener = listenAt();
    EXPECT_EQ(clear(), PlaceContent::refused);
    EXPECT_EQ(errno, EADDRINUSE);
    EXPECT_EQ(access(path_.c_str(), F_OK), 0);
}

TEST_F(NodePlace, LinksInTheFolderAreResolved) {
    const std::string link = folder_.file("link");
    ASSERT_EQ(symlink(folder_.path().c_str(), link.c_str()), 0);
    const std::string direct = canonicalNodePath(path_);
    EXPECT_EQ(canonicalNodePath(link + "/node"), direct);
    EXPECT_EQ(canonicalNodePath(folder_.path() + "/./node"), direct);
    EXPECT_EQ(canonicalNodePath("/node"), "/node");
}

TEST_F(NodePlace, PathsThatNameNoFileAreRefused) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(canonicalNodePath(folder_.path() + "/"), "");
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(canonicalNodePath(folder_.path() + "/.."), "");
    EXPECT_EQ(canonicalNodePath(folder_.file("missing/node")), "");
    EXPECT_EQ(errno, ENOENT);
    testing::internal::GetCapturedStderr();
}

TEST_F(NodePlace, AMountPointThatWasMadeIsRemoved) {
    {
        MountPoint point;
        ASSERT_TRUE(point.make(path_, PlaceContent::nothing));
        EXPECT_EQ(access(path_.c_str(), F_OK), 0);
    }
    EXPECT_NE(access(path_.c_str(), F_OK), 0);
}

TEST_F(NodePlace, AMountPointThatWasThereStays) {
    fill("");
    {
        MountPoint point;
        ASSERT_TRUE(point.make(path_, PlaceContent::emptyFile));
    }
    EXPECT_EQ(access(path_.c_str(), F_OK), 0);
}

}  // namespace
