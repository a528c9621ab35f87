// The resource-manager framework: a device node whose messages are served by functions in tables.
// Include <sys/iofunc.h> first, which gives handles and control blocks their types.
#ifndef VELKARIS_LINUX_SYS_RESMGR_H
#define VELKARIS_LINUX_SYS_RESMGR_H

#include <sys/iomsg.h>
#include <sys/neutrino.h>
#include <sys/types.h>

#include <limits.h>
#include <stddef.h>
#include <stdint.h>

#ifndef RESMGR_HANDLE_T
#define RESMGR_HANDLE_T void
#endif
#ifndef RESMGR_OCB_T
#define RESMGR_OCB_T void
#endif

#ifdef __cplusplus
extern "C" {
#endif

// What a handler may return besides EOK and error numbers.
#define _RESMGR_NOREPLY INT_MIN        // no reply is sent now
#define _RESMGR_DEFAULT (INT_MIN + 1)  // not handled; the framework answers ENOSYS
#define _RESMGR_NPARTS(n) (-(n))       // reply with the first n parts of ctp->iov
#define _RESMGR_ERRNO(e) (e)
#define _RESMGR_PTR(ctp, addr, len) (SETIOV((ctp)->iov, (addr), (len)), _RESMGR_NPARTS(1))
#define _RESMGR_STATUS(ctp, value) ((ctp)->status = (value))

// The count that the client's write() or read() returns.
#define _IO_SET_WRITE_NBYTES(ctp, n) _RESMGR_STATUS(ctp, (long)(n))
#define _IO_SET_READ_NBYTES(ctp, n) _RESMGR_STATUS(ctp, (long)(n))

enum _file_type {
    _FTYPE_ANY = 0,
};

typedef struct _dispatch dispatch_t;
struct _extended_context;

typedef union {
    uint16_t type;
    struct _pulse pulse;
    io_read_t read;
    io_write_t write;
    io_devctl_t devctl;
} resmgr_iomsgs_t;

typedef struct _resmgr_context {
    int rcvid;
    struct _msg_info info;
    resmgr_iomsgs_t* msg;  // the receive buffer, msg_max_size bytes
    dispatch_t* dpp;
    int id;  // link id from resmgr_attach
    struct _extended_context* extra;
    size_t msg_max_size;
    long status;    // of the reply; 0 before each handler
    size_t offset;  // of this message inside a combined one; always 0 here
    size_t size;    // valid bytes in msg
    iov_t iov[1];   // really nparts_max long
} resmgr_context_t;

typedef resmgr_context_t message_context_t;

// Message types that nothing here serves; only their handlers' slots exist.
typedef union _io_unlink io_unlink_t;
typedef union _io_rename io_rename_t;
typedef union _io_mknod io_mknod_t;
typedef union _io_readlink io_readlink_t;
typedef union _io_link io_link_t;
typedef union _io_mount io_mount_t;
typedef union _io_notify io_notify_t;
typedef union _io_pathconf io_pathconf_t;
typedef union _io_lseek io_lseek_t;
typedef union _io_openfd io_openfd_t;
typedef union _io_fdinfo io_fdinfo_t;
typedef union _io_lock io_lock_t;
typedef union _io_space io_space_t;
typedef union _io_shutdown io_shutdown_t;
typedef union _io_mmap io_mmap_t;
typedef union _io_msg io_msg_t;
typedef union _io_dup io_dup_t;
typedef union _io_power io_power_t;

typedef struct _resmgr_connect_funcs {
    unsigned nfuncs;
    int (*open)(resmgr_context_t* ctp, io_open_t* msg, RESMGR_HANDLE_T* handle, void* extra);
    int (*unlink)(resmgr_context_t* ctp, io_unlink_t* msg, RESMGR_HANDLE_T* handle, void* reserved);
    int (*rename)(resmgr_context_t* ctp, io_rename_t* msg, RESMGR_HANDLE_T* handle, void* extra);
    int (*mknod)(resmgr_context_t* ctp, io_mknod_t* msg, RESMGR_HANDLE_T* handle, void* reserved);
    int (*readlink)(resmgr_context_t* ctp, io_readlink_t* msg, RESMGR_HANDLE_T* handle,
                    void* reserved);
    int (*link)(resmgr_context_t* ctp, io_link_t* msg, RESMGR_HANDLE_T* handle, void* extra);
    int (*unblock)(resmgr_context_t* ctp, void* msg, RESMGR_HANDLE_T* handle, void* reserved);
    int (*mount)(resmgr_context_t* ctp, io_mount_t* msg, RESMGR_HANDLE_T* handle, void* extra);
} resmgr_connect_funcs_t;

typedef struct _resmgr_io_funcs {
    unsigned nfuncs;
    int (*read)(resmgr_context_t* ctp, io_read_t* msg, RESMGR_OCB_T* ocb);
    int (*write)(resmgr_context_t* ctp, io_write_t* msg, RESMGR_OCB_T* ocb);
    int (*close_ocb)(resmgr_context_t* ctp, void* reserved, RESMGR_OCB_T* ocb);
    int (*stat)(resmgr_context_t* ctp, io_stat_t* msg, RESMGR_OCB_T* ocb);
    int (*notify)(resmgr_context_t* ctp, io_notify_t* msg, RESMGR_OCB_T* ocb);
    int (*devctl)(resmgr_context_t* ctp, io_devctl_t* msg, RESMGR_OCB_T* ocb);
    int (*unblock)(resmgr_context_t* ctp, void* msg, RESMGR_OCB_T* ocb);
    int (*pathconf)(resmgr_context_t* ctp, io_pathconf_t* msg, RESMGR_OCB_T* ocb);
    int (*lseek)(resmgr_context_t* ctp, io_lseek_t* msg, RESMGR_OCB_T* ocb);
    int (*chmod)(resmgr_context_t* ctp, io_chmod_t* msg, RESMGR_OCB_T* ocb);
    int (*chown)(resmgr_context_t* ctp, io_chown_t* msg, RESMGR_OCB_T* ocb);
    int (*utime)(resmgr_context_t* ctp, io_utime_t* msg, RESMGR_OCB_T* ocb);
    int (*openfd)(resmgr_context_t* ctp, io_openfd_t* msg, RESMGR_OCB_T* ocb);
    int (*fdinfo)(resmgr_context_t* ctp, io_fdinfo_t* msg, RESMGR_OCB_T* ocb);
    int (*lock)(resmgr_context_t* ctp, io_lock_t* msg, RESMGR_OCB_T* ocb);
    int (*space)(resmgr_context_t* ctp, io_space_t* msg, RESMGR_OCB_T* ocb);
    int (*shutdown)(resmgr_context_t* ctp, io_shutdown_t* msg, RESMGR_OCB_T* ocb);
    int (*mmap)(resmgr_context_t* ctp, io_mmap_t* msg, RESMGR_OCB_T* ocb);
    int (*msg)(resmgr_context_t* ctp, io_msg_t* msg, RESMGR_OCB_T* ocb);
    int (*reserved)(resmgr_context_t* ctp, void* msg, RESMGR_OCB_T* ocb);
    int (*dup)(resmgr_context_t* ctp, io_dup_t* msg, RESMGR_OCB_T* ocb);
    int (*close_dup)(resmgr_context_t* ctp, void* msg, RESMGR_OCB_T* ocb);
    int (*lock_ocb)(resmgr_context_t* ctp, void* reserved, RESMGR_OCB_T* ocb);
    int (*unlock_ocb)(resmgr_context_t* ctp, void* reserved, RESMGR_OCB_T* ocb);
    int (*sync)(resmgr_context_t* ctp, io_sync_t* msg, RESMGR_OCB_T* ocb);
    int (*power)(resmgr_context_t* ctp, io_power_t* msg, RESMGR_OCB_T* ocb);
} resmgr_io_funcs_t;

// Number of function pointers in the tables.
#define _RESMGR_CONNECT_NFUNCS \
    ((sizeof(resmgr_connect_funcs_t) - offsetof(resmgr_connect_funcs_t, open)) / sizeof(void*))
#define _RESMGR_IO_NFUNCS \
    ((sizeof(resmgr_io_funcs_t) - offsetof(resmgr_io_funcs_t, read)) / sizeof(void*))

// Zero the whole record before setting fields.
typedef struct _resmgr_attr {
    unsigned flags;
    unsigned nparts_max;    // length of a context's iov
    unsigned msg_max_size;  // bytes of the receive buffer; too small ones are raised
    int (*other_func)(resmgr_context_t* ctp, void* msg);
    unsigned reserved[4];
} resmgr_attr_t;

// Makes the node at `path` and serves its messages through the two tables, which together with
// `handle` have to outlive the service. Returns a link id >= 0, or -1 with errno, after one line on
// standard error when the path cannot be taken: EBUSY when another console serves it.
int resmgr_attach(dispatch_t* dpp, resmgr_attr_t* attr, const char* path, enum _file_type file_type,
                  unsigned flags, const resmgr_connect_funcs_t* connect_funcs,
                  const resmgr_io_funcs_t* io_funcs, RESMGR_HANDLE_T* handle);

// Copies up to `size` bytes of the client's message from `offset`, counted from the message's first
// byte, its header. Returns how many there were, or -1 with errno.
ssize_t resmgr_msgread(resmgr_context_t* ctp, void* msg, size_t size, size_t offset);

#ifdef __cplusplus
}
#endif

#endif
