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

    DeviceReply open(const DeviceRequest& request, int openFlags, iofunc_ocb_t** ocb) override;
    void close(resmgr_context_t* ctp, iofunc_ocb_t* ocb) override;
    DeviceReply write(const DeviceRequest& request, const void* data, size_t size) override;
    DeviceReply read(const DeviceRequest& request, void* room, size_t size) override;
    DeviceReply devctl(const DeviceRequest& request, void* message, size_t messageBytes,
                       size_t room) override;
    DeviceReply stat(const DeviceRequest& request, struct stat* found) override;
    DeviceReply chmod(const DeviceRequest& request, mode_t mode) override;
    DeviceReply chown(const DeviceRequest& request, int32_t uid, int32_t gid) override;
    DeviceReply utime(const DeviceRequest& request, const io_utime_t& times) override;
    DeviceReply sync(const DeviceRequest& request) override;

private:
    void receive(const DeviceRequest& request, _extended_context* message) const;
    template <typename Message>
    DeviceReply call(const DeviceRequest& request,
                     int (*handler)(resmgr_context_t*, Message*, iofunc_ocb_t*),
                     _extended_context message, void* room = nullptr, size_t size = 0) const;

    const resmgr_connect_funcs_t* connect_;
    const resmgr_io_funcs_t* io_;
    iofunc_attr_t* attr_;
    int linkId_;
};
