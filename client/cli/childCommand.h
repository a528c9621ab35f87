// A command that runs with its output in our hands: on a terminal of its own where ours is one, so
// that it behaves as it would without us, else through pipes.
#pragma once

#include <signal.h>
#include <sys/signalfd.h>
#include <sys/types.h>
#include <termios.h>

#include <optional>
#include <string>
#include <vector>

#include "lib/ownedFd.h"

// A stream of the command's output, and where it is to go.
struct OutputStream {
    OwnedFd source;  // never blocks
    int target;      // STDOUT_FILENO or STDERR_FILENO
};

class ChildCommand {
public:
    // Starts it with the signals that were blocked when `signalMask` was taken. Returns 0 or the
    // error number with which it could not be run.
    int start(const std::vector<std::string>& arguments, const sigset_t& signalMask);

    std::vector<OutputStream>& streams() { return streams_; }

    bool hasTerminal() const { return ownTerminal_; }

    // The terminal that our keys are for, or -1 if the command gets none from us.
    int keyboard() const { return keyboard_; }

    // Passes on a signal that came to us, unless the terminal has sent it to the command already.
    void passOn(const signalfd_siginfo& signal) const;

    // Makes the command's terminal, if it has one, as large as ours.
    void copyTerminalSize() const;

    // The wait status, once it has ended.
    std::optional<int> pollEnd();

private:
    struct Plan;
    int prepareTerminal(Plan& plan);
    int preparePipes(Plan& plan);

    pid_t pid_ = -1;
    std::vector<OutputStream> streams_;
    bool ownTerminal_ = false;
    int terminal_ = -1;  // borrowed from streams_
    int keyboard_ = -1;  // the same, or -1
};

// Keys reach the command unprocessed for as long as this lives: its own terminal processes them.
class RawKeyboard {
public:
    explicit RawKeyboard(bool wanted);
    ~RawKeyboard();
    RawKeyboard(const RawKeyboard&) = delete;
    RawKeyboard& operator=(const RawKeyboard&) = delete;

private:
    std::optional<termios> previous_;
};
