#include "node/fuse/unfinishedWrites.h"

#include <algorithm>
#include <cerrno>
#include <new>

UnfinishedWrite* UnfinishedWrites::find(const Writer& writer) {
    for (UnfinishedWrite& write : writes_)
        if (write.isOf(writer))
            return &write;
    return nullptr;
}

int UnfinishedWrites::append(const Writer& writer, const void* data, size_t size, uint64_t next) {
    UnfinishedWrite* write = find(writer);
    std::list<UnfinishedWrite> begun;
    const size_t held = write ? std::max(write->bytes.size(), kShareOfOne) : 0;
    if (!write) {
        try {
            write = &begun.emplace_back(writer, shares_);
        } catch (const std::bad_alloc&) {
            return ENOMEM;
        }
    }
    if (!write->held.take(std::max(write->bytes.size() + size, kShareOfOne) - held))
        return ENOBUFS;
    if (!write->bytes.append(data, size))
        return ENOMEM;
    write->next = next;
    write->quietSeconds = 0;
    writes_.splice(writes_.end(), begun);
    return 0;
}

void UnfinishedWrites::countSecond() {
    for (UnfinishedWrite& write : writes_)
        ++write.quietSeconds;
}
