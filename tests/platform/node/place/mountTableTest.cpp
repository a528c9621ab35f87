// Finding a mount in the system's table.
#include "node/place/mountTable.h"

#include <gtest/gtest.h>

namespace {

const char kTable[] =
    "22 1 0:21 / / rw,relatime - ext4 /dev/vda rw\n"
    "30 22 0:40 / /dev/Velkaris rw,nosuid shared:5 master:2 - fuse.velkaris velkaris rw\n"
    "31 22 0:41 / /tmp/a\\040b\\134c rw - fuse.velkaris velkaris rw\n"
    "32 30 0:42 / /dev/Velkaris rw,nosuid - tmpfs none rw\n"
    "33 22 0:43 / /dev/VelkarisX rw - tmpfs none rw\n"
    "broken line\n";

TEST(MountTable, TheLastMountOnAPathIsOnTop) {
    const auto found = mountAt("/dev/Velkaris", kTable);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->id, 32);
    EXPECT_EQ(found->type, "tmpfs");
}

TEST(MountTable, EscapedPathsAreFound) {
    const auto found = mountAt("/tmp/a b\\c", kTable);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->id, 31);
    EXPECT_EQ(found->type, "fuse.velkaris");
}

TEST(MountTable, APathThatOnlyBeginsAlikeIsNotMounted) {
    EXPECT_FALSE(mountAt("/dev/Velka", kTable));
    EXPECT_FALSE(mountAt("/dev", kTable));
}

TEST(MountTable, TheProcessesOfThisMachineAreMounted) {
    const std::optional<MountEntry> processes = mountAt("/proc");
    ASSERT_TRUE(processes);
    EXPECT_EQ(processes->type, "proc");
}

}  // namespace
