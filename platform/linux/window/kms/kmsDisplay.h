// The display that the console is on: brings frames to it one page flip after the other, and always
// the newest. A frame that comes while an earlier one is on its way waits for the flip event in the
// event loop, and is replaced by a newer one; nobody ever waits for the display itself.
#pragma once

#include <memory>

#include "kd/windows/kmsCommit.h"
#include "kd/windows/kmsFrames.h"

class KmsDisplay {
public:
    KmsDisplay(std::shared_ptr<KmsCard> card, KmsOutput output);
    ~KmsDisplay();  // turns it off

    const std::shared_ptr<KmsCard>& card() const { return card_; }
    const KmsOutput& output() const { return output_; }

    // Takes in what the kernel has noticed of it meanwhile. False when it is gone.
    bool isThere();

    void show(KmsFramePtr frame);
    void showCopy(const uint8_t* rgba, const DisplaySize& picture);

    // While somebody else has the display nothing is brought to it. Afterwards its whole state is
    // brought again, with the newest frame.
    void pause();
    void resume();

    // The flip event of that number has come.
    void flipped(uintptr_t number);

private:
    void bringNewest();
    CommitResult commit(const KmsFrame& frame);
    void failed(int error);
    bool isOverdue() const;

    std::shared_ptr<KmsCard> card_;
    KmsOutput output_;
    KmsMemoryFrames copies;
    KmsFramePtr shown;         // on the display for sure
    KmsFramePtr underWay;      // committed, its flip event still to come
    KmsFramePtr newest;        // not committed yet
    uintptr_t flipNumber = 0;  // of the frame under way
    int framesWaited = 0;      // that came since the frame under way left
    bool isPaused = false;
    bool isLit = false;  // the display has its mode from here
    int reportedError = 0;
};
