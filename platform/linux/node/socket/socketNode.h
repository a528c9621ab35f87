// The device node as a socket at the node's path, for where there is no FUSE. A connection is one
// open of the node; <devctl.h> describes the packets. A request whose data takes more than one
// packet is collected through the socket that came with it, and until it is complete its connection
// is left alone. Nothing here waits for a client, and no buffer grows faster than data arrives.
#pragma once

#include <devctlSocket.h>

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "node/deviceOperations.h"
#include "node/growingBuffer.h"
#include "ownership/fileDescriptor.h"

// Closes what a client has a share in. That may take as long as the client likes: a file of its own
// file system, a connection that lingers, a socket in which such things wait. So a thread of its
// own closes all but sockets in which nothing waits. What is behind something that takes long
// there, or finds no thread, stays open; the limit of open files bounds it.
void closeClients(int fd);
using ClientDescriptor = OwnedDescriptor<closeClients>;

class SocketNode {
public:
    // Listens at `path`, absolute and free; `mode` holds the permissions. Null after one line on
    // standard error.
    static std::unique_ptr<SocketNode> listen(const std::string& path, mode_t mode,
                                              DeviceOperations* device);

    // Removes the socket from the path, if it is still this one.
    ~SocketNode();
    SocketNode(const SocketNode&) = delete;
    SocketNode& operator=(const SocketNode&) = delete;

private:
    struct Connection {
        SocketNode* node = nullptr;
        ClientId client;
        ClientDescriptor socket;
        iofunc_ocb_t* ocb = nullptr;  // null until the client has opened the node
        ClientDescriptor channel;     // of the request that is being collected
        uint64_t expected = 0;        // bytes that it announced
        GrowingBuffer data;
    };

    struct ReceivedPacket {
        ssize_t size;
        bool whole;  // with all that was passed
        std::vector<ClientDescriptor> passed;
    };

    explicit SocketNode(DeviceOperations* device);
    bool bindAndListen(const std::string& path, mode_t mode);

    bool watchListener();
    void acceptClient();
    bool refuseClient();
    void restListener();
    void wakeListener();
    ReceivedPacket receive(const ClientDescriptor& socket);
    void receiveRequest(resmgr_context_t* ctp, Connection* connection);
    void receiveRest(resmgr_context_t* ctp, Connection* connection);
    void serveRequest(resmgr_context_t* ctp, Connection* connection, const DevctlPacket& packet,
                      const char* data, size_t size, ClientDescriptor channel);
    void collect(resmgr_context_t* ctp, Connection* connection, uint64_t length, const char* data,
                 size_t size, ClientDescriptor channel);
    DeviceReply serveCommand(resmgr_context_t* ctp, const Connection& connection, const char* data,
                             size_t size, DevctlMessage* message);
    void answer(ClientDescriptor channel, const DeviceReply& reply, const void* data);
    void drop(resmgr_context_t* ctp, Connection* connection);

    DeviceOperations* device_;
    std::string path_;
    ino_t inode_ = 0;
    FileDescriptor listener_;
    FileDescriptor restTimer_;  // rings when the listener has rested
    FileDescriptor spare_;  // given up for a moment to turn clients away when descriptors run out
    std::unordered_map<int, std::unique_ptr<Connection>> connections_;  // by descriptor
    std::vector<ClientDescriptor> unanswered_;  // clients that a handler keeps blocked
    std::unique_ptr<char[]> packet_;            // room for one
};
