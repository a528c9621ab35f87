// A device at a path: takes the path's lock, clears the place, and picks how the node is served
// there.
#pragma once

#include <memory>
#include <string>

#include "node/fuse/kernelNode.h"
#include "node/place/nodeLock.h"
#include "node/place/nodePlace.h"
#include "node/place/nodeRights.h"
#include "node/socket/socketNode.h"

class DeviceNode {
public:
    // Serves `device`, which outlives the node, at `path`. `kind` is "cuse", "fuse", "socket", or
    // empty for the first of them that this process may serve. `rights` hold as soon as a client
    // can get in; of a file, they are what `device` says. Null after one line on standard error,
    // with errno: EINVAL for an unknown kind, EBUSY when another console serves the path.
    static std::unique_ptr<DeviceNode> make(const std::string& path, const std::string& kind,
                                            const NodeRights& rights, DeviceOperations* device);

    const char* kind() const { return kind_; }  // "cuse", "fuse", "socket"

private:
    bool serve(const std::string& path, const std::string& kind, const NodeRights& rights,
               DeviceOperations* device);
    bool serveAsDevice(const std::string& path, const NodeRights& rights, DeviceOperations* device);
    bool serveAsFile(const std::string& path, DeviceOperations* device);
    bool serveAsSocket(const std::string& path, const NodeRights& rights, DeviceOperations* device);

    const char* kind_ = "socket";
    PlaceContent content_ = PlaceContent::nothing;  // of the path now
    // They go in reverse: first the node, then what it stood on, then the lock.
    NodeLock lock_;
    MountPoint mountPoint_;
    std::unique_ptr<KernelNode> kernel_;
    std::unique_ptr<SocketNode> socket_;
};
