// A graphics card that drives displays, and the right to change them (DRM master), which one
// program at a time has.
#pragma once

#include <xf86drmMode.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ownership/fileDescriptor.h"
#include "ownership/release.h"

using DrmResources = std::unique_ptr<drmModeRes, Release<drmModeFreeResources>>;
using DrmConnector = std::unique_ptr<drmModeConnector, Release<drmModeFreeConnector>>;
using DrmEncoder = std::unique_ptr<drmModeEncoder, Release<drmModeFreeEncoder>>;
using DrmCrtc = std::unique_ptr<drmModeCrtc, Release<drmModeFreeCrtc>>;
using DrmPlanes = std::unique_ptr<drmModePlaneRes, Release<drmModeFreePlaneResources>>;
using DrmPlane = std::unique_ptr<drmModePlane, Release<drmModeFreePlane>>;

struct KmsCard {
    std::string path;
    FileDescriptor fd;
    bool isAtomic;  // takes a whole state at once; else call by call
};

// The cards of the machine by their paths, in the order of their numbers; empty if it has none.
std::vector<std::string> cardPaths();

// Opens the card and finds out what it can do. Null with errno, EOPNOTSUPP when it is no card or
// one without displays. Becomes master of a card that has no master, by the kernel's own
// rule.
std::shared_ptr<KmsCard> openCard(const std::string& path);

// The number of the framebuffer (/dev/fbN) by which the kernel's text console draws on the card; -1
// if it has none, or /sys is not mounted.
int framebufferOf(const KmsCard& card);

// False once the card has vanished: nothing can be done with what is still open of it.
bool isCardThere(const KmsCard& card);

bool isMaster(const KmsCard& card);

// False with errno when another program is the master, or this one may not become it.
bool becomeMaster(const KmsCard& card);
void dropMaster(const KmsCard& card);
