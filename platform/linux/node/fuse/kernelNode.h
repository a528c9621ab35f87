// A node that the kernel makes: clients call the system, and the system asks this process. What a
// file (fuseNode) and a character device (cuseNode) have in common. Each request of the kernel is
// one thing to handle for the event loop. Pieces of a write are joined before the handler sees it.
#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "node/deviceOperations.h"
#include "node/fuse/pieceRules.h"
#include "node/fuse/unfinishedWrites.h"
#include "node/share/userShares.h"
#include "ownership/fileDescriptor.h"

struct fuse_buf;
struct fuse_conn_info;
struct fuse_file_info;
struct fuse_req;
struct fuse_session;

class KernelNode {
public:
    virtual ~KernelNode();
    KernelNode(const KernelNode&) = delete;
    KernelNode& operator=(const KernelNode&) = delete;

protected:
    KernelNode(const std::string& path, DeviceOperations* device, const PieceRules& rules);

    // Serves the session from now on, and destroys it at the end. False with errno.
    bool serveSession(fuse_session* session);
    bool sessionLives() const;
    void stopServing();  // before the session's descriptor is closed

    // Any request of a thread shows that its unfinished write is over.
    static KernelNode* begin(fuse_req* request);
    DeviceRequest requestFrom(fuse_req* request, const fuse_file_info* info) const;

    // Answers with the error of `reply`, if it has one or wants no answer at all. True when done.
    static bool answeredError(fuse_req* request, const DeviceReply& reply);

    // What the kernel asks of a file and of a device alike; each answers the request.
    static void negotiate(KernelNode* node, fuse_conn_info* connection);
    static void open(fuse_req* request, fuse_file_info* info);
    static void release(fuse_req* request, fuse_file_info* info);
    static void flush(fuse_req* request, fuse_file_info* info);
    static void fsync(fuse_req* request, fuse_file_info* info);
    static void read(fuse_req* request, size_t size, fuse_file_info* info);
    static void write(fuse_req* request, const char* data, size_t size, int64_t offset,
                      fuse_file_info* info);
    static void ioctl(fuse_req* request, unsigned command, fuse_file_info* info, const void* in,
                      size_t inBytes, size_t outBytes);

    DeviceOperations* device_;
    std::string path_;
    fuse_session* session_ = nullptr;

private:
    void serveRequest(resmgr_context_t* ctp);
    DeviceReply addOpen(fuse_req* request, int flags, iofunc_ocb_t** ocb);
    void dropOpen(iofunc_ocb_t* ocb);
    ThreadCall callOf(const Writer& writer, size_t size, const UnfinishedWrite* before);
    DeviceReply takePiece(const Writer& writer, const char* data, size_t size, int64_t offset);
    DeviceReply takeText(const Writer& writer, const void* in, size_t size);
    DeviceReply deliver(const Writer& writer, const void* data, size_t size);
    template <typename Condition>
    void finishWrites(Condition isOver);
    void startSeconds();
    void countSecond(resmgr_context_t* ctp);

    const PieceRules rules_;
    resmgr_context_t* ctp_ = nullptr;  // the context in use while a request is handled
    std::unique_ptr<fuse_buf> request_;
    int requests_ = -1;                               // the session's descriptor, once it is served
    std::unordered_map<iofunc_ocb_t*, uid_t> opens_;  // and their users, until they are released
    std::unordered_set<uint64_t>
        blockWriters_;  // of those, the ones that were seen to write blocks
    UserShares shares_;
    UnfinishedWrites writes_;  // by write(): their pieces are acknowledged
    UnfinishedWrites texts_;   // by ioctl(): nothing is acknowledged before the last piece
    FileDescriptor seconds_;   // rings each second while a write is unfinished
    bool counting_ = false;
};
