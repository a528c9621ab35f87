// <unistd.h> whose getopt stops at the first operand, as the platform's does. The C library's own
// moves operands to the end; it has the other one under a second name, with the same optarg,
// optind, opterr and optopt.
#pragma GCC system_header
#include_next <unistd.h>

#ifndef VELKARIS_LINUX_UNISTD_H
#define VELKARIS_LINUX_UNISTD_H

#ifdef __cplusplus
extern "C" {
#endif

#ifndef getopt
int __posix_getopt(int argc, char* const* argv, const char* options);
#define getopt __posix_getopt
#endif

#ifdef __cplusplus
}
#endif

#endif
