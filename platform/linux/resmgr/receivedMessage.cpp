#include "resmgr/receivedMessage.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace {

// Copies what of [from, from + size) lies in a block that begins at `start` of the message.
size_t copyOverlap(char* to, size_t size, size_t from, const void* block, size_t start,
                   size_t blockBytes) {
    const size_t begin = std::max(from, start);
    const size_t end = std::min(from + size, start + blockBytes);
    if (begin >= end)
        return 0;
    std::memcpy(to + (begin - from), static_cast<const char*>(block) + (begin - start),
                end - begin);
    return end - begin;
}

}  // namespace

size_t readMessage(const _extended_context& message, void* to, size_t size, size_t offset) {
    const size_t whole = message.headerBytes + message.dataBytes;
    if (offset >= whole)
        return 0;
    size = std::min(size, whole - offset);
    char* const room = static_cast<char*>(to);
    return copyOverlap(room, size, offset, message.header, 0, message.headerBytes) +
           copyOverlap(room, size, offset, message.data, message.headerBytes, message.dataBytes);
}

ssize_t resmgr_msgread(resmgr_context_t* ctp, void* msg, size_t size, size_t offset) {
    if (!ctp->extra) {
        errno = ESRCH;  // there is no client
        return -1;
    }
    return static_cast<ssize_t>(readMessage(*ctp->extra, msg, size, ctp->offset + offset));
}
