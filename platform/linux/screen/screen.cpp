// The screen service: one display, as large as the window says.
#include <screen/screen.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <vector>

#include "window/windowChoice.h"

struct _screen_display {
    PixelSize size;
};

struct _screen_context {
    _screen_display display;
};

namespace {

// The contexts that exist, so that a stale handle is an error and no more.
std::vector<std::unique_ptr<_screen_context>>& contexts() {
    static std::vector<std::unique_ptr<_screen_context>> all;
    return all;
}

bool isContext(screen_context_t context) {
    return std::any_of(contexts().begin(), contexts().end(),
                       [&](const auto& each) { return each.get() == context; });
}

bool isDisplay(screen_display_t display) {
    return std::any_of(contexts().begin(), contexts().end(),
                       [&](const auto& each) { return &each->display == display; });
}

int fail(int error) {
    errno = error;
    return -1;
}

}  // namespace

extern "C" {

int screen_create_context(screen_context_t* pctx, int flags) {
    if (!pctx)
        return fail(EINVAL);
    if (flags != SCREEN_APPLICATION_CONTEXT)
        return fail(EPERM);
    const OpenedWindow* opened = openedWindow();
    if (!opened)
        return fail(EIO);
    contexts().push_back(std::make_unique<_screen_context>(_screen_context{{opened->displaySize}}));
    *pctx = contexts().back().get();
    return 0;
}

int screen_destroy_context(screen_context_t ctx) {
    if (!isContext(ctx))
        return fail(EINVAL);
    auto& all = contexts();
    all.erase(
        std::find_if(all.begin(), all.end(), [&](const auto& each) { return each.get() == ctx; }));
    return 0;
}

int screen_get_context_property_iv(screen_context_t ctx, int pname, int* param) {
    if (!isContext(ctx) || !param)
        return fail(EINVAL);
    if (pname != SCREEN_PROPERTY_DISPLAY_COUNT)
        return fail(ENOTSUP);
    *param = 1;
    return 0;
}

int screen_get_context_property_pv(screen_context_t ctx, int pname, void** param) {
    if (!isContext(ctx) || !param)
        return fail(EINVAL);
    if (pname != SCREEN_PROPERTY_DISPLAYS)
        return fail(ENOTSUP);
    *param = &ctx->display;
    return 0;
}

int screen_get_display_property_iv(screen_display_t disp, int pname, int* param) {
    if (!isDisplay(disp) || !param)
        return fail(EINVAL);
    if (pname != SCREEN_PROPERTY_SIZE)
        return fail(ENOTSUP);
    param[0] = disp->size.width;
    param[1] = disp->size.height;
    return 0;
}

}  // extern "C"
