#include "resmgr/deviceServer.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

#include "dispatch/channel.h"

namespace {

// Copies what of [from, from + size) lies in a block that begins at `start` of the message.
size_t copyOverlap(char* to, size_t size, size_t from, const void* block, size_t start,
                   size_t blockBytes) {
    const size_t begin = std::max(from, start);
    const size_t end = std::min(from + size, start + blockBytes);
    if (begin >= end)
        return 0;
    memcpy(to + (begin - from), static_cast<const char*>(block) + (begin - start), end - begin);
    return end - begin;
}

size_t readMessage(const _extended_context& message, void* to, size_t size, size_t offset) {
    const size_t whole = message.headerBytes + message.dataBytes;
    if (offset >= whole)
        return 0;
    size = std::min(size, whole - offset);
    char* const room = static_cast<char*>(to);
    return copyOverlap(room, size, offset, message.header, 0, message.headerBytes) +
           copyOverlap(room, size, offset, message.data, message.headerBytes, message.dataBytes);
}

size_t gather(const resmgr_context_t& ctp, size_t parts, void* room, size_t size) {
    size_t copied = 0;
    for (size_t i = 0; i < parts && copied < size; ++i) {
        const iov_t& part = ctp.iov[i];
        const size_t piece = std::min(part.iov_len, size - copied);
        if (piece > 0)
            memcpy(static_cast<char*>(room) + copied, part.iov_base, piece);
        copied += piece;
    }
    return copied;
}

DeviceReply refusal(int error) {
    DeviceReply reply;
    reply.error = error;
    return reply;
}

// The lengths in a message header and its facts have 32 bits.
int32_t length32(size_t length) {
    return static_cast<int32_t>(std::min<size_t>(length, INT32_MAX));
}

}  // namespace

ssize_t resmgr_msgread(resmgr_context_t* ctp, void* msg, size_t size, size_t offset) {
    if (!ctp->extra) {
        errno = ESRCH;  // there is no client
        return -1;
    }
    return static_cast<ssize_t>(readMessage(*ctp->extra, msg, size, ctp->offset + offset));
}

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

void DeviceServer::receive(resmgr_context_t* ctp, ClientId client, _extended_context* message,
                           size_t sentBytes) const {
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
    ctp->info.srcmsglen = length32(sentBytes);
}

template <typename Message>
DeviceReply DeviceServer::call(resmgr_context_t* ctp,
                               int (*handler)(resmgr_context_t*, Message*, iofunc_ocb_t*),
                               iofunc_ocb_t* ocb, void* room, size_t size) const {
    if (!handler)
        return refusal(ENOSYS);
    iofunc_ocb_t byPath = {};
    byPath.attr = attr_;
    const int returned = handler(ctp, reinterpret_cast<Message*>(ctp->msg), ocb ? ocb : &byPath);
    const DeviceReply reply = replyOf(*ctp, returned, room, size);
    ctp->extra = nullptr;
    return reply;
}

template <typename Message>
DeviceReply DeviceServer::callSmall(resmgr_context_t* ctp,
                                    int (*handler)(resmgr_context_t*, Message*, iofunc_ocb_t*),
                                    iofunc_ocb_t* ocb, const Message& message, void* room,
                                    size_t size) const {
    _extended_context context;
    context.header = &message;
    context.headerBytes = sizeof(message);
    receive(ctp, {}, &context, sizeof(message));
    return call(ctp, handler, ocb, room, size);
}

DeviceReply DeviceServer::open(resmgr_context_t* ctp, ClientId client, int openFlags,
                               iofunc_ocb_t** ocb) {
    io_open_t message = {};
    message.connect.type = _IO_CONNECT;
    // The access mode plus one makes the two access bits; the other flags stand above them.
    message.connect.ioflag =
        static_cast<uint32_t>((openFlags & ~O_ACCMODE) | ((openFlags + 1) & O_ACCMODE));
    _extended_context context;
    context.header = &message;
    context.headerBytes = sizeof(message);
    receive(ctp, client, &context, sizeof(message));
    if (!connect_->open)
        return refusal(ENOSYS);
    const int returned =
        connect_->open(ctp, reinterpret_cast<io_open_t*>(ctp->msg), attr_, nullptr);
    ctp->extra = nullptr;
    const DeviceReply reply = replyOf(*ctp, returned, nullptr, 0);
    *ocb = context.opened;
    if (reply.error == EOK && !*ocb)
        return refusal(EIO);
    return reply;
}

