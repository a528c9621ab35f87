// <time.h>, complete. The platform keeps timer ids in an int; its timer calls are in
// <sys/neutrino.h> and take one.
#pragma GCC system_header
#include_next <time.h>
