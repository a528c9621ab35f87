#define FUSE_USE_VERSION 312

#include "node/fuse/kernelNode.h"

#include <devctl.h>
#include <fcntl.h>
#include <fuse_lowlevel.h>
#include <poll.h>
#include <sys/timerfd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <list>
#include <new>
#include <utility>

#include "dispatch/eventLoop.h"
#include "report/layerError.h"

namespace {

constexpr size_t kReadRoom = 4096;

// Of all users; the system has no limit of its own.
constexpr size_t kOpensMax = 4096;

// A text whose next piece does not come for so long is given up: its client is stopped, or gone
// while others share the open.
constexpr int kQuietSecondsOfTextMax = 30;

// A thread that sends no piece for two ticks of the console is not in the middle of a write.
constexpr int kQuietSecondsMax = 2;

// Of a client in another process name space.
constexpr pid_t kUnseenThread = 0;

// What the kernel keeps for each open. Null for a call by path.
iofunc_ocb_t* ocbOf(const fuse_file_info* info) {
    return info ? reinterpret_cast<iofunc_ocb_t*>(info->fh) : nullptr;
}

KernelNode* nodeOf(fuse_req_t request) {
    return static_cast<KernelNode*>(fuse_req_userdata(request));
}

Writer writerOf(fuse_req_t request, const fuse_file_info* info) {
    const fuse_ctx* const client = fuse_req_ctx(request);
    return {info->fh, client->pid, client->uid};
}

bool isTextIoctl(unsigned command, size_t inBytes) {
    return (command & ~(_IOC_SIZEMASK << _IOC_SIZESHIFT)) == DEVCTL_TEXT_IOCTL(0) &&
           inBytes == _IOC_SIZE(command) && inBytes >= offsetof(DevctlText, bytes);
}

}  // namespace

bool KernelNode::answeredError(fuse_req_t request, const DeviceReply& reply) {
    if (reply.none)
        return true;
    if (reply.error == EOK)
        return false;
    fuse_reply_err(request, reply.error);
    return true;
}

KernelNode::KernelNode(const std::string& path, DeviceOperations* device, const PieceRules& rules)
    : device_(device),
      path_(path),
      rules_(rules),
      request_(new fuse_buf{}),
      shares_(UserShares::ofThisMachine(kOpensMax)),
      writes_(&shares_),
      texts_(&shares_) {}

bool KernelNode::serveSession(fuse_session* session) {
    session_ = session;
    requests_ = fuse_session_fd(session);
    const auto serve = [](void* node, resmgr_context_t* ctp) {
        static_cast<KernelNode*>(node)->serveRequest(ctp);
    };
    const auto count = [](void* node, resmgr_context_t* ctp) {
        static_cast<KernelNode*>(node)->countSecond(ctp);
    };
    seconds_.reset(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK));
    return seconds_ && fcntl(requests_, F_SETFD, FD_CLOEXEC) == 0 &&
           fcntl(requests_, F_SETFL, O_NONBLOCK) == 0 && eventLoopServe(requests_, serve, this) &&
           eventLoopServe(seconds_.get(), count, this);
}

KernelNode::~KernelNode() {
    if (seconds_)
        eventLoopForget(seconds_.get());
    stopServing();
    if (session_)
        fuse_session_destroy(session_);
    while (!opens_.empty())  // of clients that had no time to release them
        dropOpen(opens_.begin()->first);
    std::free(request_->mem);
}

void KernelNode::stopServing() {
    if (requests_ >= 0)
        eventLoopForget(std::exchange(requests_, -1));
}

bool KernelNode::sessionLives() const {
    pollfd state = {fuse_session_fd(session_), 0, 0};
    return poll(&state, 1, 0) == 0;
}

