#include "window/terminal/virtualTerminal.h"

#include <fcntl.h>
#include <linux/kd.h>
#include <linux/vt.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "dispatch/eventLoop.h"
#include "ownership/fileDescriptor.h"
#include "report/layerError.h"

namespace {

constexpr int kLeaveSignal = SIGUSR1;
constexpr int kEnterSignal = SIGUSR2;

struct Terminal {
    FileDescriptor fd;
    int number = 0;  // 1..63, as in its name
};

// Open until the process ends, like everything that the handlers write to.
int leaveEvent = -1;
int enterEvent = -1;
void (*leaveDisplay)() = nullptr;
void (*enterDisplay)() = nullptr;

// Where the number is asked of the terminal itself, because /dev/console and /dev/tty stand for
// another one. 0 if it is no virtual terminal.
int terminalNumber(int fd) {
    constexpr unsigned kTerminalMajor = 4, kFirstSerial = 64;
    unsigned device = 0;
    int mode = 0;
    if (ioctl(fd, TIOCGDEV, &device) != 0 || ioctl(fd, KDGETMODE, &mode) != 0)
        return 0;
    const bool isVirtual = major(device) == kTerminalMajor && minor(device) < kFirstSerial;
    return isVirtual ? static_cast<int>(minor(device)) : 0;
}

Terminal findTerminal() {
    const int number = terminalNumber(STDIN_FILENO);
    if (number != 0)
        return {FileDescriptor(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)), number};
    FileDescriptor seen(open("/dev/tty0", O_RDWR | O_CLOEXEC | O_NOCTTY));
    const int seenNumber = seen ? terminalNumber(seen.get()) : 0;
    return seenNumber != 0 ? Terminal{std::move(seen), seenNumber} : Terminal{};
}

Terminal& terminal() {
    static auto* found = new Terminal(findTerminal());  // the exit handler needs it
    return *found;
}

void wake(int event) {
    const int savedErrno = errno;
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(event, &one, sizeof one);
    errno = savedErrno;
}

void onSignal(int number) {
    wake(number == kLeaveSignal ? leaveEvent : enterEvent);
}

void takeIn(int event) {
    uint64_t count;
    [[maybe_unused]] const ssize_t got = read(event, &count, sizeof count);
}

void leave(void*) {
    takeIn(leaveEvent);
    leaveDisplay();
    ioctl(terminal().fd.get(), VT_RELDISP, 1);
}

void enter(void*) {
    takeIn(enterEvent);
    ioctl(terminal().fd.get(), VT_RELDISP, VT_ACKACQ);
    enterDisplay();
}

bool watch(int* event, void (*ready)(void*), int signalNumber) {
    FileDescriptor made(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!made || !eventLoopWatch(made.get(), ready, nullptr))
        return false;
    *event = made.release();
    struct sigaction action = {};
    action.sa_handler = onSignal;
    action.sa_flags = SA_RESTART;
    return sigaction(signalNumber, &action, nullptr) == 0;
}

void giveBack() {
    // The display first: text that is drawn while it is still the program's is not seen.
    leaveDisplay();
    struct vt_mode mode = {};
    mode.mode = VT_AUTO;
    ioctl(terminal().fd.get(), VT_SETMODE, &mode);
    ioctl(terminal().fd.get(), KDSETMODE, KD_TEXT);
}

}  // namespace

bool isTerminalSeen() {
    struct vt_stat state = {};
    return terminal().number == 0 || ioctl(terminal().fd.get(), VT_GETSTATE, &state) != 0 ||
           state.v_active == terminal().number;
}

void claimTerminal(void (*leaveCall)(), void (*enterCall)()) {
    if (terminal().number == 0)
        return;
    leaveDisplay = leaveCall;
    enterDisplay = enterCall;
    struct vt_mode mode = {};
    mode.mode = VT_PROCESS;
    mode.relsig = kLeaveSignal;
    mode.acqsig = kEnterSignal;
    if (!watch(&leaveEvent, leave, kLeaveSignal) || !watch(&enterEvent, enter, kEnterSignal) ||
        ioctl(terminal().fd.get(), VT_SETMODE, &mode) != 0) {
        layerError("terminal: can't take over /dev/tty%d: %s", terminal().number,
                   std::strerror(errno));
        return;
    }
    std::atexit(giveBack);
    if (ioctl(terminal().fd.get(), KDSETMODE, KD_GRAPHICS) != 0)
        layerError("terminal: can't set /dev/tty%d to graphics: %s", terminal().number,
                   std::strerror(errno));
}
