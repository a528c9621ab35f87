// Tells the kernel what a display is to show: as one atomic state where the driver takes one, else
// by the older calls. None of them waits for the display; only the older call that sets a mode
// does.
#pragma once

#include "window/kms/kmsOutput.h"

struct CommitResult {
    int error;        // 0, or an errno; EBUSY: the commit before is not on the display yet
    bool isFollowed;  // a flip event with the given number will tell that it is on the display
};

// Lets the display show the buffer whatever it shows now. What it has already, the mode of a boot
// loader above all, is taken over, and the mode is set only when the driver says that it must be.
CommitResult lightOutput(const KmsCard& card, const KmsOutput& output, uint32_t buffer,
                         uintptr_t flipNumber);

// Another buffer of the same size, from the next vertical blank on.
CommitResult flipOutput(const KmsCard& card, const KmsOutput& output, uint32_t buffer,
                        uintptr_t flipNumber);

// Turns the display off, as far as it is still there.
void darkenOutput(const KmsCard& card, const KmsOutput& output);
