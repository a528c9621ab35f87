#include "cli/session.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

std::string nodePath(const Options& options) {
    if (options.device)
        return *options.device;
    const char* chosen = std::getenv("VELKARIS_NODE");
    return chosen && *chosen ? chosen : "/dev/Velkaris";
}

void complain(const Options& options, const std::string& message) {
    if (!options.quiet)
        std::fprintf(stderr, "velkarisctl: %s\n", message.c_str());
}

int Session::open() {
    velkaris_console* opened = nullptr;
    const char* path = options_.device ? options_.device->c_str() : nullptr;
    const int error = velkaris_open(&opened, path, options_.timeLimit);
    console_.reset(opened);
    if (error == 0)
        velkaris_set_text_mode(opened, options_.textMode);
    return report(error);
}

int Session::report(int error) const {
    if (error == 0)
        return kDone;
    complain(options_, nodePath(options_) + ": " + velkaris_error_text(error));
    return error == ENODEV ? kNoConsole : kFailed;
}
