// resmgr_attach: picks how the node is served, and keeps it until the process ends.
#include <sys/iofunc.h>
// The block above gives handles and control blocks their types.
#include <fcntl.h>
#include <sys/dispatch.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "dispatch/channel.h"
#include "dispatch/endSignals.h"
#include "report/layerError.h"
#include "resmgr/attachedNodes.h"
#include "resmgr/fuseNode.h"
#include "resmgr/nodeLock.h"
#include "resmgr/nodePlace.h"
#include "resmgr/socketNode.h"
#include "settings/layerSettings.h"

namespace {

// Room for the replies of the default handlers.
constexpr size_t kMessageBytesMin = 256;

// Members go in reverse: first the node, then what it stood on, then the lock.
struct AttachedNode {
    pid_t owner = getpid();  // a child that was forked leaves its parent's node alone
    NodeLock lock;
    MountPoint mountPoint;
    std::unique_ptr<FuseNode> fuse;
    std::unique_ptr<SocketNode> socket;
};

// Never freed as a whole: exit() may be called from inside a handler.
std::vector<std::unique_ptr<AttachedNode>>& attachedNodes() {
    static auto* nodes = new std::vector<std::unique_ptr<AttachedNode>>;
    return *nodes;
}

int fail(int error) {
    errno = error;
    return -1;
}

bool serveAsFile(AttachedNode* node, const std::string& path, PlaceContent content,
                 const DeviceServer& server) {
    if (!node->mountPoint.make(path, content))
        return false;
    node->fuse = FuseNode::mount(path, server);
    if (node->fuse && content == PlaceContent::filledFile)
        layerError(
            "%s: a file with contents is there; the node hides it until the console "
            "ends",
            path.c_str());
    return node->fuse != nullptr;
}

bool serveAsSocket(AttachedNode* node, const std::string& path, PlaceContent content, mode_t mode,
                   const DeviceServer& server) {
    if (content == PlaceContent::filledFile) {
        layerError(
            "%s: is a file with contents, which a socket would not keep; move it "
            "away first",
            path.c_str());
        errno = EEXIST;
        return false;
    }
    if (content == PlaceContent::emptyFile && unlink(path.c_str()) != 0)
        layerError("%s: %s", path.c_str(), strerror(errno));
    node->socket = SocketNode::listen(path, mode, server);
    if (!node->socket)
        return false;
    layerError(
        "%s: served as a socket; shell redirection to it will not work, use "
        "velkarisctl",
        path.c_str());
    return true;
}

bool serve(AttachedNode* node, const std::string& path, const std::string& kind, mode_t mode,
           const DeviceServer& server) {
    PlaceContent content = clearNodePlace(path);
    if (content == PlaceContent::refused)
        return false;
    if (kind == "socket")
        return serveAsSocket(node, path, content, mode, server);

    if (FuseNode::isAvailable()) {
        if (serveAsFile(node, path, content, server))
            return true;
        node->mountPoint.remove();
        if (content != PlaceContent::filledFile)
            content = PlaceContent::nothing;
    }
    if (kind.empty())
        return serveAsSocket(node, path, content, mode, server);
    layerError("%s: FUSE cannot be had: %s", path.c_str(), strerror(errno));
    return false;
}

bool knownKind(const std::string& kind) {
    if (kind.empty() || kind == "fuse" || kind == "socket")
        return true;
    layerError("VELKARIS_NODE_KIND is \"%s\", neither \"fuse\" nor \"socket\"", kind.c_str());
    return false;
}

}  // namespace

void detachNodes() {
    std::vector<std::unique_ptr<AttachedNode>>& nodes = attachedNodes();
    for (std::unique_ptr<AttachedNode>& node : nodes)
        if (node && node->owner == getpid())
            node.reset();
}

int resmgr_attach(dispatch_t* dpp, resmgr_attr_t* attr, const char* path, enum _file_type, unsigned,
                  const resmgr_connect_funcs_t* connect_funcs, const resmgr_io_funcs_t* io_funcs,
                  RESMGR_HANDLE_T* handle) {
    const LayerSettings settings = readLayerSettings();
    if (!dpp || !path || !connect_funcs || !io_funcs || !handle || !knownKind(settings.nodeKind))
        return fail(EINVAL);
    const std::string wanted = settings.nodePath.empty() ? path : settings.nodePath;
    const std::string canonical = canonicalNodePath(wanted);
    if (canonical.empty())
        return -1;

    auto node = std::make_unique<AttachedNode>();
    if (!node->lock.take(canonical))
        return -1;
    const size_t messageBytes = std::max<size_t>(attr ? attr->msg_max_size : 0, kMessageBytesMin);
    const int reserved =
        channelReserve(dpp, messageBytes, std::max(attr ? attr->nparts_max : 1u, 1u));
    if (reserved != EOK)
        return fail(reserved);

    const int link = static_cast<int>(attachedNodes().size());
    const DeviceServer server(connect_funcs, io_funcs, handle, link);
    // Before there is anything to tidy up.
    static const bool tidiesUp = installEndSignals() && atexit(detachNodes) == 0;
    if (!tidiesUp)
        return fail(EAGAIN);
    if (!serve(node.get(), canonical, settings.nodeKind, handle->mode, server)) {
        const int error = errno;
        node.reset();
        return fail(error);
    }
    attachedNodes().push_back(std::move(node));
    return link;
}
