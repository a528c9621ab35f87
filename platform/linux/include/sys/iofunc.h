// Default handlers of the resource-manager framework, and the records that they keep: one attribute
// record a node, one control block an open.
#ifndef VELKARIS_LINUX_SYS_IOFUNC_H
#define VELKARIS_LINUX_SYS_IOFUNC_H

#ifndef RESMGR_HANDLE_T
#define RESMGR_HANDLE_T struct _iofunc_attr
#endif
#ifndef RESMGR_OCB_T
#define RESMGR_OCB_T struct _iofunc_ocb
#endif
#ifndef IOFUNC_ATTR_T
#define IOFUNC_ATTR_T struct _iofunc_attr
#endif

struct _iofunc_attr;
struct _iofunc_ocb;

#include <sys/resmgr.h>
#include <sys/stat.h>
#include <time.h>

#ifdef __cplusplus
extern "C" {
#endif

// Bits of an attribute record's flags: times that are due to become "now" when somebody asks.
#define IOFUNC_ATTR_MTIME 0x00000001
#define IOFUNC_ATTR_ATIME 0x00000002
#define IOFUNC_ATTR_CTIME 0x00000004
#define IOFUNC_ATTR_DIRTY_TIME 0x00000100  // a time was changed

struct _iofunc_mount;
struct _client_info;

// Named access only: the order of the fields differs between the platform's releases.
typedef struct _iofunc_attr {
    struct _iofunc_mount* mount;
    uint32_t flags;
    int32_t lock_tid;
    uint16_t lock_count;
    uint16_t count;   // open control blocks
    uint16_t rcount;  // of them, open for reading
    uint16_t wcount;  // of them, open for writing
    uint16_t rlocks;
    uint16_t wlocks;
    void* mmap_list;
    void* lock_list;
    void* list;
    uint32_t list_size;
    off_t nbytes;
    ino_t inode;
    uid_t uid;
    gid_t gid;
    time_t mtime;
    time_t atime;
    time_t ctime;
    mode_t mode;
    nlink_t nlink;
    dev_t rdev;
} iofunc_attr_t;

typedef struct _iofunc_ocb {
    IOFUNC_ATTR_T* attr;
    int32_t ioflag;  // _IO_FLAG_RD, _IO_FLAG_WR
    off_t offset;
    uint16_t sflag;
    uint16_t flags;
    void* reserved;
} iofunc_ocb_t;

// Clears the first `nconnect` and `nio` slots and puts the default handlers in where there are any.
void iofunc_func_init(unsigned nconnect, resmgr_connect_funcs_t* connect, unsigned nio,
                      resmgr_io_funcs_t* io);

// Zeroes the record and sets its mode; times are now. Owner and group are those of `info`, without
// it the process's own. `dattr` is the parent's record, for the mount only; both may be null.
void iofunc_attr_init(iofunc_attr_t* attr, mode_t mode, iofunc_attr_t* dattr,
                      struct _client_info* info);

// Sets each time whose flag is up to now and takes the flags down.
int iofunc_time_update(iofunc_attr_t* attr);

// EOK, EBADF when the control block has no write access, EINVAL for an unknown extended type or a
// message that is shorter than its type needs. `nonblock` may be null.
int iofunc_write_verify(resmgr_context_t* ctp, io_write_t* msg, iofunc_ocb_t* ocb, int* nonblock);

// Serves the common commands of <sys/dcmd_all.h>; _RESMGR_DEFAULT for every other.
int iofunc_devctl_default(resmgr_context_t* ctp, io_devctl_t* msg, iofunc_ocb_t* ocb);

// The defaults that iofunc_func_init puts in.
int iofunc_read_default(resmgr_context_t* ctp, io_read_t* msg, iofunc_ocb_t* ocb);
int iofunc_write_default(resmgr_context_t* ctp, io_write_t* msg, iofunc_ocb_t* ocb);
int iofunc_stat_default(resmgr_context_t* ctp, io_stat_t* msg, iofunc_ocb_t* ocb);
int iofunc_chmod_default(resmgr_context_t* ctp, io_chmod_t* msg, iofunc_ocb_t* ocb);
int iofunc_chown_default(resmgr_context_t* ctp, io_chown_t* msg, iofunc_ocb_t* ocb);
int iofunc_utime_default(resmgr_context_t* ctp, io_utime_t* msg, iofunc_ocb_t* ocb);
int iofunc_sync_default(resmgr_context_t* ctp, io_sync_t* msg, iofunc_ocb_t* ocb);
int iofunc_open_default(resmgr_context_t* ctp, io_open_t* msg, iofunc_attr_t* attr, void* extra);
int iofunc_close_ocb_default(resmgr_context_t* ctp, void* reserved, iofunc_ocb_t* ocb);

#ifdef __cplusplus
}
#endif

#endif
