// Writes that have not arrived whole: their pieces so far. A write belongs to one open and one
// thread: processes may share an open and write at the same time.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <list>

#include "node/fuse/threadCall.h"
#include "node/growingBuffer.h"
#include "node/share/userShares.h"

struct Writer {
    uint64_t handle = 0;  // the open
    pid_t thread = 0;
    uid_t user = 0;
};

struct UnfinishedWrite {
    UnfinishedWrite(const Writer& owner, UserShares* shares)
        : writer(owner), held(shares, owner.user) {}

    bool isOf(const Writer& other) const {
        return writer.handle == other.handle && writer.thread == other.thread;
    }

    Writer writer;
    HeldBytes held;
    GrowingBuffer bytes;
    uint64_t next = 0;     // the number of its next piece, or that piece's offset
    ThreadCall call;       // what its thread was seen doing
    int quietSeconds = 0;  // since its last piece
};

// The list is short: a write stays for as long as its thread is in it, or is believed to be.
class UnfinishedWrites {
public:
    // The least that a write takes of its user's share: it keeps this list to some thousand.
    static constexpr size_t kShareOfOne = 65536;

    explicit UnfinishedWrites(UserShares* shares) : shares_(shares) {}

    bool empty() const { return writes_.empty(); }
    UnfinishedWrite* find(const Writer& writer);  // null when there is none

    // Appends a piece to the writer's write, which begins with it if there is none; `next` is where
    // the one after it begins. ENOBUFS beyond the user's share, ENOMEM: then the write is as
    // before.
    int append(const Writer& writer, const void* data, size_t size, uint64_t next);

    // Takes out one that `isWanted` says yes to: a list of it, or an empty one.
    template <typename Condition>
    std::list<UnfinishedWrite> takeOne(Condition isWanted) {
        std::list<UnfinishedWrite> taken;
        for (auto write = writes_.begin(); write != writes_.end(); ++write)
            if (isWanted(*write)) {
                taken.splice(taken.end(), writes_, write);
                break;
            }
        return taken;
    }

    // Another second without a piece, for each of them.
    void countSecond();

private:
    UserShares* shares_;
    std::list<UnfinishedWrite> writes_;
};
