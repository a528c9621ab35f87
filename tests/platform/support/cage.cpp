#include "platform/support/cage.h"

#include <unistd.h>

#include <stdexcept>

namespace {

constexpr uid_t kNobody = 65534;

// It refuses to run as root.
std::vector<std::string> asNobody() {
    const std::string id = std::to_string(kNobody);
    return {"setpriv", "--reuid=" + id, "--regid=" + id, "--clear-groups", "--pdeathsig", "KILL"};
}

}  // namespace

std::unique_ptr<Cage> Cage::startOn(const XServer& server) {
    std::unique_ptr<Cage> made(new Cage);
    const std::string folder = made->folder.path();
    std::vector<std::string> command;
    if (geteuid() == 0) {
        command = asNobody();
        if (chown(folder.c_str(), kNobody, kNobody) != 0)
            throw std::runtime_error("a folder cannot be given to another user");
    }
    // It ends with the program that it is to show; this one only tells where it shows others.
    command.insert(command.end(), {"cage", "--", "sh", "-c", "echo $WAYLAND_DISPLAY; read end"});
    made->process = std::make_unique<ChildProcess>(
        command, std::vector<std::string>{"XDG_RUNTIME_DIR=" + folder,
                                          "WAYLAND_DISPLAY=", "WLR_BACKENDS=x11",
                                          "WLR_RENDERER=pixman", server.variable()});
    made->display = made->process->readLine();
    if (!made->display.empty())
        return made;
    constexpr int kNoSuchProgram = 127;
    if (made->process->wait() == kNoSuchProgram)
        return nullptr;
    throw std::runtime_error("Cage does not start: " + made->process->errors());
}

// In order, so that it takes the sockets along that it has made for X clients.
Cage::~Cage() {
    process->send("end");
    process->wait();
}

std::vector<std::string> Cage::variables() const {
    return {"XDG_RUNTIME_DIR=" + folder.path(), "WAYLAND_DISPLAY=" + display};
}
