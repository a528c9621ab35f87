#include "cli/childCommand.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <array>
#include <cerrno>

#include "lib/signalsBlocked.h"

// What the command gets as its standard streams.
struct ChildCommand::Plan {
    std::string terminalName;      // empty: none
    std::array<bool, 3> terminal;  // which of the streams are its own terminal
    std::vector<OwnedFd> pipes;    // the command's ends
    int output = -1;               // the command's end, or -1
    int errors = -1;
};

namespace {

struct Pipe {
    OwnedFd read;
    OwnedFd write;
};

int makePipe(Pipe* result) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return errno;
    result->read.reset(ends[0]);
    result->write.reset(ends[1]);
    return 0;
}

bool sameFile(int first, int second) {
    struct stat one;
    struct stat two;
    return fstat(first, &one) == 0 && fstat(second, &two) == 0 && one.st_dev == two.st_dev &&
           one.st_ino == two.st_ino;
}

void copyTerminalSettings(int terminal) {
    termios settings;
    if (tcgetattr(STDOUT_FILENO, &settings) == 0)
        tcsetattr(terminal, TCSANOW, &settings);
}

std::vector<char*> argumentPointers(const std::vector<std::string>& arguments) {
    std::vector<char*> result;
    for (const std::string& argument : arguments)
        result.push_back(const_cast<char*>(argument.c_str()));
    result.push_back(nullptr);
    return result;
}

int readReport(int fd, int* value) {
    ssize_t got;
    do
        got = read(fd, value, sizeof *value);
    while (got < 0 && errno == EINTR);
    return static_cast<int>(got);
}

void report(int fd, int value) {
    while (write(fd, &value, sizeof value) < 0 && errno == EINTR)
        continue;
}

// All that happens between fork() and exec(): we have threads, so nothing here may allocate.
struct Launch {
    char* const* arguments;
    const char* terminalName;    // null: none
    std::array<int, 3> streams;  // what becomes the standard streams, -1: as they are
    std::array<bool, 3> terminal;
    const InheritedSignals& signals;
    const std::vector<OutputStream>& ours;
    int failures;  // closed by a successful exec(), else gets the error number
    int reports;   // of the session's leader

    [[noreturn]] void execute() const;
    [[noreturn]] void fail() const;
    [[noreturn]] void leadSession() const;
};

void Launch::fail() const {
    report(failures, errno);
    _exit(EXIT_FAILURE);
}

void Launch::execute() const {
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        const int source = streams[static_cast<size_t>(stream)];
        if (source >= 0 && dup2(source, stream) < 0)
            fail();
    }
    sigaction(SIGCHLD, &signals.ofChildren, nullptr);
    sigprocmask(SIG_SETMASK, &signals.mask, nullptr);
    execvp(arguments[0], arguments);
    fail();
}

// A process that leads the command's session and is the command's parent. Without one nothing could
// stop the command: the system leaves a process group alone that nobody could continue.
void Launch::leadSession() const {
    setsid();
    const int terminalFd = open(terminalName, O_RDWR | O_CLOEXEC);
    if (terminalFd < 0)
        fail();
    const pid_t command = fork();
    if (command < 0)
        fail();
    if (command == 0) {
        setpgid(0, 0);
        tcsetpgrp(terminalFd, getpid());  // allowed, for the signal that forbids it is blocked
        Launch onTerminal = *this;
        for (size_t stream = 0; stream < terminal.size(); ++stream) {
            if (terminal[stream])
                onTerminal.streams[stream] = terminalFd;
        }
        onTerminal.execute();
    }
    // What stays open here would keep its other end from ever noticing that we are gone. Keep the
    // terminal open: closing it now would hang up the command before it reports its status.
    close(failures);
    for (const OutputStream& stream : ours)
        close(stream.source.get());
    sigprocmask(SIG_SETMASK, &signals.mask, nullptr);
    report(reports, command);
    for (int status = 0; waitpid(command, &status, WUNTRACED) == command;) {
        report(reports, status);
        if (!WIFSTOPPED(status))
            break;
    }
    _exit(EXIT_SUCCESS);
}

}  // namespace

void ChildCommand::addStream(OwnedFd source, int target) {
    fcntl(source.get(), F_SETFL, O_NONBLOCK);
    streams_.push_back({std::move(source), target});
}

