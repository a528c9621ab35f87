// The types that the drawing interfaces build on, by the names of their standard.
#pragma once

#include <stdint.h>

#define KHRONOS_APICALL
#define KHRONOS_APIENTRY

typedef int32_t khronos_int32_t;
typedef uint8_t khronos_uint8_t;
typedef float khronos_float_t;
