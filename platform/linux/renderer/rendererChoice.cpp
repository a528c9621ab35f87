#include "renderer/rendererChoice.h"

#include <string>

#include "renderer/cpu/cpuRenderer.h"
#include "renderer/gl/glRenderer.h"
#include "report/layerError.h"
#include "settings/layerSettings.h"

namespace {

// The automatic choice takes the first.
const Renderer* const kRenderers[] = {&kCpuRenderer, &kGlRenderer};

const Renderer* findRenderer(const std::string& name) {
    if (name.empty() || name == "auto")
        return kRenderers[0];
    std::string known = "auto";
    for (const Renderer* renderer : kRenderers) {
        if (name == renderer->name)
            return renderer;
        known += std::string(", ") + renderer->name;
    }
    layerError("VELKARIS_RENDERER: no renderer \"%s\"; there are: %s", name.c_str(), known.c_str());
    return nullptr;
}

}  // namespace

const Renderer* chosenRenderer() {
    static const Renderer* const chosen = findRenderer(readLayerSettings().renderer);
    return chosen;
}
