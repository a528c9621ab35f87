#include "node/fuse/clientCalls.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace {

constexpr size_t kThreadsKept = 64;  // open files; the clients of one moment, not of a lifetime
constexpr uint64_t kPartsMax = 1024;

// A thread whose request is here may still be on its way to sleep; then the file says "running".
// It needs a moment, or its turn on a processor, which a busy machine is slow to give.
constexpr int kYields = 1000;
constexpr int kNaps = 5;
constexpr timespec kNap = {0, 1000000};

struct Syscall {
    long number = -1;
    uint64_t arguments[6] = {};
};

bool parse(const char* line, Syscall* call) {
    uint64_t* const a = call->arguments;
    return std::sscanf(line,
                       "%ld %" SCNx64 " %" SCNx64 " %" SCNx64 " %" SCNx64 " %" SCNx64 " %" SCNx64,
                       &call->number, &a[0], &a[1], &a[2], &a[3], &a[4], &a[5]) == 7;
}

// The sum of the parts of a vector write; false when the client's memory cannot be read.
bool sumParts(ClientMemory* memory, pid_t thread, uint64_t address, uint64_t count,
              uint64_t* total) {
    count = std::min(count, kPartsMax);
    const auto bytes = memory->read(thread, address, count * sizeof(iovec));
    if (!bytes)
        return false;
    *total = 0;
    for (uint64_t i = 0; i < count; ++i) {
        iovec part;
        std::memcpy(&part, bytes->data() + i * sizeof part, sizeof part);
        *total += std::min<uint64_t>(part.iov_len, kWriteMax);
    }
    return true;
}

CallFacts vectorFacts(const Syscall& call, pid_t thread, ClientMemory* memory) {
    CallFacts facts;
    if (!sumParts(memory, thread, call.arguments[1], call.arguments[2], &facts.total))
        return {};
    facts.call = ClientCall::plain;
    facts.total = std::min(facts.total, kWriteMax);
    facts.argument = call.arguments[1];
    return facts;
}

CallFacts positionedFacts(const Syscall& call) {
    return {ClientCall::positioned, 0, call.arguments[1], false};
}

}  // namespace

CallFacts factsOfSyscall(const char* line, pid_t thread, ClientMemory* memory) {
    if (std::strncmp(line, "running", 7) == 0)
        return {ClientCall::running};
    Syscall call;
    if (!parse(line, &call))
        return {};
    switch (call.number) {
        case SYS_write:
            return {ClientCall::plain, std::min(call.arguments[2], kWriteMax), call.arguments[1],
                    true};
        case SYS_writev: return vectorFacts(call, thread, memory);
        case SYS_pwrite64:
        case SYS_pwritev: return positionedFacts(call);
        case SYS_pwritev2:  // at -1 it writes at the descriptor's position, like writev
            return static_cast<long>(call.arguments[3]) == -1 ? vectorFacts(call, thread, memory)
                                                              : positionedFacts(call);
        default: return {};
    }
}

CallFacts ClientCalls::read(pid_t thread) {
    CallFacts facts = look(thread);
    for (int i = 0; facts.call == ClientCall::running && i < kYields + kNaps; ++i) {
        if (i < kYields)
            sched_yield();
        else
            nanosleep(&kNap, nullptr);
        facts = look(thread);
    }
    return facts;
}

CallFacts ClientCalls::look(pid_t thread) {
    char line[256];
    if (thread <= 0 || !readLine(thread, line, sizeof line))
        return {};
    return factsOfSyscall(line, thread, &memory_);
}

bool ClientCalls::readLine(pid_t thread, char* line, size_t size) {
    for (int attempt = 0; attempt < 2; ++attempt) {
        OpenThread* const open = openThread(thread);
        if (!open)
            return false;
        const ssize_t length = pread(open->file.get(), line, size - 1, 0);
        if (length > 0) {
            line[length] = '\0';
            return true;
        }
        // The thread that this file was opened for is gone; its number may have a new owner.
        threads_.erase(thread);
    }
    return false;
}

ClientCalls::OpenThread* ClientCalls::openThread(pid_t thread) {
    const auto known = threads_.find(thread);
    if (known != threads_.end()) {
        known->second.lastUsed = ++uses_;
        return &known->second;
    }
    char path[64];
    std::snprintf(path, sizeof path, "/proc/%d/syscall", thread);
    FileDescriptor file(open(path, O_RDONLY | O_CLOEXEC));
    if (!file)
        return nullptr;
    if (threads_.size() >= kThreadsKept)
        dropOldest();
    OpenThread& added = threads_[thread];
    added = {std::move(file), ++uses_};
    return &added;
}

void ClientCalls::dropOldest() {
    const auto oldest = std::min_element(
        threads_.begin(), threads_.end(),
        [](const auto& a, const auto& b) { return a.second.lastUsed < b.second.lastUsed; });
    threads_.erase(oldest);
}
