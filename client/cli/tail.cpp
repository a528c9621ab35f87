// Follows files. A console that goes away only makes it wait: the files keep what is to be shown.
#include <cerrno>
#include <chrono>
#include <cstring>
#include <deque>
#include <thread>

#include "cli/followedFile.h"
#include "cli/session.h"
#include "cli/terminalLines.h"
#include "cli/verbs.h"

namespace {

// The console draws once a second; what comes in between is shown together.
constexpr std::chrono::milliseconds kPause{500};

struct Followed {
    Followed(const std::string& path, std::string& shown)
        : file(path), lines([&shown](std::string line) { shown += line + "\n"; }, [](auto) {}) {}
    Followed(const Followed&) = delete;

    FollowedFile file;
    TerminalLines lines;
};

class Tail {
public:
    Tail(Session& session, const Operands& paths) : session_(session) {
        for (const std::string& path : paths)
            files_.emplace_back(path, shown_);
    }

    void open() {
        for (Followed& followed : files_) {
            if (const int error = followed.file.open(session_.options().lines))
                tell(followed, std::strerror(error));
        }
    }

    // Shows all that is new. Returns a status other than kDone if the console refuses it.
    int showNews() {
        for (Followed& followed : files_) {
            if (const int status = showNewsOf(followed))
                return status;
        }
        return kDone;
    }

private:
    int showNewsOf(Followed& followed);
    int send(const Followed& from);
    int deliver(const std::string& text);
    void tell(const Followed& followed, const std::string& what) const {
        complain(session_.options(), followed.file.path() + ": " + what);
    }

    Session& session_;
    std::string shown_;  // lines that are complete and not sent yet
    std::deque<Followed> files_;
    const Followed* lastShown_ = nullptr;
};

int Tail::showNewsOf(Followed& followed) {
    std::string bytes;
    for (;;) {
        const FollowedFile::Event event = followed.file.read(&bytes);
        switch (event) {
            case FollowedFile::Event::none:
            case FollowedFile::Event::succeeded: break;
            case FollowedFile::Event::appeared: tell(followed, "appeared"); break;
            case FollowedFile::Event::replaced: tell(followed, "replaced"); break;
            case FollowedFile::Event::cut: tell(followed, "cut"); break;
            case FollowedFile::Event::gone: tell(followed, "gone"); break;
        }
        if (event != FollowedFile::Event::none && event != FollowedFile::Event::succeeded)
            followed.lines.end();  // nobody is going to complete that line
        followed.lines.feed(bytes);
        if (const int status = send(followed))
            return status;
        const bool sameFileAtItsEnd = bytes.empty() && event == FollowedFile::Event::none;
        if (sameFileAtItsEnd || event == FollowedFile::Event::gone)
            return kDone;
    }
}

// With several files, a heading says whose lines follow.
int Tail::send(const Followed& from) {
    if (shown_.empty())
        return kDone;
    std::string text;
    if (files_.size() > 1 && lastShown_ != &from)
        text = "==> " + from.file.path() + " <==\n";
    lastShown_ = &from;
    text += shown_;
    shown_.clear();
    return deliver(text);
}

int Tail::deliver(const std::string& text) {
    bool told = false;
    for (;;) {
        const int error = velkaris_write(session_.console(), text.data(), text.size());
        if (error != ENODEV)
            return session_.report(error);
        if (!std::exchange(told, true))
            session_.report(error);
        std::this_thread::sleep_for(kPause);
    }
}

}  // namespace

int tailVerb(const Options& options, const Operands& operands) {
    Session session(options);
    if (const int status = session.open())
        return status;
    // A stopped console is waited for: giving up could only repeat or lose a line.
    velkaris_set_time_limit(session.console(), VELKARIS_NO_TIME_LIMIT);
    Tail tail(session, operands);
    tail.open();
    for (;;) {
        if (const int status = tail.showNews())
            return status;
        std::this_thread::sleep_for(kPause);
    }
}
