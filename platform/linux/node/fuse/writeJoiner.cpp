#include "node/fuse/writeJoiner.h"

namespace {

// A piece that is not the last fills the 256 pages of a request. Fewer bytes than that cannot, in
// however many parts they come.
constexpr size_t kTooSmallInParts = 255;

// Nor can so few in the hands of a client that writes blocks, or vectors of less than 120 parts.
constexpr size_t kTooSmallInBlocks = 65536;

// A busy machine lets a thread wait for a processor, but not time after time in the same call.
constexpr int kTimesRunning = 8;

}  // namespace

bool WriteJoiner::needsFacts(const WritePiece& piece) const {
    const auto known = descriptors_.find(piece.handle);
    if (pending_ || known == descriptors_.end() || !known->second.plain || !atPosition(piece))
        return true;
    return piece.size > (known->second.oneBlock ? kTooSmallInBlocks : kTooSmallInParts);
}

bool WriteJoiner::continuesPlace(const WritePiece& piece) const {
    return pending_ && piece.handle == first_.handle && piece.thread == first_.thread &&
           piece.offset == first_.offset + static_cast<int64_t>(received_);
}

bool WriteJoiner::continues(const WritePiece& piece) const {
    const CallFacts &before = first_.facts, &now = piece.facts;
    if (!continuesPlace(piece))
        return false;
    // What could not be seen of one piece is taken from the other, where that is possible.
    if (before.call == ClientCall::running && now.call == ClientCall::plain)
        return received_ + piece.size <= now.total;
    if (before.call == ClientCall::plain && now.call == ClientCall::running)
        return received_ + piece.size <= before.total;
    return now == before;
}

void WriteJoiner::settle(const CallFacts& seen) {
    if (seen.call != ClientCall::running)
        first_.facts = seen;
    timesRunning_ = 0;
}

PieceRole WriteJoiner::add(const WritePiece& piece) {
    const bool continuing = continues(piece);
    const uint64_t received = (continuing ? received_ : 0) + piece.size;

    if (!continuing) {
        const bool positioned = piece.facts.call == ClientCall::positioned ||
                                (piece.facts.call != ClientCall::plain && !atPosition(piece));
        if (positioned)
            return PieceRole::positioned;
        first_ = piece;
    }
    settle(piece.facts);
    Descriptor& descriptor = descriptors_[piece.handle];
    descriptor.position = piece.offset + static_cast<int64_t>(piece.size);
    if (piece.facts.call == ClientCall::plain) {
        descriptor.plain = true;
        descriptor.oneBlock = piece.facts.oneBlock;
    }
    received_ = received;
    const PieceRole role = first_.facts.call == ClientCall::plain ? roleByFacts(received)
                                                                  : roleBySize(piece, received);
    pending_ = role == PieceRole::more;
    return role;
}

bool WriteJoiner::mayGoOn(const CallFacts& now) {
    if (now.call == ClientCall::running && first_.facts.call != ClientCall::unknown)
        return ++timesRunning_ < kTimesRunning;
    if (first_.facts.call == ClientCall::running && now.call == ClientCall::plain &&
        received_ < now.total)
        settle(now);
    return now.call == ClientCall::plain && now == first_.facts;
}

void WriteJoiner::finish() {
    pending_ = false;
    received_ = 0;
}

void WriteJoiner::refused(const WritePiece& piece) {
    descriptors_[piece.handle].position = piece.offset;
}

PieceRole WriteJoiner::roleByFacts(uint64_t received) const {
    return received < first_.facts.total ? PieceRole::more : PieceRole::last;
}

PieceRole WriteJoiner::roleBySize(const WritePiece& piece, uint64_t received) const {
    // What seems to be longer is several writes.
    const bool mayGoOn = piece.size >= fullPiece_ && received < kWriteMax;
    return mayGoOn ? PieceRole::more : PieceRole::last;
}

bool WriteJoiner::atPosition(const WritePiece& piece) const {
    if (piece.appends)
        return true;
    const auto known = descriptors_.find(piece.handle);
    return piece.offset == (known == descriptors_.end() ? 0 : known->second.position);
}
