// <sys/stat.h> with the file type of a named special file, which Linux does not have.
#pragma GCC system_header
#include_next <sys/stat.h>

#ifndef S_IFNAM
#define S_IFNAM 0050000
#endif
