#include "dispatch/endSignals.h"

#include <signal.h>
#include <sys/eventfd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>

#include "dispatch/eventLoop.h"
#include "ownership/fileDescriptor.h"

namespace {

int endEvent = -1;  // written by the handlers; open until the process ends

void askForEnd(int) {
    const int savedErrno = errno;
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(endEvent, &one, sizeof one);
    errno = savedErrno;
}

void endProcess(void*) {
    eventLoopForget(endEvent);
    std::exit(0);
}

bool handleUnlessIgnored(int number) {
    struct sigaction action;
    if (sigaction(number, nullptr, &action) != 0)
        return false;
    if (action.sa_handler == SIG_IGN)
        return true;
    action = {};
    action.sa_handler = askForEnd;
    action.sa_flags = SA_RESTART;
    return sigaction(number, &action, nullptr) == 0;
}

}  // namespace

bool installEndSignals() {
    if (endEvent >= 0)
        return true;
    FileDescriptor event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!event || !eventLoopWatch(event.get(), endProcess, nullptr))
        return false;
    endEvent = event.release();
    std::signal(SIGPIPE, SIG_IGN);
    return handleUnlessIgnored(SIGINT) && handleUnlessIgnored(SIGTERM) &&
           handleUnlessIgnored(SIGHUP);
}
