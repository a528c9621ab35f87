// Between a transport and the service's handlers: turns what a client asked for into a message in
// the receive buffer, calls the handler from the node's tables, and turns what it returned into a
// reply. Knows nothing about how messages travel.
#pragma once

#include <sys/iofunc.h>
// The block above gives handles and control blocks their types.
#include <errno.h>
#include <sys/dispatch.h>

#include <cstddef>

// What resmgr_msgread reads from, and where the default open handler leaves its control block. One
// lives for each message; ctp->extra points to it.
struct _extended_context {
    const void* header = nullptr;
    size_t headerBytes = 0;
    const void* data = nullptr;
    size_t dataBytes = 0;
    iofunc_ocb_t* opened = nullptr;
};

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
};

class DeviceServer {
public:
    // The tables and the record are the service's and outlive this.
    DeviceServer(const resmgr_connect_funcs_t* connect, const resmgr_io_funcs_t* io,
                 iofunc_attr_t* attr, int linkId)
        : connect_(connect), io_(io), attr_(attr), linkId_(linkId) {}

    // `openFlags` as open() takes them. On success *ocb is owned by the caller until close().
    DeviceReply open(resmgr_context_t* ctp, ClientId client, int openFlags, iofunc_ocb_t** ocb);
    void close(resmgr_context_t* ctp, iofunc_ocb_t* ocb);

    DeviceReply write(resmgr_context_t* ctp, ClientId client, iofunc_ocb_t* ocb, const void* data,
                      size_t size);
    DeviceReply writeAt(resmgr_context_t* ctp, ClientId client, iofunc_ocb_t* ocb, int64_t offset,
                        const void* data, size_t size);
    DeviceReply read(resmgr_context_t* ctp, ClientId client, iofunc_ocb_t* ocb, void* room,
                     size_t size);

    // `message` is the header and as much payload as arrived, `messageBytes` in all; the reply
    // replaces it, in at most `room` bytes.
    DeviceReply devctl(resmgr_context_t* ctp, ClientId client, iofunc_ocb_t* ocb, void* message,
                       size_t messageBytes, size_t room);

    // A null control block stands for a call by path.
    DeviceReply stat(resmgr_context_t* ctp, iofunc_ocb_t* ocb, struct stat* found);
    DeviceReply chmod(resmgr_context_t* ctp, iofunc_ocb_t* ocb, mode_t mode);
    DeviceReply chown(resmgr_context_t* ctp, iofunc_ocb_t* ocb, int32_t uid, int32_t gid);
    DeviceReply utime(resmgr_context_t* ctp, iofunc_ocb_t* ocb, const io_utime_t& times);
    DeviceReply sync(resmgr_context_t* ctp, iofunc_ocb_t* ocb);

private:
    void receive(resmgr_context_t* ctp, ClientId client, _extended_context* message,
                 size_t sentBytes) const;
    template <typename Message>
    DeviceReply call(resmgr_context_t* ctp,
                     int (*handler)(resmgr_context_t*, Message*, iofunc_ocb_t*), iofunc_ocb_t* ocb,
                     void* room, size_t size) const;
    template <typename Message>
    DeviceReply callSmall(resmgr_context_t* ctp,
                          int (*handler)(resmgr_context_t*, Message*, iofunc_ocb_t*),
                          iofunc_ocb_t* ocb, const Message& message, void* room = nullptr,
                          size_t size = 0) const;

    const resmgr_connect_funcs_t* connect_;
    const resmgr_io_funcs_t* io_;
    iofunc_attr_t* attr_;
    int linkId_;
};

// What the framework makes of a handler's return value; reply parts are copied to `room`.
DeviceReply replyOf(const resmgr_context_t& ctp, int returned, void* room, size_t size);
