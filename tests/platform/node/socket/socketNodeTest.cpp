// The node as a socket, and clients of it that do not keep to the rules.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "node/place/socketAddress.h"
#include "platform/node/socket/socketFixture.h"

namespace {

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

TEST_F(SocketNodeTest, EverybodyMayConnect) {
    struct stat found;
    ASSERT_EQ(stat(node_->path().c_str(), &found), 0);
    EXPECT_EQ(found.st_mode, static_cast<mode_t>(S_IFSOCK | 0666));
}

TEST_F(SocketNodeTest, AtItsEndItRemovesNoOtherSocketFromThePath) {
    const std::string& path = node_->path();
    ASSERT_EQ(rename(path.c_str(), folder_.file("moved").c_str()), 0);
    const FileDescriptor other(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    const SocketAddress address(path);
    ASSERT_EQ(bind(other.get(), address.get(), address.size()), 0);
    node_->end(SIGTERM);
    EXPECT_EQ(access(path.c_str(), F_OK), 0);
}

TEST_F(SocketNodeTest, SaysThatRedirectionWillNotWork) {
    node_->end(SIGTERM);
    EXPECT_NE(node_->errorText().find("shell redirection to it will not work"), std::string::npos);
}

TEST_F(SocketNodeTest, ThePathMayHaveAsManyBytesAsASocketsAddressHolds) {
    const std::string folder = folder_.path() + "/";
    const std::string longest(107 - folder.size(), 'n');
    {
        ServedNode node(folder + longest, "socket");
        ASSERT_TRUE(node.attached()) << strerror(node.attachError());
        const FileDescriptor client(devctl_open(node.path().c_str(), O_WRONLY));
        ASSERT_TRUE(client) << strerror(errno);
        EXPECT_EQ(devctl_write(client.get(), "x", 1), 1);
    }
    ServedNode node(folder + longest + "n", "socket");
    EXPECT_EQ(node.attachError(), ENAMETOOLONG);
    node.end(SIGTERM);
    EXPECT_NE(node.errorText().find("cannot listen: File name too long"), std::string::npos);
}

TEST_F(SocketNodeTest, RubbishCostsOnlyItsSender) {
    const auto bytesOf = [](const DevctlPacket& packet) {
        return std::string(reinterpret_cast<const char*>(&packet), sizeof packet);
    };
    DevctlPacket wrongMagic = packetOf(kDevctlPacketOpen, 0);
    wrongMagic.magic = 1;
    const std::string full(kDevctlPacketBytes, 'x');
    const std::string packets[] = {
        "",
        "x",
        "echo hello\n",
        std::string(100000, 'x'),
        std::string(kDevctlPacketBytes + 24, '\0'),
        bytesOf(wrongMagic),
        bytesOf(packetOf(kDevctlPacketOpen, 0)).substr(1),
        bytesOf(packetOf(kDevctlPacketWrite, 5)) + "four",
        bytesOf(packetOf(kDevctlPacketWrite, 3)) + "four",
        bytesOf(packetOf(kDevctlPacketWrite, full.size())) + full + "x",
    };
    for (const std::string& packet : packets) {
        const FileDescriptor client = connectRaw();
        ASSERT_EQ(send(client.get(), packet.data(), packet.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(packet.size()));
        expectDropped(client);
        EXPECT_EQ(statusOf(client), ENOTCONN);
        expectAlive();
    }
}

TEST_F(SocketNodeTest, AnUnknownKindOfRequestIsRefused) {
    const FileDescriptor client = connectRaw();
    const size_t size = kDevctlHeaderBytes;  // a command's, if it were one
    ASSERT_TRUE(sendPacket(client, packetOf(99, size), std::string(size, '\0')));
    EXPECT_EQ(statusOf(client), EINVAL);
    EXPECT_FALSE(node_->hasReport());
    expectDropped(client);
}

TEST_F(SocketNodeTest, ACommandThatIsNoMessageIsRefused) {
    for (const size_t size : {size_t{0}, size_t{15}, sizeof(DevctlMessage) + 1}) {
        const FileDescriptor client = connectRaw();
        ASSERT_TRUE(
            sendPacket(client, packetOf(kDevctlPacketCommand, size), std::string(size, 'x')));
        EXPECT_EQ(statusOf(client), EINVAL);
    }
    EXPECT_FALSE(node_->hasReport());
}

TEST_F(SocketNodeTest, ACallIsHeldToTheAccessModeThatItComesWith) {
    const FileDescriptor reader = connectRaw(), synchronised = connectRaw();
    ASSERT_TRUE(sendPacket(reader, packetOf(kDevctlPacketWrite, 1, O_RDONLY), "x"));
    EXPECT_EQ(statusOf(reader), EBADF);
    ASSERT_TRUE(sendPacket(synchronised, packetOf(kDevctlPacketWrite, 1, O_RDWR | O_SYNC), "x"));
    EXPECT_EQ(statusOf(synchronised), EINVAL);
    EXPECT_FALSE(node_->hasReport());
}

TEST_F(SocketNodeTest, AnOpenThatIsRefusedIsHungUp) {
    const FileDescriptor client = connectRaw();
    ASSERT_TRUE(sendPacket(client, packetOf(kDevctlPacketOpen, 0, O_RDWR | O_SYNC)));
    EXPECT_EQ(statusOf(client), EINVAL);
    expectDropped(client);
}

TEST_F(SocketNodeTest, AConnectionCarriesOneRequest) {
    const FileDescriptor opened = connectRaw();
    ASSERT_TRUE(sendPacket(opened, packetOf(kDevctlPacketOpen, 0)));
    EXPECT_EQ(statusOf(opened), EOK);
    expectAlive();
    ASSERT_TRUE(sendPacket(opened, packetOf(kDevctlPacketWrite, 1), "x"));
    expectDropped(opened);

    const FileDescriptor call = connectRaw();
    kill(node_->process(), SIGSTOP);
    ASSERT_TRUE(sendPacket(call, packetOf(kDevctlPacketWrite, 5), "first"));
    ASSERT_TRUE(sendPacket(call, packetOf(kDevctlPacketWrite, 6), "second"));
    kill(node_->process(), SIGCONT);
    EXPECT_STREQ(node_->nextReport().start, "first");
    EXPECT_EQ(statusOf(call), EOK);  // behind the reset
    expectDropped(call);
    expectAlive();
}

TEST_F(SocketNodeTest, ThousandCallsLeaveNoDescriptorOpen) {
    const FileDescriptor client = openNode();
    EXPECT_EQ(devctl_write(client.get(), "x", 1), 1);
    node_->nextReport();
    expectAlive();
    const size_t served = openFiles(node_->process()), own = openFiles(getpid());
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(devctl_write(client.get(), "x", 1), 1);
        node_->nextReport();
    }
    EXPECT_EQ(openFiles(getpid()), own);
    expectOpenFiles(served);
}

TEST_F(SocketNodeTest, OpensThatAreRefusedLeaveNoDescriptorOpen) {
    const size_t served = openFiles(node_->process()), own = openFiles(getpid());
    for (int i = 0; i < 100; ++i)
        ASSERT_FALSE(openNode(O_WRONLY | O_SYNC));
    EXPECT_EQ(openFiles(getpid()), own);
    expectOpenFiles(served);
}

TEST_F(SocketNodeTest, AClientThatAnnouncesMuchAndSendsNothingHoldsUpNobody) {
    const FileDescriptor client = connectRaw();
    ASSERT_TRUE(sendPartOfWrite(client, 0x7ffff000, kDevctlPacketBytes));
    expectAlive();
    expectAlive();
}

TEST_F(SocketNodeTest, MoreThanWasAnnouncedCostsOnlyItsSender) {
    const FileDescriptor client = connectRaw();
    ASSERT_TRUE(sendPartOfWrite(client, kDevctlPacketBytes + 1, kDevctlPacketBytes + 2));
    expectDropped(client);
    EXPECT_EQ(statusOf(client), ENOTCONN);
    expectAlive();
}

TEST_F(SocketNodeTest, AWriteWhoseClientDiesHalfwayIsNone) {
    const size_t before = openFiles(node_->process());
    for (int round = 0; round < 3; ++round) {
        FileDescriptor client = connectRaw();
        ASSERT_TRUE(sendPartOfWrite(client, 3 * kDevctlPacketBytes, 2 * kDevctlPacketBytes));
        client.reset();
        expectAlive();
    }
    expectOpenFiles(before);
}

TEST_F(SocketNodeTest, AWriteThatWasSentIsTakenAlsoWhenItsClientDies) {
    kill(node_->process(), SIGSTOP);
    FileDescriptor client = connectRaw();
    ASSERT_TRUE(sendPacket(client, packetOf(kDevctlPacketWrite, 4), "will"));
    client.reset();
    kill(node_->process(), SIGCONT);
    EXPECT_STREQ(node_->nextReport().start, "will");
    expectAlive();
}

TEST_F(SocketNodeTest, ClientsThatDoNotReadTheirAnswersHoldUpNobody) {
    std::vector<FileDescriptor> clients;
    for (int i = 0; i < 20; ++i) {
        clients.push_back(connectRaw());
        ASSERT_TRUE(sendPacket(clients.back(), packetOf(kDevctlPacketWrite, 1), "q"));
        EXPECT_STREQ(node_->nextReport().start, "q");
    }
    expectAlive();
    for (const FileDescriptor& client : clients)
        EXPECT_EQ(statusOf(client), EOK);
}

TEST_F(SocketNodeTest, AClientThatItsHandlerKeepsBlockedLeavesNothingBehind) {
    const size_t before = openFiles(node_->process());
    for (int round = 0; round < 3; ++round) {
        FileDescriptor client = connectRaw();
        DevctlMessage message = {};
        message.header.request.type = kDevctlMessageType;
        message.header.request.command = static_cast<int>(kCommandBlock);
        ASSERT_TRUE(sendPacket(client, packetOf(kDevctlPacketCommand, kDevctlHeaderBytes),
                               {reinterpret_cast<char*>(&message), kDevctlHeaderBytes}));
        EXPECT_EQ(node_->nextReport().command, kCommandBlock);
        expectAlive();
        char byte;
        EXPECT_EQ(recv(client.get(), &byte, 1, MSG_DONTWAIT), -1);
        EXPECT_EQ(errno, EAGAIN);
        client.reset();
        expectOpenFiles(before);
    }
}

TEST_F(SocketNodeTest, CallsOfAnOpenWhoseServerIsGoneFailAlsoWhenAnotherServesThePath) {
    const FileDescriptor client = openNode();
    node_->end(SIGKILL);
    const size_t before = openFiles(getpid());
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(devctl_write(client.get(), "x", 1), -1);
        EXPECT_EQ(errno, ENOTCONN);
        EXPECT_EQ(devctl(client.get(), static_cast<int>(kCommandNote), nullptr, 0, nullptr),
                  ENOTCONN);
        EXPECT_EQ(openFiles(getpid()), before);
        if (round == 0)
            serve({});
    }
    EXPECT_FALSE(node_->hasReport());
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
    if (limit.rlim_max < 4800)
        GTEST_SKIP() << "a quarter of " << limit.rlim_max << " files is less than 1200";
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
