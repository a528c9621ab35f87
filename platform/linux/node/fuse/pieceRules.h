// Which pieces of a write belong together. The kernel cuts a write into pieces, as many bytes or
// pages as a request may hold, and a piece does not say whether it is the last.
#pragma once

#include <cstddef>
#include <cstdint>

#include "node/fuse/threadCall.h"

// How the kernel cuts the writes of a kind of node.
struct PieceRules {
    size_t pages;           // that a request holds at most
    bool offsetsBeginAnew;  // each write begins at offset 0; else they go on through an open

    // The size that every piece of one block has but the last, wherever in a page its data begins:
    // one byte more than fits all pages but one touches all of them at most. The node asks for it.
    size_t blockPiece() const;

    // Of an open that writes blocks, pieces below this are taken for the end of a write: only a
    // vector of nearly half as many parts as there are pages could have such a piece and go on.
    size_t knownBlock() const;

    // Fewer bytes than this are the end of a write, in however many parts they came.
    size_t smallestPiece() const { return pages - 1; }

    // Whether a piece of `size` bytes may be followed by another of the same write, of which
    // `before` bytes came earlier, by what the thread is seen doing.
    bool mayGoOn(size_t size, uint64_t before, const ThreadCall& call) const;

    // Whether a piece that begins where another of the same thread ended belongs to the same write.
    bool sameCall(const ThreadCall& before, const ThreadCall& now) const;
};
