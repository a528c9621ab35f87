// The framework as far as the message handlers call it: the client's message lies in a block that
// ends where the message ends, so that a read past it is a fault.
#include "messageStubs.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

std::string clientData;  // what follows the header in the client's message
bool refuseWrites = false;

}  // namespace

extern "C" {

int iofunc_write_verify(resmgr_context_t*, io_write_t*, iofunc_ocb_t*, int*) {
    return refuseWrites ? EBADF : EOK;
}

int iofunc_devctl_default(resmgr_context_t*, io_devctl_t*, iofunc_ocb_t*) {
    return _RESMGR_DEFAULT;
}

ssize_t resmgr_msgread(resmgr_context_t*, void* buffer, size_t size, size_t offset) {
    const size_t at = offset - sizeof(io_write_t);
    if (at >= clientData.size())
        return 0;
    const size_t count = std::min(size, clientData.size() - at);
    memcpy(buffer, clientData.data() + at, count);
    return static_cast<ssize_t>(count);
}

}  // extern "C"

void setClient(const std::string& data, bool readOnly) {
    clientData = data;
    refuseWrites = readOnly;
}

ReceivedMessage::ReceivedMessage(const void* header, size_t headerBytes, const std::string& data) {
    const size_t carried = std::min(data.size(), size_t{2048} - headerBytes);
    bytes = static_cast<char*>(malloc(headerBytes + carried));
    memcpy(bytes, header, headerBytes);
    memcpy(bytes + headerBytes, data.data(), carried);

    context.msg = reinterpret_cast<resmgr_iomsgs_t*>(bytes);
    context.msg_max_size = 2048;
    context.size = headerBytes + carried;
    context.info.msglen = static_cast<int32_t>(context.size);
    context.info.srcmsglen = static_cast<int32_t>(headerBytes + data.size());
    ocb.attr = &attributes;
}

ReceivedMessage::~ReceivedMessage() {
    free(bytes);
}
