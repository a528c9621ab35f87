#define FUSE_USE_VERSION 312

#include "node/fuse/fuseNode.h"

#include <devctl.h>
#include <fcntl.h>
#include <fuse_lowlevel.h>
#include <poll.h>
#include <sys/timerfd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>

#include "dispatch/eventLoop.h"
#include "report/layerError.h"

namespace {

constexpr double kNoCaching = 0;  // seconds that the kernel may keep what it was told

// Pieces of data in one block are all this long but the last, wherever in a page the data starts:
// one byte more than fits 255 pages touches 256 pages at most, which is what a request may hold.
size_t fullPieceBytes() {
    return 255 * static_cast<size_t>(sysconf(_SC_PAGESIZE)) + 1;
}

// Until a pending write is looked at again. A readable client is asked, the other is given longer,
// because waiting is then all the evidence there is.
constexpr unsigned kReadableDelay = 100;
constexpr unsigned kUnreadableDelay = 1000;
constexpr unsigned kDelayMax = 5000;

constexpr size_t kReadRoom = 4096;

// What the kernel keeps for each open. Null for a call by path.
iofunc_ocb_t* ocbOf(const fuse_file_info* info) {
    return info ? reinterpret_cast<iofunc_ocb_t*>(info->fh) : nullptr;
}

FuseNode* nodeOf(fuse_req_t request) {
    return static_cast<FuseNode*>(fuse_req_userdata(request));
}

pid_t threadOf(fuse_req_t request) {
    return fuse_req_ctx(request)->pid;
}

ClientId clientOf(fuse_req_t request) {
    return {threadOf(request), threadOf(request)};
}

// Answers with the error of `reply`, if it has one or wants no answer at all. True when answered.
bool answerError(fuse_req_t request, const DeviceReply& reply) {
    if (reply.none)
        return true;
    if (reply.error == EOK)
        return false;
    fuse_reply_err(request, reply.error);
    return true;
}

bool kernelHasLetGo(int device) {
    pollfd state = {device, 0, 0};
    return poll(&state, 1, 0) == 1 && (state.revents & POLLERR) != 0;
}

// Everybody may use the node, if the system lets this user say so.
bool othersAllowed() {
    if (geteuid() == 0)
        return true;
    std::ifstream settings("/etc/fuse.conf");
    std::string line;
    while (std::getline(settings, line))
        if (line.compare(0, 16, "user_allow_other") == 0)
            return true;
    layerError("user_allow_other is not set in /etc/fuse.conf, so only this user can use the node");
    return false;
}

}  // namespace

// What the kernel asks. A class, so that the node's inside is open to it.
struct FuseOperations {
    // Any request of the thread whose write is pending shows that the write is over.
    static FuseNode* begin(fuse_req_t request) {
        FuseNode* const node = nodeOf(request);
        if (node->joiner_.endedByRequest(threadOf(request)))
            node->finishPending();
        return node;
    }

    static DeviceRequest from(fuse_req_t request, const fuse_file_info* info) {
        return {nodeOf(request)->ctp_, clientOf(request), ocbOf(info)};
    }

    static void init(void*, fuse_conn_info* connection) {
        connection->want &= ~static_cast<unsigned>(FUSE_CAP_SPLICE_READ | FUSE_CAP_SPLICE_WRITE |
                                                   FUSE_CAP_SPLICE_MOVE);
        // So that an open that truncates is an open and no change of the size.
        connection->want |= connection->capable & FUSE_CAP_ATOMIC_O_TRUNC;
        connection->max_write = static_cast<unsigned>(fullPieceBytes());
    }

    static void replyAttributes(fuse_req_t request, FuseNode* node, const DeviceRequest& asked) {
        struct stat found;
        if (answerError(request, node->device_->stat(asked, &found)))
            return;
        // Linux has no named special files; a mount point keeps the kind that it was mounted on.
        found.st_mode = S_IFREG | (found.st_mode & ~static_cast<mode_t>(S_IFMT));
        found.st_ino = FUSE_ROOT_ID;
        fuse_reply_attr(request, &found, kNoCaching);
    }

    static void getattr(fuse_req_t request, fuse_ino_t, fuse_file_info* info) {
        replyAttributes(request, begin(request), from(request, info));
    }

