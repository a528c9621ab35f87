#include "node/fuse/threadCall.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

#include "ownership/fileDescriptor.h"

namespace {

using Clock = std::chrono::steady_clock;

// A thread whose request is here needs some microseconds more to come to sleep, if it gets a
// processor.
constexpr Clock::duration kPatience = std::chrono::milliseconds(50);
constexpr timespec kNap = {0, 50000};

// Looking may take as long as a hostile thread is kept from its processor. So all looks together
// have a tenth of the time, and at most so much at once.
constexpr Clock::duration kLooksMax = std::chrono::milliseconds(500);
constexpr int kPartOfTime = 10;

constexpr size_t kFileBytes = 512;  // both files are shorter

// The whole file as text; empty when it cannot be read.
void readText(int file, char (&text)[kFileBytes]) {
    const ssize_t length = pread(file, text, sizeof text - 1, 0);
    text[length > 0 ? length : 0] = '\0';
}

bool isRunning(const char* syscall) {
    return std::strncmp(syscall, "running", 7) == 0;
}

}  // namespace

ThreadCall threadCallOf(const char* syscall, const char* io) {
    ThreadCall call;
    if (isRunning(syscall)) {
        call.kind = ThreadCall::Kind::running;
        return call;
    }
    // The number in decimal, then the arguments: descriptor, address, count.
    long number;
    uint64_t count;
    if (std::sscanf(syscall, "%ld %*x %*x %" SCNx64, &number, &count) != 2)
        return call;
    if (number == SYS_write || number == SYS_pwrite64)
        call.kind = ThreadCall::Kind::block;
    else if (number == SYS_writev || number == SYS_pwritev || number == SYS_pwritev2)
        call.kind = ThreadCall::Kind::vector;
    else
        return call;
    call.count = count;
    if (const char* const ended = std::strstr(io, "syscw: "))
        std::sscanf(ended, "syscw: %" SCNu64, &call.ended);
    return call;
}

ThreadCall lookAtThread(pid_t thread) {
    static Clock::time_point lastEnd;
    static Clock::duration looked{};
    const Clock::time_point began = Clock::now();
    looked = std::max(looked - (began - lastEnd) / kPartOfTime, Clock::duration::zero());
    lastEnd = began;
    if (looked > kLooksMax)
        return {};
    const std::string folder = "/proc/" + std::to_string(thread);
    const FileDescriptor syscallFile(open((folder + "/syscall").c_str(), O_RDONLY | O_CLOEXEC));
    if (thread <= 0 || !syscallFile)
        return {};
    char syscall[kFileBytes];
    readText(syscallFile.get(), syscall);
    while (isRunning(syscall) && Clock::now() - began < kPatience) {
        nanosleep(&kNap, nullptr);
        readText(syscallFile.get(), syscall);
    }
    // The folder of a thread counts for its whole process; the one below "task" does not.
    const std::string ioPath = folder + "/task/" + std::to_string(thread) + "/io";
    const FileDescriptor ioFile(open(ioPath.c_str(), O_RDONLY | O_CLOEXEC));
    char io[kFileBytes] = "";
    if (ioFile)
        readText(ioFile.get(), io);
    lastEnd = Clock::now();
    looked += lastEnd - began;
    return threadCallOf(syscall, io);
}
