#include "resmgr/writeJoiner.h"

bool WriteJoiner::continues(const WritePiece& piece) const {
    return pending_ && piece.handle == first_.handle && piece.thread == first_.thread &&
           piece.offset == first_.offset + static_cast<int64_t>(received_) &&
           piece.facts == first_.facts;
}

PieceRole WriteJoiner::add(const WritePiece& piece) {
    const bool continuing = continues(piece);
    const uint64_t received = (continuing ? received_ : 0) + piece.size;

    if (!continuing) {
        const bool positioned = piece.facts.call == ClientCall::positioned ||
                                (piece.facts.call == ClientCall::unknown && !atPosition(piece));
        if (positioned)
            return PieceRole::positioned;
        first_ = piece;
    }
    positions_[piece.handle] = piece.offset + static_cast<int64_t>(piece.size);
    received_ = received;
    const PieceRole role =
        piece.facts.call == ClientCall::plain ? roleByFacts(piece, received) : roleBySize(piece);
    pending_ = role == PieceRole::more;
    return role;
}

void WriteJoiner::finish() {
    pending_ = false;
    received_ = 0;
}

void WriteJoiner::refused(const WritePiece& piece) {
    positions_[piece.handle] = piece.offset;
}

PieceRole WriteJoiner::roleByFacts(const WritePiece& piece, uint64_t received) const {
    return received < piece.facts.total ? PieceRole::more : PieceRole::last;
}

PieceRole WriteJoiner::roleBySize(const WritePiece& piece) const {
    return piece.size < fullPiece_ ? PieceRole::last : PieceRole::more;
}

bool WriteJoiner::atPosition(const WritePiece& piece) const {
    if (piece.appends)
        return true;
    const auto position = positions_.find(piece.handle);
    return piece.offset == (position == positions_.end() ? 0 : position->second);
}
