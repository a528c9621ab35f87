// Pulses and timers of the platform's kernel.
#ifndef VELKARIS_LINUX_SYS_NEUTRINO_H
#define VELKARIS_LINUX_SYS_NEUTRINO_H

#include <sys/siginfo.h>
#include <sys/types.h>
#include <time.h>

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum {
    _PULSE_CODE_MINAVAIL = 0,
    _PULSE_CODE_MAXAVAIL = 127,
    _NTO_SIDE_CHANNEL = 0x40000000,  // set in the id of a connection that is no file descriptor
};

// Nanoseconds; 64 bits whatever the width of time_t.
struct _itimer {
    uint64_t nsec;           // until the first expiry; 0 disarms
    uint64_t interval_nsec;  // between the later ones; 0: there is only one
};

// What the receive buffer of a pulse handler holds.
struct _pulse {
    uint16_t type;
    uint16_t subtype;
    int8_t code;
    uint8_t zero[3];
    union sigval value;
    int32_t scoid;
};

// Facts on a received message. Lengths are bytes.
struct _msg_info {
    uint32_t nd;
    uint32_t srcnd;
    int32_t pid;
    int32_t tid;
    int32_t chid;
    int32_t scoid;
    int32_t coid;
    int32_t msglen;     // how much was received into the buffer
    int32_t srcmsglen;  // how much the client sent
    int32_t dstmsglen;  // how much the client has room for
    int16_t priority;
    int16_t flags;
    uint32_t reserved;
};

// A disarmed timer that sends `event`, a pulse. Returns its id, or -1 with errno: EINVAL for a
// clock or an event it cannot serve, EAGAIN when there are no more timers.
int TimerCreate(clockid_t id, const struct sigevent* event);

// Arms the timer anew, relative to now (flags 0) or at an absolute time of its clock; `oitime`, if
// it is not null, receives what was left. Returns 0, or -1 with errno.
int TimerSettime(int id, int flags, const struct _itimer* itime, struct _itimer* oitime);

#ifdef __cplusplus
}
#endif

#endif
