#include "node/share/userShares.h"

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <new>

namespace {

constexpr uid_t kRoot = 0;
constexpr uint64_t kUserBytesMax = 64 << 20;
constexpr uint64_t kMemoryPart = 8;
constexpr size_t kTablePart = 4;

// In bytes; without the answer, a machine so large that its memory is no limit.
uint64_t physicalMemory() {
    const long pages = sysconf(_SC_PHYS_PAGES);
    const long pageBytes = sysconf(_SC_PAGESIZE);
    if (pages <= 0 || pageBytes <= 0)
        return UINT64_MAX;
    return static_cast<uint64_t>(pages) * static_cast<uint64_t>(pageBytes);
}

}  // namespace

UserShares::Limits UserShares::ofThisMachine(size_t connectionsMax) {
    const auto userBytes =
        static_cast<size_t>(std::min(kUserBytesMax, physicalMemory() / kMemoryPart));
    return {userBytes, 2 * userBytes, connectionsMax / kTablePart};
}

UserShares::Held UserShares::heldBy(uid_t user) const {
    const auto found = held_.find(user);
    return found == held_.end() ? Held() : found->second;
}

bool UserShares::add(uid_t user, const Held& more) {
    if (more.bytes == 0 && more.connections == 0)
        return true;
    try {
        Held& held = held_[user];
        held.bytes += more.bytes;
        held.connections += more.connections;
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

void UserShares::remove(uid_t user, const Held& less) {
    const auto found = held_.find(user);
    if (found == held_.end())
        return;
    Held& held = found->second;
    held.bytes -= less.bytes;
    held.connections -= less.connections;
    if (held.bytes == 0 && held.connections == 0)
        held_.erase(found);
}

bool UserShares::takeBytes(uid_t user, size_t bytes) {
    const bool fits = bytes <= limits_.userBytes - heldBy(user).bytes &&
                      (user == kRoot || bytes <= limits_.allBytes - allBytes_);
    if (!fits || !add(user, {bytes, 0}))
        return false;
    if (user != kRoot)
        allBytes_ += bytes;
    return true;
}

void UserShares::giveBytes(uid_t user, size_t bytes) {
    remove(user, {bytes, 0});
    if (user != kRoot)
        allBytes_ -= bytes;
}

bool UserShares::takeConnection(uid_t user) {
    if (user != kRoot && heldBy(user).connections >= limits_.userConnections)
        return false;
    return add(user, {0, 1});
}

void UserShares::giveConnection(uid_t user) {
    remove(user, {0, 1});
}
