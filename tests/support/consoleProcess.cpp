#include "support/consoleProcess.h"

#include <devctlSocket.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

constexpr int kNodeRetry = 10;  // milliseconds between two tries to open the node

class Descriptor {
public:
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor() {
        if (fd_ >= 0)
            close(fd_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return fd_; }

private:
    int fd_;
};

void drain(int fd) {
    char events[4096];
    while (read(fd, events, sizeof(events)) > 0) {
    }
}

}  // namespace

ConsoleProcess::ConsoleProcess(const ConsoleOptions& options)
    : node_(options.nodePath.empty() ? folder_.path() + "/node" : options.nodePath) {
    const std::string frames = folder_.path() + "/frames";
    mkdir(frames.c_str(), 0777);

    ChildOptions child;
    child.command = {VELKARIS_PROGRAM};
    child.command.insert(child.command.end(), options.arguments.begin(), options.arguments.end());
    child.environment = options.environment;
    child.environment["VELKARIS_WINDOW"] = options.window;
    child.environment["VELKARIS_CAPTURE"] = frames;
    child.environment["VELKARIS_NODE"] = node_;
    child.environment["VELKARIS_NODE_KIND"] = options.nodeKind;
    child.outputPath = folder_.path() + "/stdout";
    child.errorPath = folder_.path() + "/stderr";
    process_ = std::make_unique<ChildProcess>(child);
}

ConsoleProcess::~ConsoleProcess() {
    if (!process_->ended()) {
        process_->signal(SIGCONT);
        (void)stop(SIGTERM);
    }
    process_.reset();
    for (const char* report : {"Sanitizer", "runtime error:"})
        EXPECT_EQ(errors().find(report), std::string::npos) << errors();
    // A killed one's mount stays, dead; a live one on the same node is another console's.
    const bool dead = isMounted(node_) && access(node_.c_str(), F_OK) != 0 && errno == ENOTCONN;
    if (dead && umount2(node_.c_str(), MNT_DETACH) != 0)
        (void)runCommand(folder(), {"fusermount3", "-u", "-z", node_});
}

bool ConsoleProcess::waitForNode() {
    for (int waited = 0; waited < kHangGuard && !process_->ended(); waited += kNodeRetry) {
        const Descriptor opened(devctl_open(node_.c_str(), O_WRONLY));
        if (opened.get() >= 0)
            return true;
        pollfd end = {process_->pidFd(), POLLIN, 0};
        poll(&end, 1, kNodeRetry);
    }
    return false;
}

bool ConsoleProcess::waitForFrame(int number) {
    const Descriptor arrivals(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    const std::string frames = folder() + "/frames";
    inotify_add_watch(arrivals.get(), frames.c_str(), IN_MOVED_TO | IN_CREATE | IN_CLOSE_WRITE);
    while (access(framePath(number).c_str(), R_OK) != 0) {
        if (process_->ended())
            return access(framePath(number).c_str(), R_OK) == 0;
        pollfd events[] = {{arrivals.get(), POLLIN, 0}, {process_->pidFd(), POLLIN, 0}};
        if (poll(events, 2, kHangGuard) == 0)
            return false;
        drain(arrivals.get());
    }
    return true;
}

int ConsoleProcess::newestFrame() const {
    int newest = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder() + "/frames")) {
        int number = 0;
        if (sscanf(entry.path().filename().c_str(), "frame-%6d.png", &number) == 1)
            newest = std::max(newest, number);
    }
    return newest;
}

RgbImage ConsoleProcess::frame(int number) const {
    return readPng(framePath(number));
}

std::optional<int> ConsoleProcess::stop(int signalNumber) {
    process_->signal(signalNumber);
    return process_->waitForEnd();
}

std::string ConsoleProcess::framePath(int number) const {
    char name[32];
    snprintf(name, sizeof(name), "/frames/frame-%06d.png", number);
    return folder() + name;
}

bool isMounted(const std::string& path) {
    std::ifstream mounts("/proc/self/mountinfo");
    for (std::string line; std::getline(mounts, line);) {
        std::istringstream fields(line);
        std::string id, parent, device, root, mountPoint;
        fields >> id >> parent >> device >> root >> mountPoint;
        if (mountPoint == path)
            return true;
    }
    return false;
}

std::string whyNotServed(const std::string& kind) {
    const std::string server = "/dev/" + kind;
    if (kind != "socket" && access(server.c_str(), R_OK | W_OK) != 0)
        return "no access to " + server;
    return "";
}
