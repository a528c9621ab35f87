// The display that the console is on: brings frames to it one page flip after the other, and always
// the newest. A frame that comes while an earlier one is on its way waits for the flip event in the
// event loop, and is replaced by a newer one; nothing ever waits for the display itself. A frame
// that looks like the one on the display is not brought.
#pragma once

#include <array>
#include <memory>

#include "window/kms/kmsBuffer.h"
#include "window/kms/kmsCommit.h"

class KmsDisplay {
public:
    KmsDisplay(std::shared_ptr<KmsCard> card, KmsOutput output);
    ~KmsDisplay();  // turns it off

    const std::shared_ptr<KmsCard>& card() const { return card_; }
    const KmsOutput& output() const { return output_; }

    // Takes in what the kernel has noticed of it since the last call. False when it is gone.
    bool isThere();

    // Shows the newest frame of `picture`, which is always the same one and stays valid: a frame
    // that has to wait is taken from it later.
    void show(const Picture& picture);

    // While another program has the display nothing is brought to it. Afterwards its whole state is
    // brought again, with the newest frame.
    void pause();
    void resume();

    // The flip event of that number has come.
    void flipped(uintptr_t number);

private:
    struct Side {
        std::unique_ptr<KmsBuffer> buffer;  // null until it is needed
        uint32_t frame = 0;                 // the one that it holds; 0: none
    };

    void bringNewest();
    bool isNewest(const Side& side) const;
    Side* filledSide();
    CommitResult commit(const KmsBuffer& buffer);
    void failed(int error);
    bool isOverdue() const;

    std::shared_ptr<KmsCard> card_;
    KmsOutput output_;
    Scanout scanout_;
    const Picture* picture_ = nullptr;  // null before the first frame
    std::array<Side, 2> sides_;
    Side* shown_ = nullptr;     // on the display for sure
    Side* underWay_ = nullptr;  // committed, its flip event still to come
    uintptr_t flipNumber_ = 0;  // of the one under way
    int framesWaited_ = 0;      // that came since the one under way left
    bool isPaused_ = false;
    bool isLit_ = false;  // the display has its mode from here
    int reportedError_ = 0;
    bool isMemoryReported_ = false;
};
