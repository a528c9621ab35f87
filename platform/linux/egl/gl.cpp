// The drawing calls of the service: each goes to the renderer whose context is current.
#include <GLES2/gl2.h>

#include "egl/currentContext.h"

extern "C" {

#define VELKARIS_GL_CALL(result, name, parameters, arguments) \
    result GL_APIENTRY gl##name parameters {                  \
        const GlCalls* const calls = currentCalls();          \
        return calls ? calls->name arguments : result();      \
    }
VELKARIS_GL_CALLS(VELKARIS_GL_CALL)
#undef VELKARIS_GL_CALL

}  // extern "C"
