// For clients of a node that may be a socket: devctl_open() and devctl_write() work whichever way
// it is served, and with this header devctl() does so too. Header-only, C99 and C++.
//
// A node is a device, a file or a Unix socket at the same path. On a socket the descriptor
// that devctl_open() gives is a connection that only stands for the open: each call makes a
// connection of its own to where that one leads, and gets its answer there. So threads and
// processes may share the descriptor, and no answer reaches the wrong one.
#ifndef VELKARIS_LINUX_DEVCTL_SOCKET_H
#define VELKARIS_LINUX_DEVCTL_SOCKET_H

#include <devctl.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <unistd.h>

#ifdef __cplusplus
extern "C" {
#endif

// A connection's only request: one packet with this header and the first `length` bytes of data as
// far as one packet takes them. What is left follows in packets of at most kDevctlPacketBytes.
enum DevctlPacketKind {
    kDevctlPacketOpen = 1,    // the connection stays until the client closes it
    kDevctlPacketWrite = 2,   // data: the bytes written
    kDevctlPacketCommand = 3  // data: the used part of a DevctlMessage
};

enum { kDevctlPacketMagic = 0x6b6c6556, kDevctlPacketBytes = 65536 };

struct DevctlPacket {
    uint32_t magic;
    uint32_t kind;
    uint32_t flags;  // of the open, as open() takes them
    uint32_t zero;
    uint64_t length;
};

// The one answer; for a command the reply message follows. A console that refuses a connection
// answers before any request: EUSERS when its user has too many, EBUSY when all users have.
struct DevctlAnswer {
    int32_t status;  // 0 or an error number
    uint32_t flags;  // of the open; a command may have changed them
    int64_t result;  // what write() returns
};

static inline int devctlIsSocket(int fd) {
    struct sockaddr_un name;
    int type = 0;
    socklen_t size = sizeof type;
    if (getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &size) != 0 || type != SOCK_SEQPACKET)
        return 0;
    size = sizeof name;
    return getsockname(fd, (struct sockaddr*)&name, &size) == 0 && name.sun_family == AF_UNIX;
}

// Sends a request with its data. Returns 0 or an error number; a server that hangs up is none yet,
// because its answer says why.
static inline int devctlSend(int fd, uint32_t kind, int flags, const void* data, size_t length) {
    struct DevctlPacket packet;
    struct iovec parts[2];
    struct msghdr message;
    size_t from = 0;

    memset(&packet, 0, sizeof packet);
    packet.magic = kDevctlPacketMagic;
    packet.kind = kind;
    packet.flags = (uint32_t)flags;
    packet.length = length;
    memset(&message, 0, sizeof message);
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    parts[0].iov_base = &packet;
    parts[0].iov_len = sizeof packet;
    do {
        parts[1].iov_base = (char*)data + from;
        parts[1].iov_len = length - from;
        if (parts[1].iov_len > kDevctlPacketBytes)
            parts[1].iov_len = kDevctlPacketBytes;
        if (sendmsg(fd, &message, MSG_NOSIGNAL) >= 0) {
            from += parts[1].iov_len;
            parts[0].iov_len = 0;
        } else if (errno != EINTR) {
            return errno == EPIPE || errno == ECONNRESET ? 0 : errno;
        }
    } while (from < length || parts[0].iov_len > 0);
    return 0;
}

// Waits for the answer and at most `replySize` bytes of reply. Returns how many those were, or -1
// with errno; a server that is gone is ENOTCONN, like a node whose server is gone.
static inline ssize_t devctlReceive(int fd, struct DevctlAnswer* answer, void* reply,
                                    size_t replySize) {
    struct iovec parts[2];
    struct msghdr message;
    ssize_t received;

    parts[0].iov_base = answer;
    parts[0].iov_len = sizeof *answer;
    parts[1].iov_base = reply;
    parts[1].iov_len = replySize;
    memset(&message, 0, sizeof message);
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    do  // a server that hangs up before it has read everything resets; its answer waits behind that
        received = recvmsg(fd, &message, 0);
    while (received < 0 && (errno == EINTR || errno == ECONNRESET));
    if (received < (ssize_t)sizeof *answer) {
        errno = ENOTCONN;
        return -1;
    }
    return received - (ssize_t)sizeof *answer;
}

// Connects to the socket at `address`. Returns the connection, or -1 with errno.
static inline int devctlConnect(const struct sockaddr_un* address) {
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    int result, error;

    if (fd < 0)
        return -1;
    do
        result = connect(fd, (const struct sockaddr*)address, sizeof *address);
    while (result != 0 && errno == EINTR);
    if (result == 0)
        return fd;
    error = errno;
    close(fd);
    errno = error;
    return -1;
}

// Connects once more to the server of the open `fd`. Another one may serve its path by now.
static inline int devctlConnectAgain(int fd) {
    struct sockaddr_un address;
    struct pollfd own;
    socklen_t size = sizeof address;
    int call;

    memset(&address, 0, sizeof address);
    memset(&own, 0, sizeof own);
    own.fd = fd;
    if (getpeername(fd, (struct sockaddr*)&address, &size) != 0)
        return -1;
    call = devctlConnect(&address);
    while (poll(&own, 1, 0) < 0 && errno == EINTR)
        continue;
    if (own.revents == 0)
        return call;
    if (call >= 0)
        close(call);
    errno = ENOTCONN;
    return -1;
}

