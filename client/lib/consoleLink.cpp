#include "lib/consoleLink.h"

#include <devctlSocket.h>
#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <iterator>

#include "console/protocol.h"
#include "velkaris/velkaris.h"

namespace {

// What the interfaces promise is what the node carries.
static_assert(sizeof(DevctlMessage) == kConsoleReceiveBytes, "a message");
static_assert(sizeof(DevctlMessage::payload) == kConsolePayloadBytes, "a payload");
static_assert(VELKARIS_TEXT_BYTES <= DEVCTL_MAX_WRITE, "a written text");

// How the system says that nobody serves the node: nothing there, nobody behind it, or the server
// left in the middle of a call.
constexpr int kGoneErrors[] = {
    ENODEV, ENOENT, ENOTCONN, ECONNREFUSED, ECONNRESET, ECONNABORTED, EPIPE, ENXIO, ESHUTDOWN,
};

bool meansGone(int error) {
    return std::find(std::begin(kGoneErrors), std::end(kGoneErrors), error) !=
           std::end(kGoneErrors);
}

int reported(int error) {
    return meansGone(error) ? ENODEV : error;
}

int writeText(int fd, const std::string& text) {
    const ssize_t written = devctl_write(fd, text.data(), text.size());
    if (written < 0)
        return errno;
    return static_cast<size_t>(written) == text.size() ? 0 : EIO;
}

int sendOne(int fd, const Message& message) {
    if (message.code == kWrittenText)
        return writeText(fd, message.bytes);
    // The command only reads the payload; the interface takes it as writable for those that answer.
    void* payload = const_cast<char*>(message.bytes.data());
    return devctl(fd, static_cast<int>(message.code), payload, message.bytes.size(), nullptr);
}

}  // namespace

int ConsoleLink::connect() {
    if (fd_)
        return 0;
    fd_.reset(devctl_open(path_.c_str(), O_WRONLY | O_CLOEXEC));
    return fd_ ? 0 : reported(errno);
}

int ConsoleLink::sendAll(const std::vector<Message>& messages) {
    for (const Message& message : messages) {
        if (const int error = sendOne(fd_.get(), message))
            return error;
    }
    return 0;
}

int ConsoleLink::send(const std::vector<Message>& messages) {
    for (;;) {
        const bool wasConnected = static_cast<bool>(fd_);
        if (const int error = connect())
            return error;
        const int error = sendAll(messages);
        if (!meansGone(error))
            return error;
        disconnect();
        if (!wasConnected)
            return ENODEV;
    }
}

int ConsoleLink::check() {
    const int error = send({checkMessage()});
    return error == ENOSYS || error == ENOTTY ? 0 : error;
}
