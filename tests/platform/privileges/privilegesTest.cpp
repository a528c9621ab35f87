// Each test gives privileges up in a child, which then shows what the kernel says of it.
#include "privileges/privileges.h"

#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <fstream>
#include <functional>
#include <string>
#include <thread>

#include "support/temporaryFolder.h"

namespace {

constexpr uid_t kOtherUser = 1234;

constexpr uint64_t bit(int capability) {
    return uint64_t{1} << capability;
}

// What /proc says of a thread.
struct Rights {
    uint64_t inheritable = ~0ull, permitted = ~0ull, effective = ~0ull, bounding = ~0ull;
    uint64_t ambient = ~0ull;
    int noNewPrivileges = -1;
};

Rights readRights(const std::string& path) {
    Rights found;
    std::ifstream file(path);
    for (std::string name, value; file >> name && std::getline(file, value);) {
        const auto number = [&value] { return std::stoull(value, nullptr, 16); };
        if (name == "CapInh:")
            found.inheritable = number();
        else if (name == "CapPrm:")
            found.permitted = number();
        else if (name == "CapEff:")
            found.effective = number();
        else if (name == "CapBnd:")
            found.bounding = number();
        else if (name == "CapAmb:")
            found.ambient = number();
        else if (name == "NoNewPrivs:")
            found.noNewPrivileges = std::stoi(value);
    }
    return found;
}

// What a child has after `act`.
Rights rightsAfter(const std::function<void()>& act) {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
        act();
        const Rights found = readRights("/proc/thread-self/status");
        const bool sent = write(ends[1], &found, sizeof(found)) == sizeof(found);
        _exit(sent && !testing::Test::HasFailure() ? 0 : 1);
    }
    close(ends[1]);
    Rights found;
    EXPECT_EQ(read(ends[0], &found, sizeof(found)), static_cast<ssize_t>(sizeof(found)));
    close(ends[0]);
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    return found;
}

class PrivilegesOfRoot : public testing::Test {
protected:
    void SetUp() override {
        const Rights own = readRights("/proc/self/status");
        const uint64_t needed = bit(CAP_SYS_ADMIN) | bit(CAP_SETPCAP) | bit(CAP_DAC_OVERRIDE) |
                                bit(CAP_NET_RAW) | bit(CAP_CHOWN) | bit(CAP_SETUID);
        if ((own.effective & needed) != needed)
            GTEST_SKIP() << "this process has no capabilities to give up";
    }

    // The right to pass over permissions, as it is kept for `folder`.
    static bool passesOverPermissions(const std::string& folder) {
        const Rights rights = rightsAfter([&] {
            keepAccessTo(folder);
            dropPrivileges();
        });
        EXPECT_EQ(rights.effective & ~bit(CAP_DAC_OVERRIDE), 0u);
        return rights.effective != 0;
    }
};

TEST_F(PrivilegesOfRoot, AreAllGivenUpUnlessKept) {
    const Rights rights = rightsAfter(dropPrivileges);
    EXPECT_EQ(rights.effective, 0u);
    EXPECT_EQ(rights.permitted, 0u);
    EXPECT_EQ(rights.bounding, 0u);
    EXPECT_EQ(rights.noNewPrivileges, 1);
}

TEST_F(PrivilegesOfRoot, StayAsFarAsTheyAreKept) {
    const uint64_t kept = bit(CAP_SYS_ADMIN) | bit(CAP_SYS_TTY_CONFIG);
    const Rights rights = rightsAfter([] {
        keepCapability(CAP_SYS_ADMIN);
        keepCapability(CAP_SYS_TTY_CONFIG);
        dropPrivileges();
    });
    EXPECT_EQ(rights.effective, kept);
    EXPECT_EQ(rights.permitted, kept);
    EXPECT_EQ(rights.bounding, kept);
    EXPECT_EQ(rights.noNewPrivileges, 1);
}

TEST_F(PrivilegesOfRoot, AreNotPassedOnToPrograms) {
    const Rights rights = rightsAfter([] {
        keepCapability(CAP_NET_RAW);
        __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
        __user_cap_data_struct sets[2] = {};
        EXPECT_EQ(syscall(SYS_capget, &header, sets), 0);
        sets[0].inheritable = 1u << CAP_NET_RAW;
        EXPECT_EQ(syscall(SYS_capset, &header, sets), 0);
        EXPECT_EQ(prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_RAISE, CAP_NET_RAW, 0, 0), 0);
        dropPrivileges();
    });
    EXPECT_EQ(rights.effective, bit(CAP_NET_RAW));
    EXPECT_EQ(rights.inheritable, 0u);
    EXPECT_EQ(rights.ambient, 0u);
}

