#include "settings/layerSettings.h"

#include <cstdlib>

namespace {

std::string variable(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

}  // namespace

LayerSettings readLayerSettings() {
    LayerSettings settings;
    const std::string window = variable("VELKARIS_WINDOW");
    const size_t colon = window.find(':');
    settings.windowName = window.substr(0, colon);
    if (colon != std::string::npos)
        settings.windowArgument = window.substr(colon + 1);
    settings.renderer = variable("VELKARIS_RENDERER");
    settings.rotation = variable("VELKARIS_ROTATION");
    settings.captureFolder = variable("VELKARIS_CAPTURE");
    settings.nodePath = variable("VELKARIS_NODE");
    settings.nodeKind = variable("VELKARIS_NODE_KIND");
    settings.nodeMode = variable("VELKARIS_NODE_MODE");
    settings.nodeGroup = variable("VELKARIS_NODE_GROUP");
    return settings;
}