int ChildCommand::prepareTerminal(Plan* plan) {
    OwnedFd terminal(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    std::array<char, 64> name;
    if (!terminal || grantpt(terminal.get()) != 0 || unlockpt(terminal.get()) != 0)
        return errno;
    if (const int error = ptsname_r(terminal.get(), name.data(), name.size()))
        return error;
    plan->terminalName = name.data();
    plan->terminal = {isatty(STDIN_FILENO) == 1, true, isatty(STDERR_FILENO) == 1};
    copyTerminalSettings(terminal.get());

    ownTerminal_ = true;
    terminal_ = terminal.get();
    keyboard_ = plan->terminal[STDIN_FILENO] ? terminal_ : -1;
    addStream(std::move(terminal), STDOUT_FILENO);
    copyTerminalSize();
    return 0;
}

// One pipe where both streams end up in the same place: that keeps their order for certain.
int ChildCommand::preparePipes(Plan* plan) {
    Pipe output;
    Pipe errors;
    if (!ownTerminal_) {
        if (const int error = makePipe(&output))
            return error;
        plan->output = output.write.get();
        plan->errors = plan->output;
        addStream(std::move(output.read), STDOUT_FILENO);
        plan->pipes.push_back(std::move(output.write));
    }
    if (ownTerminal_ ? plan->terminal[STDERR_FILENO] : sameFile(STDOUT_FILENO, STDERR_FILENO))
        return 0;
    if (const int error = makePipe(&errors))
        return error;
    plan->errors = errors.write.get();
    addStream(std::move(errors.read), STDERR_FILENO);
    plan->pipes.push_back(std::move(errors.write));
    return 0;
}

// Returns 0 or the error number of the command's start. A session's leader names the command.
int ChildCommand::awaitExecution(int failures, OwnedFd reports) {
    int error = 0;
    if (readReport(failures, &error) > 0) {
        waitpid(pid_, nullptr, 0);
        return error;
    }
    if (ownTerminal_) {
        readReport(reports.get(), &pid_);
        fcntl(reports.get(), F_SETFL, O_NONBLOCK);
        reports_ = std::move(reports);
    }
    return 0;
}

int ChildCommand::start(const std::vector<std::string>& arguments,
                        const InheritedSignals& signals) {
    Plan plan{};
    if (isatty(STDOUT_FILENO)) {
        if (const int error = prepareTerminal(&plan))
            return error;
    }
    Pipe failures;
    Pipe reports;
    for (const int error : {preparePipes(&plan), makePipe(&failures), makePipe(&reports)}) {
        if (error != 0)
            return error;
    }
    const std::vector<char*> pointers = argumentPointers(arguments);
    const Launch launch = {pointers.data(),
                           plan.terminalName.c_str(),
                           {-1, plan.output, plan.errors},
                           plan.terminal,
                           signals,
                           streams_,
                           failures.write.get(),
                           reports.write.get()};
    {
        const SignalsBlocked blocked;
        pid_ = fork();
        if (pid_ == 0)
            ownTerminal_ ? launch.leadSession() : launch.execute();
    }
    if (pid_ < 0)
        return errno;
    plan.pipes.clear();
    failures.write.reset();
    reports.write.reset();
    return awaitExecution(failures.read.get(), std::move(reports.read));
}

void ChildCommand::close(OutputStream& stream) {
    if (stream.source.get() == terminal_)
        terminal_ = keyboard_ = -1;
    stream.source.reset();
}

void ChildCommand::passOn(const signalfd_siginfo& signal) const {
    const bool fromTerminal = signal.ssi_code == SI_KERNEL;
    if (ownTerminal_)
        kill(-pid_, static_cast<int>(signal.ssi_signo));
    else if (!fromTerminal)
        kill(pid_, static_cast<int>(signal.ssi_signo));
}

void ChildCommand::copyTerminalSize() const {
    winsize size;
    if (terminal_ >= 0 && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0)
        ioctl(terminal_, TIOCSWINSZ, &size);
}

void ChildCommand::setOursIsRaw(bool raw) {
    termios settings;
    if (terminal_ < 0 || tcgetattr(terminal_, &settings) != 0)
        return;
    if (raw && std::exchange(processingHeldBack_, false))
        settings.c_oflag |= OPOST;
    else if (!raw && (settings.c_oflag & OPOST)) {
        settings.c_oflag &= ~static_cast<tcflag_t>(OPOST);
        processingHeldBack_ = true;
    } else {
        return;
    }
    tcsetattr(terminal_, TCSANOW, &settings);
}

std::optional<int> ChildCommand::pollState() {
    int status;
    if (!reports_)
        return waitpid(pid_, &status, WNOHANG | WUNTRACED) == pid_ ? std::optional(status)
                                                                   : std::nullopt;
    const int got = readReport(reports_.get(), &status);
    if (got == 0)  // the session's leader was killed, which hangs up the command's terminal
        return SIGHUP;
    return got > 0 ? std::optional(status) : std::nullopt;
}

bool inForeground() {
    return tcgetpgrp(STDIN_FILENO) == getpgrp();
}

void RawKeyboard::take() {
    termios settings;
    if (tcgetattr(STDIN_FILENO, &settings) != 0)
        return;
    if (!previous_)
        previous_ = settings;
    cfmakeraw(&settings);
    tcsetattr(STDIN_FILENO, TCSADRAIN, &settings);
}

void RawKeyboard::giveBack() {
    if (previous_ && inForeground())
        tcsetattr(STDIN_FILENO, TCSADRAIN, &*previous_);
    previous_.reset();
}
