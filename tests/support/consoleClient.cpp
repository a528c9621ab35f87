#include "support/consoleClient.h"

#include <devctlSocket.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>

namespace {

// Name offset, label offset and percent, then the two texts, each with its NUL.
std::vector<char> itemPayload(const std::string& name, const std::string& label, int32_t percent) {
    const int32_t header[] = {0, static_cast<int32_t>(name.size() + 1), percent};
    std::vector<char> payload(sizeof(header));
    memcpy(payload.data(), header, sizeof(header));
    payload.insert(payload.end(), name.c_str(), name.c_str() + name.size() + 1);
    payload.insert(payload.end(), label.c_str(), label.c_str() + label.size() + 1);
    return payload;
}

}  // namespace

ConsoleClient::ConsoleClient(const std::string& node) : fd_(devctl_open(node.c_str(), O_WRONLY)) {
    if (fd_ < 0)
        throw std::system_error(errno, std::generic_category(), node);
}

ConsoleClient::~ConsoleClient() {
    close(fd_);
}

// As programs do that know nothing of consoles, where the system lets them.
ssize_t ConsoleClient::write(const std::string& text) {
    return devctlIsSocket(fd_) ? devctl_write(fd_, text.data(), text.size())
                               : ::write(fd_, text.data(), text.size());
}

int ConsoleClient::setStatus(const std::string& text) {
    return command(kSetStatusCode, {text.c_str(), text.c_str() + text.size() + 1});
}

int ConsoleClient::setPercent(int32_t percent) {
    std::vector<char> payload(sizeof(percent));
    memcpy(payload.data(), &percent, sizeof(percent));
    return command(kSetPercentCode, payload);
}

int ConsoleClient::addItem(const std::string& name, const std::string& label, int32_t percent) {
    return command(kAddItemCode, itemPayload(name, label, percent));
}

int ConsoleClient::updateItem(const std::string& name, int32_t percent) {
    return command(kUpdateItemCode, itemPayload(name, "", percent));
}

int ConsoleClient::command(uint32_t code, std::vector<char> payload) {
    return devctl(fd_, static_cast<int>(code), payload.data(), payload.size(), nullptr);
}
