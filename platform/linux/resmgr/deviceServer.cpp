#include "resmgr/deviceServer.h"

#include <devctl.h>
#include <fcntl.h>

#include <algorithm>
#include <climits>
#include <cstring>

#include "dispatch/channel.h"

namespace {

static_assert(sizeof(io_devctl_t) == kDevctlHeaderBytes, "a client sends what a handler reads");

// Copies the reply's parts to `room`.
size_t gather(const resmgr_context_t& ctp, size_t parts, void* room, size_t size) {
    size_t copied = 0;
    for (size_t i = 0; i < parts && copied < size; ++i) {
        const iov_t& part = ctp.iov[i];
        const size_t piece = std::min(part.iov_len, size - copied);
        if (piece > 0)
            std::memcpy(static_cast<char*>(room) + copied, part.iov_base, piece);
        copied += piece;
    }
    return copied;
}

// What the framework makes of a handler's return value.
DeviceReply replyOf(const resmgr_context_t& ctp, int returned, void* room, size_t size) {
    DeviceReply reply;
    const size_t partsMax = ctp.dpp ? ctp.dpp->parts : 1;
    // The two special codes are negative as well, so they come before the part counts.
    if (returned == static_cast<int>(_RESMGR_NOREPLY)) {
        reply.none = true;
    } else if (returned == static_cast<int>(_RESMGR_DEFAULT)) {
        reply.error = ENOSYS;
    } else if (returned > 0) {
        reply.error = returned;
    } else {
        reply.result = ctp.status;
        const size_t parts = static_cast<size_t>(-static_cast<long>(returned));
        reply.bytes = gather(ctp, std::min(parts, partsMax), room, size);
    }
    return reply;
}

// The lengths in a message header and its facts have 32 bits.
int32_t length32(size_t length) {
    return static_cast<int32_t>(std::min<size_t>(length, INT32_MAX));
}

template <typename Header>
_extended_context messageOf(const Header& header, const void* data = nullptr, size_t size = 0) {
    return {&header, sizeof header, data, size, sizeof header + size, nullptr};
}

}  // namespace

void DeviceServer::receive(const DeviceRequest& request, _extended_context* message) const {
    resmgr_context_t* const ctp = request.ctp;
    const ClientId client = request.client;
    ctp->extra = message;
    ctp->id = linkId_;
    ctp->status = 0;
    ctp->offset = 0;
    ctp->size = readMessage(*message, ctp->msg, ctp->msg_max_size, 0);
    ctp->rcvid = client.tid > 0 ? client.tid : 1;
    ctp->info = {};
    ctp->info.pid = client.pid;
    ctp->info.tid = client.tid;
    ctp->info.msglen = length32(ctp->size);
    ctp->info.srcmsglen = length32(message->sentBytes);
}

template <typename Message>
DeviceReply DeviceServer::call(const DeviceRequest& request,
                               int (*handler)(resmgr_context_t*, Message*, iofunc_ocb_t*),
                               _extended_context message, void* room, size_t size) const {
    if (!handler)
        return DeviceReply::refusal(ENOSYS);
    receive(request, &message);
    resmgr_context_t* const ctp = request.ctp;
    iofunc_ocb_t byPath = {};
    byPath.attr = attr_;
    const int returned =
        handler(ctp, reinterpret_cast<Message*>(ctp->msg), request.ocb ? request.ocb : &byPath);
    ctp->extra = nullptr;
    return replyOf(*ctp, returned, room, size);
}

DeviceReply DeviceServer::open(const DeviceRequest& request, int openFlags, iofunc_ocb_t** ocb) {
    if (!connect_->open)
        return DeviceReply::refusal(ENOSYS);
    io_open_t header = {};
    header.connect.type = _IO_CONNECT;
    // The access mode plus one makes the two access bits; the other flags stand above them.
    header.connect.ioflag = static_cast<uint32_t>(openFlags & ~O_ACCMODE) |
                            ((static_cast<uint32_t>(openFlags) + 1) & O_ACCMODE);
    _extended_context message = messageOf(header);
    receive(request, &message);
    const int returned =
        connect_->open(request.ctp, reinterpret_cast<io_open_t*>(request.ctp->msg), attr_, nullptr);
    request.ctp->extra = nullptr;
    const DeviceReply reply = replyOf(*request.ctp, returned, nullptr, 0);
    *ocb = message.opened;
    return reply.error == EOK && !*ocb ? DeviceReply::refusal(EIO) : reply;
}

void DeviceServer::close(resmgr_context_t* ctp, iofunc_ocb_t* ocb) {
    if (io_->close_ocb)
        io_->close_ocb(ctp, nullptr, ocb);
}

DeviceReply DeviceServer::write(const DeviceRequest& request, const void* data, size_t size) {
    io_write_t header = {};
    header.i.type = _IO_WRITE;
    header.i.nbytes = static_cast<uint32_t>(size);
    header.i.xtype = _IO_XTYPE_NONE;
    return call(request, io_->write, messageOf(header, data, size));
}

DeviceReply DeviceServer::read(const DeviceRequest& request, void* room, size_t size) {
    io_read_t header = {};
    header.i.type = _IO_READ;
    header.i.nbytes = static_cast<uint32_t>(size);
    return call(request, io_->read, messageOf(header), room, size);
}

DeviceReply DeviceServer::devctl(const DeviceRequest& request, void* message, size_t messageBytes,
                                 size_t room) {
    io_devctl_t header;
    if (messageBytes < sizeof header)
        return DeviceReply::refusal(EINVAL);
    std::memcpy(&header, message, sizeof header);
    // Never more than the sender says: what follows in its buffer is no payload.
    const size_t sent = sizeof header + size_t{header.i.nbytes};
    return call(request, io_->devctl,
                {message, std::min(sent, messageBytes), nullptr, 0, sent, nullptr}, message, room);
}

DeviceReply DeviceServer::stat(const DeviceRequest& request, struct stat* found) {
    io_stat_t header = {};
    header.i.type = _IO_STAT;
    *found = {};
    return call(request, io_->stat, messageOf(header), found, sizeof *found);
}

DeviceReply DeviceServer::chmod(const DeviceRequest& request, mode_t mode) {
    io_chmod_t header = {};
    header.i.type = _IO_CHMOD;
    header.i.mode = mode;
    return call(request, io_->chmod, messageOf(header));
}

DeviceReply DeviceServer::chown(const DeviceRequest& request, int32_t uid, int32_t gid) {
    io_chown_t header = {};
    header.i.type = _IO_CHOWN;
    header.i.uid = uid;
    header.i.gid = gid;
    return call(request, io_->chown, messageOf(header));
}

DeviceReply DeviceServer::utime(const DeviceRequest& request, const io_utime_t& times) {
    return call(request, io_->utime, messageOf(times));
}

DeviceReply DeviceServer::sync(const DeviceRequest& request) {
    io_sync_t header = {};
    header.i.type = _IO_SYNC;
    return call(request, io_->sync, messageOf(header));
}