// The highest is in the second half of what the kernel takes.
TEST_F(PrivilegesOfRoot, OfTheSecondHalfStayToo) {
    const Rights own = readRights("/proc/self/status");
    if ((own.effective & bit(CAP_BPF)) == 0)
        GTEST_SKIP() << "the kernel gives this process no CAP_BPF";
    const Rights rights = rightsAfter([] {
        keepCapability(CAP_BPF);
        dropPrivileges();
    });
    EXPECT_EQ(rights.effective, bit(CAP_BPF));
    EXPECT_EQ(rights.bounding, bit(CAP_BPF));
}

TEST_F(PrivilegesOfRoot, AreNotRaisedByKeepingWhatIsNotThere) {
    const Rights rights = rightsAfter([] {
        keepCapability(CAP_CHOWN);
        dropPrivileges();
        keepCapability(CAP_SYS_ADMIN);
        dropPrivileges();
    });
    EXPECT_EQ(rights.permitted, bit(CAP_CHOWN));
    EXPECT_EQ(rights.bounding, bit(CAP_CHOWN));
}

TEST_F(PrivilegesOfRoot, OfInstalledProgramsAreLeftWhereTheyAreNeeded) {
    const Rights before = readRights("/proc/self/status");
    const Rights rights = rightsAfter([] {
        keepPrivilegedPrograms();
        dropPrivileges();
    });
    EXPECT_EQ(rights.effective, 0u);
    EXPECT_EQ(rights.bounding, before.bounding);
    EXPECT_EQ(rights.noNewPrivileges, before.noNewPrivileges);
}

TEST_F(PrivilegesOfRoot, AreLessInThreadsThatStartLater) {
    const Rights rights = rightsAfter([] {
        dropPrivileges();
        Rights ofThread;
        std::thread([&] { ofThread = readRights("/proc/thread-self/status"); }).join();
        EXPECT_EQ(ofThread.permitted, 0u);
        EXPECT_EQ(ofThread.noNewPrivileges, 1);
    });
    EXPECT_EQ(rights.permitted, 0u);
}

TEST_F(PrivilegesOfRoot, AreSeenUntilTheyAreGivenUp) {
    rightsAfter([] {
        EXPECT_TRUE(hasCapability(CAP_NET_RAW));
        keepCapability(CAP_CHOWN);
        dropPrivileges();
        EXPECT_FALSE(hasCapability(CAP_NET_RAW));
        EXPECT_TRUE(hasCapability(CAP_CHOWN));
    });
}

TEST_F(PrivilegesOfRoot, AreNotNeededInAFolderOfItsOwn) {
    const TemporaryFolder folder;
    EXPECT_FALSE(passesOverPermissions(folder.path()));
    EXPECT_FALSE(passesOverPermissions(folder.path() + "/"));
    EXPECT_FALSE(passesOverPermissions("/"));
}

TEST_F(PrivilegesOfRoot, AreNeededInTheFolderOfAnother) {
    const TemporaryFolder folder;
    ASSERT_EQ(chown(folder.path().c_str(), kOtherUser, kOtherUser), 0);
    ASSERT_EQ(chmod(folder.path().c_str(), 0755), 0);
    EXPECT_TRUE(passesOverPermissions(folder.path()));
    ASSERT_EQ(chmod(folder.path().c_str(), 0757), 0);
    EXPECT_FALSE(passesOverPermissions(folder.path()));
}

TEST_F(PrivilegesOfRoot, AreNeededOnTheWayToAFolder) {
    const TemporaryFolder folder;
    const std::string inner = folder.path() + "/inner";
    ASSERT_EQ(mkdir(inner.c_str(), 0755), 0);
    ASSERT_EQ(chown(folder.path().c_str(), kOtherUser, kOtherUser), 0);
    ASSERT_EQ(chmod(folder.path().c_str(), 0700), 0);
    EXPECT_TRUE(passesOverPermissions(inner));
    ASSERT_EQ(chmod(folder.path().c_str(), 0701), 0);
    EXPECT_FALSE(passesOverPermissions(inner));
}

TEST_F(PrivilegesOfRoot, AreNeededInAFolderThatIsNotForWriting) {
    const TemporaryFolder folder;
    ASSERT_EQ(chmod(folder.path().c_str(), 0577), 0);
    EXPECT_TRUE(passesOverPermissions(folder.path()));
    ASSERT_EQ(chmod(folder.path().c_str(), 0677), 0);
    EXPECT_TRUE(passesOverPermissions(folder.path()));
}

TEST_F(PrivilegesOfRoot, AreKeptForAFolderThatIsNotThere) {
    EXPECT_TRUE(passesOverPermissions("/nonexistent/folder"));
}

TEST(PrivilegesOfAUser, GrowByNoProgramAfterwards) {
    const Rights rights = rightsAfter([] {
        EXPECT_TRUE(geteuid() != 0 || setuid(kOtherUser) == 0);
        keepCapability(CAP_SYS_ADMIN);
        dropPrivileges();
    });
    EXPECT_EQ(rights.permitted, 0u);
    EXPECT_EQ(rights.noNewPrivileges, 1);
}

}  // namespace
