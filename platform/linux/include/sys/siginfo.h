// The platform's events: the names of its event record that the C library's own record lacks.
#pragma GCC system_header
#ifndef VELKARIS_LINUX_SYS_SIGINFO_H
#define VELKARIS_LINUX_SYS_SIGINFO_H

#include <signal.h>

// One number of the C library's means another kind of event; such a record never gets to it.
#define SIGEV_PULSE 4

#define SIGEV_PULSE_PRIO_INHERIT (-1)

#define sigev_coid sigev_signo
#define sigev_code _sigev_un._pad[0]
#define sigev_priority _sigev_un._pad[1]

#endif
