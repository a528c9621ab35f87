#include "client/support/command.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <stdexcept>

extern char** environ;

namespace {

struct Pipe {
    OwnedFd read;
    OwnedFd write;
};

Pipe makePipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        throw std::runtime_error("no pipe");
    return {OwnedFd(ends[0]), OwnedFd(ends[1])};
}

std::vector<std::string> mergedEnvironment(const Command::Environment& changes) {
    std::vector<std::string> merged;
    for (char** entry = environ; *entry; ++entry) {
        const std::string text = *entry;
        if (changes.count(text.substr(0, text.find('='))) == 0)
            merged.push_back(text);
    }
    for (const auto& [name, value] : changes)
        merged.push_back(name + "=" + value);
    return merged;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (std::string& text : texts)
        result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

int statusOf(int waitStatus) {
    return WIFSIGNALED(waitStatus) ? 128 + WTERMSIG(waitStatus) : WEXITSTATUS(waitStatus);
}

bool readSome(int fd, std::string& text) {
    char buffer[65536];
    const ssize_t got = read(fd, buffer, sizeof buffer);
    if (got > 0)
        text.append(buffer, static_cast<size_t>(got));
    return got > 0;
}

}  // namespace

Command::Command(std::vector<std::string> arguments, Environment environment) {
    Pipe in = makePipe();
    Pipe out = makePipe();
    Pipe err = makePipe();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in.read.get(), STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, out.write.get(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, err.write.get(), STDERR_FILENO);
    // Tests ignore the signal, and programs would inherit that.
    sigset_t broken;
    sigemptyset(&broken);
    sigaddset(&broken, SIGPIPE);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setsigdefault(&attributes, &broken);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    std::vector<std::string> merged = mergedEnvironment(environment);
    const int error = posix_spawnp(&pid_, arguments[0].c_str(), &actions, &attributes,
                                   pointers(arguments).data(), pointers(merged).data());
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    if (error != 0)
        throw std::runtime_error("cannot start " + arguments[0]);
    input_ = std::move(in.write);
    output_ = std::move(out.read);
    errors_ = std::move(err.read);
    errorReader_ = std::thread([this] {
        while (readSome(errors_.get(), errorText_))
            continue;
    });
}

Command::~Command() {
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    if (errorReader_.joinable())
        errorReader_.join();
}

void Command::write(const std::string& input) {
    size_t sent = 0;
    while (sent < input.size()) {
        const ssize_t now = ::write(input_.get(), input.data() + sent, input.size() - sent);
        if (now < 0)
            return;
        sent += static_cast<size_t>(now);
    }
}

bool Command::awaitOutput(const std::string& text) {
    while (outputText_.find(text) == std::string::npos) {
        if (!readSome(output_.get(), outputText_))
            return false;
    }
    return true;
}

void Command::awaitFullOutput() const {
    const int capacity = fcntl(output_.get(), F_GETPIPE_SZ);
    for (int unread = 0; unread < capacity; std::this_thread::yield())
        ioctl(output_.get(), FIONREAD, &unread);
}

int Command::awaitEnd() {
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return statusOf(status);
}

Outcome Command::finish() {
    closeInput();
    while (readSome(output_.get(), outputText_))
        continue;
    errorReader_.join();
    int status = 0;
    rusage used{};
    wait4(pid_, &status, 0, &used);
    pid_ = -1;
    return {statusOf(status), outputText_, errorText_, used.ru_maxrss};
}

Outcome runCommand(std::vector<std::string> arguments, const std::string& input,
                   Command::Environment environment) {
    Command command(std::move(arguments), std::move(environment));
    std::thread feeder([&] {
        command.write(input);
        command.closeInput();
    });
    feeder.join();
    return command.finish();
}
