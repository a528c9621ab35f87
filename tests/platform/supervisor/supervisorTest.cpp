// What a service manager hears, by a socket of the test's own. Each console is a child process: it
// meets its manager once.
#include "supervisor/supervisor.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "ownership/fileDescriptor.h"
#include "support/temporaryFolder.h"

namespace {

std::chrono::steady_clock::time_point now;

}  // namespace

// The linker leads the calls here; see CMakeLists.txt.
extern "C" {
std::chrono::steady_clock::time_point wrappedNow() __asm__(
    "__wrap__ZNSt6chrono3_V212steady_clock3nowEv");
std::chrono::steady_clock::time_point wrappedNow() {
    return now;
}
}

namespace {

using Messages = std::vector<std::string>;

class Manager {
public:
    explicit Manager(const std::string& name) : name_(name) {
        socket_.reset(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        sockaddr_un address = {AF_UNIX, {}};
        memcpy(address.sun_path, name.c_str(), name.size());
        if (name[0] == '@')
            address.sun_path[0] = '\0';
        const socklen_t size = offsetof(sockaddr_un, sun_path) + name.size();
        EXPECT_EQ(bind(socket_.get(), reinterpret_cast<sockaddr*>(&address), size), 0)
            << strerror(errno);
    }

    // What it has been sent so far.
    Messages heard() const {
        Messages all;
        char room[4096];
        ssize_t got;
        while ((got = recv(socket_.get(), room, sizeof room, MSG_DONTWAIT)) >= 0)
            all.emplace_back(room, got);
        return all;
    }

    // Runs `console` in a process of its own that this manager has started.
    void start(const std::function<void()>& console) const {
        const pid_t child = fork();
        if (child == 0) {
            setenv("NOTIFY_SOCKET", name_.c_str(), 1);
            console();
            _exit(testing::Test::HasFailure());
        }
        int status = -1;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }

private:
    std::string name_;
    FileDescriptor socket_;
};

class SupervisorTest : public testing::Test {
protected:
    static void expectHeard(const Manager& manager, const Messages& expected) {
        EXPECT_EQ(manager.heard(), expected);
    }

    TemporaryFolder folder_;
    const Manager manager_{folder_.file("notify")};
};

TEST_F(SupervisorTest, HearsOfTheNodeAndTheWindowAndOfTheEnd) {
    manager_.start([] {
        tellSupervisorOfWindow("kms 800x480");
        tellSupervisorReady("/dev/Velkaris (cuse)");
        tellSupervisorStopping();
    });
    expectHeard(manager_, {"READY=1\nSTATUS=/dev/Velkaris (cuse), kms 800x480", "STOPPING=1"});
}

TEST_F(SupervisorTest, MayHaveAnAbstractSocket) {
    const Manager abstract("@velkaris-test-" + std::to_string(getpid()));
    abstract.start([] { tellSupervisorReady("node"); });
    expectHeard(abstract, {"READY=1\nSTATUS=node"});
}

TEST_F(SupervisorTest, GetsNoLineThatAPathBrings) {
    manager_.start([] { tellSupervisorReady("/dev/a\nFDSTORE=1"); });
    expectHeard(manager_, {"READY=1\nSTATUS=/dev/a FDSTORE=1"});
}

TEST_F(SupervisorTest, IsNotSpokenToByProgramsThatTheConsoleRuns) {
    manager_.start([] {
        setenv("WATCHDOG_USEC", "1000000", 1);
        setenv("WATCHDOG_PID", std::to_string(getpid()).c_str(), 1);
        meetSupervisor();
        for (const char* variable : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"})
            EXPECT_EQ(getenv(variable), nullptr) << variable;
    });
}

TEST_F(SupervisorTest, ItsWatchdogIsFedFourTimesInItsTime) {
    manager_.start([] {
        setenv("WATCHDOG_USEC", "8000000", 1);
        now += std::chrono::hours(1);
        for (int second = 0; second < 8; ++second) {
            tellSupervisorOfTick();
            now += std::chrono::seconds(1);
        }
    });
    expectHeard(manager_, Messages(4, "WATCHDOG=1"));
}

TEST_F(SupervisorTest, AWatchdogOfAnotherProcessIsNotFed) {
    manager_.start([] {
        setenv("WATCHDOG_USEC", "1000000", 1);
        setenv("WATCHDOG_PID", std::to_string(getppid()).c_str(), 1);
        now += std::chrono::hours(1);
        tellSupervisorOfTick();
    });
    expectHeard(manager_, {});
}

TEST_F(SupervisorTest, ATimeThatIsNoneStartsNoWatchdog) {
    for (const char* time : {"", "0", "-5", "soon"}) {
        manager_.start([time] {
            setenv("WATCHDOG_USEC", time, 1);
            now += std::chrono::hours(1);
            tellSupervisorOfTick();
        });
        expectHeard(manager_, {});
    }
    manager_.start([] {
        setenv("WATCHDOG_USEC", "99999999999999999999999", 1);
        now += std::chrono::hours(1000);
        tellSupervisorOfTick();
    });
    expectHeard(manager_, {"WATCHDOG=1"});
}

// The test itself fills the queue, and reads it between the console's calls.
TEST_F(SupervisorTest, ThatIsBusyIsToldWithALaterTick) {
    manager_.start([this] {
        meetSupervisor();
        const FileDescriptor flood(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        sockaddr_un address = {AF_UNIX, {}};
        strcpy(address.sun_path, folder_.file("notify").c_str());
        while (sendto(flood.get(), "x", 1, MSG_DONTWAIT, reinterpret_cast<sockaddr*>(&address),
                      sizeof address) == 1) {
        }
        ASSERT_EQ(errno, EAGAIN);
        tellSupervisorReady("node");
        tellSupervisorOfTick();
        const Messages before = manager_.heard();
        EXPECT_EQ(before, Messages(before.size(), "x"));
        tellSupervisorOfTick();
        tellSupervisorOfTick();
        expectHeard(manager_, {"READY=1\nSTATUS=node"});
    });
}

TEST_F(SupervisorTest, ThatHasGoneIsNoConcern) {
    const pid_t child = fork();
    if (child == 0) {
        setenv("NOTIFY_SOCKET", folder_.file("nobody").c_str(), 1);
        tellSupervisorReady("node");
        tellSupervisorOfTick();
        tellSupervisorStopping();
        _exit(0);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST_F(SupervisorTest, AnAddressOfAnotherKindIsPassedOver) {
    for (const std::string& name : {std::string("@"), std::string("vsock:2:1234"), std::string("/"),
                                    std::string(), "/" + std::string(4000, 'x')}) {
        const pid_t child = fork();
        if (child == 0) {
            setenv("NOTIFY_SOCKET", name.c_str(), 1);
            tellSupervisorReady("node");
            tellSupervisorStopping();
            _exit(0);
        }
        int status = -1;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0) << name;
    }
}

}  // namespace
