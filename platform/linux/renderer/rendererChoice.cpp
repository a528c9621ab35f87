#include "renderer/rendererChoice.h"

#include <string>

#include "module/moduleLoader.h"
#include "renderer/cpu/cpuRenderer.h"
#include "report/layerError.h"
#include "settings/layerSettings.h"

namespace {

#ifdef VELKARIS_GL
const char* const kKnown = "auto, cpu, gl";
#else
const char* const kKnown = "auto, cpu";
#endif

const Renderer* findRenderer(const std::string& name) {
    if (name.empty() || name == "auto" || name == kCpuRenderer.name)
        return &kCpuRenderer;
#ifdef VELKARIS_GL
    if (name == "gl")
        return loadRecord<Renderer>("gl");
#endif
    layerError("VELKARIS_RENDERER: no renderer \"%s\"; there are: %s", name.c_str(), kKnown);
    return nullptr;
}

}  // namespace

const Renderer* chosenRenderer() {
    static const Renderer* const chosen = findRenderer(readLayerSettings().renderer);
    return chosen;
}
