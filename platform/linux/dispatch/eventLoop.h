// The one set of file descriptors that the process waits on, and what is to be done about each.
// dispatch_block turns it; whoever has a descriptor to wait for registers with it. One thread only:
// the one that calls dispatch_block.
#pragma once

struct _resmgr_context;

// Runs ready(data) inside dispatch_block whenever `fd` is readable or has hung up (level-triggered:
// again and again until it is read or forgotten). For work that no client waits for, a window's
// events say. False with errno; EEXIST when the descriptor is watched already.
bool eventLoopWatch(int fd, void (*ready)(void* data), void* data);

// Like eventLoopWatch, but each time the descriptor is ready a message waits there: dispatch_block
// returns for it, and serve(data, ctp) runs inside dispatch_handler with the context
// that dispatch_block returned. Descriptors that are ready together take turns.
bool eventLoopServe(int fd, void (*serve)(void* data, _resmgr_context* ctp), void* data);

// Stops watching. Call it before the descriptor is closed; from inside its own ready() or serve()
// is fine. A descriptor that is not watched is ignored.
void eventLoopForget(int fd);

// A message that waits at a descriptor: serve(data, ctp) handles it.
struct LoopMessage {
    void (*serve)(void* data, _resmgr_context* ctp) = nullptr;
    void* data = nullptr;
};

// Waits at most so many milliseconds until a descriptor is ready (0: only looks; -1: without end),
// and runs ready() of all that are watched. False with errno when waiting itself failed; a signal
// is no failure.
bool eventLoopTurn(int milliseconds);

// Whether the last turn has found a message that was not taken. What is not taken stays for the
// next turn.
bool eventLoopHasMessage();

// Of the messages that the last turn has found, the one that has waited longest. False when there
// is none.
bool eventLoopTakeMessage(LoopMessage* message);
