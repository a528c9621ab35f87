// A verb's console: opened with the options of the command line, its failures put into words once.
#pragma once

#include <memory>
#include <string>

#include "cli/commandLine.h"
#include "cli/exitStatus.h"

class Session {
public:
    explicit Session(Options options) : options_(std::move(options)) {}

    // Connects with the command line's options. Returns kDone, or reports and returns the status.
    int open();

    // The status for what a library call returned; says on standard error what went wrong, unless
    // the command line asks for quiet.
    int report(int error) const;

    velkaris_console* console() const { return console_.get(); }
    const Options& options() const { return options_; }

private:
    struct Close {
        void operator()(velkaris_console* console) const { velkaris_close(console); }
    };
    const Options options_;
    std::unique_ptr<velkaris_console, Close> console_;
};

// The node that the library takes with these options.
std::string nodePath(const Options& options);

// One line on standard error in velkarisctl's name, unless the options ask for quiet.
void complain(const Options& options, const std::string& message);
