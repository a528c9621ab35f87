#include "platform/support/childProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <stdexcept>

namespace {

// Only for what hangs; no test is decided by it.
constexpr int kHangMilliseconds = 60000;

struct Pipe {
    Pipe() {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0)
            throw std::runtime_error("no pipe");
        reader.reset(ends[0]);
        writer.reset(ends[1]);
    }
    FileDescriptor reader;
    FileDescriptor writer;
};

[[noreturn]] void becomeCommand(const std::vector<std::string>& command,
                                const std::vector<std::string>& environment) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (const std::string& variable : environment)
        putenv(const_cast<char*>(variable.c_str()));
    std::vector<char*> arguments;
    for (const std::string& argument : command)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    _exit(127);
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& command,
                           const std::vector<std::string>& environment, int inherited) {
    Pipe toChild, fromChild;
    error.reset(memfd_create("errors", MFD_CLOEXEC));
    pid = fork();
    if (pid == 0) {
        dup2(toChild.reader.get(), STDIN_FILENO);
        dup2(fromChild.writer.get(), STDOUT_FILENO);
        dup2(error.get(), STDERR_FILENO);
        if (inherited >= 0)
            fcntl(inherited, F_SETFD, 0);
        becomeCommand(command, environment);
    }
    input = std::move(toChild.writer);
    output = std::move(fromChild.reader);
}

ChildProcess::~ChildProcess() {
    if (ended)
        return;
    ::kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
}

void ChildProcess::send(const std::string& line) {
    const std::string whole = line + "\n";
    if (::write(input.get(), whole.data(), whole.size()) != static_cast<ssize_t>(whole.size()))
        throw std::runtime_error("the child does not read");
}

std::string ChildProcess::readLine() {
    return readLineFrom(output.get(), &unread);
}

int ChildProcess::wait() {
    if (ended)
        return status;
    // The output ends with the process; who is still there after the hang guard is ended here.
    while (!readLine().empty()) {
    }
    int raw = 0;
    if (waitpid(pid, &raw, WNOHANG) == 0) {
        pollfd end{output.get(), POLLIN, 0};
        if (poll(&end, 1, kHangMilliseconds) == 0)
            ::kill(pid, SIGKILL);
        waitpid(pid, &raw, 0);
    }
    ended = true;
    status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -WTERMSIG(raw);
    return status;
}

void ChildProcess::kill(int signal) {
    ::kill(pid, signal);
}

std::string ChildProcess::errors() const {
    std::string text;
    char piece[4096];
    ssize_t got = 0;
    while ((got = pread(error.get(), piece, sizeof piece, static_cast<off_t>(text.size()))) > 0)
        text.append(piece, static_cast<size_t>(got));
    return text;
}

std::string readLineFrom(int fd, std::string* unread) {
    for (;;) {
        const size_t end = unread->find('\n');
        if (end != std::string::npos) {
            const std::string line = unread->substr(0, end);
            unread->erase(0, end + 1);
            return line;
        }
        pollfd data{fd, POLLIN, 0};
        char piece[1024];
        const int ready = poll(&data, 1, kHangMilliseconds);
        const ssize_t got = ready > 0 ? ::read(fd, piece, sizeof piece) : 0;
        if (got <= 0)
            return "";
        unread->append(piece, static_cast<size_t>(got));
    }
}
