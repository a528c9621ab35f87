// The node as a socket, and clients of it that do not keep to the rules.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "node/place/socketAddress.h"
#include "platform/node/servedNode.h"

namespace {

size_t openFiles(pid_t process) {
    const std::filesystem::directory_iterator files("/proc/" + std::to_string(process) + "/fd");
    return static_cast<size_t>(std::distance(begin(files), end(files)));
}

size_t threads(pid_t process) {
    const std::filesystem::directory_iterator tasks("/proc/" + std::to_string(process) + "/task");
    return static_cast<size_t>(std::distance(begin(tasks), end(tasks)));
}

// How often a process has gone to sleep.
long sleeps(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    std::string word;
    long count = -1;
    while (status >> word && word != "voluntary_ctxt_switches:") {
    }
    status >> count;
    return count;
}

// A connection that whoever closes it last waits for: what was sent through it is never read.
struct LingeringConnection {
    FileDescriptor listener, sender;

    // Not before the service runs, which would inherit copies.
    bool establish() {
        listener.reset(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sender.reset(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        auto* const name = reinterpret_cast<sockaddr*>(&address);
        socklen_t size = sizeof(address);
        const linger forLong = {1, 1000};
        if (bind(listener.get(), name, size) != 0 || listen(listener.get(), 1) != 0 ||
            getsockname(listener.get(), name, &size) != 0 ||
            connect(sender.get(), name, size) != 0 ||
            setsockopt(sender.get(), SOL_SOCKET, SO_LINGER, &forLong, sizeof(forLong)) != 0)
            return false;
        const std::string much(65536, 'x');
        while (send(sender.get(), much.data(), much.size(), MSG_DONTWAIT) > 0) {
        }
        return errno == EAGAIN;
    }
};

struct AnswerSocket {
    FileDescriptor mine, theirs;

    AnswerSocket() {
        int channel[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, channel), 0);
        mine.reset(channel[0]);
        theirs.reset(channel[1]);
    }
};

// Sends the request to open the node and passes the descriptors along.
bool pass(const FileDescriptor& to, const std::vector<int>& descriptors) {
    DevctlPacket packet = devctlMakePacket(kDevctlPacketOpen, O_WRONLY, 0);
    const size_t bytes = descriptors.size() * sizeof(int);
    std::vector<char> control(CMSG_SPACE(bytes));
    iovec data = {&packet, sizeof(packet)};
    msghdr message = {};
    message.msg_iov = &data;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    cmsghdr* const passed = CMSG_FIRSTHDR(&message);
    passed->cmsg_level = SOL_SOCKET;
    passed->cmsg_type = SCM_RIGHTS;
    passed->cmsg_len = CMSG_LEN(bytes);
    memcpy(CMSG_DATA(passed), descriptors.data(), bytes);
    return sendmsg(to.get(), &message, MSG_NOSIGNAL) == static_cast<ssize_t>(sizeof(packet));
}

class SocketNodeTest : public testing::Test {
protected:
    void SetUp() override {
        node_ = std::make_unique<ServedNode>(folder_.file("node"), "socket");
        ASSERT_TRUE(node_->attached()) << strerror(node_->attachError());
    }

    FileDescriptor openNode() const {
        return FileDescriptor(devctl_open(node_->path().c_str(), O_RDWR));
    }

