#include "memoryFile.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

MemoryFile::MemoryFile(const std::string& content) : fd_(memfd_create("input", MFD_CLOEXEC)) {
    if (write(fd_, content.data(), content.size()) != static_cast<ssize_t>(content.size()))
        abort();
    snprintf(path_, sizeof(path_), "/proc/self/fd/%d", fd_);
}

MemoryFile::~MemoryFile() {
    close(fd_);
}