    static DeviceReply setTimes(FuseNode* node, const DeviceRequest& asked,
                                const struct stat& wanted, int which) {
        struct stat current;
        const DeviceReply reply = node->device_->stat(asked, &current);
        if (reply.error != EOK)
            return reply;
        constexpr int kBothNow = FUSE_SET_ATTR_ATIME_NOW | FUSE_SET_ATTR_MTIME_NOW;
        const time_t now = std::time(nullptr);
        io_utime_t message = {};
        message.i.type = _IO_UTIME;
        message.i.cur_flag = (which & kBothNow) == kBothNow;
        message.i.actime = current.st_atim.tv_sec;
        message.i.modtime = current.st_mtim.tv_sec;
        if (which & FUSE_SET_ATTR_ATIME)
            message.i.actime = which & FUSE_SET_ATTR_ATIME_NOW ? now : wanted.st_atim.tv_sec;
        if (which & FUSE_SET_ATTR_MTIME)
            message.i.modtime = which & FUSE_SET_ATTR_MTIME_NOW ? now : wanted.st_mtim.tv_sec;
        return node->device_->utime(asked, message);
    }

    static void setattr(fuse_req_t request, fuse_ino_t, struct stat* wanted, int which,
                        fuse_file_info* info) {
        FuseNode* const node = begin(request);
        const DeviceRequest change = from(request, info);
        DeviceReply reply;
        if (which & FUSE_SET_ATTR_SIZE)
            reply.error = ENOSYS;  // a device has no size to change
        if (reply.error == EOK && (which & FUSE_SET_ATTR_MODE))
            reply = node->device_->chmod(change, wanted->st_mode);
        if (reply.error == EOK && (which & (FUSE_SET_ATTR_UID | FUSE_SET_ATTR_GID)))
            reply = node->device_->chown(
                change, which & FUSE_SET_ATTR_UID ? static_cast<int32_t>(wanted->st_uid) : -1,
                which & FUSE_SET_ATTR_GID ? static_cast<int32_t>(wanted->st_gid) : -1);
        if (reply.error == EOK && (which & (FUSE_SET_ATTR_ATIME | FUSE_SET_ATTR_MTIME)))
            reply = setTimes(node, change, *wanted, which);
        if (!answerError(request, reply))
            replyAttributes(request, node, change);
    }

    static void open(fuse_req_t request, fuse_ino_t, fuse_file_info* info) {
        FuseNode* const node = begin(request);
        iofunc_ocb_t* ocb = nullptr;
        if (answerError(request, node->device_->open(from(request, nullptr), info->flags, &ocb)))
            return;
        info->fh = reinterpret_cast<uint64_t>(ocb);
        info->direct_io = 1;
        info->noflush = 1;  // close() need not wait for the service
        if (fuse_reply_open(request, info) == 0)
            node->opens_.insert(ocb);
        else
            node->device_->close(node->ctp_, ocb);  // the client has gone meanwhile
    }

    static void release(fuse_req_t request, fuse_ino_t, fuse_file_info* info) {
        FuseNode* const node = nodeOf(request);
        if (node->joiner_.endedByRelease(info->fh))
            node->finishPending();
        node->joiner_.forget(info->fh);
        node->opens_.erase(ocbOf(info));
        node->device_->close(node->ctp_, ocbOf(info));
        fuse_reply_err(request, 0);
    }

    static void flush(fuse_req_t request, fuse_ino_t, fuse_file_info*) {
        begin(request);
        fuse_reply_err(request, 0);
    }

    static void fsync(fuse_req_t request, fuse_ino_t, int, fuse_file_info* info) {
        FuseNode* const node = begin(request);
        const DeviceReply reply = node->device_->sync(from(request, info));
        if (!answerError(request, reply))
            fuse_reply_err(request, 0);
    }

    static void read(fuse_req_t request, fuse_ino_t, size_t size, off_t, fuse_file_info* info) {
        FuseNode* const node = begin(request);
        char room[kReadRoom];
        const DeviceReply reply =
            node->device_->read(from(request, info), room, std::min(size, sizeof room));
        if (!answerError(request, reply))
            fuse_reply_buf(request, room, reply.bytes);
    }

