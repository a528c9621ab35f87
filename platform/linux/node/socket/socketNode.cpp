#include "node/socket/socketNode.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/timerfd.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "dispatch/eventLoop.h"
#include "node/backgroundThread.h"
#include "node/place/socketAddress.h"
#include "report/layerError.h"

namespace {

constexpr int kBacklog = 1024;
// Until a client is accepted that could not be for lack of memory or descriptors.
constexpr long kRestNanoseconds = 100000000;

constexpr size_t kPacketRoom = sizeof(DevctlPacket) + kDevctlPacketBytes;
// All that the system lets one packet pass, though one is right: what there is no room for would be
// closed at once, by whoever receives the packet.
constexpr size_t kDescriptorsPassed = 253;

// Each client needs a descriptor, and one more while its request is collected.
void raiseDescriptorLimit() {
    rlimit limit;
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return;
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

std::vector<ClientDescriptor> takePassed(msghdr* message) {
    std::vector<ClientDescriptor> passed;
    for (cmsghdr* part = CMSG_FIRSTHDR(message); part; part = CMSG_NXTHDR(message, part)) {
        if (part->cmsg_level != SOL_SOCKET || part->cmsg_type != SCM_RIGHTS)
            continue;
        const size_t count = (part->cmsg_len - CMSG_LEN(0)) / sizeof(int);
        for (size_t i = 0; i < count; ++i) {
            int fd;
            std::memcpy(&fd, CMSG_DATA(part) + i * sizeof(int), sizeof fd);
            passed.emplace_back(fd);
        }
    }
    return passed;
}

// The only descriptor passed, if it can take an answer.
ClientDescriptor answerSocket(std::vector<ClientDescriptor>* passed) {
    if (passed->size() == 1 && devctlIsSocket((*passed)[0].get()))
        return std::move((*passed)[0]);
    return {};
}

// What came with the first packet of a request: the header's length and the packet's agree.
bool wellFormed(const DevctlPacket& packet, size_t received) {
    return packet.magic == kDevctlPacketMagic && packet.length <= DEVCTL_MAX_WRITE &&
           received == sizeof packet + std::min<uint64_t>(packet.length, kDevctlPacketBytes);
}

ClientId clientOf(int socket) {
    ucred credentials = {};
    socklen_t size = sizeof credentials;
    getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size);
    return {credentials.pid, credentials.pid};
}

// Whether it is a socket like ours in which nothing waits, so that closing it takes no time.
// Nothing can be sent to it any more afterwards. A packet shows by its sender's name, also an empty
// one.
bool holdsNothing(int fd) {
    const int yes = 1;
    if (!devctlIsSocket(fd) || shutdown(fd, SHUT_RDWR) != 0 ||
        setsockopt(fd, SOL_SOCKET, SO_PASSCRED, &yes, sizeof yes) != 0)
        return false;
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(ucred))];
    msghdr message = {};
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    return recvmsg(fd, &message, MSG_PEEK | MSG_DONTWAIT) == 0 && message.msg_controllen == 0;
}

}  // namespace

void closeClients(int fd) {
    if (holdsNothing(fd)) {
        close(fd);
        return;
    }
    // Never freed: nodes go when the process ends.
    static auto* const closer = new BackgroundThread;
    closer->run([fd] { close(fd); });
}

std::unique_ptr<SocketNode> SocketNode::listen(const std::string& path, mode_t mode,
                                               DeviceOperations* device) {
    std::unique_ptr<SocketNode> node(new SocketNode(device));
    if (node->bindAndListen(path, mode))
        return node;
    layerError("%s: cannot listen: %s", path.c_str(), std::strerror(errno));
    return nullptr;
}

SocketNode::SocketNode(DeviceOperations* device)
    : device_(device), packet_(new char[kPacketRoom]) {}

bool SocketNode::bindAndListen(const std::string& path, mode_t mode) {
    raiseDescriptorLimit();
    spare_.reset(open("/dev/null", O_RDONLY | O_CLOEXEC));
    listener_.reset(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const SocketAddress address(path);
    if (!listener_ || !address || bind(listener_.get(), address.get(), address.size()) != 0)
        return false;
    path_ = path;
    struct stat made;
    if (lstat(path.c_str(), &made) != 0)
        return false;
    inode_ = made.st_ino;
    const auto wake = [](void* node) { static_cast<SocketNode*>(node)->wakeListener(); };
    restTimer_.reset(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK));
    return chmod(path.c_str(), mode & 0777) == 0 && ::listen(listener_.get(), kBacklog) == 0 &&
           restTimer_ && eventLoopWatch(restTimer_.get(), wake, this) && watchListener();
}

