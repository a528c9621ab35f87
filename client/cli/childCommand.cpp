#include "cli/childCommand.h"

#include <fcntl.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <array>
#include <cerrno>
#include <memory>

extern char** environ;

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

int makePipe(Pipe& result) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return errno;
    result.read.reset(ends[0]);
    result.write.reset(ends[1]);
    fcntl(result.read.get(), F_SETFL, O_NONBLOCK);
    return 0;
}

bool sameFile(int first, int second) {
    struct stat one;
    struct stat two;
    return fstat(first, &one) == 0 && fstat(second, &two) == 0 && one.st_dev == two.st_dev &&
           one.st_ino == two.st_ino;
}

// In the background keys belong to somebody else, and touching the terminal would stop us.
bool inForeground() {
    return tcgetpgrp(STDIN_FILENO) == getpgrp();
}

// The command's terminal is ours once more, except that only one of the two may put carriage
// returns before newlines: ours does unless it is raw.
void copyTerminalSettings(int terminal, bool oursIsRaw) {
    termios settings;
    if (tcgetattr(STDOUT_FILENO, &settings) != 0)
        return;
    if (!oursIsRaw)
        settings.c_oflag &= ~static_cast<tcflag_t>(OPOST);
    tcsetattr(terminal, TCSANOW, &settings);
}

class SpawnActions {
public:
    SpawnActions() { posix_spawn_file_actions_init(&actions_); }
    ~SpawnActions() { posix_spawn_file_actions_destroy(&actions_); }
    SpawnActions(const SpawnActions&) = delete;
    SpawnActions& operator=(const SpawnActions&) = delete;

    void useTerminal(int stream, const std::string& name) {
        posix_spawn_file_actions_addopen(&actions_, stream, name.c_str(), O_RDWR, 0);
    }
    void use(int stream, int fd) { posix_spawn_file_actions_adddup2(&actions_, fd, stream); }
    const posix_spawn_file_actions_t* get() const { return &actions_; }

private:
    posix_spawn_file_actions_t actions_;
};

class SpawnAttributes {
public:
    SpawnAttributes(const sigset_t& signalMask, bool newSession) {
        posix_spawnattr_init(&attributes_);
        posix_spawnattr_setsigmask(&attributes_, &signalMask);
        posix_spawnattr_setflags(
            &attributes_,
            static_cast<short>(POSIX_SPAWN_SETSIGMASK | (newSession ? POSIX_SPAWN_SETSID : 0)));
    }
    ~SpawnAttributes() { posix_spawnattr_destroy(&attributes_); }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;

    const posix_spawnattr_t* get() const { return &attributes_; }

private:
    posix_spawnattr_t attributes_;
};

std::vector<char*> argumentPointers(const std::vector<std::string>& arguments) {
    std::vector<char*> result;
    for (const std::string& argument : arguments)
        result.push_back(const_cast<char*>(argument.c_str()));
    result.push_back(nullptr);
    return result;
}

}  // namespace

int ChildCommand::prepareTerminal(Plan& plan) {
    OwnedFd terminal(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK));
    std::array<char, 64> name;
    if (!terminal || grantpt(terminal.get()) != 0 || unlockpt(terminal.get()) != 0)
        return errno;
    if (const int error = ptsname_r(terminal.get(), name.data(), name.size()))
        return error;
    plan.terminalName = name.data();
    plan.terminal = {isatty(STDIN_FILENO) == 1, true, isatty(STDERR_FILENO) == 1};
    const bool keysAreOurs = plan.terminal[STDIN_FILENO] && inForeground();
    copyTerminalSettings(terminal.get(), keysAreOurs);

    ownTerminal_ = true;
    terminal_ = terminal.get();
    keyboard_ = keysAreOurs ? terminal_ : -1;
    streams_.push_back({std::move(terminal), STDOUT_FILENO});
    copyTerminalSize();
    return 0;
}

// One pipe where both streams end up in the same place: that keeps their order for certain.
int ChildCommand::preparePipes(Plan& plan) {
    Pipe output;
    Pipe errors;
    if (!ownTerminal_) {
        if (const int error = makePipe(output))
            return error;
        plan.output = output.write.get();
        plan.errors = plan.output;
        streams_.push_back({std::move(output.read), STDOUT_FILENO});
        plan.pipes.push_back(std::move(output.write));
    }
    if (ownTerminal_ ? plan.terminal[STDERR_FILENO] : sameFile(STDOUT_FILENO, STDERR_FILENO))
        return 0;
    if (const int error = makePipe(errors))
        return error;
    plan.errors = errors.write.get();
    streams_.push_back({std::move(errors.read), STDERR_FILENO});
    plan.pipes.push_back(std::move(errors.write));
    return 0;
}

int ChildCommand::start(const std::vector<std::string>& arguments, const sigset_t& signalMask) {
    Plan plan{};
    if (isatty(STDOUT_FILENO)) {
        if (const int error = prepareTerminal(plan))
            return error;
    }
    if (const int error = preparePipes(plan))
        return error;

    SpawnActions actions;
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        if (plan.terminal[static_cast<size_t>(stream)])
            actions.useTerminal(stream, plan.terminalName);
    }
    if (plan.output >= 0)
        actions.use(STDOUT_FILENO, plan.output);
    if (plan.errors >= 0)
        actions.use(STDERR_FILENO, plan.errors);
    const SpawnAttributes attributes(signalMask, ownTerminal_);
    return posix_spawnp(&pid_, arguments[0].c_str(), actions.get(), attributes.get(),
                        argumentPointers(arguments).data(), environ);
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

std::optional<int> ChildCommand::pollEnd() {
    int status;
    if (waitpid(pid_, &status, WNOHANG) != pid_)
        return std::nullopt;
    return status;
}

RawKeyboard::RawKeyboard(bool wanted) {
    termios settings;
    if (!wanted || tcgetattr(STDIN_FILENO, &settings) != 0)
        return;
    previous_ = settings;
    cfmakeraw(&settings);
    tcsetattr(STDIN_FILENO, TCSADRAIN, &settings);
}

RawKeyboard::~RawKeyboard() {
    if (previous_)
        tcsetattr(STDIN_FILENO, TCSADRAIN, &*previous_);
}
