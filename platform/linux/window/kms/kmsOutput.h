// One display of a card, and what is put in front of it: its connector, the CRTC and the primary
// plane that feed it, and its mode.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "window/kms/kmsCard.h"
#include "window/kms/kmsChoice.h"

// The numbers under which an atomic driver knows the properties that a commit sets; 0: it has none
// of that name.
struct KmsPropertyIds {
    uint32_t connectorCrtc, connectorLinkStatus;
    uint32_t crtcActive, crtcMode;
    uint32_t planeFb, planeCrtc;
    uint32_t planeSrcX, planeSrcY, planeSrcW, planeSrcH;
    uint32_t planeCrtcX, planeCrtcY, planeCrtcW, planeCrtcH;
    uint32_t planeRotation;
};

struct KmsOutput {
    std::string name;  // of the connector, as the kernel says it: "HDMI-A-1"
    uint32_t connector;
    uint32_t crtc;
    uint32_t plane;   // 0: the driver shows none
    uint32_t format;  // of the buffers that it shows
    drmModeModeInfo mode;
    Rotation rotation;   // how the picture is turned on its way to the display
    KmsPropertyIds ids;  // all 0 unless the card is atomic

    PixelSize size() const { return {mode.hdisplay, mode.vdisplay}; }
    PixelSize consoleSize() const { return turned(size(), rotation); }  // that fills the display
};

// What a console wants of the display that it gets.
struct OutputWish {
    std::optional<PixelSize> size;     // of the console; nothing: the display's own
    std::optional<Rotation> rotation;  // nothing: that of the kernel's text console
};

// The first display that is connected to the card and can be fed. Asks the displays themselves only
// when they are connected and `probe` is not set: that takes its time. Prints nothing.
std::optional<KmsOutput> findOutput(const KmsCard& card, const OutputWish& wish, bool probe);

// What the kernel knows of it at this moment, without asking the display.
enum class OutputState { connected, linkLost, gone };
OutputState outputState(const KmsCard& card, const KmsOutput& output);
