#include "platform/support/weston.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

namespace {

constexpr char kSocketName[] = "wayland-test";

// Only for what hangs; no test is decided by it.
constexpr int kHangMilliseconds = 60000;

// Where a service tells that it is ready, the way a service manager listens for it.
FileDescriptor openNotifySocket(const std::string& path) {
    FileDescriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    if (bind(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
        throw std::runtime_error("no socket at " + path);
    return socket;
}

// False when it ends before it is ready, or hangs.
bool awaitReady(const FileDescriptor& notify, const ChildProcess& process) {
    pollfd events[2] = {{notify.get(), POLLIN, 0}, {process.outputDescriptor(), POLLIN, 0}};
    while (poll(events, 2, kHangMilliseconds) > 0) {
        char text[512] = "";
        if ((events[0].revents & POLLIN) == 0)
            return false;
        if (recv(notify.get(), text, sizeof text - 1, 0) > 0 && std::strstr(text, "READY=1"))
            return true;
    }
    return false;
}

std::string option(const char* name, int value) {
    return std::string(name) + "=" + std::to_string(value);
}

}  // namespace

std::unique_ptr<Weston> Weston::startHeadless(int width, int height) {
    return start(
        {"--backend=headless-backend.so", option("--width", width), option("--height", height)},
        "DISPLAY=");
}

std::unique_ptr<Weston> Weston::startOn(const XServer& server, int width, int height) {
    return start({"--backend=x11-backend.so", "--use-pixman", option("--width", width),
                  option("--height", height)},
                 server.variable());
}

std::unique_ptr<Weston> Weston::start(const std::vector<std::string>& backend,
                                      const std::string& variable) {
    std::unique_ptr<Weston> made(new Weston);
    const std::string notifyPath = made->folder.file("notify");
    const FileDescriptor notify = openNotifySocket(notifyPath);
    std::vector<std::string> command{"weston", "--no-config", "--idle-time=0",
                                     std::string("--socket=") + kSocketName,
                                     "--modules=systemd-notify.so"};
    command.insert(command.end(), backend.begin(), backend.end());
    made->process = std::make_unique<ChildProcess>(
        command,
        std::vector<std::string>{"XDG_RUNTIME_DIR=" + made->folder.path(),
                                 "NOTIFY_SOCKET=" + notifyPath, "WAYLAND_DISPLAY=", variable});
    if (awaitReady(notify, *made->process))
        return made;
    constexpr int kNoSuchProgram = 127;
    if (made->process->wait() == kNoSuchProgram)
        return nullptr;
    throw std::runtime_error("Weston does not start: " + made->process->errors());
}

std::vector<std::string> Weston::variables() const {
    return {"XDG_RUNTIME_DIR=" + folder.path(), std::string("WAYLAND_DISPLAY=") + kSocketName};
}