bool SocketNode::watchListener() {
    const auto accept = [](void* node, resmgr_context_t*) {
        static_cast<SocketNode*>(node)->acceptClient();
    };
    return eventLoopServe(listener_.get(), accept, this);
}

SocketNode::~SocketNode() {
    while (!connections_.empty())
        drop(nullptr, connections_.begin()->second.get());
    for (const FileDescriptor* watched : {&listener_, &restTimer_})
        if (*watched)
            eventLoopForget(watched->get());
    struct stat found;
    if (!path_.empty() && lstat(path_.c_str(), &found) == 0 && S_ISSOCK(found.st_mode) &&
        found.st_ino == inode_)
        unlink(path_.c_str());
}

void SocketNode::acceptClient() {
    ClientDescriptor socket(
        accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!socket) {
        const bool gone = errno == EAGAIN || errno == EINTR || errno == ECONNABORTED;
        const bool refused = (errno == EMFILE || errno == ENFILE) && refuseClient();
        if (!gone && !refused)
            restListener();
        return;
    }
    auto connection = std::make_unique<Connection>();
    const int fd = socket.get();
    connection->node = this;
    connection->client = clientOf(fd);
    connection->socket = std::move(socket);
    // Nothing is ever sent this way: whoever reads from it finds the end of file at once.
    shutdown(fd, SHUT_WR);
    const auto serve = [](void* data, resmgr_context_t* ctp) {
        auto* const ready = static_cast<Connection*>(data);
        ready->node->receiveRequest(ctp, ready);
    };
    if (eventLoopServe(fd, serve, connection.get()))
        connections_[fd] = std::move(connection);
}

// Without a descriptor to accept it with, a client would stay at the head of the queue for ever.
bool SocketNode::refuseClient() {
    spare_.reset();
    const bool refused(ClientDescriptor(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC)));
    spare_.reset(open("/dev/null", O_RDONLY | O_CLOEXEC));
    return refused;
}

// A listener whose client can be neither accepted nor refused is ready all the time.
void SocketNode::restListener() {
    eventLoopForget(listener_.get());
    const itimerspec once = {{}, {0, kRestNanoseconds}};
    timerfd_settime(restTimer_.get(), 0, &once, nullptr);
}

void SocketNode::wakeListener() {
    uint64_t expiries;
    if (read(restTimer_.get(), &expiries, sizeof expiries) > 0 && !watchListener())
        restListener();
}

SocketNode::ReceivedPacket SocketNode::receive(const ClientDescriptor& socket) {
    alignas(cmsghdr) char control[CMSG_SPACE(kDescriptorsPassed * sizeof(int))];
    iovec room = {packet_.get(), kPacketRoom};
    msghdr message = {};
    message.msg_iov = &room;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    const ssize_t size = recvmsg(socket.get(), &message, MSG_CMSG_CLOEXEC | MSG_DONTWAIT);
    if (size < 0)
        return {size, false, {}};
    const bool whole = (message.msg_flags & (MSG_TRUNC | MSG_CTRUNC)) == 0;
    return {size, whole, takePassed(&message)};
}

void SocketNode::receiveRequest(resmgr_context_t* ctp, Connection* connection) {
    ReceivedPacket received = receive(connection->socket);
    if (received.size < 0 && (errno == EAGAIN || errno == EINTR))
        return;

    ClientDescriptor channel = answerSocket(&received.passed);
    DevctlPacket packet = {};
    if (received.size >= static_cast<ssize_t>(sizeof packet))
        std::memcpy(&packet, packet_.get(), sizeof packet);
    if (!received.whole || !channel || !wellFormed(packet, static_cast<size_t>(received.size))) {
        drop(ctp, connection);
        return;
    }
    serveRequest(ctp, connection, packet, packet_.get() + sizeof packet,
                 static_cast<size_t>(received.size) - sizeof packet, std::move(channel));
}

