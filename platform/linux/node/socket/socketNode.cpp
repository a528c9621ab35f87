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
#include <new>

#include "dispatch/eventLoop.h"
#include "node/place/socketAddress.h"
#include "report/layerError.h"

namespace {

#ifdef SO_PASSRIGHTS
constexpr int kPassRights = SO_PASSRIGHTS;
#else
constexpr int kPassRights = 83;  // in newer headers, on all architectures but PA-RISC and SPARC
#endif

constexpr uid_t kRoot = 0;
constexpr mode_t kOwnerAlone = 0177;  // as a mask
constexpr int kBacklog = 1024;
// Until a client is accepted that could not be for lack of memory or descriptors.
constexpr long kRestNanoseconds = 100000000;
constexpr rlim_t kFilesMax = 4096;   // however many the system grants
constexpr size_t kOwnFiles = 32;     // that the service needs besides its connections
constexpr size_t kReservedPart = 8;  // of the connections, for root alone

constexpr uint32_t kSettable = O_APPEND | O_NONBLOCK;  // of an open's flags
constexpr size_t kPacketRoom = sizeof(DevctlPacket) + kDevctlPacketBytes;

// Each connection needs a descriptor. Returns for how many there are descriptors now.
size_t raiseDescriptorLimit() {
    rlimit limit = {1024, 1024};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    getrlimit(RLIMIT_NOFILE, &limit);
    const rlim_t files = std::min(limit.rlim_cur, kFilesMax);
    return files - std::min<rlim_t>(files, kOwnFiles);
}

// A sender that passes descriptors fails then, where the system can do that. Elsewhere the system
// drops them when a packet is received, because no receiver here has room for them.
void refuseDescriptors(int fd) {
    const int no = 0;
    setsockopt(fd, SOL_SOCKET, kPassRights, &no, sizeof no);
}

bool wellFormed(const DevctlPacket& packet, size_t received) {
    return packet.magic == kDevctlPacketMagic &&
           received == sizeof packet + std::min<uint64_t>(packet.length, kDevctlPacketBytes);
}

ucred peerOf(int socket) {
    ucred credentials = {};
    socklen_t size = sizeof credentials;
    getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size);
    return credentials;
}

// A client that has gone, or has no room for its answer, is no concern.
void send(int fd, const DeviceReply& reply, uint32_t flags, const void* data) {
    DevctlAnswer head = {};
    head.status = reply.error;
    head.flags = flags;
    head.result = reply.result;
    iovec parts[] = {{&head, sizeof head}, {const_cast<void*>(data), reply.bytes}};
    msghdr message = {};
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    sendmsg(fd, &message, MSG_DONTWAIT | MSG_NOSIGNAL);
}

void refuse(int fd, int error) {
    send(fd, DeviceReply::refusal(error), 0, nullptr);
}

}  // namespace

std::unique_ptr<SocketNode> SocketNode::listen(const std::string& path, const NodeRights& rights,
                                               DeviceOperations* device) {
    std::unique_ptr<SocketNode> node(new SocketNode(raiseDescriptorLimit(), device));
    if (node->bindTo(path)) {
        if (!grantRights(path, rights))
            return nullptr;
        if (node->startListening())
            return node;
    }
    layerError("%s: cannot listen: %s", path.c_str(), std::strerror(errno));
    return nullptr;
}

SocketNode::SocketNode(size_t connectionsMax, DeviceOperations* device)
    : device_(device),
      connectionsMax_(connectionsMax - connectionsMax / kReservedPart),
      shares_(UserShares::ofThisMachine(connectionsMax)),
      packet_(new char[kPacketRoom]) {}

