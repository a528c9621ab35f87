#include "window/kms/kmsCard.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <xf86drm.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>

namespace {

constexpr char kFolder[] = "/dev/dri";
constexpr char kCardPrefix[] = "card";
constexpr char kFramebufferPrefix[] = "fb";

using Folder = std::unique_ptr<DIR, Release<closedir>>;

// The numbers of all entries of a folder with names of the form "<prefix><number>", in their order.
std::vector<int> numbersIn(const std::string& path, const char* prefix) {
    std::vector<int> numbers;
    const size_t prefixLength = std::strlen(prefix);
    const Folder folder(opendir(path.c_str()));
    while (const dirent* entry = folder ? readdir(folder.get()) : nullptr) {
        const char* const name = entry->d_name;
        const char* const end = name + std::strlen(name);
        int number = -1;
        if (std::strncmp(name, prefix, prefixLength) == 0 &&
            std::from_chars(name + prefixLength, end, number).ptr == end && number >= 0)
            numbers.push_back(number);
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

bool hasDisplays(int fd) {
    const DrmResources resources(drmModeGetResources(fd));
    return resources && resources->count_crtcs > 0 && resources->count_connectors > 0;
}

}  // namespace

std::vector<std::string> cardPaths() {
    std::vector<std::string> paths;
    for (const int number : numbersIn(kFolder, kCardPrefix))
        paths.push_back(std::string(kFolder) + "/" + kCardPrefix + std::to_string(number));
    return paths;
}

std::shared_ptr<KmsCard> openCard(const std::string& path) {
    FileDescriptor fd(open(path.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!fd)
        return nullptr;
    if (!hasDisplays(fd.get())) {
        errno = EOPNOTSUPP;
        return nullptr;
    }
    // Planes are wanted in either case: they say which formats can be shown.
    drmSetClientCap(fd.get(), DRM_CLIENT_CAP_UNIVERSAL_PLANES, 1);
    const bool isAtomic = drmSetClientCap(fd.get(), DRM_CLIENT_CAP_ATOMIC, 1) == 0;
    return std::make_shared<KmsCard>(KmsCard{path, std::move(fd), isAtomic});
}

int framebufferOf(const KmsCard& card) {
    struct stat status {};
    if (fstat(card.fd.get(), &status) != 0)
        return -1;
    const std::string device =
        std::to_string(major(status.st_rdev)) + ":" + std::to_string(minor(status.st_rdev));
    const std::vector<int> numbers =
        numbersIn("/sys/dev/char/" + device + "/device/graphics", kFramebufferPrefix);
    return numbers.empty() ? -1 : numbers.front();
}

bool isCardThere(const KmsCard& card) {
    return DrmResources(drmModeGetResources(card.fd.get())) != nullptr;
}

bool isMaster(const KmsCard& card) {
    return drmIsMaster(card.fd.get());
}

bool becomeMaster(const KmsCard& card) {
    if (isMaster(card) || drmSetMaster(card.fd.get()) == 0)
        return true;
    // Without the right to push others aside the kernel does not say whether there are any.
    if (errno == EACCES || errno == EINVAL)
        errno = EBUSY;
    return false;
}

void dropMaster(const KmsCard& card) {
    if (isMaster(card))
        drmDropMaster(card.fd.get());
}
