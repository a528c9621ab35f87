#include "platform/node/servedNode.h"

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/dispatch.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "node/place/mountTable.h"

namespace {

constexpr int kHangGuard = 60000;  // milliseconds; only a mistake gets there
constexpr int kPipeBytes = 1 << 20;

int reportPipe = -1;  // of the serving process

void report(const Report& what) {
    if (write(reportPipe, &what, sizeof(what)) != sizeof(what))
        abort();
}

// Reads all data through resmgr_msgread, in odd steps.
void readData(resmgr_context_t* ctp, size_t offset, Report* what) {
    static char room[50021];
    what->hash = hashBytes(nullptr, 0);
    for (;;) {
        const ssize_t got = resmgr_msgread(ctp, room, sizeof(room), offset + what->read);
        if (got <= 0)
            return;
        if (what->read == 0)
            memcpy(what->start, room, std::min<size_t>(got, sizeof(what->start)));
        what->hash = hashBytes(room, static_cast<size_t>(got), what->hash);
        what->read += static_cast<uint64_t>(got);
    }
}

Report begin(const resmgr_context_t& ctp, uint32_t type, uint32_t nbytes) {
    Report what = {};
    what.type = type;
    what.nbytes = nbytes;
    what.size = ctp.size;
    what.sent = ctp.info.srcmsglen;
    return what;
}

int handleWrite(resmgr_context_t* ctp, io_write_t* msg, RESMGR_OCB_T* ocb) {
    Report what = begin(*ctp, _IO_WRITE, msg->i.nbytes);
    what.xtype = msg->i.xtype;
    const int verdict = iofunc_write_verify(ctp, msg, ocb, nullptr);
    if (verdict != EOK)
        return verdict;
    if ((msg->i.xtype & _IO_XTYPE_MASK) != _IO_XTYPE_NONE)
        return ENOSYS;
    readData(ctp, sizeof(*msg), &what);
    report(what);
    if (what.read >= 6 && memcmp(what.start, "refuse", 6) == 0)
        return ENOMEM;
    _IO_SET_WRITE_NBYTES(ctp, msg->i.nbytes);
    if (msg->i.nbytes > 0)
        ocb->attr->flags |= IOFUNC_ATTR_MTIME | IOFUNC_ATTR_CTIME;
    return EOK;
}

int replyReversed(resmgr_context_t* ctp, io_devctl_t* msg) {
    char* const payload = static_cast<char*>(_DEVCTL_DATA(*msg));
    const size_t size = ctp->size - sizeof(*msg);
    std::reverse(payload, payload + size);
    msg->o = {};
    SETIOV(ctp->iov, msg, sizeof(*msg) + size);
    return _RESMGR_NPARTS(1);
}

int handleDevctl(resmgr_context_t* ctp, io_devctl_t* msg, RESMGR_OCB_T* ocb) {
    const int common = iofunc_devctl_default(ctp, msg, ocb);
    if (common != static_cast<int>(_RESMGR_DEFAULT))
        return common;
    if (static_cast<uint32_t>(msg->i.dcmd) == kCommandOpens) {
        msg->o = {};
        msg->o.ret_val = ocb->attr->count;
        return _RESMGR_PTR(ctp, &msg->o, sizeof(msg->o));
    }
    Report what = begin(*ctp, _IO_DEVCTL, msg->i.nbytes);
    what.command = static_cast<uint32_t>(msg->i.dcmd);
    readData(ctp, sizeof(*msg), &what);
    report(what);
    switch (what.command) {
        case kCommandReverse: return replyReversed(ctp, msg);
        case kCommandRefuse: return EDOM;
        case kCommandQuiet: return EOK;
        case kCommandBlock: return _RESMGR_NOREPLY;
        case kCommandNote:
        case kCommandValue:
            msg->o = {};
            msg->o.ret_val = what.command == kCommandValue ? 1234 : 0;
            return _RESMGR_PTR(ctp, &msg->o, sizeof(msg->o));
        default: return ENOSYS;
    }
}

// Tells the parent whether the node is there, then serves it until the process ends.
[[noreturn]] void serve(const std::string& path) {
    static resmgr_connect_funcs_t connect;
    static resmgr_io_funcs_t io;
    static iofunc_attr_t attr;
    resmgr_attr_t attributes = {};
    attributes.nparts_max = 1;
    attributes.msg_max_size = 2048;
    iofunc_func_init(_RESMGR_CONNECT_NFUNCS, &connect, _RESMGR_IO_NFUNCS, &io);
    io.write = handleWrite;
    io.devctl = handleDevctl;
    iofunc_attr_init(&attr, S_IFNAM | 0666, nullptr, nullptr);

    dispatch_t* const dispatch = dispatch_create();
    Report ready = {};
    if (resmgr_attach(dispatch, &attributes, path.c_str(), _FTYPE_ANY, 0, &connect, &io, &attr) < 0)
        ready.nbytes = static_cast<uint32_t>(errno);
    report(ready);
    if (ready.nbytes != 0)
        _exit(1);
    dispatch_context_t* context = dispatch_context_alloc(dispatch);
    while (context) {
        dispatch_context_t* const held = dispatch_block(context);
        if (held && dispatch_handler(context = held) != 0)
            _exit(2);
    }
    _exit(3);
}

void removeFolder(const std::string& folder) {
    if (DIR* const listing = opendir(folder.c_str())) {
        while (const dirent* entry = readdir(listing)) {
            if (strcmp(entry->d_name, ".") == 0 || strcmp(entry->d_name, "..") == 0)
                continue;
            const std::string file = folder + "/" + entry->d_name;
            detachMount(file);  // what a killed node left
            unlink(file.c_str());
            rmdir(file.c_str());
        }
        closedir(listing);
    }
    rmdir(folder.c_str());
}

}  // namespace