// A console that nobody can reach is of no use; its supervisor can start another.
void KernelNode::serveRequest(resmgr_context_t* ctp) {
    const int received = fuse_session_receive_buf(session_, request_.get());
    if (received == -EINTR || received == -EAGAIN || received == -ENOMEM)
        return;
    if (received <= 0) {
        layerError("%s: somebody else has taken the node away; the console ends", path_.c_str());
        std::exit(1);
    }
    ctp_ = ctp;
    fuse_session_process_buf(session_, request_.get());
    ctp_ = nullptr;
}

// A thread does one thing at a time, so what it asks shows that its write is over.
KernelNode* KernelNode::begin(fuse_req_t request) {
    KernelNode* const node = nodeOf(request);
    node->finishWrites([thread = fuse_req_ctx(request)->pid](const UnfinishedWrite& write) {
        return thread != kUnseenThread && write.writer.thread == thread;
    });
    return node;
}

DeviceRequest KernelNode::requestFrom(fuse_req_t request, const fuse_file_info* info) const {
    const pid_t thread = fuse_req_ctx(request)->pid;
    return {ctp_, {thread, thread}, ocbOf(info)};
}

void KernelNode::negotiate(KernelNode* node, fuse_conn_info* connection) {
    connection->want &= ~static_cast<unsigned>(FUSE_CAP_SPLICE_READ | FUSE_CAP_SPLICE_WRITE |
                                               FUSE_CAP_SPLICE_MOVE | FUSE_CAP_ASYNC_DIO);
    connection->max_write = static_cast<unsigned>(node->rules_.blockPiece());
}

void KernelNode::open(fuse_req_t request, fuse_file_info* info) {
    KernelNode* const node = begin(request);
    iofunc_ocb_t* ocb = nullptr;
    if (answeredError(request, node->addOpen(request, info->flags, &ocb)))
        return;
    info->fh = reinterpret_cast<uint64_t>(ocb);
    info->direct_io = 1;
    info->nonseekable = 1;  // so that the kernel itself refuses pwrite and lseek, where it can
    info->noflush = 1;      // close() need not wait for the service
    if (fuse_reply_open(request, info) != 0)
        node->dropOpen(ocb);  // the client has gone
}

DeviceReply KernelNode::addOpen(fuse_req_t request, int flags, iofunc_ocb_t** ocb) {
    const uid_t user = fuse_req_ctx(request)->uid;
    if (!shares_.takeConnection(user))
        return DeviceReply::refusal(EUSERS);
    const DeviceReply reply = device_->open(requestFrom(request, nullptr), flags, ocb);
    try {
        if (reply.error == EOK)
            opens_.emplace(*ocb, user);
    } catch (const std::bad_alloc&) {
        device_->close(ctp_, *ocb);
        shares_.giveConnection(user);
        return DeviceReply::refusal(ENOMEM);
    }
    if (reply.error != EOK)
        shares_.giveConnection(user);
    return reply;
}

void KernelNode::dropOpen(iofunc_ocb_t* ocb) {
    const auto found = opens_.find(ocb);
    shares_.giveConnection(found->second);
    opens_.erase(found);
    device_->close(ctp_, ocb);
}

void KernelNode::release(fuse_req_t request, fuse_file_info* info) {
    KernelNode* const node = nodeOf(request);
    const auto isOfOpen = [handle = info->fh](const UnfinishedWrite& write) {
        return write.writer.handle == handle;
    };
    node->finishWrites(isOfOpen);
    while (!node->texts_.takeOne(isOfOpen).empty()) {
    }
    node->blockWriters_.erase(info->fh);
    node->dropOpen(ocbOf(info));
    fuse_reply_err(request, 0);
}

void KernelNode::flush(fuse_req_t request, fuse_file_info*) {
    begin(request);
    fuse_reply_err(request, 0);
}

void KernelNode::fsync(fuse_req_t request, fuse_file_info* info) {
    KernelNode* const node = begin(request);
    if (!answeredError(request, node->device_->sync(node->requestFrom(request, info))))
        fuse_reply_err(request, 0);
}

