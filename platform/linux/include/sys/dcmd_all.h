// devctl commands that every device understands.
#ifndef VELKARIS_LINUX_SYS_DCMD_ALL_H
#define VELKARIS_LINUX_SYS_DCMD_ALL_H

#include <devctl.h>

#define DCMD_ALL_GETFLAGS __DIOF(_DCMD_ALL, 1, int)
#define DCMD_ALL_SETFLAGS __DIOT(_DCMD_ALL, 2, int)
#define DCMD_ALL_GETMOUNTFLAGS __DIOF(_DCMD_ALL, 3, int)
#define DCMD_ALL_GETOWN __DIOF(_DCMD_ALL, 4, pid_t)
#define DCMD_ALL_SETOWN __DIOT(_DCMD_ALL, 5, pid_t)

#endif
