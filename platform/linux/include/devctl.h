// What a client sends to a device node: the command codes, the message of a command, and devctl(),
// which carries it there and the reply back by one ioctl. Header-only, C99 and C++.
//
// Where a node may be a socket, clients open it by devctl_open() of <devctlSocket.h>.
#ifndef VELKARIS_LINUX_DEVCTL_H
#define VELKARIS_LINUX_DEVCTL_H

#include <errno.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/types.h>

#ifndef EOK
#define EOK 0
#endif

#ifdef __cplusplus
extern "C" {
#endif

// Command codes: direction, size of the declared argument, class, number.
#define _POSIX_DEVDIR_NONE 0
#define _POSIX_DEVDIR_TO 0x80000000
#define _POSIX_DEVDIR_FROM 0x40000000
#define __DION(class_, cmd) (((class_) << 8) + (cmd) + _POSIX_DEVDIR_NONE)
#define __DIOF(class_, cmd, data) \
    ((sizeof(data) << 16) + ((class_) << 8) + (cmd) + _POSIX_DEVDIR_FROM)
#define __DIOT(class_, cmd, data) \
    ((sizeof(data) << 16) + ((class_) << 8) + (cmd) + _POSIX_DEVDIR_TO)
#define __DIOTF(class_, cmd, data) \
    ((sizeof(data) << 16) + ((class_) << 8) + (cmd) + (_POSIX_DEVDIR_TO | _POSIX_DEVDIR_FROM))

#define _DCMD_ALL 1
#define _DCMD_FSYS 2
#define _DCMD_BLK 2
#define _DCMD_CHR 3
#define _DCMD_NET 4
#define _DCMD_MISC 5

// The message of a command as it travels, both ways.
enum {
    kDevctlHeaderBytes = 16,
    kDevctlMessageBytes = 2048,
    kDevctlPayloadBytes = kDevctlMessageBytes - kDevctlHeaderBytes,
    kDevctlMessageType = 0x106
};

struct DevctlMessage {
    union {
        struct {
            uint16_t type;  // kDevctlMessageType
            uint16_t combineLength;
            int32_t command;
            uint32_t payloadBytes;  // what the client passed, which may be more than travels
            int32_t zero;
        } request;
        struct {
            uint32_t zero;
            int32_t returnValue;
            uint32_t payloadBytes;
            int32_t zero2;
        } reply;
    } header;
    unsigned char payload[kDevctlPayloadBytes];
};

// The ioctl that carries a DevctlMessage. Its result is the server's status (0 or an error number)
// in the low half and the length of the reply above it: an error of the ioctl itself would not
// reach the caller unchanged.
#define DEVCTL_NODE_IOCTL _IOWR('V', 1, struct DevctlMessage)
#define DEVCTL_RESULT(status, replyBytes) \
    ((int)(((unsigned)(replyBytes) << 16) | (unsigned)(status)))
#define DEVCTL_RESULT_STATUS(result) ((result)&0xffff)
#define DEVCTL_RESULT_BYTES(result) ((unsigned)(result) >> 16)

// The ioctl that carries one piece of a text, with `size` bytes of header and data; its result is a
// DEVCTL_RESULT. The server takes the pieces of one thread together, in the order of their numbers,
// and nothing of them before the last. So a text is one message however long it is, and the system
// holds no lock while it copies a client's memory, as it does for write() to a file.
#define DEVCTL_TEXT_IOCTL(size) _IOC(_IOC_WRITE, 'V', 2, size)

// Below the 16,383 bytes that such a code has room to say. A piece that is not the last is full.
enum { kDevctlTextBytes = 15360, kDevctlTextLast = 1 };

struct DevctlText {
    uint32_t number;  // of the piece, from 0
    uint32_t flags;   // kDevctlTextLast or 0
    char bytes[kDevctlTextBytes];
};

// No write is longer than what the system takes in one call.
#define DEVCTL_MAX_WRITE ((size_t)0x7ffff000)

// Carries a message over a descriptor that is a socket. Null unless the program or the library
// includes <devctlSocket.h> somewhere: without it nothing there can have opened one.
int devctlCarryBySocket(int fd, struct DevctlMessage* message) __attribute__((weak));

// Carries the message to the server and the reply back into it. Returns a DEVCTL_RESULT, or -1 with
// errno.
static inline int devctlCarry(int fd, struct DevctlMessage* message) {
    int result;
    do
        result = ioctl(fd, DEVCTL_NODE_IOCTL, message);
    while (result < 0 && errno == EINTR);
    if (result >= 0 || (errno != ENOTTY && errno != EINVAL))
        return result;
    if (devctlCarryBySocket)
        return devctlCarryBySocket(fd, message);
    errno = ENOTTY;
    return -1;
}

// Sends command `dcmd` with `n_bytes` at `dev_data_ptr` as its payload if the code says that data
// goes to the device, and copies the reply's payload back there if it says that data comes from it.
// The server sees the first kDevctlPayloadBytes of a payload. `dev_info_ptr` may be null; it
// receives the reply's value. Returns EOK or the error number; a descriptor that is no node gives
// ENOTTY.
static inline int devctl(int filedes, int dcmd, void* dev_data_ptr, size_t n_bytes,
                         int* dev_info_ptr) {
    struct DevctlMessage message;
    const size_t carried = n_bytes < kDevctlPayloadBytes ? n_bytes : (size_t)kDevctlPayloadBytes;
    unsigned replyBytes;
    int result;

    if (n_bytes > UINT32_MAX - kDevctlHeaderBytes)
        return EINVAL;
    memset(&message, 0, sizeof message);
    message.header.request.type = kDevctlMessageType;
    message.header.request.command = dcmd;
    message.header.request.payloadBytes = (uint32_t)n_bytes;
    if (((uint32_t)dcmd & _POSIX_DEVDIR_TO) && carried > 0)
        memcpy(message.payload, dev_data_ptr, carried);

    result = devctlCarry(filedes, &message);
    if (result < 0)
        return errno;
    if (DEVCTL_RESULT_STATUS(result) != EOK)
        return DEVCTL_RESULT_STATUS(result);

    replyBytes = DEVCTL_RESULT_BYTES(result);
    if (dev_info_ptr)
        *dev_info_ptr = replyBytes >= kDevctlHeaderBytes ? message.header.reply.returnValue : 0;
    if (((uint32_t)dcmd & _POSIX_DEVDIR_FROM) && replyBytes > kDevctlHeaderBytes) {
        const size_t came = replyBytes - kDevctlHeaderBytes;
        memcpy(dev_data_ptr, message.payload, came < carried ? came : carried);
    }
    return EOK;
}

// Sends all of `data` as one message to a node that the kernel makes. Returns `size`, at most
// DEVCTL_MAX_WRITE, or -1 with errno: ENOBUFS for more than a node keeps of one user's texts.
static inline ssize_t devctlWriteText(int fd, const void* data, size_t size) {
    struct DevctlText piece;
    size_t from = 0;
    int result;

    if (size > DEVCTL_MAX_WRITE)
        size = DEVCTL_MAX_WRITE;
    piece.number = 0;
    do {
        const size_t left = size - from;
        const size_t bytes = left < kDevctlTextBytes ? left : (size_t)kDevctlTextBytes;
        piece.flags = left == bytes ? kDevctlTextLast : 0;
        if (bytes > 0)
            memcpy(piece.bytes, (const char*)data + from, bytes);
        do
            result =
                ioctl(fd, DEVCTL_TEXT_IOCTL(offsetof(struct DevctlText, bytes) + bytes), &piece);
        while (result < 0 && errno == EINTR);
        if (result < 0)
            return -1;
        if (DEVCTL_RESULT_STATUS(result) != EOK) {
            errno = DEVCTL_RESULT_STATUS(result);
            return -1;
        }
        from += bytes;
        ++piece.number;
    } while (from < size);
    return (ssize_t)size;
}

#ifdef __cplusplus
}
#endif

#endif
