// The layer's lines, as a terminal and as the journal get them.
#include "report/layerError.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace {

// `stream` gets the device and the inode of standard error.
template <typename Stream>
std::string lineWith(Stream stream) {
    testing::internal::CaptureStderr();
    struct stat found = {};
    EXPECT_EQ(fstat(STDERR_FILENO, &found), 0);
    setenv("JOURNAL_STREAM", stream(found.st_dev, found.st_ino).c_str(), 1);
    layerError("%s: gone, %d left", "display", 2);
    unsetenv("JOURNAL_STREAM");
    return testing::internal::GetCapturedStderr();
}

TEST(LayerError, IsALineInTheProgramsName) {
    testing::internal::CaptureStderr();
    layerError("%s: gone, %d left", "display", 2);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "velkaris: display: gone, 2 left\n");
}

TEST(LayerError, HasAPriorityWhereStandardErrorIsTheJournals) {
    const auto stream = [](dev_t device, ino_t inode) {
        return std::to_string(device) + ":" + std::to_string(inode);
    };
    EXPECT_EQ(lineWith(stream), "<3>velkaris: display: gone, 2 left\n");
}

TEST(LayerError, HasNoneWhereTheJournalHasAnotherStream) {
    const auto otherInode = [](dev_t device, ino_t inode) {
        return std::to_string(device) + ":" + std::to_string(inode + 1);
    };
    const auto otherDevice = [](dev_t device, ino_t inode) {
        return std::to_string(device + 1) + ":" + std::to_string(inode);
    };
    const auto noStream = [](dev_t, ino_t) { return std::string("journal"); };
    EXPECT_EQ(lineWith(otherInode), "velkaris: display: gone, 2 left\n");
    EXPECT_EQ(lineWith(otherDevice), "velkaris: display: gone, 2 left\n");
    EXPECT_EQ(lineWith(noStream), "velkaris: display: gone, 2 left\n");
}

}  // namespace
