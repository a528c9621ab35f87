// The dispatch framework: one thread blocks for pulses and messages and hands each to its handler.
#ifndef VELKARIS_LINUX_SYS_DISPATCH_H
#define VELKARIS_LINUX_SYS_DISPATCH_H

#include <sys/neutrino.h>
#include <sys/resmgr.h>

#ifdef __cplusplus
extern "C" {
#endif

#define MSG_FLAG_ALLOC_PULSE 0x00000002   // the framework picks the pulse code
#define MSG_FLAG_SIDE_CHANNEL 0x00000200  // the connection is no file descriptor

typedef union _dispatch_context {
    resmgr_context_t resmgr_context;
    message_context_t message_context;
} dispatch_context_t;

// Null with errno on failure. Lives until the process ends.
dispatch_t* dispatch_create(void);

// Null with errno: EINVAL when nothing is attached, ENOMEM. Lives until the process ends.
dispatch_context_t* dispatch_context_alloc(dispatch_t* dpp);

// Waits for one thing to handle. Returns the context that holds it, or null with errno; the old
// context then stays valid. A pulse that is due comes before every waiting message.
dispatch_context_t* dispatch_block(dispatch_context_t* ctp);

// Handles what the context holds. 0 also when a request was refused, which concerns its client
// alone; -1 with errno when the dispatching itself failed.
int dispatch_handler(dispatch_context_t* ctp);

// Returns the pulse's code, 0 included, or -1 with errno: EINVAL for a code out of range or a
// missing handler, EAGAIN when every code is taken.
int pulse_attach(dispatch_t* dpp, int flags, int code,
                 int (*func)(message_context_t* ctp, int code, unsigned flags, void* handle),
                 void* handle);

// A connection to the handle's own channel, for pulses. Its id, or -1 with errno: EINVAL when
// nothing is attached.
int message_connect(dispatch_t* dpp, int flags);

#ifdef __cplusplus
}
#endif

#endif