void SocketNode::serveRequest(resmgr_context_t* ctp, Connection* connection,
                              const DevctlPacket& packet, const char* data, size_t size,
                              ClientDescriptor channel) {
    DevctlMessage message;
    DeviceReply reply;
    if (packet.kind == kDevctlPacketOpen)
        reply = connection->ocb
                    ? DeviceReply::refusal(EINVAL)
                    : device_->open({ctp, connection->client, nullptr},
                                    static_cast<int>(packet.argument), &connection->ocb);
    else if (!connection->ocb)
        reply = DeviceReply::refusal(EBADF);
    else if (packet.kind == kDevctlPacketCommand)
        reply = serveCommand(ctp, *connection, data, size, &message);
    else if (packet.kind != kDevctlPacketWrite)
        reply = DeviceReply::refusal(EINVAL);
    else if (packet.length > size)
        return collect(ctp, connection, packet.length, data, size, std::move(channel));
    else
        reply = device_->write({ctp, connection->client, connection->ocb}, data, size);
    answer(std::move(channel), reply, &message);
}

DeviceReply SocketNode::serveCommand(resmgr_context_t* ctp, const Connection& connection,
                                     const char* data, size_t size, DevctlMessage* message) {
    if (size < kDevctlHeaderBytes || size > sizeof *message)
        return DeviceReply::refusal(EINVAL);
    std::memset(message, 0, sizeof *message);
    std::memcpy(message, data, size);
    return device_->devctl({ctp, connection.client, connection.ocb}, message, size,
                           sizeof *message);
}

// The rest comes through the channel; until it is complete, the connection rests.
void SocketNode::collect(resmgr_context_t* ctp, Connection* connection, uint64_t length,
                         const char* data, size_t size, ClientDescriptor channel) {
    const auto serve = [](void* waiting, resmgr_context_t* context) {
        auto* const ready = static_cast<Connection*>(waiting);
        ready->node->receiveRest(context, ready);
    };
    if (!connection->data.append(data, size) || !eventLoopServe(channel.get(), serve, connection)) {
        connection->data.clear();
        answer(std::move(channel), DeviceReply::refusal(ENOMEM), nullptr);
        drop(ctp, connection);
        return;
    }
    eventLoopForget(connection->socket.get());
    connection->expected = length;
    connection->channel = std::move(channel);
}

void SocketNode::receiveRest(resmgr_context_t* ctp, Connection* connection) {
    const ssize_t received = receive(connection->channel).size;
    if (received < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    const size_t left = connection->expected - connection->data.size();
    // A client that died in the middle has written nothing: it was promised nothing yet.
    if (received <= 0 || static_cast<size_t>(received) > left)
        return drop(ctp, connection);
    DeviceReply reply;
    if (!connection->data.append(packet_.get(), static_cast<size_t>(received)))
        reply = DeviceReply::refusal(ENOMEM);
    else if (connection->data.size() < connection->expected)
        return;
    else
        reply = device_->write({ctp, connection->client, connection->ocb}, connection->data.data(),
                               connection->data.size());

    eventLoopForget(connection->channel.get());
    answer(std::move(connection->channel), reply, nullptr);
    connection->data.clear();
    const auto serve = [](void* data, resmgr_context_t* context) {
        auto* const ready = static_cast<Connection*>(data);
        ready->node->receiveRequest(context, ready);
    };
    if (!eventLoopServe(connection->socket.get(), serve, connection))
        drop(ctp, connection);
}

// The channel is the client's own and empty, so there is room in it; a client that has gone is no
// concern.
void SocketNode::answer(ClientDescriptor channel, const DeviceReply& reply, const void* data) {
    if (reply.none) {
        unanswered_.push_back(std::move(channel));
        return;
    }
    DevctlAnswer head = {};
    head.status = reply.error;
    head.result = reply.result;
    const iovec parts[] = {{&head, sizeof head}, {const_cast<void*>(data), reply.bytes}};
    msghdr message = {};
    message.msg_iov = const_cast<iovec*>(parts);
    message.msg_iovlen = reply.bytes > 0 ? 2 : 1;
    sendmsg(channel.get(), &message, MSG_DONTWAIT | MSG_NOSIGNAL);
}

// The client sees it at once, however long closing takes.
void SocketNode::drop(resmgr_context_t* ctp, Connection* connection) {
    for (const ClientDescriptor* socket : {&connection->channel, &connection->socket}) {
        if (!*socket)
            continue;
        eventLoopForget(socket->get());
        shutdown(socket->get(), SHUT_RDWR);
    }
    if (connection->ocb)
        device_->close(ctp, connection->ocb);
    connections_.erase(connection->socket.get());
}
