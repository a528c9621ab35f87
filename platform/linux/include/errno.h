// <errno.h> with the platform's name for "no error".
#pragma GCC system_header
#include_next <errno.h>

#ifndef EOK
#define EOK 0
#endif
