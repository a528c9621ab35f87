// A program that a test starts, watches by its pid alone, and never leaves behind.
#pragma once

#include <sys/types.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

// Milliseconds after which a wait counts as hung. No test is decided by it: it only ends one that
// would otherwise never end.
constexpr int kHangGuard = 60000;

struct ChildOptions {
    std::vector<std::string> command;                // program and arguments
    std::map<std::string, std::string> environment;  // added; an empty value removes the variable
    std::string inputPath = "/dev/null";
    std::string outputPath = "/dev/null";
    std::string errorPath = "/dev/null";
};

class ChildProcess {
public:
    // Throws std::system_error when nothing can be started; a program that is not there ends with
    // status 127.
    explicit ChildProcess(const ChildOptions& options);
    ~ChildProcess();  // kills it if it still runs
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t pid() const { return pid_; }
    int pidFd() const { return pidFd_; }  // readable once it has ended
    void signal(int number) const;

    bool ended();

    // The wait status, or nothing if it runs on past the hang guard.
    std::optional<int> waitForEnd();

private:
    bool reap();

    pid_t pid_ = -1;
    int pidFd_ = -1;
    std::optional<int> status_;
};

struct CommandResult {
    int status = -1;  // exit status; -1 if it ended in another way
    std::string output;
    std::string errors;
};

// Runs a command to its end, with its output in files of `folder`.
CommandResult runCommand(const std::string& folder, const std::vector<std::string>& command,
                         const std::map<std::string, std::string>& environment = {});

std::string readFile(const std::string& path);  // empty if there is none
