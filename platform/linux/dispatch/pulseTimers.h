// Timers that send pulses: one pulse for each expiry, never merged, none invented. Expiries that
// nobody has handled yet are counted, here or in the kernel. TimerCreate and TimerSettime make and
// arm them.
#pragma once

#include <sys/neutrino.h>

// The id of a timer with an expiry that is due, which is taken off its count; -1 if there is none.
// Reads the clock, and the kernel's timers only when the clock says so.
int pulseTimersTakeDue();

// What timer `id` sends. The id comes from pulseTimersTakeDue.
const struct sigevent& pulseTimerEvent(int id);