    // Connected, but not opened by the protocol.
    FileDescriptor connectRaw() const {
        FileDescriptor raw(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
        const SocketAddress address(node_->path());
        EXPECT_EQ(connect(raw.get(), address.get(), address.size()), 0);
        return raw;
    }

    // The service still serves others.
    void expectAlive() {
        const FileDescriptor client = openNode();
        ASSERT_TRUE(client) << strerror(errno);
        ASSERT_EQ(devctl_write(client.get(), "alive", 5), 5);
        EXPECT_STREQ(node_->nextReport().start, "alive");
    }

    // Waits until the service has hung up on `client`.
    static void expectDropped(const FileDescriptor& client) {
        pollfd gone = {client.get(), POLLHUP, 0};
        EXPECT_EQ(poll(&gone, 1, 60000), 1);
        EXPECT_NE(gone.revents & POLLHUP, 0);
    }

    // Has `sendIt` send a descriptor that takes very long to close, and lets go of it here while
    // the service is stopped, so that the service's copy is the last.
    template <typename Sending>
    void sendUncloseable(Sending sendIt) {
        ASSERT_TRUE(lingering_.establish()) << strerror(errno);
        kill(node_->process(), SIGSTOP);
        sendIt(lingering_.sender.get());
        lingering_.sender.reset();
        kill(node_->process(), SIGCONT);
    }

    NodeFolder folder_;
    std::unique_ptr<ServedNode> node_;
    LingeringConnection lingering_;
};

TEST_F(SocketNodeTest, EverybodyMayConnect) {
    struct stat found;
    ASSERT_EQ(stat(node_->path().c_str(), &found), 0);
    EXPECT_EQ(found.st_mode, static_cast<mode_t>(S_IFSOCK | 0666));
}

TEST_F(SocketNodeTest, SaysThatRedirectionWillNotWork) {
    node_->end(SIGTERM);
    EXPECT_NE(node_->errorText().find("shell redirection to it will not work"), std::string::npos);
}

TEST_F(SocketNodeTest, ALongPathIsServedAsWell) {
    const std::string name(60, 'n'), folder = folder_.file(std::string(60, 'f'));
    ASSERT_EQ(mkdir(folder.c_str(), 0700), 0);
    {
        ServedNode node(folder + "/" + name, "socket");
        EXPECT_TRUE(node.attached());
        const FileDescriptor client(devctl_open(node.path().c_str(), O_WRONLY));
        ASSERT_TRUE(client) << strerror(errno);
        EXPECT_EQ(devctl_write(client.get(), "x", 1), 1);
    }
    EXPECT_NE(access((folder + "/" + name).c_str(), F_OK), 0);
}

TEST_F(SocketNodeTest, RubbishCostsOnlyItsSender) {
    DevctlPacket wrongMagic = devctlMakePacket(kDevctlPacketWrite, 0, 0);
    wrongMagic.magic = 1;
    const DevctlPacket noDescriptor = devctlMakePacket(kDevctlPacketOpen, O_WRONLY, 0);
    const std::string packets[] = {
        "x",
        "echo hello\n",
        std::string(100000, 'x'),
        std::string(kDevctlPacketBytes + 24, '\0'),
        std::string(reinterpret_cast<const char*>(&wrongMagic), sizeof(wrongMagic)),
        std::string(reinterpret_cast<const char*>(&noDescriptor), sizeof(noDescriptor)),
    };
    for (const std::string& packet : packets) {
        const FileDescriptor client = connectRaw();
        ASSERT_EQ(send(client.get(), packet.data(), packet.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(packet.size()));
        expectDropped(client);
        expectAlive();
    }
}

TEST_F(SocketNodeTest, ADescriptorThatIsNoAnswerSocketIsRefused) {
    const FileDescriptor client = connectRaw();
    const FileDescriptor file(open("/dev/null", O_RDWR | O_CLOEXEC));
    const DevctlPacket packet = devctlMakePacket(kDevctlPacketOpen, O_WRONLY, 0);
    ASSERT_EQ(devctlSendFirst(client.get(), &packet, nullptr, file.get()), 0);
    expectDropped(client);
    expectAlive();
}

TEST_F(SocketNodeTest, DescriptorsThatCannotBeClosedHoldUpNobody) {
    LingeringConnection connections[10];
    std::vector<FileDescriptor> clients;
    kill(node_->process(), SIGSTOP);  // so that its copies are the last
    for (LingeringConnection& connection : connections) {
        ASSERT_TRUE(connection.establish()) << strerror(errno);
        clients.push_back(connectRaw());
        const DevctlPacket packet = devctlMakePacket(kDevctlPacketOpen, O_WRONLY, 0);
        ASSERT_EQ(devctlSendFirst(clients.back().get(), &packet, nullptr, connection.sender.get()),
                  0);
        connection.sender.reset();
    }
    kill(node_->process(), SIGCONT);
    for (const FileDescriptor& client : clients)
        expectDropped(client);
    expectAlive();
    EXPECT_EQ(threads(node_->process()), 2u);
}

TEST_F(SocketNodeTest, BehindWhatCannotBeClosedNothingOfOthersPilesUp) {
    const size_t before = openFiles(node_->process());
    const FileDescriptor client = connectRaw();
    sendUncloseable([&](int descriptor) { ASSERT_TRUE(pass(client, {descriptor})); });
    expectDropped(client);
    for (int i = 0; i < 100; ++i)
        expectAlive();
    while (openFiles(node_->process()) > before)
        std::this_thread::yield();
}

// Below, what cannot be closed lies in a place where nobody takes it out.
TEST_F(SocketNodeTest, NobodyIsHeldUpByWhatWaitsInAnAnswerSocket) {
    AnswerSocket answer;
    const FileDescriptor client = connectRaw();
    sendUncloseable([&](int descriptor) {
        ASSERT_TRUE(pass(answer.mine, {descriptor}));
        ASSERT_TRUE(pass(client, {answer.theirs.get()}));
        answer.theirs.reset();
    });
    expectAlive();
}

TEST_F(SocketNodeTest, NobodyIsHeldUpByWhatWaitsBehindAnEmptyPacket) {
    AnswerSocket answer;
    const FileDescriptor client = connectRaw();
    sendUncloseable([&](int descriptor) {
        ASSERT_EQ(send(answer.mine.get(), "", 0, MSG_NOSIGNAL), 0);
        ASSERT_TRUE(pass(answer.mine, {descriptor}));
        ASSERT_TRUE(pass(client, {answer.theirs.get()}));
        answer.theirs.reset();
    });
    expectAlive();
}

TEST_F(SocketNodeTest, NobodyIsHeldUpByWhatWaitsBehindRubbish) {
    const FileDescriptor client = connectRaw();
    sendUncloseable([&](int descriptor) {
        ASSERT_EQ(send(client.get(), "x", 1, MSG_NOSIGNAL), 1);
        ASSERT_TRUE(pass(client, {descriptor}));
    });
    expectAlive();
}

TEST_F(SocketNodeTest, NobodyIsHeldUpByTheLastOfManyDescriptors) {
    const FileDescriptor client = connectRaw();
    std::vector<int> passed(252, client.get());
    sendUncloseable([&](int descriptor) {
        passed.push_back(descriptor);
        ASSERT_TRUE(pass(client, passed)) << strerror(errno);
    });
    expectAlive();
}

TEST_F(SocketNodeTest, NobodyIsHeldUpByWhatComesWithTheRestOfAWrite) {
    const AnswerSocket answer;
    const FileDescriptor client = openNode();
    const DevctlPacket packet =
        devctlMakePacket(kDevctlPacketWrite, 0, kDevctlPacketBytes + sizeof(DevctlPacket));
    const std::string much(kDevctlPacketBytes, 'x');
    sendUncloseable([&](int descriptor) {
        ASSERT_GT(devctlSendFirst(client.get(), &packet, much.data(), answer.theirs.get()), 0);
        ASSERT_TRUE(pass(answer.mine, {descriptor}));
    });
    EXPECT_EQ(node_->nextReport().nbytes, packet.length);
    expectAlive();
}

TEST_F(SocketNodeTest, RequestsBeforeTheOpenAreRefused) {
    const FileDescriptor client = connectRaw();
    EXPECT_EQ(devctl_write(client.get(), "x", 1), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST_F(SocketNodeTest, AnUnknownKindOfRequestIsRefused) {
    const FileDescriptor client = openNode();
    const DevctlPacket packet = devctlMakePacket(99, 0, 0);
    DevctlAnswer answer;
    ASSERT_EQ(devctlExchange(client.get(), &packet, nullptr, &answer, nullptr, 0), 0);
    EXPECT_EQ(answer.status, EINVAL);
}

TEST_F(SocketNodeTest, AClientThatAnnouncesMuchAndSendsNothingHoldsUpNobody) {
    const FileDescriptor client = openNode();
    int channel[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, channel), 0);
    const FileDescriptor mine(channel[0]);
    FileDescriptor theirs(channel[1]);
    const std::string first(kDevctlPacketBytes, 'x');
    const DevctlPacket packet = devctlMakePacket(kDevctlPacketWrite, 0, 0x7ffff000);
    ASSERT_GT(devctlSendFirst(client.get(), &packet, first.data(), theirs.get()), 0);
    theirs.reset();
    expectAlive();
    expectAlive();
}

TEST_F(SocketNodeTest, MoreThanAnyWriteTakesIsRefused) {
    const FileDescriptor client = openNode();
    const std::string first(kDevctlPacketBytes, 'x');
    const DevctlPacket packet = devctlMakePacket(kDevctlPacketWrite, 0, uint64_t{4} << 30);
    int channel[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, channel), 0);
    const FileDescriptor mine(channel[0]), theirs(channel[1]);
    ASSERT_GT(devctlSendFirst(client.get(), &packet, first.data(), theirs.get()), 0);
    expectDropped(client);
    expectAlive();
}

TEST_F(SocketNodeTest, AWriteWhoseClientDiesHalfwayIsNone) {
    FileDescriptor client = openNode();
    int channel[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, channel), 0);
    FileDescriptor mine(channel[0]), theirs(channel[1]);
    const std::string first(kDevctlPacketBytes, 'x');
    const DevctlPacket packet = devctlMakePacket(kDevctlPacketWrite, 0, 2 * kDevctlPacketBytes);
    ASSERT_GT(devctlSendFirst(client.get(), &packet, first.data(), theirs.get()), 0);
    theirs.reset();
    mine.reset();
    expectDropped(client);
    expectAlive();
}

TEST_F(SocketNodeTest, AClientThatDoesNotReadItsAnswersHoldsUpNobody) {
    const FileDescriptor client = openNode();
    std::vector<FileDescriptor> channels;
    const DevctlPacket packet = devctlMakePacket(kDevctlPacketWrite, 0, 1);
    for (int i = 0; i < 20; ++i) {
        int channel[2];
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, channel), 0);
        channels.emplace_back(channel[0]);
        const FileDescriptor theirs(channel[1]);
        ASSERT_EQ(devctlSendFirst(client.get(), &packet, "q", theirs.get()), 1);
        EXPECT_STREQ(node_->nextReport().start, "q");
    }
    expectAlive();
}

TEST_F(SocketNodeTest, RequestsThatWaitWhenTheirClientHangsUpAreServedAndNothingIsLeft) {
    const size_t before = openFiles(node_->process());
    FileDescriptor client = openNode();
    int channel[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, channel), 0);
    const FileDescriptor mine(channel[0]);
    const FileDescriptor theirs(channel[1]);
    const DevctlPacket packet = devctlMakePacket(kDevctlPacketWrite, 0, 1);
    constexpr int kRequests = 90;
    kill(node_->process(), SIGSTOP);
    for (int i = 0; i < kRequests; ++i)
        ASSERT_EQ(devctlSendFirst(client.get(), &packet, "q", theirs.get()), 1);
    client.reset();
    kill(node_->process(), SIGCONT);
    for (int i = 0; i < kRequests; ++i)
        EXPECT_STREQ(node_->nextReport().start, "q");
    while (openFiles(node_->process()) > before)
        expectAlive();
}

