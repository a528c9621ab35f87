#include "cli/itemFeed.h"

#include <cerrno>

int ItemFeed::open(const std::string& name, const std::string& label) {
    if (const int status = session_->open())
        return status;
    velkaris_console* console = session_->console();
    const int error = velkaris_put_item(console, name.c_str(), label.c_str(), 0);
    if (const int status = session_->report(error))
        return status;
    // From here on waiting costs nobody anything, and giving up could only repeat or lose a line.
    velkaris_set_time_limit(console, VELKARIS_NO_TIME_LIMIT);

    ConsoleFeed::Sink sink;
    sink.showPercent = [session = session_, name, label](int percent) {
        return velkaris_put_item(session->console(), name.c_str(), label.c_str(), percent);
    };
    sink.showLines = [session = session_](const std::string& lines) {
        return velkaris_write(session->console(), lines.data(), lines.size());
    };
    feed_ = std::make_unique<ConsoleFeed>(std::move(sink));
    return kDone;
}

int ItemFeed::finish() {
    const unsigned int limit = session_->options().timeLimit;
    const int error = feed_->finish(std::chrono::milliseconds(limit));
    if (error != ETIMEDOUT)  // else the feed's thread still has the handle
        velkaris_set_time_limit(session_->console(), limit);
    return session_->report(error);
}
