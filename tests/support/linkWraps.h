// Calls of the C library and of FreeType that run for real but are seen, and can be made to fail.
// The linker's --wrap leads them here first; see CMakeLists.txt.
#pragma once

#include <ft2build.h>
#include FT_FREETYPE_H

#include <cstddef>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

// Heap calls of the service (and of FreeType). Those of the C++ library are not seen.
struct HeapWraps {
    size_t failingSize = 0;     // malloc, calloc and nothrow-new of exactly so many bytes fail
    bool failsNegative = true;  // sizes that no heap has fail without being tried
    bool failsNew = false;      // nothrow-new fails
    long live = 0;              // allocations less frees
};

// FreeType's own result stands where the script is silent.
struct FreeTypeWraps {
    FT_Error initError = 0;                // the library is made all the same
    bool makesLibrary = true;              // otherwise the handle stays null
    std::map<int, FT_Error> moduleErrors;  // by the count of the call, from 0
    FT_Error newFaceError = 0;
    FT_Error setSizeError = 0;                           // the size is set all the same
    std::function<void(FT_Size_Metrics&)> afterSetSize;  // may change what the size came to
    FT_Error doneError = 0;                              // the library is freed all the same
    std::set<FT_ULong> unloadable;
    std::function<void(FT_Face, FT_ULong)>
        afterLoad;  // may change the slot; its bitmap is put back
    bool initialising = false;
    std::vector<std::string> defaultModules;  // what the library put into itself when it was made
    int modulesAdded = 0;
};

extern HeapWraps heapWraps;
extern FreeTypeWraps freeTypeWraps;

// While it lives, a flush of all streams is recorded as "flushall()".
class FlushWatch {
public:
    FlushWatch();
    ~FlushWatch();
};

// How many more allocations than frees there have been since it was made.
class HeapWatch {
public:
    HeapWatch() : atStart(heapWraps.live) {}
    long kept() const { return heapWraps.live - atStart; }

private:
    long atStart;
};