TEST_F(SocketNodeTest, WithoutAnyDescriptorLeftItSleepsAndServesWhoWaitsLater) {
    rlimit limit;
    ASSERT_EQ(prlimit(node_->process(), RLIMIT_NOFILE, nullptr, &limit), 0);
    const rlimit none = {0, limit.rlim_max};
    ASSERT_EQ(prlimit(node_->process(), RLIMIT_NOFILE, &none, nullptr), 0);
    std::thread waiting([this] { expectAlive(); });
    const long before = sleeps(node_->process());
    while (sleeps(node_->process()) < before + 5)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    ASSERT_EQ(prlimit(node_->process(), RLIMIT_NOFILE, &limit, nullptr), 0);
    waiting.join();
}

TEST_F(SocketNodeTest, AThousandClientsAtOnce) {
    rlimit limit;
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    if (limit.rlim_max < 1200)
        GTEST_SKIP() << "this process may open " << limit.rlim_max << " files only";
    limit.rlim_cur = limit.rlim_max;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    std::vector<FileDescriptor> clients;
    for (int i = 0; i < 1000; ++i) {
        clients.push_back(openNode());
        ASSERT_TRUE(clients.back()) << i << ": " << strerror(errno);
    }
    for (int i = 0; i < 1000; ++i) {
        const std::string text = std::to_string(i);
        ASSERT_EQ(devctl_write(clients[i].get(), text.data(), text.size()),
                  static_cast<ssize_t>(text.size()));
        EXPECT_EQ(node_->nextReport().start, text);
    }
}

TEST(SocketOverAFileWithContents, IsRefusedAndTheFileKept) {
    NodeFolder folder;
    const std::string path = folder.file("node");
    std::ofstream(path) << "early\n";
    ServedNode node(path, "socket");
    EXPECT_EQ(node.attachError(), EEXIST);
    node.end(SIGTERM);
    EXPECT_EQ(node.errorText(), "velkaris: " + path +
                                    ": is a file with contents, which a socket would not keep; "
                                    "move it away first\n");
    std::string text;
    std::getline(std::ifstream(path), text);
    EXPECT_EQ(text, "early");
}

}  // namespace
