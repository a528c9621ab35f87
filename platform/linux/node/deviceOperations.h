// What a client may do with a device, as a transport asks for it: one call for each request. What
// becomes of it is none of the transport's business.
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

struct DeviceRequest {
    resmgr_context_t* ctp = nullptr;  // the one that dispatch_handler runs with
    ClientId client;
    iofunc_ocb_t* ocb = nullptr;  // null for a call by path
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
    virtual DeviceReply open(const DeviceRequest& request, int openFlags, iofunc_ocb_t** ocb) = 0;
    virtual void close(resmgr_context_t* ctp, iofunc_ocb_t* ocb) = 0;  // `ctp` may be null

    virtual DeviceReply write(const DeviceRequest& request, const void* data, size_t size) = 0;
    virtual DeviceReply read(const DeviceRequest& request, void* room, size_t size) = 0;

    // `message` is the header and as much payload as arrived, `messageBytes` in all; the reply
    // replaces it, in at most `room` bytes.
    virtual DeviceReply devctl(const DeviceRequest& request, void* message, size_t messageBytes,
                               size_t room) = 0;

    virtual DeviceReply stat(const DeviceRequest& request, struct stat* found) = 0;
    virtual DeviceReply chmod(const DeviceRequest& request, mode_t mode) = 0;
    // -1 leaves the owner or the group as it is.
    virtual DeviceReply chown(const DeviceRequest& request, int32_t uid, int32_t gid) = 0;
    virtual DeviceReply utime(const DeviceRequest& request, const io_utime_t& times) = 0;
    virtual DeviceReply sync(const DeviceRequest& request) = 0;
};