void KernelNode::read(fuse_req_t request, size_t size, fuse_file_info* info) {
    KernelNode* const node = begin(request);
    char room[kReadRoom];
    const DeviceReply reply =
        node->device_->read(node->requestFrom(request, info), room, std::min(size, sizeof room));
    if (!answeredError(request, reply))
        fuse_reply_buf(request, room, reply.bytes);
}

void KernelNode::write(fuse_req_t request, const char* data, size_t size, int64_t offset,
                       fuse_file_info* info) {
    const DeviceReply reply =
        nodeOf(request)->takePiece(writerOf(request, info), data, size, offset);
    if (!answeredError(request, reply))
        fuse_reply_write(request, static_cast<size_t>(std::clamp<long>(reply.result, 0, size)));
}

void KernelNode::ioctl(fuse_req_t request, unsigned command, fuse_file_info* info, const void* in,
                       size_t inBytes, size_t outBytes) {
    KernelNode* const node = begin(request);
    if (isTextIoctl(command, inBytes)) {
        const DeviceReply reply = node->takeText(writerOf(request, info), in, inBytes);
        if (!reply.none)
            fuse_reply_ioctl(request, DEVCTL_RESULT(reply.error, 0), nullptr, 0);
        return;
    }
    DevctlMessage message;
    if (command != DEVCTL_NODE_IOCTL || inBytes < sizeof message || outBytes < sizeof message) {
        fuse_reply_err(request, ENOTTY);
        return;
    }
    std::memcpy(&message, in, sizeof message);
    const DeviceReply reply = node->device_->devctl(node->requestFrom(request, info), &message,
                                                    sizeof message, sizeof message);
    if (!reply.none)
        fuse_reply_ioctl(request, DEVCTL_RESULT(reply.error, reply.bytes), &message, reply.bytes);
}

DeviceReply KernelNode::deliver(const Writer& writer, const void* data, size_t size) {
    const DeviceRequest request = {
        ctp_, {writer.thread, writer.thread}, reinterpret_cast<iofunc_ocb_t*>(writer.handle)};
    return device_->write(request, data, size);
}

// Delivers what was acknowledged. Its client has been told so many bytes already, so the result has
// nowhere to go.
template <typename Condition>
void KernelNode::finishWrites(Condition isOver) {
    for (;;) {
        const std::list<UnfinishedWrite> over = writes_.takeOne(isOver);
        if (over.empty())
            return;
        const UnfinishedWrite& write = over.front();
        deliver(write.writer, write.bytes.data(), write.bytes.size());
    }
}

// Looking costs as much as a small write, so it is spared where the answer is as good as known.
ThreadCall KernelNode::callOf(const Writer& writer, size_t size, const UnfinishedWrite* before) {
    if (before && rules_.offsetsBeginAnew && before->call.count > 0)
        return before->call;
    if (!before && size < rules_.smallestPiece())
        return {};
    if (!before && size < rules_.knownBlock() && blockWriters_.count(writer.handle) > 0)
        return {};
    const ThreadCall call = lookAtThread(writer.thread);
    try {
        if (rules_.offsetsBeginAnew && call.kind == ThreadCall::Kind::block)
            blockWriters_.insert(writer.handle);
    } catch (const std::bad_alloc&) {
        // it is looked at once more
    }
    return call;
}

