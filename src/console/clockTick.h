// The heartbeat: one pulse a second advances the clocks and redraws the screen.
#pragma once

#include <sys/iofunc.h>
// iofunc first: it gives dispatch its control block types.
#include <sys/dispatch.h>

// Pulse handler; uses none of its arguments, returns 0. Counts pulses, reads no clock. Draws a
// frame unless the logo still has its time.
int ClockTick(message_context_t* context, int code, unsigned flags, void* handle);