// The flags of an open are kept as its socket's low-water mark, which has no meaning for packets,
// so that all who share the descriptor see the same. A mark is at least 1.
static inline int devctlKeepFlags(int fd, int flags) {
    ++flags;
    return setsockopt(fd, SOL_SOCKET, SO_RCVLOWAT, &flags, sizeof flags);
}

static inline int devctlKeptFlags(int fd) {
    int flags = 1;
    socklen_t size = sizeof flags;
    (void)getsockopt(fd, SOL_SOCKET, SO_RCVLOWAT, &flags, &size);
    return flags - 1;
}

// One call for the open `fd`. Returns the length of the reply, or -1 with errno.
static inline ssize_t devctlCall(int fd, uint32_t kind, const void* data, size_t length,
                                 struct DevctlAnswer* answer, void* reply, size_t replySize) {
    const int call = devctlConnectAgain(fd), flags = devctlKeptFlags(fd);
    ssize_t replyBytes = -1;
    int error;

    if (call < 0)
        return -1;
    error = devctlSend(call, kind, flags, data, length);
    if (error == 0) {
        replyBytes = devctlReceive(call, answer, reply, replySize);
        error = errno;
    }
    close(call);
    if (replyBytes >= 0 && answer->status == 0 && (int)answer->flags != flags)
        (void)devctlKeepFlags(fd, (int)answer->flags);
    errno = error;
    return replyBytes;
}

__attribute__((weak)) int devctlCarryBySocket(int fd, struct DevctlMessage* message) {
    struct DevctlAnswer answer;
    ssize_t replyBytes;
    uint32_t sent = message->header.request.payloadBytes;

    if (!devctlIsSocket(fd)) {
        errno = ENOTTY;
        return -1;
    }
    if (sent > kDevctlPayloadBytes)
        sent = kDevctlPayloadBytes;
    replyBytes = devctlCall(fd, kDevctlPacketCommand, message, kDevctlHeaderBytes + sent, &answer,
                            message, sizeof *message);
    return replyBytes < 0 ? -1 : DEVCTL_RESULT(answer.status, replyBytes);
}

// Opens a file as it is, close-on-exec from the start where the dialect names the flag.
static inline int devctlOpenFile(const char* path, int flags) {
    int fd;
#ifdef O_CLOEXEC
    flags |= O_CLOEXEC;
#endif
    do
        fd = open(path, flags);
    while (fd < 0 && errno == EINTR);
    if (fd >= 0)
        (void)fcntl(fd, F_SETFD, FD_CLOEXEC);
    return fd;
}

// Opens the node that is served by the socket at `path`.
static inline int devctlOpenSocket(const char* path, int oflag) {
    struct DevctlAnswer answer;
    struct sockaddr_un address;
    int fd, error;

    memset(&address, 0, sizeof address);
    address.sun_family = AF_UNIX;
    if (strlen(path) >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return -1;
    }
    strcpy(address.sun_path, path);
    fd = devctlConnect(&address);
    if (fd < 0) {
        errno = errno == EPROTOTYPE ? ENODEV : errno;  // another kind of socket is no node
        return -1;
    }
    error = devctlSend(fd, kDevctlPacketOpen, oflag, 0, 0);
    if (error == 0)
        error = devctlReceive(fd, &answer, 0, 0) < 0 ? errno : answer.status;
    if (error == 0 && devctlKeepFlags(fd, (int)answer.flags) != 0)
        error = errno;
    if (error == 0)
        return fd;
    close(fd);
    errno = error;
    return -1;
}

// Opens the node at `path` with the access mode of `oflag`; a node is never created, cut or waited
// for. Returns a descriptor, or -1 with errno: ENOENT or ECONNREFUSED when no console is there,
// ENOTCONN when it has died, EUSERS when this user has too many connections, EBUSY when all
// users have, ENODEV when the thing at the path is no node.
static inline int devctl_open(const char* path, int oflag) {
    struct stat found;
    int fd, flags, error;

    if (stat(path, &found) != 0)
        return -1;
    if ((oflag & O_CREAT) && (oflag & O_EXCL)) {
        errno = EEXIST;
        return -1;
    }
    if (((uint32_t)found.st_mode & 0170000) == 0140000)
        return devctlOpenSocket(path, oflag);
    if (((uint32_t)found.st_mode & 0170000) != 0100000 &&
        ((uint32_t)found.st_mode & 0170000) != 0020000) {
        errno = ENODEV;
        return -1;
    }

    flags = oflag & ~(O_CREAT | O_EXCL | O_TRUNC);
    fd = devctlOpenFile(path, flags);
    if (fd < 0)
        return -1;
    error = devctl(fd, (int)(uint32_t)__DIOF(_DCMD_ALL, 1, int), &flags, sizeof flags, 0);
    if (error == EOK)
        return fd;
    close(fd);
    errno = error == ENOTTY ? ENODEV : error;
    return -1;
}

// Writes all of `data` as one message. Returns how many bytes the node took, or -1 with errno:
// ENOBUFS for more than a node keeps of one user's unfinished texts.
static inline ssize_t devctl_write(int fd, const void* data, size_t size) {
    struct DevctlAnswer answer;

    if (devctlIsSocket(fd)) {
        if (devctlCall(fd, kDevctlPacketWrite, data, size, &answer, 0, 0) < 0)
            return -1;
        if (answer.status == 0)
            return (ssize_t)answer.result;
        errno = answer.status;
        return -1;
    }
    return devctlWriteText(fd, data, size);
}

#ifdef __cplusplus
}
#endif

#endif
