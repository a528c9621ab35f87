// Runs a program to its end, or lets it go on while a test does something to it.
#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <thread>
#include <vector>

#include "client/lib/ownedFd.h"

struct Outcome {
    int status;  // the exit status, or 128 and the number of the signal that ended it
    std::string output;
    std::string errors;
    long peakMemory;  // resident, in KiB
};

class Command {
public:
    using Environment = std::map<std::string, std::string>;

    explicit Command(std::vector<std::string> arguments, Environment environment = {});
    // Ends the program if it is still running.
    ~Command();

    void write(const std::string& input);
    void closeInput() { input_.reset(); }
    pid_t pid() const { return pid_; }

    // Waits until the output so far contains `text`; false if it ends without.
    bool awaitOutput(const std::string& text);

    const std::string& output() const { return outputText_; }

    // Waits until nothing more fits in front of a reader that does not read. Only for output that
    // comes in whole pages: others leave room in the pipe that nobody can use.
    void awaitFullOutput() const;

    // Waits for the end without reading any output. Returns the status.
    int awaitEnd();

    // Closes the input and waits for the end.
    Outcome finish();

private:
    pid_t pid_ = -1;
    OwnedFd input_;
    OwnedFd output_;
    OwnedFd errors_;
    std::string outputText_;
    std::string errorText_;
    std::thread errorReader_;
};

// The whole story of a program that needs nothing but its input.
Outcome runCommand(std::vector<std::string> arguments, const std::string& input = {},
                   Command::Environment environment = {});
