// The drawing calls: linked but of no effect. A target that wants to know of one defines it itself.
#include "renderer/glCalls.h"

#pragma GCC diagnostic ignored "-Wunused-parameter"

#define STUB(result, name, parameters, arguments)                     \
    extern "C" [[gnu::weak]] result GL_APIENTRY gl##name parameters { \
        return result();                                              \
    }
VELKARIS_GL_CALLS(STUB)
