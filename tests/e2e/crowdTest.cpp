// Many clients at once, clients that die, and clients that never stop.
#include <devctlSocket.h>
#include <fcntl.h>
#include <linux/userfaultfd.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <thread>

#include "e2e/rowReader.h"
#include "e2e/transport.h"

namespace {

constexpr int kClients = 20;
constexpr int kWritesEach = 4;  // 240 rows, of the 291 that the largest window shows

// A process that does one thing with a client and is then killed or ends.
class ClientProcess {
public:
    ClientProcess(const std::string& node, void (*act)(int fd)) : pid_(fork()) {
        if (pid_ == 0) {
            act(devctl_open(node.c_str(), O_WRONLY));
            _exit(0);
        }
    }
    ~ClientProcess() { end(SIGKILL); }
    ClientProcess(const ClientProcess&) = delete;
    ClientProcess& operator=(const ClientProcess&) = delete;

    pid_t pid() const { return pid_; }

    void end(int signalNumber) {
        if (pid_ < 0)
            return;
        kill(pid_, signalNumber);
        waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }

    // Until it waits inside one of these system calls.
    bool waitForCall(const std::vector<long>& calls) const {
        const std::string path = "/proc/" + std::to_string(pid_) + "/syscall";
        for (int waited = 0; waited < kHangGuard; ++waited) {
            const std::string call = readFile(path);
            const long number = call.empty() || call[0] == 'r' ? -1 : std::stol(call);
            if (std::find(calls.begin(), calls.end(), number) != calls.end())
                return true;
            poll(nullptr, 0, 1);
        }
        return false;
    }

private:
    pid_t pid_;
};

// What a client of either transport waits in while it writes.
const std::vector<long> kWriteCalls = {SYS_write, SYS_sendto, SYS_sendmsg, SYS_recvmsg,
                                       SYS_recvfrom};
const std::vector<long> kCommandCalls = {SYS_ioctl, SYS_sendto, SYS_sendmsg, SYS_recvmsg,
                                         SYS_recvfrom};

const std::string kServed = "served";
constexpr int kMissedTicks = 5;

// As programs do that know nothing of consoles, where the system lets them.
ssize_t writePlainly(int fd, const void* data, size_t size) {
    return devctlIsSocket(fd) ? devctl_write(fd, data, size) : write(fd, data, size);
}

void writeMuch(int fd) {
    static char text[8 << 20];
    memset(text, 'd', sizeof(text));
    for (size_t at = 99; at < sizeof(text); at += 100)
        text[at] = '\n';
    for (;;)
        writePlainly(fd, text, sizeof(text));
}

void writeLittleForEver(int fd) {
    while (devctl_write(fd, "flood", 5) == 5) {
    }
}

// Memory that whoever touches it waits for, and that nobody supplies. Null where the system has
// none for this user.
void* memoryThatNeverArrives(size_t size) {
    const int fd = static_cast<int>(syscall(SYS_userfaultfd, O_CLOEXEC));  // open until the end
    void* const memory =
        mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    uffdio_api api = {};
    api.api = UFFD_API;
    uffdio_register range = {};
    range.range = {reinterpret_cast<uint64_t>(memory), size};
    range.mode = UFFDIO_REGISTER_MODE_MISSING;
    const bool registered =
        fd >= 0 && ioctl(fd, UFFDIO_API, &api) == 0 && ioctl(fd, UFFDIO_REGISTER, &range) == 0;
    return registered ? memory : nullptr;
}

void writeWhatNeverArrives(int fd) {
    void* const memory = memoryThatNeverArrives(4096);
    if (!memory)
        _exit(1);
    writePlainly(fd, memory, 4096);
}

// These two wait for a SIGCONT before they begin.
void writeWhatDrawsNothing(int fd) {
    static char text[4 << 20];
    memset(text, 0x80, sizeof(text));
    raise(SIGSTOP);
    writePlainly(fd, text, sizeof(text));
}

void setStatusServed(int fd) {
    std::string text = kServed;
    raise(SIGSTOP);
    devctl(fd, static_cast<int>(kSetStatusCode), text.data(), text.size() + 1, nullptr);
}

// The row of a client's write; three rows make one write.
std::string rowText(int client, int number, int row) {
    return "client " + std::to_string(client) + " write " + std::to_string(number) + " row " +
           std::to_string(row);
}

class Crowd : public OnEachTransport {
protected:
    // Enough lines to fill the screen, whatever was there before.
    static void expectServesAfterAll(ConsoleProcess* console) {
        ConsoleClient client(console->node());
        ReferenceModel model;
        for (int number = 0; number < 20; ++number) {
            const std::string text = "served " + std::to_string(number);
            EXPECT_EQ(client.write(text), static_cast<ssize_t>(text.size()));
            model.addLine(text);
        }
        expectSamePicture("crowd", predictUsual(model), nextFrame(console));
    }

