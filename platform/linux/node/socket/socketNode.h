// The device node as a socket at the node's path, for where the kernel makes none. A connection
// carries one request, which <devctlSocket.h> describes: an open, which lasts as long as its
// connection, or a call with an open of its own. Nothing here waits for a client or takes a
// descriptor from it, no buffer grows faster than data arrives, and no user takes up all room.
#pragma once

#include <devctlSocket.h>
#include <sys/socket.h>

#include <memory>
#include <string>
#include <unordered_map>
#include <utility>

#include "node/deviceOperations.h"
#include "node/growingBuffer.h"
#include "node/place/nodeRights.h"
#include "node/share/userShares.h"
#include "ownership/fileDescriptor.h"

class SocketNode {
public:
    // Listens at `path`, absolute and free; nobody gets in before `rights` hold. Null after one
    // line on standard error.
    static std::unique_ptr<SocketNode> listen(const std::string& path, const NodeRights& rights,
                                              DeviceOperations* device);

    // Removes the socket from the path, if it is still this one.
    ~SocketNode();
    SocketNode(const SocketNode&) = delete;
    SocketNode& operator=(const SocketNode&) = delete;

private:
    struct Connection {
        Connection(SocketNode* its, FileDescriptor accepted, const ucred& peer)
            : node(its),
              socket(std::move(accepted)),
              client{peer.pid, peer.pid},
              user(peer.uid),
              held(&its->shares_, peer.uid) {}

        SocketNode* node;
        FileDescriptor socket;
        ClientId client;
        uid_t user;
        HeldBytes held;      // of its share, for `data`
        bool asked = false;  // its request has come
        uint32_t flags = 0;  // of its open
        iofunc_ocb_t* ocb = nullptr;
        uint64_t expected = 0;  // bytes of a write that takes more than one packet
        GrowingBuffer data;
    };

    SocketNode(size_t connectionsMax, DeviceOperations* device);
    bool bindTo(const std::string& path);
    bool startListening();

    bool watchListener();
    void restListener();
    void wakeListener();
    void acceptClient();
    bool refuseNext();
    int admit(uid_t user);
    void addConnection(FileDescriptor socket);

    void receive(resmgr_context_t* ctp, Connection* connection);
    bool serveRequest(resmgr_context_t* ctp, Connection* connection, size_t size);
    bool serveCall(resmgr_context_t* ctp, Connection* connection, const DevctlPacket& packet,
                   const char* data, size_t size);
    bool collect(resmgr_context_t* ctp, Connection* connection, const char* data, size_t size);
    static bool answer(const Connection& connection, const DeviceReply& reply, const void* data);
    void drop(resmgr_context_t* ctp, Connection* connection);

    DeviceOperations* device_;
    size_t connectionsMax_;  // of all users but root
    UserShares shares_;
    std::string path_;
    ino_t inode_ = 0;
    FileDescriptor listener_;
    FileDescriptor restTimer_;  // rings when the listener has rested
    FileDescriptor spare_;  // given up for a moment to turn clients away when descriptors run out
    std::unordered_map<int, std::unique_ptr<Connection>> connections_;  // by descriptor
    std::unique_ptr<char[]> packet_;                                    // room for one
};
