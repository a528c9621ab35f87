# Toolchain for building the service with a QNX SDK:
#
#   source <sdk>/qnxsdp-env.sh
#   cmake -S . -B build/qnx -DCMAKE_TOOLCHAIN_FILE=cmake/qnx.toolchain.cmake \
#         -DVELKARIS_QNX_TARGET=gcc_ntoaarch64le
#
# VELKARIS_QNX_TARGET is a target of the SDK's compiler driver (qcc -V lists them). docs/porting.md
# says what of this has never been run.
set(CMAKE_SYSTEM_NAME QNX)

set(VELKARIS_QNX_TARGET "gcc_ntoaarch64le" CACHE STRING "Target of the SDK's compiler driver")
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VELKARIS_QNX_TARGET)

set(CMAKE_C_COMPILER qcc)
set(CMAKE_C_COMPILER_TARGET ${VELKARIS_QNX_TARGET})
set(CMAKE_CXX_COMPILER q++)
set(CMAKE_CXX_COMPILER_TARGET ${VELKARIS_QNX_TARGET})

# A named standard hides the platform's extensions from its headers without this.
add_compile_definitions(_QNX_SOURCE)

set(CMAKE_FIND_ROOT_PATH $ENV{QNX_TARGET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
