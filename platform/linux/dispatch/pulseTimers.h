// Timers that send pulses: one pulse for each expiry, never merged, none invented. Expiries that
// nobody has handled yet are counted, here or in the kernel. TimerCreate and TimerSettime make and
// arm them.
#pragma once

#include <sys/neutrino.h>

// What a timer with an expiry that is due sends; the expiry is taken off its count. Null if there
// is none; valid until the process ends. Reads the clock, and the kernel's timers only when the
// clock says so.
const struct sigevent* pulseTimersTakeDue();
