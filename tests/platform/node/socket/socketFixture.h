// A node that is served as a socket, and clients that speak its protocol by hand.
#pragma once

#include <sys/socket.h>

#include <memory>
#include <string>

#include "platform/node/servedNode.h"

// Of a process that may be the calling one.
size_t openFiles(pid_t process);

// A request's header, whatever comes behind it.
DevctlPacket packetOf(uint32_t kind, uint64_t length, int flags = O_RDWR);

// Sends the packet and `data` behind it. False with errno.
bool sendPacket(const FileDescriptor& to, const DevctlPacket& packet, const std::string& data = {});

// A write of `length` bytes as far as `sent` of them.
bool sendPartOfWrite(const FileDescriptor& to, uint64_t length, size_t sent);

// The status of the answer that comes on a connection; ENOTCONN if it ends without one.
int statusOf(const FileDescriptor& connection);

class SocketNodeTest : public testing::Test {
protected:
    void SetUp() override { serve({}); }

    // Serves a node of its own; `before` runs first in the serving process.
    void serve(const std::function<void()>& before);

    FileDescriptor openNode(int flags = O_RDWR) const {
        return FileDescriptor(devctl_open(node_->path().c_str(), flags));
    }

    // Connected, and nothing asked for yet.
    FileDescriptor connectRaw() const;

    // The service still serves others.
    void expectAlive();

    // Waits until the service has hung up on `client`.
    static void expectDropped(const FileDescriptor& client);

    // Waits until the service has no more than `count` descriptors open.
    void expectOpenFiles(size_t count);

    NodeFolder folder_;
    std::unique_ptr<ServedNode> node_;
};
