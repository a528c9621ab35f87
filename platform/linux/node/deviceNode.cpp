#include "node/deviceNode.h"

#include <linux/capability.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

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
                                             mode_t mode, DeviceOperations* device) {
    if (!kind.empty() && kind != "fuse" && kind != "socket") {
        layerError("VELKARIS_NODE_KIND is \"%s\", neither \"fuse\" nor \"socket\"", kind.c_str());
        errno = EINVAL;
        return nullptr;
    }
    const std::string canonical = canonicalNodePath(path);
    auto node = std::make_unique<DeviceNode>();
    if (canonical.empty() || !node->lock_.take(canonical))
        return nullptr;
    if (node->serve(canonical, kind, mode, device))
        return node;
    const int error = errno;
    node.reset();
    errno = error;
    return nullptr;
}

bool DeviceNode::serve(const std::string& path, const std::string& kind, mode_t mode,
                       DeviceOperations* device) {
    PlaceContent content = clearNodePlace(path);
    if (content == PlaceContent::refused)
        return false;
    if (kind == "socket")
        return serveAsSocket(path, content, mode, device);

    if (FuseNode::isAvailable()) {
        if (serveAsFile(path, content, device))
            return true;
        const int error = errno;
        mountPoint_.remove();
        errno = error;
        if (content != PlaceContent::filledFile)
            content = PlaceContent::nothing;
    }
    if (kind.empty())
        return serveAsSocket(path, content, mode, device);
    layerError("%s: FUSE cannot be had: %s", path.c_str(), std::strerror(errno));
    return false;
}

bool DeviceNode::serveAsFile(const std::string& path, PlaceContent content,
                             DeviceOperations* device) {
    if (!mountPoint_.make(path, content))
        return false;
    fuse_ = FuseNode::mount(path, device);
    if (!fuse_)
        return false;
    keepRightToUnmount();
    keepRightToLookAtClients();
    if (content == PlaceContent::filledFile)
        layerError("%s: a file with contents is there; the node hides it until the console ends",
                   path.c_str());
    return true;
}

bool DeviceNode::serveAsSocket(const std::string& path, PlaceContent content, mode_t mode,
                               DeviceOperations* device) {
    if (content == PlaceContent::filledFile) {
        layerError("%s: is a file with contents, which a socket would not keep; move it away first",
                   path.c_str());
        errno = EEXIST;
        return false;
    }
    if (content == PlaceContent::emptyFile && unlink(path.c_str()) != 0)
        layerError("%s: %s", path.c_str(), std::strerror(errno));
    socket_ = SocketNode::listen(path, mode, device);
    if (!socket_)
        return false;
    layerError("%s: served as a socket; shell redirection to it will not work, use velkarisctl",
               path.c_str());
    return true;
}
