// A device at a path: takes the path's lock, clears the place, and picks how the node is served
// there.
#pragma once

#include <sys/types.h>

#include <memory>
#include <string>

#include "node/fuse/fuseNode.h"
#include "node/place/nodeLock.h"
#include "node/place/nodePlace.h"
#include "node/socket/socketNode.h"

class DeviceNode {
public:
    // Serves `device`, which outlives the node, at `path`. `kind` is "fuse", "socket", or empty for
    // what can be had; `mode` holds the permissions. Null after one line on standard error, with
    // errno: EINVAL for an unknown kind, EBUSY when another console serves the path.
    static std::unique_ptr<DeviceNode> make(const std::string& path, const std::string& kind,
                                            mode_t mode, DeviceOperations* device);

private:
    bool serve(const std::string& path, const std::string& kind, mode_t mode,
               DeviceOperations* device);
    bool serveAsFile(const std::string& path, PlaceContent content, DeviceOperations* device);
    bool serveAsSocket(const std::string& path, PlaceContent content, mode_t mode,
                       DeviceOperations* device);

    // They go in reverse: first the node, then what it stood on, then the lock.
    NodeLock lock_;
    MountPoint mountPoint_;
    std::unique_ptr<FuseNode> fuse_;
    std::unique_ptr<SocketNode> socket_;
};
