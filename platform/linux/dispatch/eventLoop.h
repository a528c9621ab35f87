// The one set of file descriptors that the process waits on, and what is to be done about each.
// dispatch_block and dispatch_handler turn it; the device node, the timers and the windows register
// with it. One thread only: the one that calls dispatch_block.
#pragma once

struct _resmgr_context;

// Runs ready(data) inside dispatch_block whenever `fd` is readable or has hung up (level-triggered:
// again and again until it is read or forgotten). For work that no client waits for, a window's
// events say. False with errno; EEXIST when the descriptor is watched already.
bool eventLoopWatch(int fd, void (*ready)(void* data), void* data);

// Like eventLoopWatch, but each time the descriptor is ready it makes one thing to handle:
// dispatch_block returns for it, and serve(data, ctp) runs inside dispatch_handler with the context
// that dispatch_block returned. Descriptors that are ready together take turns.
bool eventLoopServe(int fd, void (*serve)(void* data, _resmgr_context* ctp), void* data);

// Stops watching. Call it before the descriptor is closed; from inside its own ready() or serve()
// is fine. A descriptor that is not watched is ignored.
void eventLoopForget(int fd);

// One thing to handle: serve(data, ctp), or, when `serve` is null, the pulse that pulseTimers holds
// out. dispatch_block keeps it in the context.
struct LoopThing {
    void (*serve)(void* data, _resmgr_context* ctp) = nullptr;
    void* data = nullptr;
    int pulseTimer = -1;  // the timer whose expiry is to be handled; -1: none
};

// Blocks until there is one. False with errno when waiting itself failed; a signal is no failure.
bool eventLoopNext(LoopThing* thing);
