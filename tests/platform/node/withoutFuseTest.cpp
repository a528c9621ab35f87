// What becomes of the node where FUSE cannot be had. The serving process sees a machine of its own:
// its mounts are in a name space that goes with it.
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "node/place/mountTable.h"
#include "platform/node/servedNode.h"

namespace {

// Ends the process if the machine cannot be changed; the test has tried it before.
void must(int result) {
    if (result != 0)
        _exit(4);
}

void leaveMountsToOthers() {
    must(unshare(CLONE_NEWNS));
    must(mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr));
}

void takeDeviceAway() {
    leaveMountsToOthers();
    must(mount("none", "/dev", "tmpfs", 0, nullptr));
}

// It opens, but nothing can be mounted with it.
void makeDeviceUseless() {
    leaveMountsToOthers();
    must(mount("/dev/null", "/dev/fuse", nullptr, MS_BIND, nullptr));
}

struct Machine {
    const char* name;
    void (*change)();
};

void PrintTo(const Machine& machine, std::ostream* out) {
    *out << machine.name;
}

class WithoutFuse : public testing::TestWithParam<Machine> {
protected:
    void SetUp() override {
        if (geteuid() != 0)
            GTEST_SKIP() << "only root can change what a process sees of the machine";
        if (access("/dev/fuse", F_OK) != 0)
            GTEST_SKIP() << "no /dev/fuse to take away";
        const pid_t child = fork();
        if (child == 0) {
            GetParam().change();
            _exit(0);
        }
        int status = -1;
        waitpid(child, &status, 0);
        if (status != 0)
            GTEST_SKIP() << "mounts cannot be changed here";
    }

    ServedNode serve(const std::string& kind) const {
        return ServedNode(path_, kind, GetParam().change);
    }

    bool isSocket() const {
        struct stat found;
        return lstat(path_.c_str(), &found) == 0 && S_ISSOCK(found.st_mode);
    }

    NodeFolder folder_;
    const std::string path_ = folder_.file("node");
};

TEST_P(WithoutFuse, TheNodeIsASocketUnlessAFileIsInsistedOn) {
    ServedNode node = serve("");
    ASSERT_TRUE(node.attached()) << strerror(node.attachError());
    EXPECT_TRUE(isSocket());
    const FileDescriptor client(devctl_open(path_.c_str(), O_WRONLY));
    EXPECT_EQ(devctl_write(client.get(), "text", 4), 4);
    EXPECT_STREQ(node.nextReport().start, "text");
    node.end(SIGTERM);
    EXPECT_NE(node.errorText().find("served as a socket"), std::string::npos);
    EXPECT_NE(access(path_.c_str(), F_OK), 0);
}

TEST_P(WithoutFuse, AFileThatIsInsistedOnIsRefusedAndNothingIsLeft) {
    ServedNode node = serve("fuse");
    EXPECT_NE(node.attachError(), 0);
    node.end(SIGTERM);
    EXPECT_NE(node.errorText().find("cannot be served by fuse: "), std::string::npos);
    EXPECT_NE(access(path_.c_str(), F_OK), 0);
}

TEST_P(WithoutFuse, AnEmptyFileGivesWayToTheSocket) {
    std::ofstream{path_};
    ServedNode node = serve("");
    ASSERT_TRUE(node.attached()) << strerror(node.attachError());
    EXPECT_TRUE(isSocket());
}

TEST_P(WithoutFuse, AFileWithContentsStaysAndTheNodeIsRefused) {
    std::ofstream(path_) << "early";
    ServedNode node = serve("");
    EXPECT_EQ(node.attachError(), EEXIST);
    node.end(SIGTERM);
    EXPECT_NE(node.errorText().find("which a socket would not keep"), std::string::npos);
    std::string text;
    std::ifstream(path_) >> text;
    EXPECT_EQ(text, "early");
}

INSTANTIATE_TEST_SUITE_P(Machines, WithoutFuse,
                         testing::Values(Machine{"NoDevice", takeDeviceAway},
                                         Machine{"UselessDevice", makeDeviceUseless}),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