    static void write(fuse_req_t request, fuse_ino_t, const char* data, size_t size, off_t offset,
                      fuse_file_info* info) {
        FuseNode* const node = nodeOf(request);
        WritePiece piece;
        piece.handle = info->fh;
        piece.thread = threadOf(request);
        piece.offset = offset;
        piece.size = size;
        piece.appends = (info->flags & O_APPEND) != 0;
        if (node->joiner_.needsFacts(piece))
            piece.facts = node->calls_.read(piece.thread);
        if (node->joiner_.pending() && !node->joiner_.continues(piece))
            node->finishPending();

        const PieceRole role = node->joiner_.add(piece);
        if (role == PieceRole::more) {
            if (node->keepPiece(piece, data))
                fuse_reply_write(request, size);
            else
                fuse_reply_err(request, ENOMEM);
            return;
        }
        const DeviceReply reply = node->deliver(piece, role, data);
        if (answerError(request, reply))
            return;
        fuse_reply_write(request, static_cast<size_t>(std::clamp<long>(reply.result, 0, size)));
    }

    static void ioctl(fuse_req_t request, fuse_ino_t, unsigned command, void*, fuse_file_info* info,
                      unsigned, const void* in, size_t inBytes, size_t outBytes) {
        FuseNode* const node = begin(request);
        DevctlMessage message;
        if (command != DEVCTL_NODE_IOCTL || inBytes < sizeof message || outBytes < sizeof message) {
            fuse_reply_err(request, ENOTTY);
            return;
        }
        std::memcpy(&message, in, sizeof message);
        const DeviceReply reply =
            node->device_->devctl(from(request, info), &message, sizeof message, sizeof message);
        if (!reply.none)
            fuse_reply_ioctl(request, DEVCTL_RESULT(reply.error, reply.bytes), &message,
                             reply.bytes);
    }

    static fuse_lowlevel_ops table() {
        fuse_lowlevel_ops operations = {};
        operations.init = init;
        operations.getattr = getattr;
        operations.setattr = setattr;
        operations.open = open;
        operations.release = release;
        operations.flush = flush;
        operations.fsync = fsync;
        operations.read = read;
        operations.write = write;
        operations.ioctl = ioctl;
        return operations;
    }
};

bool FuseNode::isAvailable() {
    return bool(FileDescriptor(open("/dev/fuse", O_RDWR | O_CLOEXEC)));
}

std::unique_ptr<FuseNode> FuseNode::mount(const std::string& path, DeviceOperations* device) {
    std::unique_ptr<FuseNode> node(new FuseNode(device));
    if (!node->mountOn(path))
        return nullptr;
    return node;
}

FuseNode::FuseNode(DeviceOperations* device)
    : device_(device), request_(new fuse_buf{}), joiner_(fullPieceBytes()) {}

bool FuseNode::mountOn(const std::string& path) {
    std::string options = "fsname=velkaris,subtype=velkaris,default_permissions";
    if (othersAllowed())
        options += ",allow_other";
    const char* const arguments[] = {"velkaris", "-o", options.c_str()};
    fuse_args args = FUSE_ARGS_INIT(3, const_cast<char**>(arguments));
    const fuse_lowlevel_ops operations = FuseOperations::table();
    session_ = fuse_session_new(&args, &operations, sizeof operations, this);
    fuse_opt_free_args(&args);
    if (!session_ || fuse_session_mount(session_, path.c_str()) != 0) {
        layerError("%s: cannot mount the device node", path.c_str());
        return false;
    }
    path_ = path;
    const std::optional<MountEntry> mounted = mountAt(path);
    mountId_ = mounted ? mounted->id : kNoMount;

    const int device = fuse_session_fd(session_);
    pendingTimer_.reset(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK));
    const auto serve = [](void* node, resmgr_context_t* ctp) {
        static_cast<FuseNode*>(node)->serveRequest(ctp);
    };
    const auto check = [](void* node, resmgr_context_t* ctp) {
        static_cast<FuseNode*>(node)->checkPending(ctp);
    };
    if (fcntl(device, F_SETFD, FD_CLOEXEC) == 0 && fcntl(device, F_SETFL, O_NONBLOCK) == 0 &&
        eventLoopServe(device, serve, this) && eventLoopServe(pendingTimer_.get(), check, this))
        return true;
    layerError("%s: cannot watch the device node: %s", path.c_str(), std::strerror(errno));
    return false;
}

