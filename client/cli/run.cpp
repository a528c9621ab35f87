// Wraps a command: an item while it runs, its output as lines and passed through, its exit status
// as ours. What the console does or does not do never disturbs the command.
#include <poll.h>
#include <string.h>
#include <sys/signalfd.h>
#include <sys/wait.h>

#include <array>
#include <cerrno>
#include <deque>

#include "cli/childCommand.h"
#include "cli/itemFeed.h"
#include "cli/percentReader.h"
#include "cli/terminalLines.h"
#include "cli/verbs.h"

namespace {

constexpr int kNotExecutable = 126;  // as shells have them
constexpr int kNotFound = 127;
constexpr int kKilledBase = 128;
// How long the last output may be on its way from a terminal whose last user has ended.
constexpr int kTerminalDrainMs = 100;
constexpr size_t kBufferBytes = 65536;
// Reads after the end of the command; more than any pipe or terminal holds.
constexpr int kMostLastReads = 512;

constexpr int kPassedOn[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGUSR1, SIGUSR2, SIGCONT};

// Signals come as records to read from here on; SIGPIPE comes as a failed write.
class Signals {
public:
    Signals() {
        sigset_t taken;
        sigemptyset(&taken);
        for (const int signal : kPassedOn)
            sigaddset(&taken, signal);
        sigaddset(&taken, SIGCHLD);
        sigaddset(&taken, SIGWINCH);
        fd_.reset(signalfd(-1, &taken, SFD_CLOEXEC | SFD_NONBLOCK));
        sigaddset(&taken, SIGPIPE);
        sigprocmask(SIG_BLOCK, &taken, &previous_);
    }
    int fd() const { return fd_.get(); }
    const sigset_t& previousMask() const { return previous_; }

    bool next(signalfd_siginfo& signal) const {
        return read(fd_.get(), &signal, sizeof signal) == sizeof signal;
    }

private:
    OwnedFd fd_;
    sigset_t previous_;
};

bool writeAll(int fd, const char* data, size_t size) {
    while (size > 0) {
        const ssize_t written = write(fd, data, size);
        if (written < 0 && errno == EAGAIN) {  // somebody shares our output and does not block
            pollfd ready = {fd, POLLOUT, 0};
            poll(&ready, 1, -1);
        } else if (written < 0 && errno != EINTR) {
            return false;
        } else if (written > 0) {
            data += written;
            size -= static_cast<size_t>(written);
        }
    }
    return true;
}

// Carries bytes between the command, ourselves and the console until the command has ended.
class Relay {
public:
    Relay(ChildCommand& child, const Signals& signals, ItemFeed& item,
          const PercentReader& percents)
        : child_(child), signals_(signals) {
        for (OutputStream& stream : child.streams())
            tracks_.emplace_back(stream, item, percents);
        keysOpen_ = child.keyboard() >= 0;
    }

    // The command's wait status.
    int run() {
        while (!status_)
            turn();
        for (Track& track : tracks_) {
            drain(track);
            track.lines.end();
        }
        return *status_;
    }

private:
    // An output stream and what is read from it; two streams never share a line.
    struct Track {
        Track(OutputStream& from, ItemFeed& item, const PercentReader& reader)
            : stream(from),
              percents(reader),
              lines([&item](std::string line) { item.addLine(std::move(line)); },
                    [this, &item](std::string_view line) {
                        if (const std::optional<int> percent = percents.read(line))
                            item.setPercent(*percent);
                    }) {}
        Track(const Track&) = delete;

        OutputStream& stream;
        PercentReader percents;
        TerminalLines lines;
    };

    void turn();
    void drain(Track& track);
    bool takeOutput(Track& track);
    void takeSignals();
    void takeKeys();
    void sendKeys();

