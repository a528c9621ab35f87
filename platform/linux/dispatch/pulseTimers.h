// Timers that send pulses: one pulse for each expiry, never merged, none invented. The loop counts
// expiries like a window's events; what nobody has taken yet stays counted. TimerCreate and
// TimerSettime make and arm them.
#pragma once

#include <sys/neutrino.h>

// Whether a pulse waits.
bool pulseTimersWaiting();

// What a timer with a counted expiry sends; the expiry is taken off its count. Null if there is
// none; valid until the process ends.
const struct sigevent* pulseTimersTake();
