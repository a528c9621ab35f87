#include "privileges/privileges.h"

#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "ownership/release.h"
#include "report/layerError.h"

namespace {

uint64_t keptCapabilities = 0;
bool privilegedProgramsKept = false;

constexpr uint64_t bitOf(int capability) {
    return uint64_t{1} << capability;
}

// What capget() and capset() take, in two halves.
struct CapabilitySets {
    uint64_t effective, permitted, inheritable;
};

// The calls themselves: the library that wraps them would be one more to load at each start.
bool readSets(CapabilitySets* sets) {
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct halves[_LINUX_CAPABILITY_U32S_3] = {};
    if (syscall(SYS_capget, &header, halves) != 0)
        return false;
    const auto join = [&halves](uint32_t __user_cap_data_struct::*set) {
        return halves[0].*set | uint64_t{halves[1].*set} << 32;
    };
    *sets = {join(&__user_cap_data_struct::effective), join(&__user_cap_data_struct::permitted),
             join(&__user_cap_data_struct::inheritable)};
    return true;
}

bool writeSets(const CapabilitySets& sets) {
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct halves[_LINUX_CAPABILITY_U32S_3] = {};
    for (int half = 0; half < _LINUX_CAPABILITY_U32S_3; ++half) {
        halves[half].effective = static_cast<uint32_t>(sets.effective >> 32 * half);
        halves[half].permitted = static_cast<uint32_t>(sets.permitted >> 32 * half);
        halves[half].inheritable = static_cast<uint32_t>(sets.inheritable >> 32 * half);
    }
    return syscall(SYS_capset, &header, halves) == 0;
}

// What programs that are run get at the most. Only a process with the right to change it can, and
// one without has no capabilities that a program could get back.
void limitPrograms() {
    for (int capability = 0; prctl(PR_CAPBSET_READ, capability) >= 0; ++capability) {
        if ((keptCapabilities & bitOf(capability)) == 0)
            prctl(PR_CAPBSET_DROP, capability);
    }
}

bool limitProcess() {
    CapabilitySets sets = {};
    // What is not inheritable is not ambient either.
    return readSets(&sets) &&
           writeSets({sets.effective & keptCapabilities, sets.permitted & keptCapabilities, 0});
}

// By the permissions of the owner, or of those that are neither owner nor in the group.
bool mayUse(const struct stat& folder, mode_t rights) {
    const bool isOwner = folder.st_uid == geteuid();
    const mode_t wanted = isOwner ? rights << 6 : rights;
    return (folder.st_mode & wanted) == wanted;
}

bool mayWriteTo(const std::string& folder) {
    constexpr mode_t kSearch = S_IXOTH, kWrite = S_IWOTH;
    const std::unique_ptr<char, Release<std::free>> real(realpath(folder.c_str(), nullptr));
    if (!real)
        return false;
    struct stat found;
    std::string path = real.get();
    mode_t rights = kSearch | kWrite;
    for (;;) {
        if (stat(path.c_str(), &found) != 0 || !mayUse(found, rights))
            return false;
        if (path == "/")
            return true;
        path.resize(path.rfind('/') == 0 ? 1 : path.rfind('/'));
        rights = kSearch;
    }
}

}  // namespace

void keepCapability(int capability) {
    keptCapabilities |= bitOf(capability);
}

bool hasCapability(int capability) {
    CapabilitySets sets = {};
    return readSets(&sets) && (sets.effective & bitOf(capability)) != 0;
}

void keepPrivilegedPrograms() {
    privilegedProgramsKept = true;
}

void keepAccessTo(const std::string& folder) {
    if (!mayWriteTo(folder))
        keepCapability(CAP_DAC_OVERRIDE);
}

void dropPrivileges() {
    if (!privilegedProgramsKept)
        limitPrograms();
    const bool isLimited =
        limitProcess() && (privilegedProgramsKept || prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0);
    if (!isLimited)
        layerError("cannot give up privileges: %s", std::strerror(errno));
}
