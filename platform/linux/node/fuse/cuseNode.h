// The device node as a character device that this process serves: `stat` and permissions are the
// kernel's, and no client waits for another.
#pragma once

#include <memory>
#include <string>

#include "node/fuse/kernelNode.h"
#include "node/place/nodeRights.h"

class CuseNode : public KernelNode {
public:
    // Whether a device can be made for `path`: the kernel offers it to this process, and the path
    // is directly in /dev. False with errno.
    static bool isAvailable(const std::string& path);

    // What is at `path` may be replaced; the device is root's alone until `rights` hold. Null with
    // errno: EEXIST when another process serves a device of that name.
    static std::unique_ptr<CuseNode> create(const std::string& path, const NodeRights& rights,
                                            DeviceOperations* device);

    // Removes the node that create() had to make by itself.
    ~CuseNode() override;

private:
    using KernelNode::KernelNode;
    bool makeDevice();
    bool makeNode(const NodeRights& rights);

    dev_t number_ = 0;  // of the device
};
