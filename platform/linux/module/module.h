// What the program and a loaded module know of each other. A module is a shared object of its own,
// velkaris-NAME.so, for what only some consoles use: a start that does not use it loads neither it
// nor its libraries.
//
// Each module has its own copy of what keeps no state; what does keep state is handed over here.
#pragma once

// Functions of the program, for the rooms inside the module.
struct ProgramFunctions {
    void (*layerError)(const char* format, ...);
    bool (*eventLoopWatch)(int fd, void (*ready)(void* data), void* data);
    void (*eventLoopForget)(int fd);
};

// What every module exports under the name kModuleSymbol.
struct Module {
    const char* version;  // the release that it was built with; nothing else is read of another's
    void (*begin)(const ProgramFunctions& program);  // called once, before the record is used
    const void* record;  // what it offers: a Window, a Renderer, an ImageCodec, by its name
};

constexpr const char* kModuleSymbol = "velkarisModule";
