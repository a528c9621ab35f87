// What the two settings of a node's rights may say, and what they do to a path.
#include "node/place/nodeRights.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <string>

#include "support/temporaryFolder.h"

namespace {

constexpr NodeRights kUsual = {0666, kOwnersGroup};

TEST(NodeRights, AreTheUsualOnesWithoutSettings) {
    const std::optional<NodeRights> rights = parseNodeRights("", "", kUsual);
    ASSERT_TRUE(rights);
    EXPECT_EQ(rights->mode, kUsual.mode);
    EXPECT_EQ(rights->group, kUsual.group);
}

TEST(NodeRights, ModesAreOctal) {
    for (const auto& [text, mode] : std::initializer_list<std::pair<const char*, mode_t>>{
             {"0660", 0660}, {"660", 0660}, {"0", 0}, {"0777", 0777}}) {
        const std::optional<NodeRights> rights = parseNodeRights(text, "", kUsual);
        ASSERT_TRUE(rights) << text;
        EXPECT_EQ(rights->mode, mode);
    }
}

TEST(NodeRights, GroupsHaveNamesOrNumbers) {
    for (const auto& [text, group] :
         std::initializer_list<std::pair<const char*, gid_t>>{{"root", 0}, {"0", 0}, {"44", 44}}) {
        const std::optional<NodeRights> rights = parseNodeRights("", text, kUsual);
        ASSERT_TRUE(rights) << text;
        EXPECT_EQ(rights->group, group);
    }
}

TEST(NodeRights, AModeThatIsNoneIsOneLineAndInvalid) {
    for (const std::string text : {"rw-rw----", "0688", "01777", "-1", "0660 ", "99999999999999"}) {
        testing::internal::CaptureStderr();
        errno = 0;
        EXPECT_FALSE(parseNodeRights(text, "", kUsual));
        EXPECT_EQ(errno, EINVAL);
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  "velkaris: VELKARIS_NODE_MODE is \"" + text +
                      "\", no permissions in octal like \"0660\"\n");
    }
}

TEST(NodeRights, AGroupThatIsNoneIsOneLineAndInvalid) {
    for (const std::string text : {"no group of that name", "4294967295", "-1", "99999999999"}) {
        testing::internal::CaptureStderr();
        errno = 0;
        EXPECT_FALSE(parseNodeRights("", text, kUsual));
        EXPECT_EQ(errno, EINVAL);
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  "velkaris: VELKARIS_NODE_GROUP is \"" + text +
                      "\", neither a group's name nor its number\n");
    }
}

TEST(NodeRights, AreGivenToWhatIsAtThePath) {
    const TemporaryFolder folder;
    const std::string path = folder.path() + "/node";
    std::ofstream(path) << "";
    ASSERT_TRUE(grantRights(path, {0640, getegid()}));
    struct stat found = {};
    ASSERT_EQ(stat(path.c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 07777, 0640u);
    EXPECT_EQ(found.st_gid, getegid());
}

TEST(NodeRights, ThatCannotBeGivenAreOneLine) {
    testing::internal::CaptureStderr();
    errno = 0;
    EXPECT_FALSE(grantRights("/nowhere/node", {0666, 44}));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "velkaris: /nowhere/node: cannot be given to group 44: No such file or directory\n");
}

}  // namespace
