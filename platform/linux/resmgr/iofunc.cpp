// The framework's default handlers. Permissions are checked before a message gets here, by the
// kernel: those of the device, of the file, of the socket.
#include <sys/iofunc.h>
// The block above gives handles and control blocks their types.
#include <errno.h>
#include <fcntl.h>
#include <sys/dcmd_all.h>
#include <unistd.h>

#include <cstring>
#include <ctime>
#include <memory>
#include <new>

#include "resmgr/receivedMessage.h"

namespace {

// Open flags that promise more than a node without a mount record can keep.
constexpr int kSynchronised = O_SYNC | O_DSYNC;

// What a client may change about an open descriptor.
constexpr int kSettable = O_APPEND | O_NONBLOCK;

int openFlagsOf(const iofunc_ocb_t& ocb) {
    const auto flags = static_cast<uint32_t>(ocb.ioflag);
    return static_cast<int>((flags & ~uint32_t{O_ACCMODE}) | ((flags - 1) & O_ACCMODE));
}

void count(iofunc_attr_t* attr, int32_t ioflag, int by) {
    attr->count = static_cast<uint16_t>(attr->count + by);
    if (ioflag & _IO_FLAG_RD)
        attr->rcount = static_cast<uint16_t>(attr->rcount + by);
    if (ioflag & _IO_FLAG_WR)
        attr->wcount = static_cast<uint16_t>(attr->wcount + by);
}

// One part: the reply header and, behind it, the value.
int replyWith(resmgr_context_t* ctp, io_devctl_t* msg, int value) {
    std::memset(&msg->o, 0, sizeof msg->o);
    msg->o.nbytes = sizeof value;
    std::memcpy(_DEVCTL_DATA(*msg), &value, sizeof value);
    SETIOV(ctp->iov, msg, sizeof *msg + sizeof value);
    return _RESMGR_NPARTS(1);
}

int setFlags(resmgr_context_t* ctp, io_devctl_t* msg, iofunc_ocb_t* ocb) {
    int flags;
    if (ctp->size < sizeof *msg + sizeof flags)
        return EINVAL;
    std::memcpy(&flags, _DEVCTL_DATA(*msg), sizeof flags);
    if ((flags & kSynchronised) != 0 && !ocb->attr->mount)
        return EINVAL;
    ocb->ioflag = (ocb->ioflag & ~kSettable) | (flags & kSettable);
    return EOK;
}

}  // namespace

void iofunc_func_init(unsigned nconnect, resmgr_connect_funcs_t* connect, unsigned nio,
                      resmgr_io_funcs_t* io) {
    if (connect) {
        resmgr_connect_funcs_t defaults = {};
        defaults.nfuncs = nconnect;
        defaults.open = iofunc_open_default;
        const size_t known = nconnect < _RESMGR_CONNECT_NFUNCS ? nconnect : _RESMGR_CONNECT_NFUNCS;
        std::memcpy(connect, &defaults,
                    offsetof(resmgr_connect_funcs_t, open) + known * sizeof(void*));
    }
    if (io) {
        resmgr_io_funcs_t defaults = {};
        defaults.nfuncs = nio;
        defaults.read = iofunc_read_default;
        defaults.write = iofunc_write_default;
        defaults.close_ocb = iofunc_close_ocb_default;
        defaults.stat = iofunc_stat_default;
        defaults.devctl = iofunc_devctl_default;
        defaults.chmod = iofunc_chmod_default;
        defaults.chown = iofunc_chown_default;
        defaults.utime = iofunc_utime_default;
        defaults.sync = iofunc_sync_default;
        const size_t known = nio < _RESMGR_IO_NFUNCS ? nio : _RESMGR_IO_NFUNCS;
        std::memcpy(io, &defaults, offsetof(resmgr_io_funcs_t, read) + known * sizeof(void*));
    }
}

void iofunc_attr_init(iofunc_attr_t* attr, mode_t mode, iofunc_attr_t* dattr,
                      struct _client_info*) {
    *attr = {};
    attr->mode = mode;
    attr->mount = dattr ? dattr->mount : nullptr;
    attr->uid = geteuid();
    attr->gid = getegid();
    attr->nlink = 1;
    attr->flags = IOFUNC_ATTR_MTIME | IOFUNC_ATTR_ATIME | IOFUNC_ATTR_CTIME;
    iofunc_time_update(attr);
}

int iofunc_time_update(iofunc_attr_t* attr) {
    constexpr uint32_t kTimes = IOFUNC_ATTR_MTIME | IOFUNC_ATTR_ATIME | IOFUNC_ATTR_CTIME;
    const uint32_t due = attr->flags & kTimes;
    if (due == 0)
        return EOK;
    const time_t now = std::time(nullptr);
    if (due & IOFUNC_ATTR_MTIME)
        attr->mtime = now;
    if (due & IOFUNC_ATTR_ATIME)
        attr->atime = now;
    if (due & IOFUNC_ATTR_CTIME)
        attr->ctime = now;
    attr->flags = (attr->flags & ~kTimes) | IOFUNC_ATTR_DIRTY_TIME;
    return EOK;
}

int iofunc_write_verify(resmgr_context_t* ctp, io_write_t* msg, iofunc_ocb_t* ocb, int* nonblock) {
    if ((ocb->ioflag & _IO_FLAG_WR) == 0)
        return EBADF;
    size_t header = sizeof *msg;
    switch (msg->i.xtype & _IO_XTYPE_MASK) {
        case _IO_XTYPE_NONE: break;
        case _IO_XTYPE_OFFSET: header += sizeof(int64_t); break;
        default: return EINVAL;
    }
    // A length past what 32 bits of the message's facts hold is not told apart from their maximum.
    const size_t sent = static_cast<size_t>(ctp->info.srcmsglen) - ctp->offset;
    if (sent < header || (sent < INT32_MAX && sent - header < msg->i.nbytes))
        return EINVAL;
    if (nonblock)
        *nonblock = (ocb->ioflag & O_NONBLOCK) != 0;
    return EOK;
}

