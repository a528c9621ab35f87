#include "window/kms/kmsOutput.h"

#include <drm_fourcc.h>
#include <xf86drm.h>

#include <cstring>
#include <map>

namespace {

using DrmProperties =
    std::unique_ptr<drmModeObjectProperties, Release<drmModeFreeObjectProperties>>;
using DrmProperty = std::unique_ptr<drmModePropertyRes, Release<drmModeFreeProperty>>;

struct PropertyValue {
    uint32_t id;
    uint64_t value;
    std::map<std::string, uint64_t> choices;  // of values that have names: bits, or values
};
using PropertyValues = std::map<std::string, PropertyValue>;

PropertyValues propertiesOf(const KmsCard& card, uint32_t object, uint32_t type) {
    PropertyValues values;
    const DrmProperties all(drmModeObjectGetProperties(card.fd.get(), object, type));
    for (uint32_t i = 0; all && i < all->count_props; ++i) {
        const DrmProperty property(drmModeGetProperty(card.fd.get(), all->props[i]));
        if (!property)
            continue;
        PropertyValue& value = values[property->name];
        value = {property->prop_id, all->prop_values[i], {}};
        for (int choice = 0; choice < property->count_enums; ++choice)
            value.choices[property->enums[choice].name] = property->enums[choice].value;
    }
    return values;
}

uint32_t idOf(const PropertyValues& values, const char* name) {
    const auto found = values.find(name);
    return found == values.end() ? 0 : found->second.id;
}

KmsPropertyIds propertyIds(const PropertyValues& connector, const PropertyValues& crtc,
                           const PropertyValues& plane) {
    return {
        idOf(connector, "CRTC_ID"), idOf(connector, "link-status"), idOf(crtc, "ACTIVE"),
        idOf(crtc, "MODE_ID"),      idOf(plane, "FB_ID"),           idOf(plane, "CRTC_ID"),
        idOf(plane, "SRC_X"),       idOf(plane, "SRC_Y"),           idOf(plane, "SRC_W"),
        idOf(plane, "SRC_H"),       idOf(plane, "CRTC_X"),          idOf(plane, "CRTC_Y"),
        idOf(plane, "CRTC_W"),      idOf(plane, "CRTC_H"),          idOf(plane, "rotation"),
    };
}

// The name of the value that a property has; empty if there is none of that name.
std::string choiceOf(const PropertyValues& values, const char* name) {
    const auto found = values.find(name);
    if (found == values.end())
        return "";
    for (const auto& [choice, value] : found->second.choices) {
        if (value == found->second.value)
            return choice;
    }
    return "";
}

Rotation textConsoleRotationOf(const KmsCard& card, const PropertyValues& connector,
                               const PropertyValues& plane) {
    const auto rotation = plane.find("rotation");
    // The kernel's text console turns planes of atomic drivers only.
    const bool planeTurnsBy180 = card.isAtomic && rotation != plane.end() &&
                                 rotation->second.choices.count("rotate-180") != 0;
    return rotationOfTextConsole(rotationOfPanel(choiceOf(connector, "panel orientation")),
                                 planeTurnsBy180, textConsoleRotation(framebufferOf(card)));
}

std::string connectorName(const drmModeConnector& connector) {
    const char* type = drmModeGetConnectorTypeName(connector.connector_type);
    return std::string(type ? type : "display") + "-" + std::to_string(connector.connector_type_id);
}

// The CRTC that feeds the connector already, 0 if none does.
uint32_t runningCrtc(const KmsCard& card, const drmModeConnector& connector) {
    const DrmEncoder encoder(drmModeGetEncoder(card.fd.get(), connector.encoder_id));
    return encoder ? encoder->crtc_id : 0;
}

// Which of the card's CRTCs can feed the connector, as bits.
uint32_t possibleCrtcs(const KmsCard& card, const drmModeConnector& connector) {
    uint32_t possible = 0;
    for (int i = 0; i < connector.count_encoders; ++i) {
        const DrmEncoder encoder(drmModeGetEncoder(card.fd.get(), connector.encoders[i]));
        possible |= encoder ? encoder->possible_crtcs : 0;
    }
    return possible;
}

bool isIdle(const KmsCard& card, uint32_t crtc) {
    const DrmCrtc state(drmModeGetCrtc(card.fd.get(), crtc));
    return state && !state->mode_valid;
}

// The place of the best CRTC among the card's: the running one, so that the picture of a boot
// loader stays; else one that feeds no other display; else any. -1 if none can feed the connector.
int chooseCrtc(const KmsCard& card, const drmModeRes& resources,
               const drmModeConnector& connector) {
    const uint32_t running = runningCrtc(card, connector);
    const uint32_t possible = possibleCrtcs(card, connector);
    int chosen = -1;
    bool chosenIsIdle = false;
    for (int i = 0; i < resources.count_crtcs; ++i) {
        if (running != 0 && resources.crtcs[i] == running)
            return i;
        if (!(possible & (1u << i)) || chosenIsIdle)
            continue;
        const bool idle = isIdle(card, resources.crtcs[i]);
        if (chosen < 0 || idle)
            chosen = i;
        chosenIsIdle = idle;
    }
    return chosen;
}

bool isPrimary(const KmsCard& card, uint32_t plane) {
    const PropertyValues values = propertiesOf(card, plane, DRM_MODE_OBJECT_PLANE);
    const auto type = values.find("type");
    return type != values.end() && type->second.value == DRM_PLANE_TYPE_PRIMARY;
}

// The primary plane for that CRTC: the one that it shows now, else one that it could.
DrmPlane choosePlane(const KmsCard& card, uint32_t crtc, int crtcIndex) {
    DrmPlane chosen;
    const DrmPlanes planes(drmModeGetPlaneResources(card.fd.get()));
    for (uint32_t i = 0; planes && i < planes->count_planes; ++i) {
        DrmPlane plane(drmModeGetPlane(card.fd.get(), planes->planes[i]));
        if (!plane || !(plane->possible_crtcs & (1u << crtcIndex)) ||
            !isPrimary(card, plane->plane_id))
            continue;
        const bool isShown = plane->crtc_id == crtc;
        if (isShown || (!chosen && plane->crtc_id == 0))
            chosen = std::move(plane);
        if (isShown)
            break;
    }
    return chosen;
}

std::optional<drmModeModeInfo> modeFor(const KmsCard& card, const drmModeConnector& connector,
                                       uint32_t crtc, const std::optional<PixelSize>& wanted) {
    const DrmCrtc state(drmModeGetCrtc(card.fd.get(), crtc));
    const bool isRunning = state && state->mode_valid && runningCrtc(card, connector) == crtc;
    return chooseMode({connector.modes, connector.modes + connector.count_modes},
                      isRunning ? &state->mode : nullptr, wanted);
}

std::optional<KmsOutput> outputFor(const KmsCard& card, const drmModeRes& resources,
                                   const drmModeConnector& connector, const OutputWish& wish) {
    const int crtcIndex = chooseCrtc(card, resources, connector);
    if (crtcIndex < 0)
        return std::nullopt;
    KmsOutput output{};
    output.name = connectorName(connector);
    output.connector = connector.connector_id;
    output.crtc = resources.crtcs[crtcIndex];

    const DrmPlane plane = choosePlane(card, output.crtc, crtcIndex);
    if (card.isAtomic && !plane)
        return std::nullopt;
    output.plane = plane ? plane->plane_id : 0;
    // A driver older than planes shows what all of them show.
    output.format = plane
                        ? choosePlaneFormat({plane->formats, plane->formats + plane->count_formats})
                        : DRM_FORMAT_XRGB8888;
    if (output.format == 0)
        return std::nullopt;

    const PropertyValues connectorValues =
        propertiesOf(card, output.connector, DRM_MODE_OBJECT_CONNECTOR);
    const PropertyValues planeValues = propertiesOf(card, output.plane, DRM_MODE_OBJECT_PLANE);
    output.rotation =
        wish.rotation ? *wish.rotation : textConsoleRotationOf(card, connectorValues, planeValues);
    if (card.isAtomic)
        output.ids = propertyIds(
            connectorValues, propertiesOf(card, output.crtc, DRM_MODE_OBJECT_CRTC), planeValues);

    std::optional<PixelSize> wanted;
    if (wish.size)
        wanted = turned(*wish.size, output.rotation);
    const auto mode = modeFor(card, connector, output.crtc, wanted);
    if (!mode)
        return std::nullopt;
    output.mode = *mode;
    return output;
}

}  // namespace

