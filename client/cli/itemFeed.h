// A progress item of a console with the lines that belong to it, fed without ever waiting for the
// console.
#pragma once

#include <memory>
#include <string>

#include "cli/consoleFeed.h"
#include "cli/session.h"

class ItemFeed {
public:
    explicit ItemFeed(const Options& options) : session_(std::make_shared<Session>(options)) {}

    // Connects and shows the item at 0 percent. Returns kDone, or reports and returns the status.
    int open(const std::string& name, const std::string& label);

    void setPercent(int percent) { feed_->setPercent(percent); }
    void addLine(std::string line) { feed_->addLine(std::move(line)); }

    // Sends what is left. Returns kDone, or reports and returns the status.
    int finish();

private:
    std::shared_ptr<Session> session_;  // shared with the feed's thread, which can outlive this
    std::unique_ptr<ConsoleFeed> feed_;
};
