// The device node as a FUSE file system that is mounted on a regular file: the node's path is the
// file system's root, and the root is a file. Each request of the kernel is one thing to handle for
// the event loop. Pieces of a write are joined before the handler sees it.
#pragma once

#include <memory>
#include <string>
#include <unordered_set>

#include "node/deviceOperations.h"
#include "node/fuse/clientCalls.h"
#include "node/fuse/writeJoiner.h"
#include "node/growingBuffer.h"
#include "node/place/mountTable.h"
#include "ownership/fileDescriptor.h"

struct fuse_buf;
struct fuse_session;
struct FuseOperations;

class FuseNode {
public:
    // Whether this process may serve files; false with errno.
    static bool isAvailable();

    // Mounts on the regular file at `path`, which is absolute and free of links. Null after one
    // line on standard error.
    static std::unique_ptr<FuseNode> mount(const std::string& path, DeviceOperations* device);

    // Unmounts, unless somebody else has done so.
    ~FuseNode();
    FuseNode(const FuseNode&) = delete;
    FuseNode& operator=(const FuseNode&) = delete;

private:
    friend struct FuseOperations;

    explicit FuseNode(DeviceOperations* device);
    bool mountOn(const std::string& path);
    void serveRequest(resmgr_context_t* ctp);
    void checkPending(resmgr_context_t* ctp);

    DeviceRequest requestOf(uint64_t handle, pid_t thread) const;
    void finishPending();
    bool keepPiece(const WritePiece& piece, const char* data);
    DeviceReply deliver(const WritePiece& piece, PieceRole role, const char* data);
    void armPendingTimer(unsigned milliseconds);

    DeviceOperations* device_;
    resmgr_context_t* ctp_ = nullptr;  // the context in use while a request is handled
    fuse_session* session_ = nullptr;
    std::unique_ptr<fuse_buf> request_;
    std::string path_;
    int mountId_ = kNoMount;

    std::unordered_set<iofunc_ocb_t*> opens_;  // of the clients, until they are released

    WriteJoiner joiner_;
    ClientCalls calls_;
    GrowingBuffer joined_;  // pieces of the pending write
    FileDescriptor pendingTimer_;
    unsigned pendingDelay_ = 0;  // milliseconds until the pending write is looked at again
};