// The reply's result counts bytes of this piece alone: those before are acknowledged.
DeviceReply KernelNode::takePiece(const Writer& writer, const char* data, size_t size,
                                  int64_t offset) {
    UnfinishedWrite* before = writes_.find(writer);
    if (before && static_cast<uint64_t>(offset) != before->next)
        before = nullptr;
    const ThreadCall call = callOf(writer, size, before);
    if (before && !rules_.sameCall(before->call, call))
        before = nullptr;
    if (!before) {
        // The kernel lets no other write of a file in between.
        finishWrites([&](const UnfinishedWrite& write) {
            return !rules_.offsetsBeginAnew || write.isOf(writer) ||
                   (writer.thread != kUnseenThread && write.writer.thread == writer.thread);
        });
        if (rules_.offsetsBeginAnew && offset != 0)  // of a vector that was taken for a block
            blockWriters_.erase(writer.handle);
    }

    const size_t earlier = before ? before->bytes.size() : 0;
    const bool mayGoOn = rules_.mayGoOn(size, earlier, call);
    if (!mayGoOn && !before)
        return deliver(writer, data, size);
    const auto next = static_cast<uint64_t>(offset) + size;
    const int error = writes_.append(writer, data, size, next);
    const auto isThis = [&](const UnfinishedWrite& write) { return write.isOf(writer); };
    if (error != 0) {
        finishWrites(isThis);
        return DeviceReply::refusal(error);
    }
    if (mayGoOn) {
        writes_.find(writer)->call = call;
        startSeconds();
        return {false, EOK, static_cast<long>(size), 0};
    }
    const std::list<UnfinishedWrite> whole = writes_.takeOne(isThis);
    DeviceReply reply = deliver(writer, whole.front().bytes.data(), whole.front().bytes.size());
    reply.result -= static_cast<long>(earlier);
    return reply;
}

// A text is dropped by an error, by a new one of the same thread, and when its client is gone.
DeviceReply KernelNode::takeText(const Writer& writer, const void* in, size_t size) {
    DevctlText piece;
    constexpr size_t kHeaderBytes = offsetof(DevctlText, bytes);
    std::memcpy(&piece, in, kHeaderBytes);
    const char* const data = static_cast<const char*>(in) + kHeaderBytes;
    const size_t bytes = size - kHeaderBytes;
    const auto isThis = [&](const UnfinishedWrite& text) { return text.isOf(writer); };

    const UnfinishedWrite* const before = texts_.find(writer);
    const bool last = (piece.flags & kDevctlTextLast) != 0;
    const bool follows = piece.number == (before ? before->next : 0);
    if (before && (piece.number == 0 || !follows))
        texts_.takeOne(isThis);
    if (piece.number == 0 && last)
        return deliver(writer, data, bytes);
    if ((piece.number != 0 && !follows) || (!last && bytes != kDevctlTextBytes))
        return DeviceReply::refusal(EINVAL);
    if (const int error = texts_.append(writer, data, bytes, uint64_t{piece.number} + 1)) {
        texts_.takeOne(isThis);
        return DeviceReply::refusal(error);
    }
    if (!last) {
        startSeconds();
        return {};
    }
    const std::list<UnfinishedWrite> whole = texts_.takeOne(isThis);
    return deliver(writer, whole.front().bytes.data(), whole.front().bytes.size());
}

void KernelNode::startSeconds() {
    const itimerspec each = {{1, 0}, {1, 0}};
    if (!std::exchange(counting_, true))
        timerfd_settime(seconds_.get(), 0, &each, nullptr);
}

// The last resort for a write whose end no request shows.
void KernelNode::countSecond(resmgr_context_t* ctp) {
    uint64_t expiries;
    if (::read(seconds_.get(), &expiries, sizeof expiries) < 0)
        return;
    writes_.countSecond();
    texts_.countSecond();
    while (!texts_
                .takeOne([](const UnfinishedWrite& text) {
                    return text.quietSeconds > kQuietSecondsOfTextMax;
                })
                .empty()) {
    }
    ctp_ = ctp;
    finishWrites(
        [](const UnfinishedWrite& write) { return write.quietSeconds > kQuietSecondsMax; });
    ctp_ = nullptr;
    const itimerspec never = {};
    if (writes_.empty() && texts_.empty() && std::exchange(counting_, false))
        timerfd_settime(seconds_.get(), 0, &never, nullptr);
}
