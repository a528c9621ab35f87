// Wraps a command: an item while it runs, its output as lines and passed through, its exit status
// as ours. What the console does or does not do never disturbs the command.
#include <poll.h>
#include <sys/signalfd.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <deque>

#include "cli/childCommand.h"
#include "cli/itemFeed.h"
#include "cli/outputTarget.h"
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

constexpr int kPassedOn[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGUSR1, SIGUSR2, SIGTSTP, SIGCONT};

// Signals come as records to read from here on; SIGPIPE comes as a failed write.
class Signals {
public:
    // A parent that ignores the ends of its children would keep us from hearing of ours.
    Signals() {
        struct sigaction heard {};
        heard.sa_handler = SIG_DFL;
        sigaction(SIGCHLD, &heard, &inherited_.ofChildren);
        sigset_t taken;
        sigemptyset(&taken);
        for (const int signal : kPassedOn)
            sigaddset(&taken, signal);
        sigaddset(&taken, SIGCHLD);
        sigaddset(&taken, SIGWINCH);
        fd_.reset(signalfd(-1, &taken, SFD_CLOEXEC | SFD_NONBLOCK));
        sigaddset(&taken, SIGPIPE);
        sigprocmask(SIG_BLOCK, &taken, &inherited_.mask);
    }
    int fd() const { return fd_.get(); }
    const InheritedSignals& inherited() const { return inherited_; }

    // Signals have their effect on us again; but a failure to tell anything is no reason to die.
    void letThrough() const {
        sigset_t mask = inherited_.mask;
        sigaddset(&mask, SIGPIPE);
        sigprocmask(SIG_SETMASK, &mask, nullptr);
    }

    bool next(signalfd_siginfo* signal) const {
        return read(fd_.get(), signal, sizeof *signal) == sizeof *signal;
    }

private:
    OwnedFd fd_;
    InheritedSignals inherited_;
};

// Lets the signal take its effect, which stops us unless there is nobody who could continue us.
// Then and otherwise a SIGCONT is to be read afterwards.
void stopOurselves(bool withOurGroup) {
    kill(withOurGroup ? 0 : getpid(), SIGTSTP);
    sigset_t stop;
    sigemptyset(&stop);
    sigaddset(&stop, SIGTSTP);
    sigprocmask(SIG_UNBLOCK, &stop, nullptr);
    sigprocmask(SIG_BLOCK, &stop, nullptr);
    kill(getpid(), SIGCONT);
}

bool isJobControlStop(int waitStatus) {
    const int signal = WIFSTOPPED(waitStatus) ? WSTOPSIG(waitStatus) : 0;
    return signal == SIGTSTP || signal == SIGTTIN || signal == SIGTTOU;
}

// Carries bytes between the command, ourselves and the console until the command has ended.
class Relay {
public:
    Relay(ChildCommand& child, const Signals& signals, ItemFeed& item,
          const PercentReader& percents)
        : child_(child), signals_(signals) {
        for (OutputStream& stream : child.streams())
            tracks_.emplace_back(stream, item, percents);
        takeKeyboard();
    }

    // The command's wait status.
    int run() {
        while (!ended_)
            turn();
        for (Track& track : tracks_)
            track.lines.end();
        return *status_;
    }

private:
    // An output stream and what is read from it; two streams never share a line.
    struct Track {
        Track(OutputStream& from, ItemFeed& item, const PercentReader& reader)
            : stream(from),
              target(from.target),
              percents(reader),
              lines([&item](std::string line) { item.addLine(std::move(line)); },
                    [this, &item](std::string_view line) {
                        if (const std::optional<int> percent = percents.read(line))
                            item.setPercent(*percent);
                    }) {}
        Track(const Track&) = delete;

        OutputStream& stream;
        OutputTarget target;
        std::string unsent;  // read and not passed through yet
        int lastReads = kMostLastReads;
        PercentReader percents;
        TerminalLines lines;
    };

    void turn();
    bool reads(const Track& track) const;
    int patienceMs() const;
    void takeOutput(Track& track);
    void sendOutput(Track& track);
    void closeSource(Track& track);
    void takeSignals();
    void takeSignal(const signalfd_siginfo& signal);
    void takeToHeart(int signal);
    void takeState();
    void takeKeyboard();
    void takeKeys();
    void sendKeys();

    ChildCommand& child_;
    const Signals& signals_;
    std::deque<Track> tracks_;
    RawKeyboard raw_;
    std::string keys_;  // on their way to the command
    bool keysOpen_ = false;
    std::optional<int> status_;  // once the command has ended
    bool ended_ = false;         // once its last output has been passed through as well
    std::array<char, kBufferBytes> buffer_;
};

// A stream is read no further than it is passed through. Whoever inherited it from the command may
// write on for ever.
bool Relay::reads(const Track& track) const {
    return track.stream.source && track.unsent.empty() && (!status_ || track.lastReads > 0);
}

