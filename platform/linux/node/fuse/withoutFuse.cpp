// Stands in for the other files here in a build without FUSE: the kernel makes no node.
#include <cerrno>

#include "node/fuse/cuseNode.h"
#include "node/fuse/fuseNode.h"

// The library's own record is not there; its pointer is always null.
struct fuse_buf {};

bool FuseNode::isAvailable() {
    errno = ENOTSUP;
    return false;
}

bool CuseNode::isAvailable(const std::string&) {
    errno = ENOTSUP;
    return false;
}

std::unique_ptr<FuseNode> FuseNode::mount(const std::string&, DeviceOperations*) {
    return nullptr;
}

std::unique_ptr<CuseNode> CuseNode::create(const std::string&, const NodeRights&,
                                           DeviceOperations*) {
    return nullptr;
}

KernelNode::~KernelNode() = default;
FuseNode::~FuseNode() = default;
CuseNode::~CuseNode() = default;
