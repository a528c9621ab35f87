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

// What we were started with and the command has to get as well.
struct InheritedSignals {
    sigset_t mask;
    struct sigaction ofChildren;  // for SIGCHLD
};

class ChildCommand {
public:
    // Returns 0 or the error number with which it could not be run.
    int start(const std::vector<std::string>& arguments, const InheritedSignals& signals);

    std::vector<OutputStream>& streams() { return streams_; }

    // Lets the command see that nobody reads this any longer.
    void close(OutputStream& stream);

    bool hasTerminal() const { return ownTerminal_; }

    // The terminal that our keys are for, or -1 if our standard input is no terminal or its
    // output is closed.
    int keyboard() const { return keyboard_; }

    // Passes on a signal that came to us, unless the terminal has sent it to the command already.
    void passOn(const signalfd_siginfo& signal) const;

    // Makes the command's terminal, if it has one, as large as ours.
    void copyTerminalSize() const;

    // Only one of two terminals in a row may put carriage returns before newlines: the command's if
    // ours is raw.
    void setOursIsRaw(bool raw);

    // What is to be polled for a change of the command's state, or -1: then SIGCHLD tells.
    int stateSource() const { return reports_.get(); }

    // The next wait status, once it has ended or been stopped.
    std::optional<int> pollState();

private:
    struct Plan;
    int prepareTerminal(Plan* plan);
    int preparePipes(Plan* plan);
    void addStream(OwnedFd source, int target);
    int awaitExecution(int failures, OwnedFd reports);

    pid_t pid_ = -1;
    std::vector<OutputStream> streams_;
    OwnedFd reports_;  // from the leader of the command's session: wait statuses
    bool ownTerminal_ = false;
    int terminal_ = -1;  // borrowed from streams_
    int keyboard_ = -1;  // the same, or -1
    bool processingHeldBack_ = false;
};

// Whether keys at our terminal are for us. In the background touching it would stop us.
bool inForeground();

// Keys reach the command unprocessed while they are taken: its own terminal processes them.
class RawKeyboard {
public:
    RawKeyboard() = default;
    ~RawKeyboard() { giveBack(); }
    RawKeyboard(const RawKeyboard&) = delete;
    RawKeyboard& operator=(const RawKeyboard&) = delete;

    // Also after a stop without giveBack(): a shell has changed the settings then.
    void take();
    void giveBack();

private:
    std::optional<termios> previous_;
};