std::optional<KmsOutput> findOutput(const KmsCard& card, const OutputWish& wish, bool probe) {
    const DrmResources resources(drmModeGetResources(card.fd.get()));
    for (int i = 0; resources && i < resources->count_connectors; ++i) {
        const uint32_t id = resources->connectors[i];
        DrmConnector connector;
        if (!probe) {
            connector.reset(drmModeGetConnectorCurrent(card.fd.get(), id));
            if (!connector || connector->connection != DRM_MODE_CONNECTED)
                continue;
        }
        connector.reset(drmModeGetConnector(card.fd.get(), id));
        if (!connector || connector->connection != DRM_MODE_CONNECTED)
            continue;
        if (auto output = outputFor(card, *resources, *connector, wish))
            return output;
    }
    return std::nullopt;
}

OutputState outputState(const KmsCard& card, const KmsOutput& output) {
    const DrmConnector connector(drmModeGetConnectorCurrent(card.fd.get(), output.connector));
    if (!connector || connector->connection == DRM_MODE_DISCONNECTED)
        return OutputState::gone;
    for (int i = 0; i < connector->count_props; ++i) {
        if (output.ids.connectorLinkStatus != 0 &&
            connector->props[i] == output.ids.connectorLinkStatus &&
            connector->prop_values[i] == DRM_MODE_LINK_STATUS_BAD)
            return OutputState::linkLost;
    }
    return OutputState::connected;
}
