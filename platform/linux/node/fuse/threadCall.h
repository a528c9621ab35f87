// What a client's thread is doing while its request is unanswered, as /proc tells it. That takes
// the right to trace the thread (CAP_SYS_PTRACE); without it nothing is seen, which is no error.
#pragma once

#include <sys/types.h>

#include <cstdint>

struct ThreadCall {
    enum class Kind {
        unseen,   // no right, or another system call than those below
        running,  // not asleep yet, so /proc shows nothing at this moment
        block,    // write
        vector,   // writev and its like
    };
    Kind kind = Kind::unseen;
    uint64_t count = 0;  // bytes of a block, parts of a vector
    uint64_t ended = 0;  // writes that the thread had ended before: tells one call from the next
};

// Waits a moment for a thread that has not come to sleep yet. Sees nothing for a while when
// looks took long.
ThreadCall lookAtThread(pid_t thread);

// The same from the texts of /proc/THREAD/syscall and of the thread's own io file.
ThreadCall threadCallOf(const char* syscall, const char* io);