// Nobody gets in yet, and until the rights are granted nobody else may.
bool SocketNode::bindTo(const std::string& path) {
    spare_.reset(open("/dev/null", O_RDONLY | O_CLOEXEC));
    listener_.reset(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const SocketAddress address(path);
    if (!listener_ || !address)
        return false;
    const mode_t usual = umask(kOwnerAlone);
    const int bound = bind(listener_.get(), address.get(), address.size());
    umask(usual);
    if (bound != 0)
        return false;
    refuseDescriptors(listener_.get());
    path_ = path;
    struct stat made;
    if (lstat(path.c_str(), &made) != 0)
        return false;
    inode_ = made.st_ino;
    return true;
}

bool SocketNode::startListening() {
    const auto wake = [](void* node) { static_cast<SocketNode*>(node)->wakeListener(); };
    restTimer_.reset(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK));
    return ::listen(listener_.get(), kBacklog) == 0 && restTimer_ &&
           eventLoopWatch(restTimer_.get(), wake, this) && watchListener();
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
    FileDescriptor socket(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (socket) {
        addConnection(std::move(socket));
        return;
    }
    const bool gone = errno == EAGAIN || errno == EINTR || errno == ECONNABORTED;
    const bool refused = (errno == EMFILE || errno == ENFILE) && refuseNext();
    if (!gone && !refused)
        restListener();
}

// Without a descriptor to accept it with, a client would stay at the head of the queue for ever.
bool SocketNode::refuseNext() {
    spare_.reset();
    FileDescriptor next(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    const bool refused(next);
    if (refused)
        refuse(next.get(), EBUSY);
    next.reset();
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

// 0, or why this user gets no more connections. The reserved part is left to root.
int SocketNode::admit(uid_t user) {
    if (user != kRoot && connections_.size() >= connectionsMax_)
        return EBUSY;
    return shares_.takeConnection(user) ? EOK : EUSERS;
}

void SocketNode::addConnection(FileDescriptor socket) {
    const int fd = socket.get();
    const ucred peer = peerOf(fd);
    if (const int error = admit(peer.uid))
        return refuse(fd, error);
    const auto serve = [](void* data, resmgr_context_t* ctp) {
        auto* const ready = static_cast<Connection*>(data);
        ready->node->receive(ctp, ready);
    };
    try {
        std::unique_ptr<Connection>& connection = connections_[fd];
        connection = std::make_unique<Connection>(this, std::move(socket), peer);
        if (eventLoopServe(fd, serve, connection.get()))
            return;
    } catch (const std::bad_alloc&) {
        // as without room in the loop
    }
    connections_.erase(fd);
    shares_.giveConnection(peer.uid);
}

void SocketNode::receive(resmgr_context_t* ctp, Connection* connection) {
    const ssize_t received =
        recv(connection->socket.get(), packet_.get(), kPacketRoom, MSG_DONTWAIT | MSG_TRUNC);
    if (received < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    const auto size = static_cast<size_t>(received);
    bool lasts = false;
    if (received > 0 && size <= kPacketRoom)
        lasts = connection->asked ? collect(ctp, connection, packet_.get(), size)
                                  : serveRequest(ctp, connection, size);
    if (!lasts)
        drop(ctp, connection);
}

// Below, false means that the connection has served its purpose.
bool SocketNode::serveRequest(resmgr_context_t* ctp, Connection* connection, size_t size) {
    DevctlPacket packet = {};
    std::memcpy(&packet, packet_.get(), std::min(size, sizeof packet));
    if (!wellFormed(packet, size))
        return false;
    connection->asked = true;
    connection->flags = packet.flags;
    const DeviceReply reply = device_->open({ctp, connection->client, nullptr},
                                            static_cast<int>(packet.flags), &connection->ocb);
    if (packet.kind == kDevctlPacketOpen || reply.error != EOK)
        return answer(*connection, reply, nullptr) || reply.error == EOK;
    if (reply.none)
        return true;
    return serveCall(ctp, connection, packet, packet_.get() + sizeof packet, size - sizeof packet);
}

bool SocketNode::serveCall(resmgr_context_t* ctp, Connection* connection,
                           const DevctlPacket& packet, const char* data, size_t size) {
    const DeviceRequest request = {ctp, connection->client, connection->ocb};
    if (packet.kind == kDevctlPacketWrite && packet.length > size) {
        connection->expected = packet.length;
        return collect(ctp, connection, data, size);
    }
    if (packet.kind == kDevctlPacketWrite)
        return answer(*connection, device_->write(request, data, size), nullptr);
    DevctlMessage message = {};
    if (packet.kind != kDevctlPacketCommand || size > sizeof message)
        return answer(*connection, DeviceReply::refusal(EINVAL), nullptr);
    std::memcpy(&message, data, size);
    return answer(*connection, device_->devctl(request, &message, size, sizeof message), &message);
}

// A client that dies before all of it has come has written nothing: it was promised nothing yet.
bool SocketNode::collect(resmgr_context_t* ctp, Connection* connection, const char* data,
                         size_t size) {
    if (size > connection->expected - connection->data.size())
        return false;
    if (!connection->held.take(size))
        return answer(*connection, DeviceReply::refusal(ENOBUFS), nullptr);
    if (!connection->data.append(data, size))
        return answer(*connection, DeviceReply::refusal(ENOMEM), nullptr);
    if (connection->data.size() < connection->expected)
        return true;
    const DeviceRequest request = {ctp, connection->client, connection->ocb};
    return answer(*connection,
                  device_->write(request, connection->data.data(), connection->data.size()),
                  nullptr);
}

// True when the handler keeps its client blocked. After the answer whoever reads finds the end.
bool SocketNode::answer(const Connection& connection, const DeviceReply& reply, const void* data) {
    if (reply.none)
        return true;
    uint32_t flags = connection.flags & ~kSettable;
    if (connection.ocb)
        flags |= static_cast<uint32_t>(connection.ocb->ioflag) & kSettable;
    send(connection.socket.get(), reply, flags, data);
    shutdown(connection.socket.get(), SHUT_WR);
    return false;
}

void SocketNode::drop(resmgr_context_t* ctp, Connection* connection) {
    eventLoopForget(connection->socket.get());
    if (connection->ocb)
        device_->close(ctp, connection->ocb);
    shares_.giveConnection(connection->user);
    connections_.erase(connection->socket.get());
}
