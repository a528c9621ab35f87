// The control device, the one-second pulse, and the loop that serves both for ever.
#pragma once

// Attaches device and clock and serves messages. Returns 1, after printing why, when one of them
// cannot be had or the loop fails; it does not return otherwise.
int serveMessages(const char* programName);