    ChildCommand& child_;
    const Signals& signals_;
    std::deque<Track> tracks_;
    std::string keys_;  // on their way to the command
    bool keysOpen_;
    std::optional<int> status_;
    std::array<char, kBufferBytes> buffer_;
};

// Waits for something to happen and handles it.
void Relay::turn() {
    std::vector<pollfd> waits = {{signals_.fd(), POLLIN, 0}};
    const short keysWait = keysOpen_ && keys_.empty() ? POLLIN : 0;
    waits.push_back({keysWait ? STDIN_FILENO : -1, keysWait, 0});
    for (const Track& track : tracks_)
        waits.push_back({track.stream.source ? track.stream.source.get() : -1, POLLIN, 0});
    waits.push_back({keys_.empty() ? -1 : child_.keyboard(), POLLOUT, 0});
    if (poll(waits.data(), waits.size(), -1) <= 0)
        return;

    for (size_t i = 0; i < tracks_.size(); ++i) {
        if (waits[2 + i].revents)
            takeOutput(tracks_[i]);
    }
    if (waits[1].revents)
        takeKeys();
    if (waits.back().revents)
        sendKeys();
    if (waits[0].revents)
        takeSignals();
}

// Reads what the command left behind. Whoever inherited its streams may write on for ever.
void Relay::drain(Track& track) {
    const int limitMs = child_.hasTerminal() ? kTerminalDrainMs : 0;
    for (int reads = 0; reads < kMostLastReads; ++reads) {
        pollfd ready = {track.stream.source.get(), POLLIN, 0};
        if (!track.stream.source || poll(&ready, 1, limitMs) <= 0 || !takeOutput(track))
            return;
    }
}

// False at the end of the stream. A reader of ours that went away is passed on to the command by
// closing its stream.
bool Relay::takeOutput(Track& track) {
    const ssize_t got = read(track.stream.source.get(), buffer_.data(), buffer_.size());
    if (got < 0 && (errno == EAGAIN || errno == EINTR))
        return true;
    const bool passed =
        got > 0 && writeAll(track.stream.target, buffer_.data(), static_cast<size_t>(got));
    if (got > 0)
        track.lines.feed({buffer_.data(), static_cast<size_t>(got)});
    if (!passed) {
        if (track.stream.source.get() == child_.keyboard()) {
            keysOpen_ = false;
            keys_.clear();
        }
        track.stream.source.reset();
    }
    return passed;
}

void Relay::takeSignals() {
    signalfd_siginfo signal;
    while (signals_.next(signal)) {
        if (signal.ssi_signo == SIGWINCH)
            child_.copyTerminalSize();
        else if (signal.ssi_signo != SIGCHLD)
            child_.passOn(signal);
        else if (!status_)
            status_ = child_.pollEnd();
    }
}

void Relay::takeKeys() {
    const ssize_t got = read(STDIN_FILENO, buffer_.data(), buffer_.size());
    if (got > 0)
        keys_.assign(buffer_.data(), static_cast<size_t>(got));
    else if (got == 0 || (errno != EAGAIN && errno != EINTR))
        keysOpen_ = false;
}

void Relay::sendKeys() {
    const ssize_t sent = write(child_.keyboard(), keys_.data(), keys_.size());
    if (sent > 0)
        keys_.erase(0, static_cast<size_t>(sent));
    else if (errno != EAGAIN && errno != EINTR)
        keys_.clear();
}

std::string joined(const std::vector<std::string>& words) {
    std::string line;
    for (const std::string& word : words)
        line += (line.empty() ? "" : " ") + word;
    return line;
}

// Long commands make a poor label, and one command has to hold it.
std::string defaultLabel(const Operands& command) {
    constexpr size_t kLongest = 60;
    const std::string whole = joined(command);
    return whole.size() <= kLongest ? whole : whole.substr(0, kLongest - 3) + "...";
}

std::string endText(int waitStatus) {
    if (WIFSIGNALED(waitStatus)) {
        const int signal = WTERMSIG(waitStatus);
        return "killed by signal " + std::to_string(signal) + " (" + strsignal(signal) + ")";
    }
    return "failed with status " + std::to_string(WEXITSTATUS(waitStatus));
}

int exitStatus(int waitStatus) {
    return WIFSIGNALED(waitStatus) ? kKilledBase + WTERMSIG(waitStatus) : WEXITSTATUS(waitStatus);
}

int reportNotRun(const Options& options, const std::string& command, int error, ItemFeed& item) {
    const std::string text = command + ": " + strerror(error);
    item.addLine(text);
    item.finish();
    complain(options, text);
    return error == ENOENT ? kNotFound : kNotExecutable;
}

}  // namespace

int runVerb(const Options& options, const Operands& command) {
    const std::string label = options.label.value_or(defaultLabel(command));
    const std::string name = options.item.value_or("run." + std::to_string(getpid()));
    ItemFeed item(options);
    if (const int status = item.open(name, label))
        return status;

    const Signals signals;
    ChildCommand child;
    const PercentReader percents(copyTotalOf(command));
    if (const int error = child.start(command, signals.previousMask()))
        return reportNotRun(options, command[0], error, item);
    const RawKeyboard raw(child.keyboard() >= 0);
    const int waitStatus = Relay(child, signals, item, percents).run();

    if (exitStatus(waitStatus) == 0)
        item.setPercent(100);
    else
        item.addLine(label + ": " + endText(waitStatus));
    item.finish();
    return exitStatus(waitStatus);
}
