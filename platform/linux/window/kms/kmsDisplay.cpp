#include "kd/windows/kmsDisplay.h"

#include <cerrno>
#include <cstring>

#include "report/layerError.h"

namespace {

// A flip takes a frame, some 20 ms, and the console draws once a second: an event that stays out
// for that many newer frames does not come any more.
constexpr int kFramesOfPatience = 2;

// Never the same twice in a process: the event of a display that is gone fits no later one.
uintptr_t lastFlipNumber = 0;

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
    framesWaited = underWay ? framesWaited + 1 : 0;
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
    // Whether its event still comes is up to whoever had the display meanwhile.
    if (underWay)
        shown = std::move(underWay);
    if (!newest)
        newest = shown;
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
    framesWaited = 0;
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
        layerError("kms: can't show the picture on %s: %s", output_.name.c_str(),
                   std::strerror(error));
    reportedError = error;
}

bool KmsDisplay::isOverdue() const {
    return framesWaited > kFramesOfPatience;
}
