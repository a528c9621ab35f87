// Who may use a node, besides root: its permissions and its group.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

constexpr gid_t kOwnersGroup = static_cast<gid_t>(-1);  // the group that the node has by itself

struct NodeRights {
    mode_t mode = 0666;  // permissions alone
    gid_t group = kOwnersGroup;
};

// What VELKARIS_NODE_MODE and VELKARIS_NODE_GROUP ask for: octal permissions, and a group's name or
// number; empty for those that `usual` holds. Nothing after one line on standard error, with errno
// EINVAL.
std::optional<NodeRights> parseNodeRights(const std::string& mode, const std::string& group,
                                          const NodeRights& usual);

// Gives what is at `path`, so far its owner's alone, to those who may use it. False after one line
// on standard error, with errno.
bool grantRights(const std::string& path, const NodeRights& rights);