FuseNode::~FuseNode() {
    if (pendingTimer_)
        eventLoopForget(pendingTimer_.get());
    if (session_) {
        eventLoopForget(fuse_session_fd(session_));
        // What somebody else has mounted there meanwhile is not ours to unmount. Once the kernel
        // has let go of the session, the call only frees what it holds.
        const std::optional<MountEntry> mounted = mountAt(path_);
        const bool ours = mountId_ != kNoMount && mounted && mounted->id == mountId_;
        if (ours || kernelHasLetGo(fuse_session_fd(session_)))
            fuse_session_unmount(session_);
        fuse_session_destroy(session_);
    }
    for (iofunc_ocb_t* const ocb : opens_)  // of clients that had no time to release them
        device_->close(nullptr, ocb);
    std::free(request_->mem);
}

void FuseNode::serveRequest(resmgr_context_t* ctp) {
    const int received = fuse_session_receive_buf(session_, request_.get());
    if (received == -EINTR || received == -EAGAIN)
        return;
    if (received <= 0) {
        eventLoopForget(fuse_session_fd(session_));
        layerError("%s: the device node was unmounted, nobody can write to it", path_.c_str());
        return;
    }
    ctp_ = ctp;
    fuse_session_process_buf(session_, request_.get());
    ctp_ = nullptr;
}

DeviceRequest FuseNode::requestOf(uint64_t handle, pid_t thread) const {
    return {ctp_, {thread, thread}, reinterpret_cast<iofunc_ocb_t*>(handle)};
}

// Delivers what was acknowledged of a write that ended before its last piece. Its client has been
// told so many bytes already, so the result has nowhere to go.
void FuseNode::finishPending() {
    const DeviceRequest pending = requestOf(joiner_.handle(), joiner_.thread());
    joiner_.finish();
    armPendingTimer(0);
    device_->write(pending, joined_.data(), joined_.size());
    joined_.clear();
}

bool FuseNode::keepPiece(const WritePiece& piece, const char* data) {
    if (joined_.size() == 0) {
        pendingDelay_ = piece.facts.call == ClientCall::unknown ? kUnreadableDelay : kReadableDelay;
    }
    if (!joined_.append(data, piece.size)) {
        joiner_.refused(piece);
        if (joined_.size() > 0)
            finishPending();
        else
            joiner_.finish();
        return false;
    }
    armPendingTimer(pendingDelay_);
    return true;
}

// The reply's result counts bytes of this piece alone: those before are acknowledged.
DeviceReply FuseNode::deliver(const WritePiece& piece, PieceRole role, const char* data) {
    const DeviceRequest request = requestOf(piece.handle, piece.thread);
    if (role == PieceRole::positioned)
        return device_->writeAt(request, piece.offset, data, piece.size);

    DeviceReply reply;
    const size_t before = joined_.size();
    if (before == 0) {
        reply = device_->write(request, data, piece.size);
    } else {
        armPendingTimer(0);
        if (joined_.append(data, piece.size))
            reply = device_->write(request, joined_.data(), joined_.size());
        else
            reply.error = ENOMEM;
        reply.result -= static_cast<long>(before);
        joined_.clear();
    }
    if (reply.error != EOK)
        joiner_.refused(piece);
    return reply;
}

// 0 stops it. Without a timer a pending write waits for the next request, nothing is lost.
void FuseNode::armPendingTimer(unsigned milliseconds) {
    itimerspec spec = {};
    spec.it_value = {static_cast<time_t>(milliseconds / 1000),
                     static_cast<long>(milliseconds % 1000) * 1000000};
    timerfd_settime(pendingTimer_.get(), 0, &spec, nullptr);
}

// The last resort for a write whose end no request shows: is its thread still at it? Asked less and
// less often, for a client may be stopped in the middle of a write.
void FuseNode::checkPending(resmgr_context_t* ctp) {
    uint64_t expiries;
    if (::read(pendingTimer_.get(), &expiries, sizeof expiries) < 0 || !joiner_.pending())
        return;
    if (joiner_.mayGoOn(calls_.look(joiner_.thread()))) {
        pendingDelay_ = std::min(pendingDelay_ * 2, kDelayMax);
        armPendingTimer(pendingDelay_);
        return;
    }
    ctp_ = ctp;
    finishPending();
    ctp_ = nullptr;
}