void DeviceServer::close(resmgr_context_t* ctp, iofunc_ocb_t* ocb) {
    if (io_->close_ocb)
        io_->close_ocb(ctp, nullptr, ocb);
}

DeviceReply DeviceServer::write(resmgr_context_t* ctp, ClientId client, iofunc_ocb_t* ocb,
                                const void* data, size_t size) {
    io_write_t header = {};
    header.i.type = _IO_WRITE;
    header.i.nbytes = static_cast<uint32_t>(size);
    header.i.xtype = _IO_XTYPE_NONE;
    _extended_context context = {&header, sizeof(header), data, size, nullptr};
    receive(ctp, client, &context, sizeof(header) + size);
    return call(ctp, io_->write, ocb, nullptr, 0);
}

DeviceReply DeviceServer::writeAt(resmgr_context_t* ctp, ClientId client, iofunc_ocb_t* ocb,
                                  int64_t offset, const void* data, size_t size) {
    struct {
        io_write_t write;
        int64_t offset;
    } header = {};
    header.write.i.type = _IO_WRITE;
    header.write.i.nbytes = static_cast<uint32_t>(size);
    header.write.i.xtype = _IO_XTYPE_OFFSET;
    header.offset = offset;
    _extended_context context = {&header, sizeof(header), data, size, nullptr};
    receive(ctp, client, &context, sizeof(header) + size);
    return call(ctp, io_->write, ocb, nullptr, 0);
}

DeviceReply DeviceServer::read(resmgr_context_t* ctp, ClientId client, iofunc_ocb_t* ocb,
                               void* room, size_t size) {
    io_read_t header = {};
    header.i.type = _IO_READ;
    header.i.nbytes = static_cast<uint32_t>(size);
    _extended_context context = {&header, sizeof(header), nullptr, 0, nullptr};
    receive(ctp, client, &context, sizeof(header));
    return call(ctp, io_->read, ocb, room, size);
}

DeviceReply DeviceServer::devctl(resmgr_context_t* ctp, ClientId client, iofunc_ocb_t* ocb,
                                 void* message, size_t messageBytes, size_t room) {
    io_devctl_t header;
    if (messageBytes < sizeof(header))
        return refusal(EINVAL);
    memcpy(&header, message, sizeof(header));
    // Never more than the sender says: what follows in its buffer is no payload.
    const size_t payload = std::min<size_t>(header.i.nbytes, messageBytes - sizeof(header));
    const _extended_context whole = {message, sizeof(header) + payload, nullptr, 0, nullptr};
    _extended_context context = whole;
    receive(ctp, client, &context, sizeof(header) + size_t{header.i.nbytes});
    return call(ctp, io_->devctl, ocb, message, room);
}

DeviceReply DeviceServer::stat(resmgr_context_t* ctp, iofunc_ocb_t* ocb, struct stat* found) {
    io_stat_t message = {};
    message.i.type = _IO_STAT;
    *found = {};
    return callSmall(ctp, io_->stat, ocb, message, found, sizeof(*found));
}

DeviceReply DeviceServer::chmod(resmgr_context_t* ctp, iofunc_ocb_t* ocb, mode_t mode) {
    io_chmod_t message = {};
    message.i.type = _IO_CHMOD;
    message.i.mode = mode;
    return callSmall(ctp, io_->chmod, ocb, message);
}

DeviceReply DeviceServer::chown(resmgr_context_t* ctp, iofunc_ocb_t* ocb, int32_t uid,
                                int32_t gid) {
    io_chown_t message = {};
    message.i.type = _IO_CHOWN;
    message.i.uid = uid;
    message.i.gid = gid;
    return callSmall(ctp, io_->chown, ocb, message);
}

DeviceReply DeviceServer::utime(resmgr_context_t* ctp, iofunc_ocb_t* ocb, const io_utime_t& times) {
    return callSmall(ctp, io_->utime, ocb, times);
}

DeviceReply DeviceServer::sync(resmgr_context_t* ctp, iofunc_ocb_t* ocb) {
    io_sync_t message = {};
    message.i.type = _IO_SYNC;
    return callSmall(ctp, io_->sync, ocb, message);
}
