// The message that a handler is called for, as resmgr_msgread finds it again: the receive buffer
// holds its beginning only.
#pragma once

#include <sys/iofunc.h>
// The block above gives handles and control blocks their types.

#include <cstddef>

// One lives for each message; ctp->extra points to it. Header and data are borrowed.
struct _extended_context {
    const void* header = nullptr;
    size_t headerBytes = 0;
    const void* data = nullptr;
    size_t dataBytes = 0;
    size_t sentBytes = 0;  // what the client says that it sent; more than arrived, perhaps
    iofunc_ocb_t* opened = nullptr;  // where the default open handler leaves its control block
};

// Copies at most `size` bytes from `offset`, counted from the header's first byte. Returns how many
// there were.
size_t readMessage(const _extended_context& message, void* to, size_t size, size_t offset);
