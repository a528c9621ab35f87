#include "window/kms/kmsDisplay.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include "report/layerError.h"
#include "window/kms/kmsChoice.h"

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
      scanout_(pixelFormatOf(output_.format), output_.size(), output_.rotation) {}

KmsDisplay::~KmsDisplay() {
    darkenOutput(*card_, output_);
}

bool KmsDisplay::isThere() {
    const OutputState state = outputState(*card_, output_);
    if (state == OutputState::linkLost)
        isLit_ = false;
    return state != OutputState::gone;
}

void KmsDisplay::show(const Picture& picture) {
    picture_ = &picture;
    framesWaited_ = underWay_ ? framesWaited_ + 1 : 0;
    bringNewest();
}

void KmsDisplay::pause() {
    isPaused_ = true;
}

void KmsDisplay::resume() {
    isPaused_ = false;
    isLit_ = false;
    // Whether its event still comes depends on the program that had the display.
    if (underWay_)
        shown_ = std::exchange(underWay_, nullptr);
    bringNewest();
}

void KmsDisplay::flipped(uintptr_t number) {
    if (number != flipNumber_ || !underWay_)
        return;
    shown_ = std::exchange(underWay_, nullptr);
    bringNewest();
}

void KmsDisplay::bringNewest() {
    if (!picture_ || isPaused_ || (underWay_ && !isOverdue()))
        return;
    if (underWay_)
        shown_ = std::exchange(underWay_, nullptr);
    if (isLit_ && shown_ && isNewest(*shown_))
        return;
    Side* const next = filledSide();
    if (!next)
        return;
    const CommitResult result = commit(*next->buffer);
    // The one before is still under way, by its event or without one: the next tick tries again.
    if (result.error == EBUSY)
        return;
    if (result.error != 0)
        return failed(result.error);
    isLit_ = true;
    reportedError_ = 0;
    if (!result.isFollowed) {
        shown_ = next;
        return;
    }
    underWay_ = next;
    flipNumber_ = lastFlipNumber;
    framesWaited_ = 0;
}

bool KmsDisplay::isNewest(const Side& side) const {
    return side.frame != 0 && picture_->changedSince(side.frame).empty();
}

// The side that holds the newest frame: the shown one if it does, else the other one, in which the
// rows are written that it lacks. A card that has memory for one side only shows how it is written.
// Null when there is no memory for any.
KmsDisplay::Side* KmsDisplay::filledSide() {
    if (shown_ && isNewest(*shown_))
        return shown_;
    Side* side = shown_ == &sides_[0] ? &sides_[1] : &sides_[0];
    if (!side->buffer) {
        side->buffer = KmsBuffer::create(card_, output_.size(), output_.format);
        side->frame = 0;
    }
    if (!side->buffer) {
        if (!isMemoryReported_)
            layerError("kms: %s has no memory for a picture of %dx%d: %s", card_->path.c_str(),
                       output_.size().width, output_.size().height, std::strerror(errno));
        isMemoryReported_ = true;
        if (!shown_)
            return nullptr;
        side = shown_;
    }
    scanout_.write(*picture_, side->frame, side->buffer->memory());
    side->frame = picture_->frame();
    return side;
}

CommitResult KmsDisplay::commit(const KmsBuffer& buffer) {
    ++lastFlipNumber;
    if (isLit_) {
        const CommitResult flipped =
            flipOutput(*card_, output_, buffer.framebuffer(), lastFlipNumber);
        if (flipped.error == 0 || flipped.error == EBUSY)
            return flipped;
    }
    return lightOutput(*card_, output_, buffer.framebuffer(), lastFlipNumber);
}

void KmsDisplay::failed(int error) {
    isLit_ = false;
    if (error != reportedError_)
        layerError("kms: can't show the picture on %s: %s", output_.name.c_str(),
                   std::strerror(error));
    reportedError_ = error;
}

bool KmsDisplay::isOverdue() const {
    return framesWaited_ > kFramesOfPatience;
}
