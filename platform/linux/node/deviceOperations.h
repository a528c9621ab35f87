// What a client may do with a device, as a transport asks for it: one call for each request. What
// becomes of it is none of the transport's business. `ctp` is the context that dispatch_handler
// runs with; `ocb` is the open, and null for a call by path.
#pragma once

#include <sys/iofunc.h>
// The block above gives handles and control blocks their types.
#include <errno.h>

#include <cstddef>
#include <cstdint>

struct ClientId {
    int32_t pid = 0;
    int32_t tid = 0;
};

// What goes back to the client.
struct DeviceReply {
    bool none = false;  // the handler keeps its client blocked
    int error = EOK;    // an error number; the rest is then empty
    long result = 0;    // what write() or read() returns
    size_t bytes = 0;   // reply data copied to the transport's buffer

    static DeviceReply refusal(int error) { return {false, error, 0, 0}; }
};

class DeviceOperations {
public:
    virtual ~DeviceOperations() = default;

    // `openFlags` as open() takes them. On success *ocb is owned by the caller until close().
    virtual DeviceReply open(resmgr_context_t* ctp, ClientId client, int openFlags,
                             iofunc_ocb_t** ocb) = 0;
    // `ctp` may be null.
    virtual void close(resmgr_context_t* ctp, iofunc_ocb_t* ocb) = 0;

    virtual DeviceReply write(resmgr_context_t* ctp, ClientId client, iofunc_ocb_t* ocb,
                              const void* data, size_t size) = 0;
    virtual DeviceReply writeAt(resmgr_context_t* ctp, ClientId client, iofunc_ocb_t* ocb,
                                int64_t offset, const void* data, size_t size) = 0;
    virtual DeviceReply read(resmgr_context_t* ctp, ClientId client, iofunc_ocb_t* ocb, void* room,
                             size_t size) = 0;

    // `message` is the header and as much payload as arrived, `messageBytes` in all; the reply
    // replaces it, in at most `room` bytes.
    virtual DeviceReply devctl(resmgr_context_t* ctp, ClientId client, iofunc_ocb_t* ocb,
                               void* message, size_t messageBytes, size_t room) = 0;

    virtual DeviceReply stat(resmgr_context_t* ctp, iofunc_ocb_t* ocb, struct stat* found) = 0;
    virtual DeviceReply chmod(resmgr_context_t* ctp, iofunc_ocb_t* ocb, mode_t mode) = 0;
    // -1 leaves the owner or the group as it is.
    virtual DeviceReply chown(resmgr_context_t* ctp, iofunc_ocb_t* ocb, int32_t uid,
                              int32_t gid) = 0;
    virtual DeviceReply utime(resmgr_context_t* ctp, iofunc_ocb_t* ocb,
                              const io_utime_t& times) = 0;
    virtual DeviceReply sync(resmgr_context_t* ctp, iofunc_ocb_t* ocb) = 0;
};
