// A device at a path: takes the path's lock, clears the place, and picks how the node is served
// there.
#pragma once

#include <sys/types.h>

#include <memory>
#include <string>

#include "node/fuse/kernelNode.h"
#include "node/place/nodeLock.h"
#include "node/place/nodePlace.h"
#include "node/socket/socketNode.h"

class DeviceNode {
public:
    // Serves `device`, which outlives the node, at `path`. `kind` is "cuse", "fuse", "socket", or
    // empty for the first of them that this process may serve; `mode` holds the permissions. Null
    // after one line on standard error, with errno: EINVAL for an unknown kind, EBUSY when another
    // console serves the path.
    static std::unique_ptr<DeviceNode> make(const std::string& path, const std::string& kind,
                                            mode_t mode, DeviceOperations* device);

private:
    bool serve(const std::string& path, const std::string& kind, mode_t mode,
               DeviceOperations* device);
    bool serveAsDevice(const std::string& path, mode_t mode, DeviceOperations* device);
    bool serveAsFile(const std::string& path, DeviceOperations* device);
    bool serveAsSocket(const std::string& path, mode_t mode, DeviceOperations* device);

    PlaceContent content_ = PlaceContent::nothing;  // of the path now
    // They go in reverse: first the node, then what it stood on, then the lock.
    NodeLock lock_;
    MountPoint mountPoint_;
    std::unique_ptr<KernelNode> kernel_;
    std::unique_ptr<SocketNode> socket_;
};
