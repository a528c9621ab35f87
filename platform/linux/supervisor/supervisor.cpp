#include "supervisor/supervisor.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "ownership/fileDescriptor.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::microseconds;

constexpr int kFeedings = 4;                // in the time that the watchdog allows
constexpr std::chrono::hours kLongest{24};  // keeps sums of times small

std::string taken(const char* variable) {
    const char* const value = std::getenv(variable);
    const std::string text = value ? value : "";
    unsetenv(variable);
    return text;
}

// One line of a message has no line feed.
std::string oneLine(std::string text) {
    for (char& letter : text)
        if (letter == '\n')
            letter = ' ';
    return text;
}

// Zero where the watchdog is not meant for this process, or there is none.
microseconds watchdogTime() {
    const std::string time = taken("WATCHDOG_USEC");
    const std::string process = taken("WATCHDOG_PID");
    if (!process.empty() && process != std::to_string(getpid()))
        return microseconds(0);
    return std::min<microseconds>(microseconds(std::strtoll(time.c_str(), nullptr, 10)), kLongest);
}

class Supervisor {
public:
    Supervisor() : feedingTime_(watchdogTime() / kFeedings) {
        const std::string path = taken("NOTIFY_SOCKET");
        const bool isAbstract = path[0] == '@';
        if ((path[0] != '/' && !isAbstract) || path.size() < 2 ||
            path.size() >= sizeof address_.sun_path)
            return;
        std::memcpy(address_.sun_path, path.c_str(), path.size());
        size_ = offsetof(sockaddr_un, sun_path) + path.size();
        if (isAbstract)
            address_.sun_path[0] = '\0';
        socket_.reset(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    }

    void setWindow(std::string window) { window_ = oneLine(std::move(window)); }

    void ready(const std::string& node) {
        unsent_ = "READY=1\nSTATUS=" + oneLine(node);
        if (!window_.empty())
            unsent_ += ", " + window_;
        sendUnsent();
    }

    void tick() {
        sendUnsent();
        if (feedingTime_.count() <= 0)
            return;
        const Clock::time_point now = Clock::now();
        if (now - fed_ >= feedingTime_ && send("WATCHDOG=1"))
            fed_ = now;
    }

    void stopping() { send("STOPPING=1"); }

private:
    void sendUnsent() {
        if (!unsent_.empty() && send(unsent_))
            unsent_.clear();
    }

    // False when the manager does not take it now.
    bool send(const std::string& message) {
        return !socket_ ||
               sendto(socket_.get(), message.data(), message.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
                      reinterpret_cast<const sockaddr*>(&address_), size_) >= 0;
    }

    sockaddr_un address_ = {AF_UNIX, {}};
    socklen_t size_ = 0;
    FileDescriptor socket_;
    microseconds feedingTime_;  // zero: never
    Clock::time_point fed_;
    std::string window_;
    std::string unsent_;
};

Supervisor& supervisor() {
    // Never freed: it is told of the end while the process ends.
    static auto* const theOne = new Supervisor;
    return *theOne;
}

}  // namespace

void meetSupervisor() {
    supervisor();
}

void tellSupervisorOfWindow(const std::string& window) {
    supervisor().setWindow(window);
}

void tellSupervisorReady(const std::string& node) {
    supervisor().ready(node);
}

void tellSupervisorOfTick() {
    supervisor().tick();
}

void tellSupervisorStopping() {
    supervisor().stopping();
}
