// Reads what system call a client's thread is blocked in, from /proc. That needs the right to trace
// the client: root has it, others have it for their own processes. Where it cannot be read the
// answer is "unknown", which is never an error.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <unordered_map>

#include "node/fuse/clientMemory.h"
#include "node/fuse/writeJoiner.h"
#include "ownership/fileDescriptor.h"

class ClientCalls {
public:
    // Call it while the thread's request is unanswered, so that the thread cannot go on. Waits a
    // moment for one that has not come to sleep yet.
    CallFacts read(pid_t thread);

    // Whatever the thread does now. Does not wait.
    CallFacts look(pid_t thread);

private:
    struct OpenThread {
        FileDescriptor file;  // /proc/THREAD/syscall; dies with the thread, so no other is mistaken
        uint64_t lastUsed = 0;
    };

    bool readLine(pid_t thread, char* line, size_t size);
    OpenThread* openThread(pid_t thread);
    void dropOldest();

    ClientMemory memory_;
    std::unordered_map<pid_t, OpenThread> threads_;
    uint64_t uses_ = 0;
};

// What a line of that file says: number and six arguments. The parts of a vector write are read
// from `thread`'s memory.
CallFacts factsOfSyscall(const char* line, pid_t thread, ClientMemory* memory);
