// resmgr_attach: makes the node, and keeps it until the process ends.
#include <sys/iofunc.h>
// The block above gives handles and control blocks their types.
#include <sys/dispatch.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <optional>
#include <vector>

#include "dispatch/channel.h"
#include "dispatch/endSignals.h"
#include "node/deviceNode.h"
#include "privileges/privileges.h"
#include "resmgr/deviceServer.h"
#include "settings/layerSettings.h"
#include "supervisor/supervisor.h"

namespace {

// Room for the replies of the default handlers.
constexpr size_t kMessageBytesMin = 256;
constexpr mode_t kPermissions = 0777;

struct AttachedNode {
    pid_t owner;  // a child that was forked leaves its parent's node alone
    DeviceServer server;
    std::unique_ptr<DeviceNode> node;  // last, so that it goes before what it serves
};

// Never freed as a whole: exit() may be called from inside a handler.
std::vector<std::unique_ptr<AttachedNode>>& attachedNodes() {
    static auto* nodes = new std::vector<std::unique_ptr<AttachedNode>>;
    return *nodes;
}

// Unmounts, removes what was made. Runs in whatever way the process calls exit().
void detachNodes() {
    for (std::unique_ptr<AttachedNode>& attached : attachedNodes()) {
        if (attached->owner != getpid())
            continue;
        tellSupervisorStopping();
        attached->node.reset();
    }
}

// The display is open and the node is there: what is left to do needs few rights.
void keepOnlyWhatServingNeeds(const std::string& nodePath, const std::string& captureFolder) {
    const size_t slash = nodePath.rfind('/');
    keepAccessTo(slash == std::string::npos ? "." : nodePath.substr(0, slash + 1));
    if (!captureFolder.empty())
        keepAccessTo(captureFolder);
    dropPrivileges();
}

int fail(int error) {
    errno = error;
    return -1;
}

}  // namespace

int resmgr_attach(dispatch_t* dpp, resmgr_attr_t* attr, const char* path, enum _file_type, unsigned,
                  const resmgr_connect_funcs_t* connect_funcs, const resmgr_io_funcs_t* io_funcs,
                  RESMGR_HANDLE_T* handle) {
    if (!dpp || !path || !connect_funcs || !io_funcs || !handle)
        return fail(EINVAL);
    const size_t messageBytes = std::max<size_t>(attr ? attr->msg_max_size : 0, kMessageBytesMin);
    const int reserved =
        channelReserve(dpp, messageBytes, std::max(attr ? attr->nparts_max : 1u, 1u));
    if (reserved != EOK)
        return fail(reserved);
    meetSupervisor();
    // Before there is anything to tidy up.
    static const bool tidiesUp = installEndSignals() && std::atexit(detachNodes) == 0;
    if (!tidiesUp)
        return fail(EAGAIN);

    const int link = static_cast<int>(attachedNodes().size());
    const LayerSettings settings = readLayerSettings();
    const std::string nodePath = settings.nodePath.empty() ? path : settings.nodePath;
    const std::optional<NodeRights> rights = parseNodeRights(
        settings.nodeMode, settings.nodeGroup, {handle->mode & kPermissions, kOwnersGroup});
    if (!rights)
        return -1;
    // A file's rights are what the record says, from the first request on.
    handle->mode = (handle->mode & ~kPermissions) | rights->mode;
    if (rights->group != kOwnersGroup)
        handle->gid = rights->group;
    std::unique_ptr<AttachedNode> attached(
        new AttachedNode{getpid(), DeviceServer(connect_funcs, io_funcs, handle, link), nullptr});
    attached->node = DeviceNode::make(nodePath, settings.nodeKind, *rights, &attached->server);
    if (!attached->node)
        return -1;
    const std::string kind = attached->node->kind();
    attachedNodes().push_back(std::move(attached));
    keepOnlyWhatServingNeeds(nodePath, settings.captureFolder);
    tellSupervisorReady(nodePath + " (" + kind + ")");
    return link;
}
