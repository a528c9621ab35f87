// The device node as a FUSE file system that is mounted on a regular file: the node's path is the
// file system's root, and the root is a file.
#pragma once

#include <memory>
#include <string>

#include "node/fuse/kernelNode.h"
#include "node/place/mountTable.h"

struct stat;

class FuseNode : public KernelNode {
public:
    // Whether this process may serve files; false with errno.
    static bool isAvailable();

    // Mounts on the regular file at `path`, which is absolute and free of links. Null after one
    // line on standard error.
    static std::unique_ptr<FuseNode> mount(const std::string& path, DeviceOperations* device);

    // Unmounts, unless somebody else has done so.
    ~FuseNode() override;

private:
    using KernelNode::KernelNode;
    bool mountOn();
    static void getattr(fuse_req* request, fuse_file_info* info);
    static void setattr(fuse_req* request, struct stat* wanted, int which, fuse_file_info* info);
    void replyAttributes(fuse_req* request, const DeviceRequest& asked);
    DeviceReply setTimes(const DeviceRequest& asked, const struct stat& wanted, int which);

    int mountId_ = kNoMount;
};