int iofunc_devctl_default(resmgr_context_t* ctp, io_devctl_t* msg, iofunc_ocb_t* ocb) {
    switch (static_cast<uint32_t>(msg->i.dcmd)) {
        case DCMD_ALL_GETFLAGS: return replyWith(ctp, msg, openFlagsOf(*ocb));
        case DCMD_ALL_SETFLAGS: return setFlags(ctp, msg, ocb);
        case DCMD_ALL_GETMOUNTFLAGS: return replyWith(ctp, msg, 0);
        default: return static_cast<int>(_RESMGR_DEFAULT);
    }
}

int iofunc_read_default(resmgr_context_t* ctp, io_read_t* msg, iofunc_ocb_t* ocb) {
    if ((ocb->ioflag & _IO_FLAG_RD) == 0)
        return EBADF;
    if ((msg->i.xtype & _IO_XTYPE_MASK) != _IO_XTYPE_NONE)
        return ENOSYS;
    _IO_SET_READ_NBYTES(ctp, 0);  // end of file at once
    return EOK;
}

int iofunc_write_default(resmgr_context_t* ctp, io_write_t* msg, iofunc_ocb_t* ocb) {
    const int verdict = iofunc_write_verify(ctp, msg, ocb, nullptr);
    if (verdict != EOK)
        return verdict;
    if ((msg->i.xtype & _IO_XTYPE_MASK) != _IO_XTYPE_NONE)
        return ENOSYS;
    _IO_SET_WRITE_NBYTES(ctp, msg->i.nbytes);
    if (msg->i.nbytes > 0)
        ocb->attr->flags |= IOFUNC_ATTR_MTIME | IOFUNC_ATTR_CTIME;
    return EOK;
}

int iofunc_stat_default(resmgr_context_t* ctp, io_stat_t*, iofunc_ocb_t* ocb) {
    iofunc_attr_t* const attr = ocb->attr;
    iofunc_time_update(attr);
    struct stat found = {};
    found.st_mode = attr->mode;
    found.st_nlink = attr->nlink;
    found.st_uid = attr->uid;
    found.st_gid = attr->gid;
    found.st_rdev = attr->rdev;
    found.st_ino = attr->inode;
    found.st_size = attr->nbytes;
    found.st_mtim.tv_sec = attr->mtime;
    found.st_atim.tv_sec = attr->atime;
    found.st_ctim.tv_sec = attr->ctime;
    std::memcpy(static_cast<void*>(ctp->msg), &found, sizeof found);
    return _RESMGR_PTR(ctp, ctp->msg, sizeof found);
}

int iofunc_chmod_default(resmgr_context_t*, io_chmod_t* msg, iofunc_ocb_t* ocb) {
    ocb->attr->mode = (ocb->attr->mode & S_IFMT) | (msg->i.mode & ~static_cast<mode_t>(S_IFMT));
    ocb->attr->flags |= IOFUNC_ATTR_CTIME;
    return EOK;
}

// -1 leaves the owner or the group as it is.
int iofunc_chown_default(resmgr_context_t*, io_chown_t* msg, iofunc_ocb_t* ocb) {
    if (msg->i.uid != -1)
        ocb->attr->uid = static_cast<uid_t>(msg->i.uid);
    if (msg->i.gid != -1)
        ocb->attr->gid = static_cast<gid_t>(msg->i.gid);
    ocb->attr->flags |= IOFUNC_ATTR_CTIME;
    return EOK;
}

int iofunc_utime_default(resmgr_context_t*, io_utime_t* msg, iofunc_ocb_t* ocb) {
    iofunc_attr_t* const attr = ocb->attr;
    if (msg->i.cur_flag) {
        attr->flags |= IOFUNC_ATTR_MTIME | IOFUNC_ATTR_ATIME;
    } else {
        attr->flags &= ~static_cast<uint32_t>(IOFUNC_ATTR_MTIME | IOFUNC_ATTR_ATIME);
        attr->atime = static_cast<time_t>(msg->i.actime);
        attr->mtime = static_cast<time_t>(msg->i.modtime);
    }
    attr->flags |= IOFUNC_ATTR_CTIME;
    return iofunc_time_update(attr);
}

int iofunc_sync_default(resmgr_context_t*, io_sync_t*, iofunc_ocb_t*) {
    return EOK;
}

int iofunc_open_default(resmgr_context_t* ctp, io_open_t* msg, iofunc_attr_t* attr, void*) {
    if ((msg->connect.ioflag & static_cast<uint32_t>(kSynchronised)) != 0 && !attr->mount)
        return EINVAL;
    std::unique_ptr<iofunc_ocb_t> ocb(new (std::nothrow) iofunc_ocb_t{});
    if (!ocb)
        return ENOMEM;
    ocb->attr = attr;
    ocb->ioflag = static_cast<int32_t>(msg->connect.ioflag);
    count(attr, ocb->ioflag, 1);
    ctp->extra->opened = ocb.release();
    return EOK;
}

int iofunc_close_ocb_default(resmgr_context_t*, void*, iofunc_ocb_t* ocb) {
    const std::unique_ptr<iofunc_ocb_t> owned(ocb);
    count(owned->attr, owned->ioflag, -1);
    return EOK;
}