// How long the next thing may be in coming, -1 for ever.
int Relay::patienceMs() const {
    const auto waits = [](const Track& track) { return !track.unsent.empty(); };
    if (!status_ || std::any_of(tracks_.begin(), tracks_.end(), waits))
        return -1;
    const auto open = [this](const Track& track) { return reads(track); };
    return child_.hasTerminal() && std::any_of(tracks_.begin(), tracks_.end(), open)
               ? kTerminalDrainMs
               : 0;
}

// Waits for something to happen and handles it.
void Relay::turn() {
    constexpr size_t kSignals = 0, kState = 1, kKeys = 2, kKeyboard = 3, kFirstTrack = 4;
    std::vector<pollfd> waits(kFirstTrack, pollfd{-1, 0, 0});
    waits[kSignals] = {signals_.fd(), POLLIN, 0};
    waits[kState] = {status_ ? -1 : child_.stateSource(), POLLIN, 0};
    waits[kKeys] = {keysOpen_ && keys_.empty() ? STDIN_FILENO : -1, POLLIN, 0};
    waits[kKeyboard] = {keys_.empty() ? -1 : child_.keyboard(), POLLOUT, 0};
    for (const Track& track : tracks_) {
        if (!track.unsent.empty())
            waits.push_back({track.target.fd(), POLLOUT, 0});
        else
            waits.push_back({reads(track) ? track.stream.source.get() : -1, POLLIN, 0});
    }
    const int ready = poll(waits.data(), waits.size(), patienceMs());
    ended_ = ready == 0;
    if (ready <= 0)
        return;

    for (size_t i = 0; i < tracks_.size(); ++i) {
        if (waits[kFirstTrack + i].revents)
            tracks_[i].unsent.empty() ? takeOutput(tracks_[i]) : sendOutput(tracks_[i]);
    }
    if (waits[kKeys].revents)
        takeKeys();
    if (waits[kKeyboard].revents)
        sendKeys();
    if (waits[kSignals].revents)
        takeSignals();
    if (waits[kState].revents)
        takeState();
}

void Relay::takeOutput(Track& track) {
    if (status_)
        --track.lastReads;
    const ssize_t got = read(track.stream.source.get(), buffer_.data(), buffer_.size());
    if (got < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    if (got <= 0)
        return closeSource(track);
    track.unsent.assign(buffer_.data(), static_cast<size_t>(got));
    track.lines.feed(track.unsent);
}

// A reader of ours that went away is passed on to the command by closing its stream.
void Relay::sendOutput(Track& track) {
    const ssize_t sent = track.target.write(track.unsent);
    if (sent >= 0)
        return void(track.unsent.erase(0, static_cast<size_t>(sent)));
    track.unsent.clear();
    closeSource(track);
}

void Relay::closeSource(Track& track) {
    child_.close(track.stream);
    if (child_.keyboard() < 0) {
        keysOpen_ = false;
        keys_.clear();
    }
}

void Relay::takeSignals() {
    signalfd_siginfo signal;
    while (signals_.next(&signal))
        takeSignal(signal);
}

// Without a command left, what was meant for it is meant for us.
void Relay::takeSignal(const signalfd_siginfo& signal) {
    if (signal.ssi_signo == SIGCONT)
        takeKeyboard();
    if (signal.ssi_signo == SIGWINCH)
        child_.copyTerminalSize();
    else if (signal.ssi_signo == SIGCHLD)
        takeState();
    else if (!status_)
        child_.passOn(signal);
    else
        takeToHeart(static_cast<int>(signal.ssi_signo));
}

void Relay::takeToHeart(int signal) {
    raw_.giveBack();
    signals_.letThrough();
    kill(getpid(), signal);
}

// A command that was stopped stops us, for whoever started us waits for that. Where we took the
// keys, we also do what our terminal would have done: it stops the whole group.
void Relay::takeState() {
    const std::optional<int> state = status_ ? std::nullopt : child_.pollState();
    if (!state)
        return;
    if (!WIFSTOPPED(*state)) {
        status_ = state;
    } else if (isJobControlStop(*state)) {
        const bool keysWereOurs = keysOpen_;
        raw_.giveBack();
        stopOurselves(keysWereOurs);
    }
}

// In the foreground keys are the command's, in the background somebody else's.
void Relay::takeKeyboard() {
    if (child_.keyboard() < 0)
        return child_.setOursIsRaw(false);
    keysOpen_ = inForeground();
    if (keysOpen_)
        raw_.take();
    child_.setOursIsRaw(keysOpen_);
    child_.copyTerminalSize();
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
    const std::string text = command + ": " + std::strerror(error);
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
    if (const int error = child.start(command, signals.inherited()))
        return reportNotRun(options, command[0], error, item);
    const int waitStatus = Relay(child, signals, item, percents).run();
    signals.letThrough();

    if (exitStatus(waitStatus) == 0)
        item.setPercent(100);
    else
        item.addLine(label + ": " + endText(waitStatus));
    item.finish();
    return exitStatus(waitStatus);
}