uint64_t hashBytes(const void* data, size_t size, uint64_t hash) {
    const unsigned char* const bytes = static_cast<const unsigned char*>(data);
    for (size_t i = 0; i < size; ++i)
        hash = (hash ^ bytes[i]) * 0x100000001b3u;
    return hash;
}

std::string patternBytes(size_t size, uint32_t seed) {
    std::string bytes(size, '\0');
    uint32_t state = seed * 2654435761u + 1;
    for (char& byte : bytes) {
        state = state * 1664525u + 1013904223u;
        byte = static_cast<char>('!' + (state >> 24) % 90);
    }
    return bytes;
}

std::string whyNotServed(const std::string& kind) {
    if (kind != "fuse" && kind != "cuse")
        return {};
    const std::string server = "/dev/" + kind;
    if (!FileDescriptor(open(server.c_str(), O_RDWR | O_CLOEXEC)))
        return server + " cannot be opened: " + strerror(errno);
    return {};
}

ServedNode::ServedNode(const std::string& path, const std::string& kind,
                       const std::function<void()>& before)
    : path_(path) {
    int reports[2], errors[2];
    if (pipe2(reports, O_CLOEXEC) != 0 || pipe2(errors, O_CLOEXEC) != 0)
        abort();
    fcntl(reports[1], F_SETPIPE_SZ, kPipeBytes);
    process_ = fork();
    if (process_ == 0) {
        reports_.reset(reports[0]);
        reports_.reset();
        reportPipe = reports[1];
        dup2(errors[1], STDERR_FILENO);
        setenv("VELKARIS_NODE", path.c_str(), 1);
        setenv("VELKARIS_NODE_KIND", kind.c_str(), 1);
        if (before)
            before();
        serve("/nowhere/node");  // the setting replaces it
    }
    reports_.reset(reports[0]);
    errors_.reset(errors[0]);
    FileDescriptor(reports[1]).reset();
    FileDescriptor(errors[1]).reset();
    attachError_ = static_cast<int>(nextReport().nbytes);
}

ServedNode::~ServedNode() {
    if (process_ > 0) {
        kill(process_, SIGCONT);
        end(SIGTERM);
    }
}

Report ServedNode::nextReport() {
    Report what = {};
    pollfd ready = {reports_.get(), POLLIN, 0};
    if (poll(&ready, 1, kHangGuard) != 1) {
        ADD_FAILURE() << "no message came";
        return what;
    }
    if (read(reports_.get(), &what, sizeof(what)) != sizeof(what)) {
        ADD_FAILURE() << "the serving process is gone: " << errorText();
        what.nbytes = ESRCH;
    }
    return what;
}

bool ServedNode::hasReport() const {
    pollfd ready = {reports_.get(), POLLIN, 0};
    return poll(&ready, 1, 0) == 1 && (ready.revents & POLLIN) != 0;
}

int ServedNode::end(int signal) {
    kill(process_, signal);
    return awaitEnd();
}

int ServedNode::awaitEnd() {
    int status = -1;
    while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {
    }
    process_ = -1;
    return status;
}

std::string ServedNode::errorText() {
    std::string text;
    char room[4096];
    ssize_t got;
    while ((got = read(errors_.get(), room, sizeof(room))) > 0)
        text.append(room, static_cast<size_t>(got));
    return text;
}

NodeFolder::NodeFolder() {
    std::string pattern = testing::TempDir() + "velkarisNodeXXXXXX";
    folder_ = mkdtemp(pattern.data());
}

std::string NodeFolder::nodePath(const std::string& kind) const {
    return kind == "cuse" ? "/dev/VelkarisTest" + std::to_string(getpid()) : file("node");
}

NodeFolder::~NodeFolder() {
    removeFolder(folder_);
}
