#define FUSE_USE_VERSION 312

#include "node/fuse/fuseNode.h"

#include <fcntl.h>
#include <fuse_lowlevel.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <fstream>

#include "report/layerError.h"

namespace {

constexpr double kNoCaching = 0;  // seconds that the kernel may keep what it was told

constexpr PieceRules kFileRules = {256, false};  // pages: the most that FUSE grants

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

void FuseNode::replyAttributes(fuse_req_t request, const DeviceRequest& asked) {
    struct stat found;
    if (answeredError(request, device_->stat(asked, &found)))
        return;
    // Linux has no named special files; a mount point keeps the kind that it was mounted on.
    found.st_mode = S_IFREG | (found.st_mode & ~static_cast<mode_t>(S_IFMT));
    found.st_ino = FUSE_ROOT_ID;
    fuse_reply_attr(request, &found, kNoCaching);
}

void FuseNode::getattr(fuse_req_t request, fuse_file_info* info) {
    auto* const node = static_cast<FuseNode*>(begin(request));
    node->replyAttributes(request, node->requestFrom(request, info));
}

DeviceReply FuseNode::setTimes(const DeviceRequest& asked, const struct stat& wanted, int which) {
    struct stat current;
    const DeviceReply reply = device_->stat(asked, &current);
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
    return device_->utime(asked, message);
}

void FuseNode::setattr(fuse_req_t request, struct stat* wanted, int which, fuse_file_info* info) {
    auto* const node = static_cast<FuseNode*>(begin(request));
    DeviceOperations* const device = node->device_;
    const DeviceRequest change = node->requestFrom(request, info);
    DeviceReply reply;
    if (which & FUSE_SET_ATTR_SIZE)
        reply.error = ENOSYS;  // a device has no size to change
    if (reply.error == EOK && (which & FUSE_SET_ATTR_MODE))
        reply = device->chmod(change, wanted->st_mode);
    if (reply.error == EOK && (which & (FUSE_SET_ATTR_UID | FUSE_SET_ATTR_GID)))
        reply = device->chown(
            change, which & FUSE_SET_ATTR_UID ? static_cast<int32_t>(wanted->st_uid) : -1,
            which & FUSE_SET_ATTR_GID ? static_cast<int32_t>(wanted->st_gid) : -1);
    if (reply.error == EOK && (which & (FUSE_SET_ATTR_ATIME | FUSE_SET_ATTR_MTIME)))
        reply = node->setTimes(change, *wanted, which);
    if (!answeredError(request, reply))
        node->replyAttributes(request, change);
}

bool FuseNode::isAvailable() {
    return bool(FileDescriptor(::open("/dev/fuse", O_RDWR | O_CLOEXEC)));
}

std::unique_ptr<FuseNode> FuseNode::mount(const std::string& path, DeviceOperations* device) {
    std::unique_ptr<FuseNode> node(new FuseNode(path, device, kFileRules));
    if (!node->mountOn())
        return nullptr;
    return node;
}

bool FuseNode::mountOn() {
    using Info = fuse_file_info;
    fuse_lowlevel_ops operations = {};
    operations.init = [](void* node, fuse_conn_info* connection) {
        negotiate(static_cast<FuseNode*>(node), connection);
        // So that an open that truncates is an open and no change of the size.
        connection->want |= connection->capable & FUSE_CAP_ATOMIC_O_TRUNC;
    };
    operations.getattr = [](fuse_req_t from, fuse_ino_t, Info* info) { getattr(from, info); };
    operations.setattr = [](fuse_req_t from, fuse_ino_t, struct stat* wanted, int which,
                            Info* info) { setattr(from, wanted, which, info); };
    operations.open = [](fuse_req_t from, fuse_ino_t, Info* info) { open(from, info); };
    operations.release = [](fuse_req_t from, fuse_ino_t, Info* info) { release(from, info); };
    operations.flush = [](fuse_req_t from, fuse_ino_t, Info* info) { flush(from, info); };
    operations.fsync = [](fuse_req_t from, fuse_ino_t, int, Info* info) { fsync(from, info); };
    operations.read = [](fuse_req_t from, fuse_ino_t, size_t size, off_t, Info* info) {
        read(from, size, info);
    };
    operations.write = [](fuse_req_t from, fuse_ino_t, const char* data, size_t size, off_t offset,
                          Info* info) { write(from, data, size, offset, info); };
    operations.ioctl = [](fuse_req_t from, fuse_ino_t, unsigned command, void*, Info* info,
                          unsigned, const void* in, size_t inBytes,
                          size_t outBytes) { ioctl(from, command, info, in, inBytes, outBytes); };

    std::string options = "fsname=velkaris,subtype=velkaris,default_permissions";
    if (othersAllowed())
        options += ",allow_other";
    const char* const arguments[] = {"velkaris", "-o", options.c_str()};
    fuse_args args = FUSE_ARGS_INIT(3, const_cast<char**>(arguments));
    session_ = fuse_session_new(&args, &operations, sizeof operations, this);
    fuse_opt_free_args(&args);
    if (!session_ || fuse_session_mount(session_, path_.c_str()) != 0) {
        layerError("%s: cannot mount the device node", path_.c_str());
        return false;
    }
    const std::optional<MountEntry> mounted = mountAt(path_);
    mountId_ = mounted ? mounted->id : kNoMount;
    if (serveSession(session_))
        return true;
    layerError("%s: cannot watch the device node: %s", path_.c_str(), std::strerror(errno));
    return false;
}

// What somebody else has mounted there since is not ours to unmount. Once the kernel has let go of
// the session, the call only frees what it holds.
FuseNode::~FuseNode() {
    if (!session_)
        return;
    stopServing();
    const std::optional<MountEntry> mounted = mountAt(path_);
    const bool ours = mountId_ != kNoMount && mounted && mounted->id == mountId_;
    if (ours || !sessionLives())
        fuse_session_unmount(session_);
}
