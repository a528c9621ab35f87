// A process that the test starts, talks to in lines and sees end. It never outlives the test.
#pragma once

#include <sys/types.h>

#include <cstdio>
#include <string>
#include <vector>

#include "ownership/fileDescriptor.h"

class ChildProcess {
public:
    // Starts `command` with the variables of `environment` ("NAME=value") added to the test's own.
    // `inherited` is a descriptor that the child keeps under its number; -1: none.
    ChildProcess(const std::vector<std::string>& command,
                 const std::vector<std::string>& environment, int inherited = -1);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t id() const { return pid; }

    void send(const std::string& line);

    // The next line of its standard output without the newline; empty at the end.
    std::string readLine();

    // Becomes readable with the next output and at the end. Still the process's own.
    int outputDescriptor() const { return output.get(); }

    // Waits for the end: the exit status, or minus the number of the signal that ended it.
    int wait();

    void kill(int signal);

    // What it has written to standard error so far; all of it after wait().
    std::string errors() const;

private:
    pid_t pid = -1;
    int status = 0;
    bool ended = false;
    FileDescriptor input;
    FileDescriptor output;
    FileDescriptor error;  // a file without a name, so that the child never waits for its reader
    std::string unread;
};

// One line from `fd`, without the newline; empty at the end of it or when nothing comes for so long
// that something hangs.
std::string readLineFrom(int fd, std::string* unread);
