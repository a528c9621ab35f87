#include "support/childProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

extern "C" {
#include <sys/pidfd.h>  // some releases of it forget that C++ exists
}

#include <cerrno>
#include <csignal>
#include <fstream>
#include <sstream>
#include <system_error>

extern "C" char** environ;

namespace {

std::vector<std::string> mergedEnvironment(const std::map<std::string, std::string>& added) {
    std::vector<std::string> merged;
    for (char** variable = environ; *variable; ++variable) {
        const std::string entry = *variable;
        if (added.find(entry.substr(0, entry.find('='))) == added.end())
            merged.push_back(entry);
    }
    for (const auto& [name, value] : added) {
        if (!value.empty())
            merged.push_back(name + "=" + value);
    }
    return merged;
}

std::vector<char*> pointersTo(const std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (const std::string& text : texts)
        pointers.push_back(const_cast<char*>(text.c_str()));
    pointers.push_back(nullptr);
    return pointers;
}

// Between fork and exec: system calls only.
[[noreturn]] void becomeProgram(const ChildOptions& options, char* const* arguments,
                                char* const* environment, pid_t parent) {
    // A test that is killed takes its children along.
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent)
        _exit(127);
    dup2(open(options.inputPath.c_str(), O_RDONLY), STDIN_FILENO);
    dup2(open(options.outputPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666), STDOUT_FILENO);
    dup2(open(options.errorPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666), STDERR_FILENO);
    for (int fd = STDERR_FILENO + 1; fd < 64; ++fd)
        close(fd);
    execvpe(arguments[0], arguments, environment);
    _exit(127);
}

}  // namespace

ChildProcess::ChildProcess(const ChildOptions& options) {
    const std::vector<std::string> variables = mergedEnvironment(options.environment);
    const std::vector<char*> arguments = pointersTo(options.command);
    const std::vector<char*> environment = pointersTo(variables);
    const pid_t parent = getpid();
    pid_ = fork();
    if (pid_ < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
    if (pid_ == 0)
        becomeProgram(options, arguments.data(), environment.data(), parent);

    pidFd_ = pidfd_open(pid_, 0);
    if (pidFd_ < 0)
        throw std::system_error(errno, std::generic_category(), "pidfd_open");
}

ChildProcess::~ChildProcess() {
    if (!ended()) {
        signal(SIGKILL);
        (void)waitForEnd();
    }
    close(pidFd_);
}

void ChildProcess::signal(int number) const {
    if (!status_)
        kill(pid_, number);
}

bool ChildProcess::reap() {
    int status = 0;
    if (!status_ && waitpid(pid_, &status, WNOHANG) == pid_)
        status_ = status;
    return status_.has_value();
}

bool ChildProcess::ended() {
    return reap();
}

std::optional<int> ChildProcess::waitForEnd() {
    pollfd end = {pidFd_, POLLIN, 0};
    while (!reap()) {
        const int ready = poll(&end, 1, kHangGuard);
        if (ready == 0 || (ready < 0 && errno != EINTR))
            break;
    }
    return status_;
}

CommandResult runCommand(const std::string& folder, const std::vector<std::string>& command,
                         const std::map<std::string, std::string>& environment) {
    ChildOptions options;
    options.command = command;
    options.environment = environment;
    options.outputPath = folder + "/command.out";
    options.errorPath = folder + "/command.err";
    ChildProcess child(options);
    const std::optional<int> status = child.waitForEnd();

    CommandResult result;
    if (status && WIFEXITED(*status))
        result.status = WEXITSTATUS(*status);
    result.output = readFile(options.outputPath);
    result.errors = readFile(options.errorPath);
    return result;
}

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}