    static void waitUntilStopped(pid_t process) {
        siginfo_t stopped = {};
        ASSERT_EQ(waitid(P_PID, static_cast<id_t>(process), &stopped, WSTOPPED), 0);
    }

    static void stopForNow(ConsoleProcess* console) {
        console->process().signal(SIGSTOP);
        waitUntilStopped(console->process().pid());
    }

    // Lets the stopped console miss ticks while the client waits for it, and then go on. Returns
    // the newest frame of before.
    static int missTicks(ConsoleProcess* console, const ClientProcess& client) {
        const int newest = console->newestFrame();
        kill(client.pid(), SIGCONT);
        EXPECT_TRUE(client.waitForCall(kCommandCalls));
        poll(nullptr, 0, kMissedTicks * 1000);
        console->process().signal(SIGCONT);
        return newest;
    }

    static RgbImage statusServed() {
        ReferenceModel model;
        model.status = kServed;
        return predictUsual(model);
    }
};

}  // namespace

TEST_P(Crowd, TwentyClientsAtOnceLoseNoLineAndMixNoWrite) {
    ConsoleOptions options = usualOptions();
    options.window = "headless:400x4096";
    options.arguments = {"-p", VELKARIS_TEST_FONT, "-f", "5"};
    ConsoleProcess console(options);
    ASSERT_TRUE(console.waitForNode()) << console.errors();

    std::atomic<int> failures = 0;
    std::vector<std::thread> clients;
    for (int number = 0; number < kClients; ++number) {
        clients.emplace_back([&, number] {
            ConsoleClient client(console.node());
            for (int write = 0; write < kWritesEach; ++write) {
                const std::string text = rowText(number, write, 0) + "\n" +
                                         rowText(number, write, 1) + "\n" +
                                         rowText(number, write, 2);
                failures += client.write(text) != static_cast<ssize_t>(text.size());
            }
        });
    }
    for (std::thread& client : clients)
        client.join();
    EXPECT_EQ(failures, 0);

    std::vector<std::string> candidates;
    for (int number = 0; number < kClients * kWritesEach * 3; ++number)
        candidates.push_back(
            rowText(number / (kWritesEach * 3), number / 3 % kWritesEach, number % 3));
    ReferenceScreen screen;
    screen.width = 400;
    screen.height = 4096;
    const std::vector<std::string> rows =
        readRows(nextFrame(&console), screen, loadReferenceFont(VELKARIS_TEST_FONT, 5), candidates);

    ASSERT_EQ(rows.size(), candidates.size());
    std::vector<int> written(kClients, 0);
    for (size_t at = 0; at < rows.size(); at += 3) {
        int client = 0;
        ASSERT_EQ(sscanf(rows[at].c_str(), "client %d", &client), 1) << rows[at];
        const int number = written[static_cast<size_t>(client)]++;
        for (int row = 0; row < 3; ++row)
            EXPECT_EQ(rows[at + static_cast<size_t>(row)], rowText(client, number, row));
    }
}

TEST_P(Crowd, AThousandDescriptorsAreServed) {
    ConsoleProcess console(usualOptions());
    ASSERT_TRUE(console.waitForNode()) << console.errors();
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_max < 1200)
        GTEST_SKIP() << "only " << limit.rlim_max << " descriptors are allowed here";
    const rlim_t before = limit.rlim_cur;
    limit.rlim_cur = std::max<rlim_t>(before, 1200);
    setrlimit(RLIMIT_NOFILE, &limit);

    ReferenceModel model;
    {
        std::vector<std::unique_ptr<ConsoleClient>> clients;
        for (int number = 0; number < 1000; ++number)
            clients.push_back(std::make_unique<ConsoleClient>(console.node()));
        for (size_t number = 0; number < clients.size(); ++number) {
            const std::string text = "descriptor " + std::to_string(number);
            ASSERT_EQ(clients[number]->write(text), static_cast<ssize_t>(text.size())) << number;
            model.addLine(text);
        }
        expectSamePicture("descriptors", predictUsual(model), nextFrame(&console));
    }
    limit.rlim_cur = before;
    setrlimit(RLIMIT_NOFILE, &limit);
    expectServesAfterAll(&console);
}

