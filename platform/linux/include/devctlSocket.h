// For clients of a node that may be a socket: devctl_open() and devctl_write() work whichever way
// it is served, and with this header devctl() does so too. Header-only, C99 and C++.
//
// A node is a file, through FUSE, or a Unix socket at the same path. On a socket each call makes a
// pair of sockets, sends one of them along with the request, and gets its answer through the other;
// so threads and processes may share a descriptor, and no answer reaches the wrong one.
#ifndef VELKARIS_LINUX_DEVCTL_SOCKET_H
#define VELKARIS_LINUX_DEVCTL_SOCKET_H

#include <devctl.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <unistd.h>

#ifdef __cplusplus
extern "C" {
#endif

// A request on a socket: one packet with this header, the first `length` bytes of data as far as
// one packet takes them, and the socket for the answer as its only passed descriptor. What is left
// of the data follows through that socket, in packets of at most kDevctlPacketBytes.
enum DevctlPacketKind {
    kDevctlPacketOpen = 1,    // argument: the flags of the open
    kDevctlPacketWrite = 2,   // data: the bytes written
    kDevctlPacketCommand = 3  // data: the used part of a DevctlMessage
};

enum { kDevctlPacketMagic = 0x6b6c6556, kDevctlPacketBytes = 65536 };

struct DevctlPacket {
    uint32_t magic;
    uint32_t kind;
    uint32_t argument;
    uint32_t zero;
    uint64_t length;
};

// The one answer; for a command the reply message follows.
struct DevctlAnswer {
    int32_t status;  // 0 or an error number
    uint32_t zero;
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

// Sends the request's first packet with `answerSocket` passed along. Returns how many data bytes
// went with it, or -1 with errno.
static inline ssize_t devctlSendFirst(int fd, const struct DevctlPacket* packet, const void* data,
                                      int answerSocket) {
    union {
        struct cmsghdr header;
        char room[CMSG_SPACE(sizeof(int))];
    } control;
    struct iovec parts[2];
    struct msghdr message;
    struct cmsghdr* passed;
    ssize_t sent;
    const size_t first =
        packet->length < kDevctlPacketBytes ? (size_t)packet->length : (size_t)kDevctlPacketBytes;

    parts[0].iov_base = (void*)packet;
    parts[0].iov_len = sizeof *packet;
    parts[1].iov_base = (void*)data;
    parts[1].iov_len = first;
    memset(&message, 0, sizeof message);
    memset(&control, 0, sizeof control);
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    message.msg_control = &control;
    message.msg_controllen = sizeof control;
    passed = CMSG_FIRSTHDR(&message);
    passed->cmsg_level = SOL_SOCKET;
    passed->cmsg_type = SCM_RIGHTS;
    passed->cmsg_len = CMSG_LEN(sizeof(int));
    memcpy(CMSG_DATA(passed), &answerSocket, sizeof(int));

    do
        sent = sendmsg(fd, &message, MSG_NOSIGNAL);
    while (sent < 0 && errno == EINTR);
    return sent < 0 ? -1 : (ssize_t)first;
}

// Sends what is left of the data. A server that has no use for it hangs up, and its answer says
// why; so a failed send is no failure yet.
static inline void devctlSendRest(int channel, const void* data, size_t from, size_t size) {
    while (from < size) {
        const size_t left = size - from;
        const size_t piece = left < kDevctlPacketBytes ? left : (size_t)kDevctlPacketBytes;
        const ssize_t sent = send(channel, (const char*)data + from, piece, MSG_NOSIGNAL);
        if (sent >= 0)
            from += (size_t)sent;
        else if (errno != EINTR)
            return;
    }
}

// Waits for the answer and at most `replySize` bytes of reply. Returns how many those were, or -1
// with errno; a server that is gone is ENOTCONN, like a node whose server is gone.
static inline ssize_t devctlReceiveAnswer(int channel, struct DevctlAnswer* answer, void* reply,
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

    do
        received = recvmsg(channel, &message, 0);
    while (received < 0 && errno == EINTR);
    if (received < (ssize_t)sizeof *answer) {
        errno = ENOTCONN;
        return -1;
    }
    return received - (ssize_t)sizeof *answer;
}

// One request and its answer on a socket. Returns the length of the reply, or -1 with errno.
static inline ssize_t devctlExchange(int fd, const struct DevctlPacket* packet, const void* data,
                                     struct DevctlAnswer* answer, void* reply, size_t replySize) {
    int channel[2];
    ssize_t result;
    int error;

    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, channel) != 0)
        return -1;
    result = devctlSendFirst(fd, packet, data, channel[1]);
    error = errno;
    close(channel[1]);  // the server's copy is the only one now: its end is the channel's end
    if (result >= 0) {
        devctlSendRest(channel[0], data, (size_t)result, (size_t)packet->length);
        result = devctlReceiveAnswer(channel[0], answer, reply, replySize);
        error = errno;
    } else if (error == EPIPE || error == ECONNRESET) {
        error = ENOTCONN;
    }
    close(channel[0]);
    errno = error;
    return result;
}

