// <sys/types.h> with the platform's name for one part of a message.
#pragma GCC system_header
#include_next <sys/types.h>

#ifndef SETIOV
#include <bits/types/struct_iovec.h>

typedef struct iovec iov_t;

// The data is not copied: it has to live until the reply is sent.
#define SETIOV(iov, addr, len) ((iov)->iov_base = (addr), (iov)->iov_len = (len))
#endif
