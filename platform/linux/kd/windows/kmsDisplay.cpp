#include "kd/windows/kmsDisplay.h"

#include <cerrno>
#include <chrono>
#include <cstring>

namespace {

// A flip takes a frame, some 20 ms; an event that stays out that long does not come any more.
constexpr int64_t kFlipPatience = 1000000000;

// Never the same twice in a process: the event of a display that is gone fits no later one.
uintptr_t lastFlipNumber = 0;

int64_t now() {
    return std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
}

}  // namespace

KmsDisplay::KmsDisplay(std::shared_ptr<KmsCard> card, KmsOutput output)
    : card_(std::move(card)),
      output_(std::move(output)),
      copies(card_, output_.size(), output_.format) {}

KmsDisplay::~KmsDisplay() {
    darkenOutput(*card_, output_);
}

bool KmsDisplay::isThere() {
    const OutputState state = outputState(*card_, output_);
    if (state == OutputState::linkLost)
        isLit = false;
    return state != OutputState::gone;
}

void KmsDisplay::show(KmsFramePtr frame) {
    newest = std::move(frame);
    bringNewest();
}

void KmsDisplay::showCopy(const uint8_t* rgba, const DisplaySize& picture) {
    newest.reset();  // its memory serves the newer one
    show(copies.copy(rgba, picture));
}

void KmsDisplay::pause() {
    isPaused = true;
}

void KmsDisplay::resume() {
    isPaused = false;
    isLit = false;
    if (!newest)
        newest = underWay ? underWay : shown;
    bringNewest();
}

void KmsDisplay::flipped(uintptr_t number) {
    if (number != flipNumber || !underWay)
        return;
    shown = std::move(underWay);
    bringNewest();
}

void KmsDisplay::bringNewest() {
    if (!newest || isPaused || (underWay && !isOverdue()))
        return;
    const CommitResult result = commit(*newest);
    // The one before is still under way, by its event or without one: the next tick tries again.
    if (result.error == EBUSY)
        return;
    if (result.error != 0)
        return failed(result.error);
    isLit = true;
    reportedError = 0;
    if (!result.isFollowed) {
        underWay.reset();
        shown = std::move(newest);
        return;
    }
    underWay = std::move(newest);
    flipNumber = lastFlipNumber;
    committedAt = now();
}

CommitResult KmsDisplay::commit(const KmsFrame& frame) {
    ++lastFlipNumber;
    if (isLit) {
        const CommitResult flipped = flipOutput(*card_, output_, frame.buffer, lastFlipNumber);
        if (flipped.error == 0 || flipped.error == EBUSY)
            return flipped;
    }
    return lightOutput(*card_, output_, frame.buffer, lastFlipNumber);
}

void KmsDisplay::failed(int error) {
    isLit = false;
    if (error != reportedError)
        windowError("kms: can't show the picture on %s: %s", output_.name.c_str(),
                    std::strerror(error));
    reportedError = error;
}

bool KmsDisplay::isOverdue() const {
    return now() - committedAt > kFlipPatience;
}
