#include "node/place/nodeRights.h"

#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>

#include "report/layerError.h"

namespace {

constexpr int kOctal = 8;
constexpr int kDecimal = 10;
constexpr mode_t kPermissions = 0777;

// The whole text as a number. No sign is one.
std::optional<unsigned> number(const std::string& text, int base) {
    unsigned value = 0;
    const char* const end = text.data() + text.size();
    const std::from_chars_result parsed = std::from_chars(text.data(), end, value, base);
    if (parsed.ec != std::errc() || parsed.ptr != end)
        return std::nullopt;
    return value;
}

// Only a name is looked up: a system without a list of groups has numbers.
std::optional<gid_t> groupOf(const std::string& text) {
    const std::optional<unsigned> given = number(text, kDecimal);
    if (given)
        return *given != kOwnersGroup ? given : std::nullopt;
    const group* const found = getgrnam(text.c_str());
    return found ? std::optional<gid_t>(found->gr_gid) : std::nullopt;
}

}  // namespace

std::optional<NodeRights> parseNodeRights(const std::string& mode, const std::string& group,
                                          const NodeRights& usual) {
    NodeRights rights = usual;
    if (!mode.empty()) {
        const std::optional<unsigned> given = number(mode, kOctal);
        if (!given || *given > kPermissions) {
            layerError("VELKARIS_NODE_MODE is \"%s\", no permissions in octal like \"0660\"",
                       mode.c_str());
            errno = EINVAL;
            return std::nullopt;
        }
        rights.mode = *given;
    }
    if (!group.empty()) {
        const std::optional<gid_t> given = groupOf(group);
        if (!given) {
            layerError("VELKARIS_NODE_GROUP is \"%s\", neither a group's name nor its number",
                       group.c_str());
            errno = EINVAL;
            return std::nullopt;
        }
        rights.group = *given;
    }
    return rights;
}

bool grantRights(const std::string& path, const NodeRights& rights) {
    // The group first: until it is set, its members are the wrong ones.
    if (rights.group != kOwnersGroup &&
        lchown(path.c_str(), static_cast<uid_t>(-1), rights.group) != 0) {
        const int error = errno;
        layerError("%s: cannot be given to group %u: %s", path.c_str(), rights.group,
                   std::strerror(error));
        errno = error;
        return false;
    }
    if (chmod(path.c_str(), rights.mode) == 0)
        return true;
    const int error = errno;
    layerError("%s: cannot be given permissions %04o: %s", path.c_str(), rights.mode,
               std::strerror(error));
    errno = error;
    return false;
}
