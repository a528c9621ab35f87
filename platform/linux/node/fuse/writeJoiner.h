// Finds out which pieces of a write belong together. The kernel cuts a write into pieces, sends
// them one after another and lets no other write of the node in between; but a piece carries only
// its offset and its size. What the writing thread's system call says decides where it can be read;
// offsets and sizes decide otherwise. Holds no data and makes no system calls.
#pragma once

#include <devctl.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <unordered_map>

constexpr uint64_t kWriteMax = DEVCTL_MAX_WRITE;

enum class ClientCall {
    unknown,     // the client's system call could not be read, or is none of those below
    running,     // cannot be read at this moment: the client's thread does not sleep in it
    plain,       // write, writev: at the descriptor's own position
    positioned,  // pwrite and its like
};

// What a client's system call says about the write that it is blocked in.
struct CallFacts {
    ClientCall call = ClientCall::unknown;
    uint64_t total = 0;     // bytes that the whole call writes
    uint64_t argument = 0;  // address of its data, to tell one call from the next
    bool oneBlock = false;  // its data is in one block, not in many parts

    bool operator==(const CallFacts& other) const {
        return call == other.call && total == other.total && argument == other.argument;
    }
};

struct WritePiece {
    uint64_t handle = 0;  // the open descriptor
    pid_t thread = 0;     // 0: not visible from here
    int64_t offset = 0;
    size_t size = 0;
    bool appends = false;  // opened to append, so the offset says nothing
    CallFacts facts;
};

enum class PieceRole {
    more,        // a part of a write; others follow
    last,        // completes the write (or is all of it)
    positioned,  // a write at a place of its own choice, served by itself
};

class WriteJoiner {
public:
    // `fullPiece`: the size that every piece but the last has at least, for data in one block.
    explicit WriteJoiner(size_t fullPiece) : fullPiece_(fullPiece) {}

    // Something of a write has been taken and its end has not been seen.
    bool pending() const { return pending_; }
    uint64_t handle() const { return first_.handle; }
    pid_t thread() const { return first_.thread; }

    // Whether the system call has to be read for this piece; `facts` are not filled in yet. Reading
    // it costs as much as a small write, so it is spared where the answer is as good as known: the
    // descriptor has written plainly before, the piece is where the last write ended, and it is too
    // small for anything but the end of a write.
    bool needsFacts(const WritePiece& piece) const;

    // Whether the piece goes on where the pending write stopped. If not, that write is over: finish
    // it before the piece is added.
    bool continues(const WritePiece& piece) const;

    // Takes the piece in and says what it is.
    PieceRole add(const WritePiece& piece);

    // What the pending write's thread is seen doing, from time to time while no piece comes:
    // whether the write may still go on. A thread that is never seen sleeping has gone on to
    // something else.
    bool mayGoOn(const CallFacts& now);

    // The pending write is over.
    void finish();

    // Whether this event shows that the pending write is over: a thread does one thing at a time,
    // and a descriptor is released when nobody uses it any more.
    bool endedByRequest(pid_t thread) const {
        return pending_ && thread != 0 && thread == first_.thread;
    }
    bool endedByRelease(uint64_t handle) const { return pending_ && handle == first_.handle; }

    // The write failed: the descriptor's position is where it was.
    void refused(const WritePiece& piece);

    // The descriptor is gone.
    void forget(uint64_t handle) { descriptors_.erase(handle); }

private:
    struct Descriptor {
        int64_t position = 0;   // where the next write is expected
        bool plain = false;     // a system call was read, and it wrote here
        bool oneBlock = false;  // the last one that was read had its data in one block
    };

    bool continuesPlace(const WritePiece& piece) const;
    void settle(const CallFacts& seen);
    PieceRole roleByFacts(uint64_t received) const;
    PieceRole roleBySize(const WritePiece& piece, uint64_t received) const;
    bool atPosition(const WritePiece& piece) const;

    size_t fullPiece_;
    bool pending_ = false;
    WritePiece first_;                                      // of the pending write
    uint64_t received_ = 0;                                 // bytes of the pending write
    int timesRunning_ = 0;                                  // seen so in a row, no piece between
    std::unordered_map<uint64_t, Descriptor> descriptors_;  // by handle
};