TEST_P(Crowd, AClientKilledWhileTheConsoleIsStoppedCostsOnlyItself) {
    ConsoleProcess console(usualOptions());
    ASSERT_TRUE(console.waitForNode()) << console.errors();
    for (int round = 0; round < 3; ++round) {
        ClientProcess client(console.node(), writeMuch);
        ASSERT_TRUE(client.waitForCall(kWriteCalls));
        stopForNow(&console);
        ASSERT_TRUE(client.waitForCall(kWriteCalls));
        kill(client.pid(), SIGKILL);
        console.process().signal(SIGCONT);
        client.end(SIGKILL);
    }
    expectServesAfterAll(&console);
}

TEST_P(Crowd, ClientsKilledInTheMiddleOfTheirWritesCostOnlyThemselves) {
    ConsoleProcess console(usualOptions());
    ASSERT_TRUE(console.waitForNode()) << console.errors();
    for (int round = 0; round < 10; ++round) {
        ClientProcess client(console.node(), writeMuch);
        ASSERT_TRUE(client.waitForCall(kWriteCalls));
        client.end(SIGKILL);
    }
    expectServesAfterAll(&console);
}

TEST_P(Crowd, AWriterWhoseMemoryNeverArrivesHoldsUpNobodyElse) {
    if (!memoryThatNeverArrives(4096))
        GTEST_SKIP() << "no userfaultfd: " << strerror(errno);
    ConsoleProcess console(usualOptions());
    ASSERT_TRUE(console.waitForNode()) << console.errors();
    ReferenceModel model;
    for (const char* text : {"first", "second"}) {
        ClientProcess stuck(console.node(), writeWhatNeverArrives);
        ASSERT_TRUE(stuck.waitForCall(kWriteCalls));
        ConsoleClient client(console.node());
        EXPECT_EQ(client.setStatus("served"), EOK);
        EXPECT_EQ(devctl_write(client.fd(), text, strlen(text)),
                  static_cast<ssize_t>(strlen(text)));
        model.addLine(text);
        if (std::string(GetParam()) == "cuse") {
            EXPECT_EQ(client.write("plainly"), 7);
            model.addLine("plainly");
        }
    }
    model.status = "served";
    expectSamePicture("neverArrives", predictUsual(model), nextFrame(&console));
}

TEST_P(Crowd, AFloodOfWritesDoesNotHoldUpTheClock) {
    ConsoleProcess console(usualOptions());
    ASSERT_TRUE(console.waitForNode()) << console.errors();
    std::vector<std::unique_ptr<ClientProcess>> flood;
    for (int number = 0; number < 4; ++number)
        flood.push_back(std::make_unique<ClientProcess>(console.node(), [](int fd) {
            while (devctl(fd, static_cast<int>(kSetPercentCode), const_cast<char*>("\1\0\0\0"), 4,
                          nullptr) == EOK) {
            }
        }));
    EXPECT_TRUE(console.waitForFrame(console.newestFrame() + 3)) << console.errors();
    flood.clear();

    ClientProcess writer(console.node(), writeLittleForEver);
    EXPECT_TRUE(console.waitForFrame(console.newestFrame() + 2)) << console.errors();
}

// The frames are all late; the first of them may have been begun before the stop.
TEST_P(Crowd, AfterAStopAClientIsServedBetweenTheMissedFrames) {
    ConsoleProcess console(usualOptions());
    ASSERT_TRUE(console.waitForNode()) << console.errors();
    const ClientProcess client(console.node(), setStatusServed);
    waitUntilStopped(client.pid());
    stopForNow(&console);
    const int newest = missTicks(&console, client);
    ASSERT_TRUE(console.waitForFrame(newest + kMissedTicks)) << console.errors();
    expectSamePicture("missedTicks", statusServed(), console.frame(newest + 2));
}

TEST_P(Crowd, AClientIsServedWhileAnotherWritesMegabytesThatDrawNothing) {
    ConsoleProcess console(usualOptions());
    ASSERT_TRUE(console.waitForNode()) << console.errors();
    ClientProcess writer(console.node(), writeWhatDrawsNothing);
    const ClientProcess client(console.node(), setStatusServed);
    waitUntilStopped(writer.pid());
    waitUntilStopped(client.pid());
    stopForNow(&console);
    kill(writer.pid(), SIGCONT);
    ASSERT_TRUE(writer.waitForCall(kWriteCalls));
    const int newest = missTicks(&console, client);
    ASSERT_TRUE(console.waitForFrame(newest + kMissedTicks)) << console.errors();
    // One of the writer's pieces goes before the command.
    expectSamePicture("drawsNothing", statusServed(), console.frame(newest + 3));
}

VELKARIS_ON_EACH_TRANSPORT(Crowd);
