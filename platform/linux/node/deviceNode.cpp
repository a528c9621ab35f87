#include "node/deviceNode.h"

#include <linux/capability.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "node/fuse/cuseNode.h"
#include "node/fuse/fuseNode.h"
#include "privileges/privileges.h"
#include "report/layerError.h"

namespace {

// The mount is undone at the end, by who made it.
void keepRightToUnmount() {
    if (hasCapability(CAP_SYS_ADMIN))
        keepCapability(CAP_SYS_ADMIN);
    else
        keepPrivilegedPrograms();
}

// The kernel's own nodes tell who writes, and not whether the write goes on: clients of other users
// are looked at in /proc.
void keepRightToLookAtClients() {
    keepCapability(CAP_SYS_PTRACE);
    keepCapability(CAP_DAC_READ_SEARCH);
}

}  // namespace

std::unique_ptr<DeviceNode> DeviceNode::make(const std::string& path, const std::string& kind,
                                             const NodeRights& rights, DeviceOperations* device) {
    if (!kind.empty() && kind != "cuse" && kind != "fuse" && kind != "socket") {
        layerError("VELKARIS_NODE_KIND is \"%s\", neither \"cuse\" nor \"fuse\" nor \"socket\"",
                   kind.c_str());
        errno = EINVAL;
        return nullptr;
    }
    const std::string canonical = canonicalNodePath(path);
    auto node = std::make_unique<DeviceNode>();
    if (canonical.empty() || !node->lock_.take(canonical))
        return nullptr;
    if (node->serve(canonical, kind, rights, device))
        return node;
    const int error = errno;
    node.reset();
    errno = error;
    return nullptr;
}

bool DeviceNode::serve(const std::string& path, const std::string& kind, const NodeRights& rights,
                       DeviceOperations* device) {
    content_ = clearNodePlace(path, lock_.foundNote());
    if (content_ == PlaceContent::refused)
        return false;
    if (kind != "fuse" && kind != "socket" && serveAsDevice(path, rights, device))
        return true;
    if (kind != "cuse" && kind != "socket" && serveAsFile(path, device))
        return true;
    if (kind != "cuse" && kind != "fuse")
        return serveAsSocket(path, rights, device);
    layerError("%s: cannot be served by %s: %s", path.c_str(), kind.c_str(), std::strerror(errno));
    return false;
}

bool DeviceNode::serveAsDevice(const std::string& path, const NodeRights& rights,
                               DeviceOperations* device) {
    if (!CuseNode::isAvailable(path))
        return false;
    lock_.note();
    kernel_ = CuseNode::create(path, rights, device);
    if (!kernel_)
        return false;
    kind_ = "cuse";
    keepRightToLookAtClients();
    if (content_ != PlaceContent::nothing)
        layerError("%s: an ordinary file was there; the device replaces it", path.c_str());
    return true;
}

bool DeviceNode::serveAsFile(const std::string& path, DeviceOperations* device) {
    if (!FuseNode::isAvailable() || !mountPoint_.make(path, content_))
        return false;
    if (content_ == PlaceContent::nothing) {
        lock_.note();
        content_ = PlaceContent::emptyFile;
    }
    kernel_ = FuseNode::mount(path, device);
    if (kernel_ && content_ == PlaceContent::filledFile)
        layerError("%s: a file with contents is there; the node hides it until the console ends",
                   path.c_str());
    if (kernel_) {
        keepRightToUnmount();
        keepRightToLookAtClients();
        kind_ = "fuse";
        return true;
    }
    return false;
}

bool DeviceNode::serveAsSocket(const std::string& path, const NodeRights& rights,
                               DeviceOperations* device) {
    if (content_ == PlaceContent::filledFile) {
        layerError("%s: is a file with contents, which a socket would not keep; move it away first",
                   path.c_str());
        errno = EEXIST;
        return false;
    }
    if (content_ == PlaceContent::emptyFile && unlink(path.c_str()) != 0)
        layerError("%s: %s", path.c_str(), std::strerror(errno));
    socket_ = SocketNode::listen(path, rights, device);
    if (!socket_)
        return false;
    layerError("%s: served as a socket; shell redirection to it will not work, use velkarisctl",
               path.c_str());
    return true;
}
