#include "node/fuse/pieceRules.h"

#include <unistd.h>

namespace {

size_t pageBytes() {
    return static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

}  // namespace

size_t PieceRules::blockPiece() const {
    return (pages - 1) * pageBytes() + 1;
}

size_t PieceRules::knownBlock() const {
    return 2 * pageBytes();
}

bool PieceRules::mayGoOn(size_t size, uint64_t before, const ThreadCall& call) const {
    if (size < smallestPiece())
        return false;
    switch (call.kind) {
        case ThreadCall::Kind::block: return before + size < call.count;
        case ThreadCall::Kind::running: return true;
        // Each part leaves less than two of the pages that it touches unused.
        case ThreadCall::Kind::vector:
            return call.count >= pages / 2 || size >= (pages - 2 * call.count) * pageBytes();
        default: return size >= blockPiece();
    }
}

bool PieceRules::sameCall(const ThreadCall& before, const ThreadCall& now) const {
    const bool bothSeen = before.count > 0 && now.count > 0;
    return offsetsBeginAnew || !bothSeen || (before.kind == now.kind && before.ended == now.ended);
}
