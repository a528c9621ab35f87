// Stands in for fuseNode.cpp in a build without FUSE: no node is ever a file.
#include <cerrno>

#include "node/fuse/fuseNode.h"

// The library's own record is not there; its pointer is always null.
struct fuse_buf {};

bool FuseNode::isAvailable() {
    errno = ENOTSUP;
    return false;
}

std::unique_ptr<FuseNode> FuseNode::mount(const std::string&, DeviceOperations*) {
    errno = ENOTSUP;
    return nullptr;
}

FuseNode::~FuseNode() = default;
