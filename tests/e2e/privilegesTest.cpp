// What the running console may do, as the kernel says: what its node and its folders need, and
// nothing else.
#include <linux/capability.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>

#include "e2e/transport.h"

namespace {

constexpr uid_t kOtherUser = 1234;

constexpr uint64_t bit(int capability) {
    return uint64_t{1} << capability;
}

using Status = std::map<std::string, std::string>;

Status readStatus(const std::string& path) {
    Status fields;
    std::ifstream file(path);
    for (std::string name, value; file >> name && std::getline(file, value);)
        fields[name] = value.substr(value.find_first_not_of(" \t") % value.size());
    return fields;
}

uint64_t setIn(Status status, const std::string& name) {
    return std::stoull(status.at(name), nullptr, 16);
}

std::vector<Status> threadsOf(const ConsoleProcess& console, pid_t pid) {
    EXPECT_NE(access(console.node().c_str(), F_OK), -1);
    std::vector<Status> threads;
    const std::string tasks = "/proc/" + std::to_string(pid) + "/task";
    for (const auto& task : std::filesystem::directory_iterator(tasks))
        threads.push_back(readStatus(task.path() / "status"));
    return threads;
}

class Privileges : public OnEachTransport {
protected:
    // Of a console whose folders are its own user's.
    uint64_t neededCapabilities() const {
        if (geteuid() != 0 || isSocket())
            return 0;
        return setIn(readStatus("/proc/self/status"), "CapEff:") &
               (bit(CAP_SYS_PTRACE) | bit(CAP_DAC_READ_SEARCH) |
                (isFuse() ? bit(CAP_SYS_ADMIN) : 0));
    }

    // A user's mount is undone by a program that is installed with root's rights.
    bool needsPrivilegedPrograms() const {
        return isFuse() &&
               (setIn(readStatus("/proc/self/status"), "CapEff:") & bit(CAP_SYS_ADMIN)) == 0;
    }

    static void expectServes(ConsoleProcess* console) {
        ASSERT_TRUE(console->waitForNode()) << console->errors();
        EXPECT_EQ(ConsoleClient(console->node()).write("served"), 6);
    }

    TemporaryFolder folder;
};

}  // namespace

TEST_P(Privileges, AreThoseThatServingNeedsInEveryThread) {
    ConsoleProcess console(usualOptions());
    expectServes(&console);
    const std::vector<Status> threads = threadsOf(console, console.process().pid());
    ASSERT_FALSE(threads.empty());
    for (const Status& thread : threads) {
        EXPECT_EQ(setIn(thread, "CapEff:"), neededCapabilities());
        EXPECT_EQ(setIn(thread, "CapPrm:"), neededCapabilities());
        EXPECT_EQ(setIn(thread, "CapInh:"), 0u);
        EXPECT_EQ(thread.at("NoNewPrivs:"), needsPrivilegedPrograms() ? "0" : "1");
        const bool isLimited = geteuid() == 0 && !needsPrivilegedPrograms();
        EXPECT_TRUE(!isLimited || setIn(thread, "CapBnd:") == neededCapabilities());
    }
}

TEST_P(Privileges, StayWhereFoldersAreAnotherUsers) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can give a folder away";
    if (!isFuse() && !isSocket())
        return;  // a device is in /dev
    ASSERT_EQ(chown(folder.path().c_str(), kOtherUser, kOtherUser), 0);
    ASSERT_EQ(chmod(folder.path().c_str(), 0700), 0);
    ConsoleOptions options = usualOptions();
    options.nodePath = folder.path() + "/node";
    ConsoleProcess console(options);
    expectServes(&console);
    const std::vector<Status> threads = threadsOf(console, console.process().pid());
    EXPECT_EQ(setIn(threads.front(), "CapEff:"), neededCapabilities() | bit(CAP_DAC_OVERRIDE));
    const std::optional<int> status = console.stop(SIGTERM);
    ASSERT_TRUE(status.has_value());
    EXPECT_EQ(*status, 0);
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

VELKARIS_ON_EACH_TRANSPORT(Privileges);