static inline struct DevctlPacket devctlMakePacket(uint32_t kind, uint32_t argument,
                                                   uint64_t length) {
    struct DevctlPacket packet;
    memset(&packet, 0, sizeof packet);
    packet.magic = kDevctlPacketMagic;
    packet.kind = kind;
    packet.argument = argument;
    packet.length = length;
    return packet;
}

__attribute__((weak)) int devctlCarryBySocket(int fd, struct DevctlMessage* message) {
    struct DevctlPacket packet;
    struct DevctlAnswer answer;
    ssize_t replyBytes;
    uint32_t sent = message->header.request.payloadBytes;

    if (!devctlIsSocket(fd)) {
        errno = ENOTTY;
        return -1;
    }
    if (sent > kDevctlPayloadBytes)
        sent = kDevctlPayloadBytes;
    packet = devctlMakePacket(kDevctlPacketCommand, 0, kDevctlHeaderBytes + sent);
    replyBytes = devctlExchange(fd, &packet, message, &answer, message, sizeof *message);
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

// Connects to the socket at `path`. A path that the address has no room for goes through a
// descriptor of its folder. Returns 0 or an error number.
static inline int devctlConnect(int fd, const char* path) {
    static const char descriptors[] = "/proc/self/fd/";
    const char* const slash = strrchr(path, '/');
    struct sockaddr_un address;
    char folderPath[4096];
    int folder = -1, digits, error;

    memset(&address, 0, sizeof address);
    address.sun_family = AF_UNIX;
    if (strlen(path) < sizeof address.sun_path) {
        strcpy(address.sun_path, path);
    } else {
        const size_t name = slash ? strlen(slash) : 0;
        if (!slash || (size_t)(slash - path) + 1 >= sizeof folderPath ||
            sizeof descriptors + 10 + name > sizeof address.sun_path)
            return ENAMETOOLONG;
        memcpy(folderPath, path, (size_t)(slash - path) + 1);
        folderPath[slash - path + 1] = '\0';
        folder = devctlOpenFile(folderPath, O_RDONLY);
        if (folder < 0)
            return errno;
        digits = snprintf(address.sun_path, sizeof address.sun_path, "%s%d", descriptors, folder);
        memcpy(address.sun_path + digits, slash, name + 1);
    }
    error = connect(fd, (const struct sockaddr*)&address, sizeof address) == 0 ? 0 : errno;
    if (folder >= 0)
        close(folder);
    return error == EPROTOTYPE ? ENODEV : error;  // another kind of socket is no node
}

// Opens the node that is served by the socket at `path`.
static inline int devctlOpenSocket(const char* path, int oflag) {
    struct DevctlPacket packet = devctlMakePacket(kDevctlPacketOpen, (uint32_t)oflag, 0);
    struct DevctlAnswer answer;
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    int error;

    if (fd < 0)
        return -1;
    error = devctlConnect(fd, path);
    if (error == 0)
        error = devctlExchange(fd, &packet, 0, &answer, 0, 0) < 0 ? errno : answer.status;
    if (error == 0)
        return fd;
    close(fd);
    errno = error;
    return -1;
}

// Opens the node at `path` with the access mode of `oflag`; a node is never created, cut or waited
// for. Returns a descriptor, or -1 with errno: ENOENT or ECONNREFUSED when no console is there,
// ENOTCONN when it has died, ENODEV when the thing at the path is no node.
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

// Writes all of `data` as one message. Returns how many bytes the node took, or -1 with errno.
static inline ssize_t devctl_write(int fd, const void* data, size_t size) {
    struct DevctlPacket packet;
    struct DevctlAnswer answer;

    if (devctlIsSocket(fd)) {
        packet = devctlMakePacket(kDevctlPacketWrite, 0,
                                  size < DEVCTL_MAX_WRITE ? size : DEVCTL_MAX_WRITE);
        if (devctlExchange(fd, &packet, data, &answer, 0, 0) < 0)
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
