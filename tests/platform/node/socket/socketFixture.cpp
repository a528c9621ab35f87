#include "platform/node/socket/socketFixture.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iterator>

#include "node/place/socketAddress.h"

size_t openFiles(pid_t process) {
    const std::filesystem::directory_iterator files("/proc/" + std::to_string(process) + "/fd");
    return static_cast<size_t>(std::distance(begin(files), end(files)));
}

DevctlPacket packetOf(uint32_t kind, uint64_t length, int flags) {
    return {kDevctlPacketMagic, kind, static_cast<uint32_t>(flags), 0, length};
}

bool sendPacket(const FileDescriptor& to, const DevctlPacket& packet, const std::string& data) {
    std::string bytes(reinterpret_cast<const char*>(&packet), sizeof packet);
    bytes += data;
    return send(to.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(bytes.size());
}

bool sendPartOfWrite(const FileDescriptor& to, uint64_t length, size_t sent) {
    const std::string piece(kDevctlPacketBytes, 'x');
    if (!sendPacket(to, packetOf(kDevctlPacketWrite, length), piece))
        return false;
    for (size_t from = piece.size(); from < sent; from += piece.size())
        if (send(to.get(), piece.data(), std::min(piece.size(), sent - from), MSG_NOSIGNAL) < 0)
            return false;
    return true;
}

int statusOf(const FileDescriptor& connection) {
    DevctlAnswer answer;
    return devctlReceive(connection.get(), &answer, nullptr, 0) < 0 ? errno : answer.status;
}

void SocketNodeTest::serve(const std::function<void()>& before) {
    node_.reset();
    node_ = std::make_unique<ServedNode>(folder_.file("node"), "socket", before);
    ASSERT_TRUE(node_->attached()) << strerror(node_->attachError());
}

FileDescriptor SocketNodeTest::connectRaw() const {
    FileDescriptor raw(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    const SocketAddress address(node_->path());
    EXPECT_EQ(connect(raw.get(), address.get(), address.size()), 0) << strerror(errno);
    return raw;
}

void SocketNodeTest::expectAlive() {
    const FileDescriptor client = openNode();
    ASSERT_TRUE(client) << strerror(errno);
    ASSERT_EQ(devctl_write(client.get(), "alive", 5), 5) << strerror(errno);
    EXPECT_STREQ(node_->nextReport().start, "alive");
}

void SocketNodeTest::expectDropped(const FileDescriptor& client) {
    pollfd gone = {client.get(), POLLHUP, 0};
    EXPECT_EQ(poll(&gone, 1, 60000), 1);
    EXPECT_NE(gone.revents & POLLHUP, 0);
}

void SocketNodeTest::expectOpenFiles(size_t count) {
    while (openFiles(node_->process()) > count)
        expectAlive();
}
