#include "app/startup.h"

#include <cstdio>

#include "app/settings.h"
#include "console/consoleModel.h"
#include "display/displayable.h"
#include "gfx/logo.h"
#include "gfx/renderContext.h"
#include "gfx/shaderPrograms.h"
#include "screen/frame.h"
#include "text/fontAtlas.h"

bool openDisplay(const char* programName) {
    if (CDisplayable::getInstance()->init() == 0) {
        // Without a line feed on purpose.
        fprintf(stderr, "%s: Failed to initialize displayable!", programName);
        return false;
    }
    return true;
}

void prepareDrawing() {
    uint32_t width = CDisplayable::getInstance()->getWidth();
    if (appSettings.halfWidth != 0)
        width >>= 1;
    createRenderContext(width, CDisplayable::getInstance()->getHeight());
    createShaderPrograms();

    // The logo comes before the atlas, which takes over its texture.
    if (appSettings.logoPath) {
        loadLogoTexture(appSettings.logoPath);
        drawLogo();
    }

    initFont(appSettings.fontPath);
    buildFontAtlas(appSettings.fontSize);
    releaseFont();

    consoleVisibleRows = visibleRowCount();
}

void showFirstPicture() {
    if (!appSettings.logoPath)
        drawFrame(appSettings.backgroundColour, appSettings.foregroundColour,
                  appSettings.statusColour, appSettings.progressNameColour);
}
