#define FUSE_USE_VERSION 312

#include "node/fuse/cuseNode.h"

#include <cuse_lowlevel.h>
#include <fcntl.h>
#include <fuse_lowlevel.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace {

constexpr char kServer[] = "/dev/cuse";
constexpr char kFolder[] = "/dev/";

// The kernel's default for a request; devices cannot ask for more.
constexpr PieceRules kDeviceRules = {32, true};

std::string nameOf(const std::string& path) {
    return path.substr(std::strlen(kFolder));
}

// 0 when there is no device of that name.
dev_t numberOf(const std::string& name) {
    std::ifstream file("/sys/class/cuse/" + name + "/dev");
    unsigned major, minor;
    char colon;
    return file >> major >> colon >> minor ? makedev(major, minor) : 0;
}

bool isDevice(const std::string& path, dev_t number) {
    struct stat found;
    return lstat(path.c_str(), &found) == 0 && S_ISCHR(found.st_mode) && found.st_rdev == number;
}

}  // namespace

bool CuseNode::isAvailable(const std::string& path) {
    const bool inFolder = path.compare(0, std::strlen(kFolder), kFolder) == 0;
    // The kernel reads an exclamation mark in a device's name as a slash.
    if (!inFolder || nameOf(path).find_first_of("/!") != std::string::npos) {
        errno = EXDEV;
        return false;
    }
    return access(kServer, R_OK | W_OK) == 0;
}

std::unique_ptr<CuseNode> CuseNode::create(const std::string& path, const NodeRights& rights,
                                           DeviceOperations* device) {
    std::unique_ptr<CuseNode> node(new CuseNode(path, device, kDeviceRules));
    if (node->makeDevice() && node->makeNode(rights) && node->serveSession(node->session_))
        return node;
    const int error = errno;
    node.reset();
    errno = error;
    return nullptr;
}

bool CuseNode::makeDevice() {
    using Info = fuse_file_info;
    cuse_lowlevel_ops operations = {};
    operations.init = [](void* node, fuse_conn_info* connection) {
        negotiate(static_cast<CuseNode*>(node), connection);
    };
    operations.open = [](fuse_req_t from, Info* info) { open(from, info); };
    operations.release = [](fuse_req_t from, Info* info) { release(from, info); };
    operations.read = [](fuse_req_t from, size_t size, off_t, Info* info) {
        read(from, size, info);
    };
    operations.write = [](fuse_req_t from, const char* data, size_t size, off_t offset,
                          Info* info) { write(from, data, size, offset, info); };
    operations.ioctl = [](fuse_req_t from, int command, void*, Info* info, unsigned, const void* in,
                          size_t inBytes, size_t outBytes) {
        ioctl(from, static_cast<unsigned>(command), info, in, inBytes, outBytes);
    };

    const std::string name = nameOf(path_);
    if (numberOf(name) != 0) {
        errno = EEXIST;
        return false;
    }
    const std::string property = "DEVNAME=" + name;
    const char* properties[] = {property.c_str()};
    cuse_info device = {};
    device.dev_info_argc = 1;
    device.dev_info_argv = properties;
    const char* const arguments[] = {"velkaris"};
    fuse_args args = FUSE_ARGS_INIT(1, const_cast<char**>(arguments));
    session_ = cuse_lowlevel_new(&args, &device, &operations, this);
    fuse_opt_free_args(&args);
    FileDescriptor requests(::open(kServer, O_RDWR | O_CLOEXEC));
    if (!session_ || !requests)
        return false;
    // So the session takes a descriptor that is open, without the signal handlers and the options
    // of a command line that cuse_lowlevel_setup brings.
    const std::string opened = "/dev/fd/" + std::to_string(requests.get());
    if (fuse_session_mount(session_, opened.c_str()) != 0)
        return false;
    requests.release();
    // The kernel asks first of all, at once, and makes the device when it is answered. Of a second
    // device of a name it hangs up instead.
    fuse_buf request = {};
    if (fuse_session_receive_buf(session_, &request) > 0)
        fuse_session_process_buf(session_, &request);
    std::free(request.mem);
    if (sessionLives())
        number_ = numberOf(name);
    errno = EEXIST;
    return number_ != 0;
}

// The kernel makes the node too where /dev is its own, unless a file is there, by which nobody
// would reach the device.
bool CuseNode::makeNode(const NodeRights& rights) {
    if (!isDevice(path_, number_))
        unlink(path_.c_str());
    if (!isDevice(path_, number_) && mknod(path_.c_str(), S_IFCHR | 0600, number_) != 0)
        return false;
    return grantRights(path_, rights);
}

CuseNode::~CuseNode() {
    if (number_ != 0 && isDevice(path_, number_))
        unlink(path_.c_str());
}
