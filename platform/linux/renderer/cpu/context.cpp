#include "renderer/cpu/context.h"

Context context;

void fail(GLenum error) {
    if (context.error == GL_NO_ERROR)
        context.error = error;
}
