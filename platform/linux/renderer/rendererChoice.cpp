#include "renderer/rendererChoice.h"

#include <string>

#include "renderer/cpu/cpuRenderer.h"
#include "report/layerError.h"
#include "settings/layerSettings.h"

namespace {

const Renderer* findRenderer(const std::string& name) {
    if (name.empty() || name == "auto" || name == kCpuRenderer.name)
        return &kCpuRenderer;
    layerError("VELKARIS_RENDERER: no renderer \"%s\"; there are: auto, cpu", name.c_str());
    return nullptr;
}

}  // namespace

const Renderer* chosenRenderer() {
    static const Renderer* const chosen = findRenderer(readLayerSettings().renderer);
    return chosen;
}
