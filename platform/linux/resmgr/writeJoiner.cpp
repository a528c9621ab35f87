#include "resmgr/writeJoiner.h"

namespace {

// No system call writes more (MAX_RW_COUNT of Linux); what seems to be longer is several writes.
constexpr uint64_t kWriteMax = 0x7ffff000;

// A piece that is not the last fills the 256 pages of a request. Fewer bytes than that cannot, in
// however many parts they come.
constexpr size_t kTooSmallInParts = 255;

// Nor can so few in the hands of a client that writes blocks, or vectors of less than 120 parts.
constexpr size_t kTooSmallInBlocks = 65536;

}  // namespace

bool WriteJoiner::needsFacts(const WritePiece& piece) const {
    const auto known = descriptors_.find(piece.handle);
    if (pending_ || known == descriptors_.end() || !known->second.plain || !atPosition(piece))
        return true;
    return piece.size > (known->second.oneBlock ? kTooSmallInBlocks : kTooSmallInParts);
}

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
    Descriptor& descriptor = descriptors_[piece.handle];
    descriptor.position = piece.offset + static_cast<int64_t>(piece.size);
    if (piece.facts.call == ClientCall::plain) {
        descriptor.plain = true;
        descriptor.oneBlock = piece.facts.oneBlock;
    }
    received_ = received;
    const PieceRole role = piece.facts.call == ClientCall::plain ? roleByFacts(piece, received)
                                                                 : roleBySize(piece, received);
    pending_ = role == PieceRole::more;
    return role;
}

void WriteJoiner::finish() {
    pending_ = false;
    received_ = 0;
}

void WriteJoiner::refused(const WritePiece& piece) {
    descriptors_[piece.handle].position = piece.offset;
}

PieceRole WriteJoiner::roleByFacts(const WritePiece& piece, uint64_t received) const {
    return received < piece.facts.total ? PieceRole::more : PieceRole::last;
}

PieceRole WriteJoiner::roleBySize(const WritePiece& piece, uint64_t received) const {
    const bool mayGoOn = piece.size >= fullPiece_ && received < kWriteMax;
    return mayGoOn ? PieceRole::more : PieceRole::last;
}

bool WriteJoiner::atPosition(const WritePiece& piece) const {
    if (piece.appends)
        return true;
    const auto known = descriptors_.find(piece.handle);
    return piece.offset == (known == descriptors_.end() ? 0 : known->second.position);
}
