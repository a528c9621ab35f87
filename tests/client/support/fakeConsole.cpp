#include "client/support/fakeConsole.h"

#include <devctlSocket.h>
#include <poll.h>
#include <sys/eventfd.h>

#include <chrono>
#include <cstring>
#include <stdexcept>

namespace {

OwnedFd listenAt(const std::string& path) {
    OwnedFd fd(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    unlink(path.c_str());
    if (bind(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        listen(fd.get(), 16) != 0)
        throw std::runtime_error("no socket at " + path);
    return fd;
}

struct Request {
    DevctlPacket packet{};
    std::string data;
    OwnedFd channel;  // for the answer
};

// The request that a client's connection carries. False at its end.
bool receiveRequest(int client, Request& request) {
    std::vector<char> data(kDevctlPacketBytes);
    iovec parts[2] = {{&request.packet, sizeof request.packet}, {data.data(), data.size()}};
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    const ssize_t size = recvmsg(client, &message, 0);
    if (size < static_cast<ssize_t>(sizeof request.packet))
        return false;
    request.data.assign(data.data(), static_cast<size_t>(size) - sizeof request.packet);
    request.channel.reset(dup(client));
    while (request.data.size() < request.packet.length) {
        const ssize_t more = recv(client, data.data(), data.size(), 0);
        if (more <= 0)
            return false;
        request.data.append(data.data(), static_cast<size_t>(more));
    }
    return true;
}

Received recorded(const Request& request) {
    if (request.packet.kind == kDevctlPacketWrite)
        return {0, request.data};
    DevctlMessage message{};
    std::memcpy(&message, request.data.data(), std::min(request.data.size(), sizeof message));
    return {static_cast<uint32_t>(message.header.request.command),
            request.data.substr(kDevctlHeaderBytes)};
}

}  // namespace

FakeConsole::FakeConsole(std::string path)
    : path_(std::move(path)),
      listener_(listenAt(path_)),
      stop_(eventfd(0, EFD_CLOEXEC)),
      thread_([this] { serve(); }) {}

FakeConsole::~FakeConsole() {
    eventfd_write(stop_.get(), 1);
    thread_.join();
}

void FakeConsole::serve() {
    std::vector<OwnedFd> clients;
    for (;;) {
        std::vector<pollfd> waits = {{stop_.get(), POLLIN, 0}, {listener_.get(), POLLIN, 0}};
        for (const OwnedFd& client : clients)
            waits.push_back({client.get(), POLLIN, 0});
        poll(waits.data(), waits.size(), -1);
        if (waits[0].revents)
            return;
        for (size_t i = clients.size(); i-- > 0;) {
            Request request;
            if (!waits[i + 2].revents)
                continue;
            if (!receiveRequest(clients[i].get(), request)) {
                clients.erase(clients.begin() + static_cast<ptrdiff_t>(i));
                continue;
            }
            const int64_t taken = int64_t(request.data.size()) - (takesAllOfTexts ? 0 : 1);
            const int64_t result = request.packet.kind == kDevctlPacketWrite ? taken : 0;
            const int status =
                request.packet.kind == kDevctlPacketCommand ? statusOfCommands.load() : 0;
            const std::lock_guard lock(mutex_);
            if (request.packet.kind != kDevctlPacketOpen)
                received_.push_back(recorded(request));
            if (stalled_ && answersLeft_ == 0)
                heldBack_.emplace_back(std::move(request.channel), result);
            else
                answer(request.channel.get(), status, result);
            answersLeft_ -= answersLeft_ > 0 ? 1 : 0;
            came_.notify_all();
        }
        if (waits[1].revents)
            clients.emplace_back(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    }
}

void FakeConsole::answer(int channel, int status, int64_t result) {
    struct {
        DevctlAnswer answer;
        char reply[kDevctlHeaderBytes];
    } packet{};
    packet.answer.status = status;
    packet.answer.result = result;
    send(channel, &packet, sizeof packet, MSG_NOSIGNAL);
}

void FakeConsole::stallAfter(size_t count) {
    const std::lock_guard lock(mutex_);
    stalled_ = true;
    answersLeft_ = count;
}

void FakeConsole::resume() {
    const std::lock_guard lock(mutex_);
    stalled_ = false;
    for (const auto& [channel, result] : heldBack_)
        answer(channel.get(), 0, result);
    heldBack_.clear();
}

std::vector<Received> FakeConsole::received() {
    const std::lock_guard lock(mutex_);
    return received_;
}

bool FakeConsole::waitFor(size_t count) {
    std::unique_lock lock(mutex_);
    return came_.wait_for(lock, std::chrono::minutes(1), [&] { return received_.size() >= count; });
}
