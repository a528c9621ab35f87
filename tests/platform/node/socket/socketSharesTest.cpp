// No user keeps others from a node that is a socket: connections and bytes are shared out.
#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <thread>
#include <vector>

#include "node/share/userShares.h"
#include "platform/node/socket/socketFixture.h"

namespace {

constexpr rlim_t kFiles = 96;  // of the served node: 32 for itself
constexpr size_t kShare = 16;  // a quarter of the others

constexpr uid_t kRoot = 0, kAnn = 1001, kBob = 1002;

void allowFewFiles() {
    const rlimit few = {kFiles / 2, kFiles};  // the service raises it
    setrlimit(RLIMIT_NOFILE, &few);
}

// Connections that are made meanwhile are those of another user.
class AsUser {
public:
    explicit AsUser(uid_t user) { EXPECT_EQ(seteuid(user), 0); }
    ~AsUser() { EXPECT_EQ(seteuid(0), 0); }
};

// Until the service has taken everything that was sent.
void waitUntilRead(const FileDescriptor& client) {
    int unread = -1;
    while (ioctl(client.get(), SIOCOUTQ, &unread) == 0 && unread > 0)
        std::this_thread::yield();
    EXPECT_EQ(unread, 0);
}

class SocketShares : public SocketNodeTest {
protected:
    void SetUp() override {
        if (geteuid() != 0)
            GTEST_SKIP() << "only root can be several users";
        ASSERT_EQ(chmod(folder_.path().c_str(), 0755), 0);
        serve(allowFewFiles);
    }

    // Connections that never ask for anything.
    std::vector<FileDescriptor> connectIdle(uid_t user, size_t count) const {
        const AsUser them(user);
        std::vector<FileDescriptor> idle;
        for (size_t i = 0; i < count; ++i)
            idle.push_back(connectRaw());
        return idle;
    }

    int openError(uid_t user) const {
        const AsUser them(user);
        return openNode() ? EOK : errno;
    }

    // Until the service has noticed who has hung up.
    void expectOpens(uid_t user) {
        while (openError(user) != EOK)
            expectAlive();
    }

    const size_t userBytes_ = UserShares::ofThisMachine(0).userBytes;
};

TEST_F(SocketShares, AUserWithAQuarterOfTheTableIsRefusedInWordsOfItsOwnAndOthersAreNot) {
    const std::vector<FileDescriptor> idle = connectIdle(kAnn, kShare);
    EXPECT_EQ(openError(kAnn), EUSERS);
    EXPECT_EQ(openError(kAnn), EUSERS);
    char byte;
    EXPECT_EQ(recv(idle.back().get(), &byte, 1, MSG_DONTWAIT), -1);  // the last was admitted
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(openError(kBob), EOK);
    expectAlive();
}

TEST_F(SocketShares, ConnectionsBeyondTheShareAreHungUp) {
    const std::vector<FileDescriptor> idle = connectIdle(kAnn, 10 * kShare);
    for (size_t i = kShare; i < idle.size(); ++i) {
        EXPECT_EQ(statusOf(idle[i]), EUSERS) << i;
        expectDropped(idle[i]);
    }
    EXPECT_EQ(openError(kBob), EOK);
    expectAlive();
}

TEST_F(SocketShares, ACallNeedsAConnectionToo) {
    FileDescriptor client;
    {
        const AsUser ann(kAnn);
        client = openNode();
        ASSERT_TRUE(client) << strerror(errno);
    }
    std::vector<FileDescriptor> idle = connectIdle(kAnn, kShare - 1);
    const AsUser ann(kAnn);
    EXPECT_EQ(devctl_write(client.get(), "x", 1), -1);
    EXPECT_EQ(errno, EUSERS);
    EXPECT_EQ(devctl(client.get(), static_cast<int>(kCommandNote), nullptr, 0, nullptr), EUSERS);
    EXPECT_FALSE(node_->hasReport());
}

TEST_F(SocketShares, ConnectionsThatEndAreGivenBack) {
    for (int round = 0; round < 3; ++round) {
        std::vector<FileDescriptor> idle = connectIdle(kAnn, kShare);
        EXPECT_EQ(openError(kAnn), EUSERS);
        idle.clear();
        expectOpens(kAnn);
    }
    for (size_t i = 0; i < 10 * kShare; ++i)  // opens and calls, one after the other
        expectOpens(kAnn);
}

TEST_F(SocketShares, RootGetsInThoughOtherUsersFillTheTable) {
    std::vector<std::vector<FileDescriptor>> idle;
    for (uid_t user = 2000; user < 2004; ++user)
        idle.push_back(connectIdle(user, kShare));
    EXPECT_EQ(statusOf(idle.back().back()), EBUSY);
    EXPECT_EQ(openError(kBob), EBUSY);
    for (int i = 0; i < 3; ++i)
        idle.push_back(connectIdle(kRoot, 1));
    expectAlive();
}

TEST_F(SocketShares, WithAllFilesInUseAlsoRootIsRefusedByAnAnswer) {
    std::vector<FileDescriptor> idle = connectIdle(kRoot, kFiles);
    EXPECT_EQ(openError(kRoot), EBUSY);
    EXPECT_EQ(openError(kRoot), EBUSY);
    idle.clear();
    while (openError(kRoot) == EBUSY) {
    }
    expectAlive();
}

TEST_F(SocketShares, AWriteBeyondTheShareIsRefusedAndNothingOfItShown) {
    const FileDescriptor client = openNode();
    const std::string most = patternBytes(userBytes_);
    for (int round = 0; round < 2; ++round) {
        const std::string more = most + "x";
        EXPECT_EQ(devctl_write(client.get(), more.data(), more.size()), -1);
        EXPECT_EQ(errno, ENOBUFS);
        EXPECT_EQ(devctl_write(client.get(), most.data(), most.size()),
                  static_cast<ssize_t>(most.size()));
        EXPECT_EQ(node_->nextReport().hash, hashBytes(most.data(), most.size()));
    }
    EXPECT_FALSE(node_->hasReport());
}

TEST_F(SocketShares, UnfinishedWritesOfAUserCountTogetherUntilTheyEnd) {
    const size_t most = userBytes_ / 4 * 3;
    const std::string text = patternBytes(most);
    for (int round = 0; round < 2; ++round) {
        FileDescriptor unfinished, client;
        {
            const AsUser ann(kAnn);
            client = openNode();
            unfinished = connectRaw();
            ASSERT_TRUE(sendPartOfWrite(unfinished, uint64_t{1} << 40, userBytes_));
            waitUntilRead(unfinished);
            EXPECT_EQ(devctl_write(client.get(), text.data(), text.size()), -1);
            EXPECT_EQ(errno, ENOBUFS);
            EXPECT_EQ(devctl_write(client.get(), "short", 5), 5);
            EXPECT_STREQ(node_->nextReport().start, "short");
        }
        const FileDescriptor others = openNode();
        EXPECT_EQ(devctl_write(others.get(), text.data(), text.size()),
                  static_cast<ssize_t>(text.size()));
        EXPECT_EQ(node_->nextReport().read, text.size());
        unfinished.reset();
        const AsUser ann(kAnn);
        while (devctl_write(client.get(), text.data(), text.size()) < 0)
            ASSERT_EQ(errno, ENOBUFS);
        EXPECT_EQ(node_->nextReport().read, text.size());
    }
}

}  // namespace
