// Turns what a client asked for into a message in the receive buffer, calls the handler from the
// service's tables, and turns what it returned into a reply. Knows nothing about how messages
// travel.
#pragma once

#include <sys/iofunc.h>
// The block above gives handles and control blocks their types.

#include "node/deviceOperations.h"
#include "resmgr/receivedMessage.h"

class DeviceServer : public DeviceOperations {
public:
    // The tables and the record are the service's and outlive this. A slot that is null refuses
    // with ENOSYS.
    DeviceServer(const resmgr_connect_funcs_t* connect, const resmgr_io_funcs_t* io,
                 iofunc_attr_t* attr, int linkId)
        : connect_(connect), io_(io), attr_(attr), linkId_(linkId) {}

    DeviceReply open(resmgr_context_t* ctp, ClientId client, int openFlags,
                     iofunc_ocb_t** ocb) override;
    void close(resmgr_context_t* ctp, iofunc_ocb_t* ocb) override;
    DeviceReply write(resmgr_context_t* ctp, ClientId client, iofunc_ocb_t* ocb, const void* data,
                      size_t size) override;
    DeviceReply writeAt(resmgr_context_t* ctp, ClientId client, iofunc_ocb_t* ocb, int64_t offset,
                        const void* data, size_t size) override;
    DeviceReply read(resmgr_context_t* ctp, ClientId client, iofunc_ocb_t* ocb, void* room,
                     size_t size) override;
    DeviceReply devctl(resmgr_context_t* ctp, ClientId client, iofunc_ocb_t* ocb, void* message,
                       size_t messageBytes, size_t room) override;
    DeviceReply stat(resmgr_context_t* ctp, iofunc_ocb_t* ocb, struct stat* found) override;
    DeviceReply chmod(resmgr_context_t* ctp, iofunc_ocb_t* ocb, mode_t mode) override;
    DeviceReply chown(resmgr_context_t* ctp, iofunc_ocb_t* ocb, int32_t uid, int32_t gid) override;
    DeviceReply utime(resmgr_context_t* ctp, iofunc_ocb_t* ocb, const io_utime_t& times) override;
    DeviceReply sync(resmgr_context_t* ctp, iofunc_ocb_t* ocb) override;

private:
    void receive(resmgr_context_t* ctp, ClientId client, _extended_context* message) const;
    template <typename Message>
    DeviceReply call(resmgr_context_t* ctp, ClientId client,
                     int (*handler)(resmgr_context_t*, Message*, iofunc_ocb_t*), iofunc_ocb_t* ocb,
                     _extended_context message, void* room = nullptr, size_t size = 0) const;

    const resmgr_connect_funcs_t* connect_;
    const resmgr_io_funcs_t* io_;
    iofunc_attr_t* attr_;
    int linkId_;
};
