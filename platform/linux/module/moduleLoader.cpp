#include "module/moduleLoader.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <map>
#include <string>

#include "dispatch/eventLoop.h"
#include "module/module.h"
#include "report/layerError.h"

namespace {

constexpr ProgramFunctions kProgram = {layerError, eventLoopWatch, eventLoopForget};

// With a slash at its end; empty after printing the failure.
std::string programFolder() {
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    if (length < 0) {
        layerError("modules: /proc/self/exe: %s", std::strerror(errno));
        return "";
    }
    const std::string program(path, static_cast<size_t>(length));
    return program.substr(0, program.rfind('/') + 1);
}

// Empty after printing where there is none.
std::string modulePath(const std::string& file) {
    const std::string folder = programFolder();
    if (folder.empty())
        return "";
    // From one to the other, not from the root: an install can be moved.
    const std::string installed = folder + MODULE_FOLDER_FROM_PROGRAM + "/";
    for (const std::string& place : {folder, installed}) {
        if (access((place + file).c_str(), F_OK) == 0)
            return place + file;
    }
    layerError("%s: neither in %s nor in %s", file.c_str(), folder.c_str(), installed.c_str());
    return "";
}

const void* load(const std::string& path) {
    void* const handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle) {
        layerError("module: %s", dlerror());
        return nullptr;
    }
    const auto* const module = static_cast<const Module*>(dlsym(handle, kModuleSymbol));
    if (!module) {
        layerError("%s: is no module of a console", path.c_str());
        return nullptr;
    }
    if (std::strcmp(module->version, VELKARIS_VERSION) != 0) {
        layerError("%s: is of release %s, this console is of %s", path.c_str(), module->version,
                   VELKARIS_VERSION);
        return nullptr;
    }
    module->begin(kProgram);
    return module->record;
}

}  // namespace

const void* moduleRecord(const char* name) {
    static std::map<std::string, const void*> records;
    const auto known = records.find(name);
    if (known != records.end())
        return known->second;
    const std::string path = modulePath(std::string("velkaris-") + name + ".so");
    const void* const record = path.empty() ? nullptr : load(path);
    records[name] = record;
    return record;
}
