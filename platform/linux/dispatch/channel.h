// What a dispatch handle holds: its pulse handlers and the sizes that its contexts need. The handle
// is a channel; a connection to it is only its number.
#pragma once

#include <sys/dispatch.h>

#include <array>
#include <cstddef>
#include <memory>
#include <vector>

struct PulseHandler {
    int (*func)(message_context_t* ctp, int code, unsigned flags, void* handle) = nullptr;
    void* handle = nullptr;
};

struct _dispatch {
    int number = 0;           // place among all handles
    bool attached = false;    // something was attached, so contexts may be made
    size_t messageBytes = 0;  // receive buffer of a context
    unsigned parts = 1;       // reply vector of a context
    // The contexts with their buffers; once there is one, the two sizes are fixed.
    std::vector<std::unique_ptr<char[]>> contexts;
    std::array<PulseHandler, _PULSE_CODE_MAXAVAIL + 1> pulses;
};

// Makes room for messages of that size in every context made from now on. EOK, or EINVAL when there
// are contexts already that are too small.
int channelReserve(dispatch_t* dpp, size_t messageBytes, unsigned parts);

// The handle that message_connect's result leads to; null for any other number.
dispatch_t* channelOfConnection(int coid);
