// Layouts of the messages between clients and a resource manager. All fields are in the byte order
// of the machine.
#ifndef VELKARIS_LINUX_SYS_IOMSG_H
#define VELKARIS_LINUX_SYS_IOMSG_H

#include <sys/types.h>

#include <stdint.h>

// Message types: the order of the I/O function table, from the connect message up.
enum {
    _IO_CONNECT = 0x100,
    _IO_READ,
    _IO_WRITE,
    _IO_RSVD_CLOSE_OCB,
    _IO_STAT,
    _IO_NOTIFY,
    _IO_DEVCTL,
    _IO_RSVD_UNBLOCK,
    _IO_PATHCONF,
    _IO_LSEEK,
    _IO_CHMOD,
    _IO_CHOWN,
    _IO_UTIME,
    _IO_OPENFD,
    _IO_FDINFO,
    _IO_LOCK,
    _IO_SPACE,
    _IO_SHUTDOWN,
    _IO_MMAP,
    _IO_MSG,
    _IO_RSVD,
    _IO_DUP,
    _IO_CLOSE,
    _IO_RSVD_LOCK_OCB,
    _IO_RSVD_UNLOCK_OCB,
    _IO_SYNC,
    _IO_POWER,
};

#define _IO_XTYPE_MASK 0x000000ff

enum {
    _IO_XTYPE_NONE = 0,
    _IO_XTYPE_READCOND = 1,
    _IO_XTYPE_MQUEUE = 2,
    _IO_XTYPE_TCPIP = 3,
    _IO_XTYPE_TCPIP_MSG = 4,
    _IO_XTYPE_OFFSET = 5,  // an 8-byte offset stands between the header and the data
    _IO_XTYPE_REGISTRY = 6,
    _IO_XTYPE_READDIR = 7,
};

// Access of an open control block: the open mode plus one.
#define _IO_FLAG_RD 0x00000001
#define _IO_FLAG_WR 0x00000002

// 16 bytes; the data follows.
struct _io_write {
    uint16_t type;
    uint16_t combine_len;
    uint32_t nbytes;
    uint32_t xtype;
    uint32_t zero;
};

typedef union {
    struct _io_write i;
} io_write_t;

struct _io_read {
    uint16_t type;
    uint16_t combine_len;
    uint32_t nbytes;
    uint32_t xtype;
    uint32_t zero;
};

typedef union {
    struct _io_read i;
} io_read_t;

struct _io_devctl {
    uint16_t type;
    uint16_t combine_len;
    int32_t dcmd;
    uint32_t nbytes;
    int32_t zero;
};

struct _io_devctl_reply {
    uint32_t zero;
    int32_t ret_val;
    uint32_t nbytes;
    int32_t zero2;
};

// 16 bytes each way, in one place: whoever fills in the reply has read the request before. The
// payload follows, at the same address in both directions.
typedef union {
    struct _io_devctl i;
    struct _io_devctl_reply o;
} io_devctl_t;

// The first byte of the payload behind a devctl header, of either direction.
#define _DEVCTL_DATA(msg) ((void*)(sizeof(msg) + (char*)(&(msg))))

struct _io_chmod {
    uint16_t type;
    uint16_t combine_len;
    uint32_t mode;
};

typedef union {
    struct _io_chmod i;
} io_chmod_t;

struct _io_chown {
    uint16_t type;
    uint16_t combine_len;
    int32_t gid;
    int32_t uid;
};

typedef union {
    struct _io_chown i;
} io_chown_t;

struct _io_utime {
    uint16_t type;
    uint16_t combine_len;
    int32_t cur_flag;  // non-zero: both times are now
    int64_t actime;
    int64_t modtime;
};

typedef union {
    struct _io_utime i;
} io_utime_t;

struct _io_sync {
    uint16_t type;
    uint16_t combine_len;
    uint32_t flag;
};

typedef union {
    struct _io_sync i;
} io_sync_t;

struct _io_stat {
    uint16_t type;
    uint16_t combine_len;
    uint32_t zero;
};

typedef union {
    struct _io_stat i;
} io_stat_t;

struct _io_connect {
    uint16_t type;
    uint16_t combine_len;
    uint32_t ioflag;  // _IO_FLAG_* and the other flags of the open mode
};

typedef union {
    struct _io_connect connect;
} io_open_t;

#endif
