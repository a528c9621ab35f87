// Loads modules: from the program's own folder, as in a build tree, else from where an install puts
// them.
#pragma once

// The record of the module velkaris-NAME.so, loaded by the first call and kept until the process
// ends. Null after one line on standard error: no such file, not all of its libraries, another
// release.
const void* moduleRecord(const char* name);

// The same by its type, which goes with the name.
template <typename Record>
const Record* loadRecord(const char* name) {
    return static_cast<const Record*>(moduleRecord(name));
}
